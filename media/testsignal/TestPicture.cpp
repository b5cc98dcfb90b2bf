#include "media/testsignal/TestPicture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

// Palette slots.
enum : uint8 {
    kBar0 = 0,  // 0..7: the bars in screen order
    kBlack = 8,
    kWhite = 9,
    kBand = 10,
    kBlock = 11,
    kFlash = 12,
    kPaletteSize
};

// 100 % bars, B, G, R.
constexpr uint8 kBars[8][3] = {
    {255, 255, 255}, {0, 255, 255}, {255, 255, 0}, {0, 255, 0},
    {255, 0, 255},   {0, 0, 255},   {255, 0, 0},   {0, 0, 0},
};

// 5x7 glyphs, one byte per row, bit 4 the leftmost column: the digits, then ':'.
constexpr uint8 kGlyphs[11][7] = {
    {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E},  // 0
    {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},  // 1
    {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F},  // 2
    {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},  // 3
    {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02},  // 4
    {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},  // 5
    {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E},  // 6
    {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},  // 7
    {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E},  // 8
    {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},  // 9
    {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00},  // :
};
constexpr uint32 kGlyphWidth = 5;
constexpr uint32 kGlyphHeight = 7;
constexpr uint32 kCellWidth = 6;   // glyph plus one column of space
constexpr uint32 kLineHeight = 9;  // glyph plus two rows of space
constexpr int kCounterDigits = 8;

const uint8* glyphFor(char c) {
    if (c >= '0' && c <= '9')
        return kGlyphs[c - '0'];
    if (c == ':')
        return kGlyphs[10];
    return nullptr;
}

uint8 clampByte(double value) {
    return uint8(std::clamp(value, 0.0, 255.0));
}

}  // namespace

bool TestPicture::Supports(color_space space) {
    switch (space) {
        case B_GRAY8:
        case B_RGB15:
        case B_RGB16:
        case B_RGB24:
        case B_RGB32:
        case B_YCbCr422:
        case B_YCbCr411:
            return true;
        default:
            return false;
    }
}

TestPicture::TestPicture(uint32 width, uint32 height, color_space space, uint32 rowBytes)
    : fWidth(width), fHeight(height), fSpace(space), fBytesPerRow(rowBytes) {
    if (!Supports(space)) {
        fStatus = B_MEDIA_BAD_FORMAT;
        return;
    }
    if (width == 0 || height == 0 || width > kMaxWidth || height > kMaxHeight) {
        fStatus = B_BAD_VALUE;
        return;
    }
    const uint32 minimum = bytesPerRow(space, width);
    if (fBytesPerRow == 0)
        fBytesPerRow = minimum;
    if (fBytesPerRow < minimum) {
        fStatus = B_BAD_VALUE;
        return;
    }
    fLayout = LayoutFor(width, height);
    fPalette.resize(kPaletteSize);
    fIndices.assign((width + 7) / 8 * 8, kBlack);
    UpdatePalette();
}

TestPicture::Layout TestPicture::LayoutFor(uint32 width, uint32 height) {
    Layout layout;
    layout.barsBottom = height * 6 / 10;
    layout.bandBottom = height * 3 / 4;
    // Two text lines in the lower quarter, and the clock's 11 cells across the width.
    const uint32 textRows = height - layout.bandBottom;
    layout.scale = std::max<uint32>(
        1, std::min(textRows / (2 * kLineHeight + 1), width / (11 * kCellWidth + 2)));
    layout.textLeft = layout.scale;
    layout.textTop = layout.bandBottom + layout.scale;
    return layout;
}

void TestPicture::BarColor(int32 channel, int32 index, uint8 bgr[3]) {
    const int32 bar = ((index + channel) % 8 + 8) % 8;
    memcpy(bgr, kBars[bar], 3);
}

void TestPicture::SetControls(const TestPictureControls& controls) {
    if (controls == fControls)
        return;
    fControls = controls;
    if (fStatus == B_OK)
        UpdatePalette();
}

void TestPicture::UpdatePalette() {
    const double saturation = 1 + std::clamp(fControls.saturation, -100.0f, 100.0f) / 100.0;
    const double contrast = 1 + std::clamp(fControls.contrast, -100.0f, 100.0f) / 100.0;
    const double brightness = std::clamp(fControls.brightness, -100.0f, 100.0f) * 1.28;

    auto set = [&](uint8 slot, const uint8 bgr[3], bool adjust) {
        double c[3] = {double(bgr[2]), double(bgr[1]), double(bgr[0])};  // R, G, B
        if (adjust) {
            const double luma = 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2];
            for (double& v : c)
                v = 128 + (luma + (v - luma) * saturation - 128) * contrast + brightness;
        }
        Entry& e = fPalette[slot];
        e.r = clampByte(std::lround(c[0]));
        e.g = clampByte(std::lround(c[1]));
        e.b = clampByte(std::lround(c[2]));
        e.y = clampByte(std::lround(16 + 0.257 * e.r + 0.504 * e.g + 0.098 * e.b));
        e.cb = clampByte(std::lround(128 - 0.148 * e.r - 0.291 * e.g + 0.439 * e.b));
        e.cr = clampByte(std::lround(128 + 0.439 * e.r - 0.368 * e.g - 0.071 * e.b));
        e.gray = clampByte(std::lround(0.299 * e.r + 0.587 * e.g + 0.114 * e.b));
        switch (fSpace) {
            case B_RGB15:
                e.packed = uint32((e.r >> 3) << 10 | (e.g >> 3) << 5 | (e.b >> 3));
                break;
            case B_RGB16:
                e.packed = uint32((e.r >> 3) << 11 | (e.g >> 2) << 5 | (e.b >> 3));
                break;
            default:
                e.packed = 0xFF000000u | uint32(e.r) << 16 | uint32(e.g) << 8 | e.b;
                break;
        }
    };

    for (int32 i = 0; i < 8; i++) {
        uint8 bgr[3];
        BarColor(fControls.channel, i, bgr);
        set(uint8(kBar0 + i), bgr, true);
    }
    const uint8 black[3] = {0, 0, 0};
    const uint8 white[3] = {255, 255, 255};
    const uint8 band[3] = {64, 64, 64};
    set(kBlack, black, true);
    set(kWhite, white, true);
    set(kBand, band, true);
    set(kBlock, white, true);
    set(kFlash, white, false);

    // The rows that stay the same from frame to frame.
    fBarsRow.resize(fBytesPerRow);
    fFlashRow.resize(fBytesPerRow);
    fBlackRow.resize(fBytesPerRow);
    for (uint32 x = 0; x < fWidth; x++)
        fIndices[x] = uint8(kBar0 + std::min<uint32>(7, x * 8 / fWidth));
    EncodeRow(fIndices.data(), fBarsRow.data());
    std::fill(fIndices.begin(), fIndices.end(), kFlash);
    EncodeRow(fIndices.data(), fFlashRow.data());
    std::fill(fIndices.begin(), fIndices.end(), kBlack);
    EncodeRow(fIndices.data(), fBlackRow.data());
}

void TestPicture::EncodeRow(const uint8* indices, uint8* out) const {
    const Entry* p = fPalette.data();
    switch (fSpace) {
        case B_GRAY8:
            for (uint32 x = 0; x < fWidth; x++)
                out[x] = p[indices[x]].gray;
            break;
        case B_RGB15:
        case B_RGB16:
            for (uint32 x = 0; x < fWidth; x++) {
                const uint32 v = p[indices[x]].packed;
                out[2 * x] = uint8(v);
                out[2 * x + 1] = uint8(v >> 8);
            }
            break;
        case B_RGB24:
            for (uint32 x = 0; x < fWidth; x++) {
                const Entry& e = p[indices[x]];
                out[3 * x] = e.b;
                out[3 * x + 1] = e.g;
                out[3 * x + 2] = e.r;
            }
            break;
        case B_RGB32: {
            uint32* row = reinterpret_cast<uint32*>(out);
            for (uint32 x = 0; x < fWidth; x++) {
                const uint32 v = p[indices[x]].packed;
                memcpy(row + x, &v, 4);  // little-endian: B, G, R, X
            }
            break;
        }
        case B_YCbCr422:
            // Y0 Cb Y1 Cr; an odd last pixel pairs with itself, and only its Y and Cb fit in
            // the row's width * 2 bytes.
            for (uint32 x = 0; x < fWidth; x += 2) {
                const Entry& a = p[indices[x]];
                const Entry& b = p[indices[x + 1 < fWidth ? x + 1 : x]];
                uint8* o = out + 2 * x;
                o[0] = a.y;
                o[1] = uint8((a.cb + b.cb + 1) / 2);
                if (x + 1 == fWidth)
                    break;
                o[2] = b.y;
                o[3] = uint8((a.cr + b.cr + 1) / 2);
            }
            break;
        case B_YCbCr411:
            // Per 8 pixels: Cb0 Y0 Cr0 Y1 Cb4 Y2 Cr4 Y3 Y4 Y5 Y6 Y7; pixels past the width
            // repeat the last one.
            for (uint32 x = 0; x < fWidth; x += 8) {
                const Entry* e[8];
                for (uint32 i = 0; i < 8; i++)
                    e[i] = &p[indices[std::min(x + i, fWidth - 1)]];
                uint8* o = out + x / 8 * 12;
                o[0] = uint8((e[0]->cb + e[1]->cb + e[2]->cb + e[3]->cb + 2) / 4);
                o[1] = e[0]->y;
                o[2] = uint8((e[0]->cr + e[1]->cr + e[2]->cr + e[3]->cr + 2) / 4);
                o[3] = e[1]->y;
                o[4] = uint8((e[4]->cb + e[5]->cb + e[6]->cb + e[7]->cb + 2) / 4);
                o[5] = e[2]->y;
                o[6] = uint8((e[4]->cr + e[5]->cr + e[6]->cr + e[7]->cr + 2) / 4);
                o[7] = e[3]->y;
                o[8] = e[4]->y;
                o[9] = e[5]->y;
                o[10] = e[6]->y;
                o[11] = e[7]->y;
            }
            break;
        default:
            break;
    }
}

void TestPicture::DrawText(uint8* indices, const char* text, uint32 row) const {
    const uint32 scale = fLayout.scale;
    const uint32 glyphRow = row / scale;
    if (glyphRow >= kGlyphHeight)
        return;
    uint32 x = fLayout.textLeft;
    for (const char* c = text; *c != '\0'; c++, x += kCellWidth * scale) {
        const uint8* glyph = glyphFor(*c);
        if (glyph == nullptr)
            continue;
        for (uint32 column = 0; column < kGlyphWidth; column++) {
            if ((glyph[glyphRow] & (0x10 >> column)) == 0)
                continue;
            const uint32 left = x + column * scale;
            for (uint32 i = 0; i < scale && left + i < fWidth; i++)
                indices[left + i] = kWhite;
        }
    }
}

void TestPicture::Draw(void* data, int64 frame, bigtime_t streamTime, int32 framesPerSecond,
                       bool flash) {
    if (fStatus != B_OK)
        return;
    uint8* base = static_cast<uint8*>(data);
    auto rowAt = [&](uint32 y) { return base + size_t(y) * fBytesPerRow; };
    // Only the pixels of a row are written: padding belongs to whoever owns the buffer.
    const size_t pixelBytes = bytesPerRow(fSpace, fWidth);
    auto fill = [&](uint32 from, uint32 to, const uint8* row) {
        for (uint32 y = from; y < to; y++)
            memcpy(rowAt(y), row, pixelBytes);
    };

    if (flash) {
        fill(0, fHeight, fFlashRow.data());
        return;
    }
    uint32 barsBottom = fLayout.barsBottom;
    uint32 bandBottom = fLayout.bandBottom;
    if (fControls.source == 1) {
        fill(0, fHeight, fBarsRow.data());
        return;
    }
    if (fControls.source == 2)
        barsBottom = bandBottom = 0;
    fill(0, barsBottom, fBarsRow.data());

    // The band with the moving block; the block wraps round at the right edge.
    if (bandBottom > barsBottom) {
        const uint32 blockWidth = std::max<uint32>(1, fWidth / 16);
        const uint32 step = std::max<uint32>(1, fWidth / 100);
        const uint32 left = uint32((uint64(std::max<int64>(frame, 0)) * step) % fWidth);
        for (uint32 x = 0; x < fWidth; x++)
            fIndices[x] = (x - left) % fWidth < blockWidth ? kBlock : kBand;
        EncodeRow(fIndices.data(), rowAt(barsBottom));
        fill(barsBottom + 1, bandBottom, rowAt(barsBottom));
    }

    // The black band with the counter and the clock.
    char counter[16];
    snprintf(counter, sizeof counter, "%08lld", (long long)(std::max<int64>(frame, 0) % 100000000));
    const int64 seconds = std::max<bigtime_t>(streamTime, 0) / 1000000;
    const int64 fieldFrame = framesPerSecond > 0 ? (std::max<bigtime_t>(streamTime, 0) % 1000000) *
                                                       framesPerSecond / 1000000
                                                 : 0;
    char clock[32];
    snprintf(clock, sizeof clock, "%02d:%02d:%02d:%02d", int(seconds / 3600 % 100),
             int(seconds / 60 % 60), int(seconds % 60), int(fieldFrame % 100));

    const uint32 scale = fLayout.scale;
    const uint32 lineRows = kLineHeight * scale;
    for (uint32 y = bandBottom; y < fHeight; y++) {
        const uint32 line0 = fLayout.textTop - (fControls.source == 2 ? fLayout.bandBottom : 0);
        const char* text = nullptr;
        uint32 inLine = 0;
        if (y >= line0 && y < line0 + lineRows) {
            text = counter;
            inLine = y - line0;
        } else if (y >= line0 + lineRows && y < line0 + 2 * lineRows) {
            text = clock;
            inLine = y - line0 - lineRows;
        }
        if (text == nullptr || inLine >= kGlyphHeight * scale) {
            memcpy(rowAt(y), fBlackRow.data(), pixelBytes);
            continue;
        }
        std::fill(fIndices.begin(), fIndices.begin() + fWidth, kBlack);
        DrawText(fIndices.data(), text, inLine);
        EncodeRow(fIndices.data(), rowAt(y));
    }
}

status_t TestPicture::ReadCounter(const uint8* rgb32, uint32 width, uint32 height,
                                  uint32 bytesPerRow, int64* frame) {
    if (rgb32 == nullptr || frame == nullptr || width == 0 || height == 0 ||
        bytesPerRow < width * 4)
        return B_BAD_VALUE;
    const Layout layout = LayoutFor(width, height);
    const uint32 scale = layout.scale;
    int64 value = 0;
    for (int digit = 0; digit < kCounterDigits; digit++) {
        uint8 rows[kGlyphHeight] = {};
        for (uint32 gy = 0; gy < kGlyphHeight; gy++) {
            for (uint32 gx = 0; gx < kGlyphWidth; gx++) {
                // The centre of the font dot.
                const uint32 x = layout.textLeft + (digit * kCellWidth + gx) * scale + scale / 2;
                const uint32 y = layout.textTop + gy * scale + scale / 2;
                if (x >= width || y >= height)
                    return B_BAD_DATA;
                const uint8* p = rgb32 + size_t(y) * bytesPerRow + x * 4;
                if ((p[0] + p[1] + p[2]) / 3 >= 128)
                    rows[gy] |= uint8(0x10 >> gx);
            }
        }
        int found = -1;
        for (int d = 0; d < 10 && found < 0; d++) {
            if (memcmp(rows, kGlyphs[d], kGlyphHeight) == 0)
                found = d;
        }
        if (found < 0)
            return B_BAD_DATA;
        value = value * 10 + found;
    }
    *frame = value;
    return B_OK;
}
