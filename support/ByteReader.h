#pragma once
// A cursor over bytes read from a file or a message, in one byte order. Every read is checked
// against the bytes that remain: a read that does not fit fails, leaves its output alone and
// consumes nothing, so a damaged record can never make its parser over-read.

#include <cstring>

#include "support/Types.h"

enum class ByteOrder { LittleEndian, BigEndian };

class ByteReader {
public:
    ByteReader(const void* data, size_t size, ByteOrder order)
        : fData(static_cast<const uint8*>(data)), fLeft(size), fOrder(order) {}

    size_t Left() const { return fLeft; }

    bool ReadUint8(uint8* value) {
        if (fLeft < 1)
            return false;
        *value = *fData;
        Skip(1);
        return true;
    }

    bool ReadUint32(uint32* value) {
        if (fLeft < 4)
            return false;
        const uint8* b = fData;
        *value = fOrder == ByteOrder::BigEndian
                     ? uint32(b[0]) << 24 | uint32(b[1]) << 16 | uint32(b[2]) << 8 | uint32(b[3])
                     : uint32(b[0]) | uint32(b[1]) << 8 | uint32(b[2]) << 16 | uint32(b[3]) << 24;
        Skip(4);
        return true;
    }

    bool ReadInt32(int32* value) {
        uint32 bits;
        if (!ReadUint32(&bits))
            return false;
        *value = int32(bits);
        return true;
    }

    // IEEE-754 single precision in the reader's byte order.
    bool ReadFloat(float* value) {
        uint32 bits;
        if (!ReadUint32(&bits))
            return false;
        std::memcpy(value, &bits, sizeof(bits));
        return true;
    }

    // Points `bytes` at the next `size` bytes and steps over them.
    bool ReadBytes(size_t size, const uint8** bytes) {
        if (fLeft < size)
            return false;
        *bytes = fData;
        Skip(size);
        return true;
    }

    // A NUL-terminated string; `text` points into the data. Fails when no NUL is left.
    bool ReadString(const char** text) {
        const void* end = fLeft == 0 ? nullptr : std::memchr(fData, 0, fLeft);
        if (end == nullptr)
            return false;
        *text = reinterpret_cast<const char*>(fData);
        Skip(size_t(static_cast<const uint8*>(end) - fData) + 1);
        return true;
    }

private:
    void Skip(size_t size) {
        fData += size;
        fLeft -= size;
    }

    const uint8* fData;
    size_t fLeft;
    ByteOrder fOrder;
};
