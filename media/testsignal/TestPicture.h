#pragma once
// Draws the built-in test picture into a frame buffer, in any colour space Tavro captures and
// any size up to 1920x1080, and reads its frame counter back.
//
// The picture, top to bottom: eight colour bars (white, yellow, cyan, green, magenta, red,
// blue, black, rotated by the channel) over the upper 60 %; a grey band with a white block
// that moves to the right by a hundredth of the width per frame; and a black band with the
// frame counter (eight digits) above the stream clock (hh:mm:ss:ff, ff the frame within the
// second), drawn with a built-in 5x7 font scaled to the height. A flash frame is white all
// over. Source 1 shows the bars over the whole frame, source 2 only the black band.
// Brightness, contrast and saturation (-100..100, 0 neutral) act on every colour but the
// flash, as a TV card's would.
//
// RGB colours become Y'CbCr by BT.601 with studio range (Y' 16..235); GRAY8 holds full-range
// luma. Pixels that share chroma (YCbCr422 pairs, YCbCr411 quads) get the mean of theirs.
//
// Not thread-safe: one object per drawing thread.

#include <vector>

#include "media/MediaFormat.h"
#include "support/Status.h"

struct TestPictureControls {
    int32 channel = 0;
    int32 source = 0;
    float brightness = 0;  // -100..100
    float contrast = 0;
    float saturation = 0;

    friend bool operator==(const TestPictureControls&, const TestPictureControls&) = default;
};

class TestPicture {
public:
    static constexpr uint32 kMaxWidth = 1920;
    static constexpr uint32 kMaxHeight = 1080;
    static constexpr int32 kChannelCount = 8;
    static constexpr int32 kSourceCount = 3;

    static bool Supports(color_space space);

    // `rowBytes` 0 means unpadded rows. InitCheck() is B_BAD_VALUE for a size out of range
    // or rows too short, B_MEDIA_BAD_FORMAT for a colour space not drawn.
    TestPicture(uint32 width, uint32 height, color_space space, uint32 rowBytes = 0);
    status_t InitCheck() const { return fStatus; }

    uint32 Width() const { return fWidth; }
    uint32 Height() const { return fHeight; }
    uint32 BytesPerRow() const { return fBytesPerRow; }
    // Bytes one frame takes.
    size_t FrameSize() const { return size_t(fBytesPerRow) * fHeight; }

    void SetControls(const TestPictureControls& controls);

    // Draws frame `frame` with `streamTime` µs since the origin (the clock), `framesPerSecond`
    // rounded up (the clock's frame field counts to it). `data` holds FrameSize() bytes.
    void Draw(void* data, int64 frame, bigtime_t streamTime, int32 framesPerSecond, bool flash);

    // Reads the frame counter back from a picture of width x height converted to RGB32 (bytes
    // B, G, R, X), as drawn with source 0 and neutral controls. B_BAD_DATA when a digit does
    // not read as one.
    static status_t ReadCounter(const uint8* rgb32, uint32 width, uint32 height, uint32 bytesPerRow,
                                int64* frame);

    // The colour of bar `index` (0..7, left to right) for `channel`, as B, G, R.
    static void BarColor(int32 channel, int32 index, uint8 bgr[3]);

private:
    struct Layout {
        uint32 barsBottom;
        uint32 bandBottom;
        uint32 textLeft;
        uint32 textTop;  // first text line; the second follows 9 * scale rows lower
        uint32 scale;
    };
    static Layout LayoutFor(uint32 width, uint32 height);

    void UpdatePalette();
    // Encodes one row of palette indices (fWidth of them) into `out`.
    void EncodeRow(const uint8* indices, uint8* out) const;
    void DrawText(uint8* indices, const char* text, uint32 row) const;

    uint32 fWidth;
    uint32 fHeight;
    color_space fSpace;
    uint32 fBytesPerRow;
    status_t fStatus = B_OK;
    Layout fLayout;
    TestPictureControls fControls;

    struct Entry {
        uint8 r, g, b;
        uint8 y, cb, cr;  // studio range
        uint8 gray;       // full range
        uint32 packed;    // RGB15, RGB16 or RGB32 pixel
    };
    std::vector<Entry> fPalette;
    std::vector<uint8> fIndices;  // one row of palette indices, padded to a multiple of 8
    std::vector<uint8> fBarsRow;  // the encoded bars row, redone when the controls change
    std::vector<uint8> fFlashRow;
    std::vector<uint8> fBlackRow;
};
