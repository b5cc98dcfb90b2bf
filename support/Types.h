#pragma once
// The integer vocabulary of Tavro's records and file formats, and the four-character codes
// that name message types, field types and flattened records.

#include <sys/types.h>
#include <cstddef>
#include <cstdint>

using int8 = int8_t;
using uint8 = uint8_t;
using int16 = int16_t;
using uint16 = uint16_t;
using int32 = int32_t;
using uint32 = uint32_t;
using int64 = int64_t;
using uint64 = uint64_t;

// Microseconds; system_time() counts them on CLOCK_MONOTONIC.
using bigtime_t = int64_t;
// A four-character code naming the type of a message field or flattened record.
using type_code = uint32_t;

// 'recd' as a big-endian 32-bit code: fourcc("recd") == 0x72656364.
constexpr uint32 fourcc(const char (&code)[5]) {
    return (uint32(uint8(code[0])) << 24) | (uint32(uint8(code[1])) << 16) |
           (uint32(uint8(code[2])) << 8) | uint32(uint8(code[3]));
}
