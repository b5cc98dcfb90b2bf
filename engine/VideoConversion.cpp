#include "engine/VideoConversion.h"

#include <algorithm>

namespace {

uint8 clampedChannel(float value) {
    // Truncated toward zero first, as the integer conversion does, then clamped.
    const int32 truncated = int32(value);
    return uint8(std::clamp(truncated, 0, 255));
}

void convertRowRGB24(const uint8* source, uint8* destination, uint32 width) {
    for (uint32 x = 0; x < width; x++) {
        destination[0] = source[0];
        destination[1] = source[1];
        destination[2] = source[2];
        source += 3;
        destination += 4;
    }
}

void convertRowGray8(const uint8* source, uint8* destination, uint32 width) {
    for (uint32 x = 0; x < width; x++) {
        destination[0] = destination[1] = destination[2] = source[x];
        destination += 4;
    }
}

void convertPixelYCbCr(int32 y, int32 cb, int32 cr, uint8* destination) {
    const float luma = 1.164f * float(y - 16);
    destination[0] = clampedChannel(luma + 2.017f * float(cb - 128));
    destination[1] = clampedChannel(luma - 0.813f * float(cr - 128) - 0.392f * float(cb - 128));
    destination[2] = clampedChannel(luma + 1.596f * float(cr - 128));
}

void convertRowYCbCr422(const uint8* source, uint8* destination, uint32 width) {
    for (uint32 x = 0; x < width; x += 2) {
        // An odd width ends the row with half a pair: Y and Cb only, no Cr byte to read.
        const bool whole = x + 1 < width;
        const int32 cb = source[1];
        const int32 cr = whole ? source[3] : 128;
        convertPixelYCbCr(source[0], cb, cr, destination);
        if (whole)
            convertPixelYCbCr(source[2], cb, cr, destination + 4);
        source += 4;
        destination += 8;
    }
}

void convertRowYCbCr411(const uint8* source, size_t sourceLength, uint8* destination,
                        uint32 width) {
    // The rule walks 3 bytes per 2 pixels and looks up to 2 bytes ahead: on the last pixel
    // of a row that would be past it, so the look-ahead stops at the row's last byte.
    size_t offset = 0;
    auto at = [&](size_t index) { return source[std::min(offset + index, sourceLength - 1)]; };
    for (uint32 n = width; n > 0; n--) {
        const bool odd = ((n - 1) & 1) != 0;
        destination[0] = at(0);
        destination[1] = at(1);
        destination[2] = odd ? at(2) : at(1);
        offset += odd ? 2 : 1;
        destination += 4;
    }
}

}  // namespace

bool canConvertToRGB32(color_space space) {
    return space == B_RGB24 || space == B_GRAY8 || space == B_YCbCr422 || space == B_YCbCr411;
}

status_t convertToRGB32(const void* source, uint32 sourceBytesPerRow, color_space space,
                        uint32 width, uint32 height, void* destination,
                        uint32 destinationBytesPerRow) {
    if (source == nullptr || destination == nullptr || !canConvertToRGB32(space))
        return B_BAD_VALUE;
    if (width == 0 || height == 0)
        return B_OK;
    if (sourceBytesPerRow < bytesPerRow(space, width) || destinationBytesPerRow < width * 4)
        return B_BAD_VALUE;
    const uint8* in = static_cast<const uint8*>(source);
    uint8* out = static_cast<uint8*>(destination);
    for (uint32 row = 0; row < height; row++) {
        const uint8* sourceRow = in + size_t(row) * sourceBytesPerRow;
        uint8* destinationRow = out + size_t(row) * destinationBytesPerRow;
        switch (space) {
            case B_RGB24:
                convertRowRGB24(sourceRow, destinationRow, width);
                break;
            case B_GRAY8:
                convertRowGray8(sourceRow, destinationRow, width);
                break;
            case B_YCbCr422:
                convertRowYCbCr422(sourceRow, destinationRow, width);
                break;
            case B_YCbCr411:
                convertRowYCbCr411(sourceRow, bytesPerRow(space, width), destinationRow, width);
                break;
            default:
                return B_BAD_VALUE;
        }
    }
    return B_OK;
}
