#pragma once
// An object with a byte form of its own, stored in messages with Message::AddFlat.

#include "support/Status.h"
#include "support/Types.h"

class Flattenable {
public:
    virtual ~Flattenable() = default;

    virtual type_code TypeCode() const = 0;
    virtual bool IsFixedSize() const = 0;
    virtual ssize_t FlattenedSize() const = 0;
    // Writes FlattenedSize() bytes; a smaller `size` is refused without writing.
    virtual status_t Flatten(void* buffer, ssize_t size) const = 0;
    virtual bool AllowsTypeCode(type_code code) const { return code == TypeCode(); }
    // Must check every read against `size`: a damaged record fails, it never over-reads.
    virtual status_t Unflatten(type_code code, const void* buffer, ssize_t size) = 0;
};
