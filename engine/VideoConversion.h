#pragma once
// The preview's conversion of a captured frame to B_RGB32 (bytes blue, green, red, X; the
// fourth byte of each destination pixel is left as it is), for a screen that cannot draw the
// captured colour space. A coarse preview, not a colour-exact one: the YCbCr411 rule in
// particular takes chroma bytes as colours.
//
// | source      | rule                                                                   |
// | B_RGB24     | the 3 bytes of each pixel copied                                       |
// | B_GRAY8     | each byte copied into blue, green and red                              |
// | B_YCbCr422  | per Y0 Cb Y1 Cr: B = 1.164(Y-16) + 2.017(Cb-128),                      |
// |             | G = 1.164(Y-16) - 0.813(Cr-128) - 0.392(Cb-128), R = 1.164(Y-16) +     |
// |             | 1.596(Cr-128); truncated toward zero, then clamped to 0..255           |
// | B_YCbCr411  | pixel n (counted down from the row's width): B = s[0], G = s[1],       |
// |             | R = s[2] when n-1 is odd else s[1]; s advances 2 when n-1 is odd, else 1|
//
// Rows are converted one by one with the given strides, so padding is never taken for
// pixels; for unpadded frames this is the same as converting the frame as one run. Reads stay
// inside each source row.

#include "media/MediaFormat.h"
#include "support/Status.h"

// Whether convertToRGB32 converts from `space`.
bool canConvertToRGB32(color_space space);

// Converts width x height pixels. B_BAD_VALUE for a colour space not in the table (the
// destination is left as it is), null pointers, or rows shorter than the width needs.
status_t convertToRGB32(const void* source, uint32 sourceBytesPerRow, color_space space,
                        uint32 width, uint32 height, void* destination,
                        uint32 destinationBytesPerRow);
