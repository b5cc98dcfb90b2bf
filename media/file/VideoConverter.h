#pragma once
// Turns captured frames (any recordable colour space, rows of bytes_per_row) into AVFrames of
// the pixel format an encoder takes: a copy when the layouts match, libswscale otherwise.
// B_YCbCr411 (8 pixels in 12 bytes) has no FFmpeg pixel format; it is unpacked into planar
// 4:1:1 first.

extern "C" {
#include <libavutil/pixfmt.h>
}

#include "media/MediaFormat.h"
#include "media/file/FFmpegOwners.h"

// The FFmpeg layout of a colour space's bytes; AV_PIX_FMT_NONE for one we cannot record.
// B_YCbCr411 answers its planar unpacked form, AV_PIX_FMT_YUV411P.
AVPixelFormat pixelFormatFor(color_space space);

class VideoConverter {
public:
    // Scaler flags: the size stays, so the filter only shapes the chroma that 4:2:0 drops.
    // Fast bilinear averages it at the cost of FFmpeg's default bicubic or less; point
    // sampling is cheaper still but keeps one chroma sample of four, which fringes sharp
    // colour edges (bench/EncodeBench.cpp prints all four).
    static constexpr int kScalerFlags = SWS_FAST_BILINEAR;

    VideoConverter() = default;
    VideoConverter(const VideoConverter&) = delete;
    VideoConverter& operator=(const VideoConverter&) = delete;

    // B_MEDIA_BAD_FORMAT for a colour space or size we cannot convert.
    status_t Init(const media_raw_video_format& input, AVPixelFormat target);
    // Bytes one input frame takes.
    size_t FrameBytes() const { return fBytesPerRow * size_t(fHeight); }
    // Fills `frame` (of the target format and the input's size) from one input frame.
    status_t Convert(const uint8* data, AVFrame* frame);

    // Whether Convert changes the layout (else it copies the bytes as they are).
    bool Scales() const { return fScaler != nullptr; }
    // Bytes of one frame of the target format, its planes packed one after the other.
    size_t TargetFrameBytes() const;
    // Converts one input frame into `packed` (TargetFrameBytes() bytes).
    status_t ConvertPacked(const uint8* data, uint8* packed);
    // Fills `frame` from one frame of the target format as ConvertPacked wrote it.
    status_t CopyPacked(const uint8* packed, AVFrame* frame);

private:
    void UnpackYCbCr411(const uint8* data);
    // Makes `frame` writable without copying what it held.
    static status_t MakeWritable(AVFrame* frame);
    // Input planes of one frame at `data`, through the 4:1:1 staging frame where needed.
    void SourcePlanes(const uint8* data, const uint8* planes[4], int strides[4]);

    color_space fSpace = B_NO_COLOR_SPACE;
    int fWidth = 0;
    int fHeight = 0;
    size_t fBytesPerRow = 0;
    AVPixelFormat fSource = AV_PIX_FMT_NONE;
    AVPixelFormat fTarget = AV_PIX_FMT_NONE;
    SwsContextPtr fScaler;  // null when the frame is copied as it is
    FramePtr fUnpacked;     // planar 4:1:1 staging frame for B_YCbCr411
};
