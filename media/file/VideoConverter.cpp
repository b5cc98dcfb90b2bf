#include "media/file/VideoConverter.h"

#include <cstring>

extern "C" {
#include <libavutil/imgutils.h>
}

AVPixelFormat pixelFormatFor(color_space space) {
    switch (space) {
        case B_RGB32:
            return AV_PIX_FMT_BGR0;
        case B_RGB24:
            return AV_PIX_FMT_BGR24;
        case B_RGB16:
            return AV_PIX_FMT_RGB565LE;
        case B_RGB15:
            return AV_PIX_FMT_RGB555LE;
        case B_YCbCr422:
            return AV_PIX_FMT_YUYV422;
        case B_YCbCr411:
            return AV_PIX_FMT_YUV411P;
        case B_GRAY8:
            return AV_PIX_FMT_GRAY8;
        default:
            return AV_PIX_FMT_NONE;
    }
}

status_t VideoConverter::Init(const media_raw_video_format& input, AVPixelFormat target) {
    fSpace = input.display.format;
    fWidth = int(input.display.line_width);
    fHeight = int(input.display.line_count);
    fSource = pixelFormatFor(fSpace);
    fTarget = target;
    uint32 minimumRow = bytesPerRow(fSpace, input.display.line_width);
    fBytesPerRow = input.display.bytes_per_row != 0 ? input.display.bytes_per_row : minimumRow;
    if (fSource == AV_PIX_FMT_NONE || fWidth <= 0 || fHeight <= 0 || fWidth > 16384 ||
        fHeight > 16384 || fBytesPerRow < minimumRow)
        return B_MEDIA_BAD_FORMAT;

    if (fSpace == B_YCbCr411) {
        fUnpacked.reset(av_frame_alloc());
        if (!fUnpacked)
            return B_NO_MEMORY;
        fUnpacked->format = AV_PIX_FMT_YUV411P;
        fUnpacked->width = fWidth;
        fUnpacked->height = fHeight;
        if (int error = av_frame_get_buffer(fUnpacked.get(), 0); error < 0)
            return avStatus("av_frame_get_buffer", error);
    }
    // RGB32's fourth byte is padding; written as BGRA it must read as opaque.
    bool copies = fSource == fTarget || (fSource == AV_PIX_FMT_BGR0 && fTarget == AV_PIX_FMT_BGRA);
    if (!copies) {
        fScaler.reset(sws_getContext(fWidth, fHeight, fSource, fWidth, fHeight, fTarget,
                                     kScalerFlags, nullptr, nullptr, nullptr));
        if (!fScaler)
            return B_MEDIA_BAD_FORMAT;
    }
    return B_OK;
}

void VideoConverter::UnpackYCbCr411(const uint8* data) {
    // Each group of 12 bytes: Cb0 Y0 Cr0 Y1 Cb4 Y2 Cr4 Y3 Y4 Y5 Y6 Y7.
    static constexpr int kLuma[8] = {1, 3, 5, 7, 8, 9, 10, 11};
    AVFrame* out = fUnpacked.get();
    int chromaWidth = (fWidth + 3) / 4;
    for (int y = 0; y < fHeight; y++) {
        const uint8* row = data + size_t(y) * fBytesPerRow;
        uint8* luma = out->data[0] + size_t(y) * out->linesize[0];
        uint8* cb = out->data[1] + size_t(y) * out->linesize[1];
        uint8* cr = out->data[2] + size_t(y) * out->linesize[2];
        for (int x = 0; x < fWidth; x++)
            luma[x] = row[(x / 8) * 12 + kLuma[x % 8]];
        for (int c = 0; c < chromaWidth; c++) {
            const uint8* group = row + (c / 2) * 12 + (c % 2) * 4;
            cb[c] = group[0];
            cr[c] = group[2];
        }
    }
}

status_t VideoConverter::MakeWritable(AVFrame* frame) {
    // An encoder that still holds the last picture (as a reference, or queued) gets to keep
    // it: this one goes into fresh memory. av_frame_make_writable would copy the old picture
    // over first, a whole frame's traffic for nothing.
    if (av_frame_is_writable(frame))
        return B_OK;
    const int format = frame->format, width = frame->width, height = frame->height;
    av_frame_unref(frame);
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (int error = av_frame_get_buffer(frame, 0); error < 0)
        return avStatus("av_frame_get_buffer", error);
    return B_OK;
}

void VideoConverter::SourcePlanes(const uint8* data, const uint8* planes[4], int strides[4]) {
    for (int i = 0; i < 4; i++) {
        planes[i] = i == 0 ? data : nullptr;
        strides[i] = i == 0 ? int(fBytesPerRow) : 0;
    }
    if (fSpace == B_YCbCr411) {
        UnpackYCbCr411(data);
        for (int i = 0; i < 4; i++) {
            planes[i] = fUnpacked->data[i];
            strides[i] = fUnpacked->linesize[i];
        }
    }
}

status_t VideoConverter::Convert(const uint8* data, AVFrame* frame) {
    if (data == nullptr)
        return B_BAD_VALUE;
    if (status_t status = MakeWritable(frame); status != B_OK)
        return status;
    const uint8* planes[4];
    int strides[4];
    SourcePlanes(data, planes, strides);
    if (fScaler) {
        sws_scale(fScaler.get(), planes, strides, 0, fHeight, frame->data, frame->linesize);
        return B_OK;
    }
    av_image_copy(frame->data, frame->linesize, planes, strides, fTarget, fWidth, fHeight);
    if (fSource == AV_PIX_FMT_BGR0 && fTarget == AV_PIX_FMT_BGRA) {
        for (int y = 0; y < fHeight; y++) {
            uint8* row = frame->data[0] + size_t(y) * frame->linesize[0];
            for (int x = 0; x < fWidth; x++)
                row[x * 4 + 3] = 0xff;
        }
    }
    return B_OK;
}

size_t VideoConverter::TargetFrameBytes() const {
    const int bytes = av_image_get_buffer_size(fTarget, fWidth, fHeight, 1);
    return bytes > 0 ? size_t(bytes) : 0;
}

status_t VideoConverter::ConvertPacked(const uint8* data, uint8* packed) {
    if (data == nullptr || packed == nullptr || !fScaler)
        return B_BAD_VALUE;
    uint8* target[4];
    int targetStrides[4];
    if (av_image_fill_arrays(target, targetStrides, packed, fTarget, fWidth, fHeight, 1) < 0)
        return B_MEDIA_BAD_FORMAT;
    const uint8* planes[4];
    int strides[4];
    SourcePlanes(data, planes, strides);
    sws_scale(fScaler.get(), planes, strides, 0, fHeight, target, targetStrides);
    return B_OK;
}

status_t VideoConverter::CopyPacked(const uint8* packed, AVFrame* frame) {
    if (packed == nullptr)
        return B_BAD_VALUE;
    if (status_t status = MakeWritable(frame); status != B_OK)
        return status;
    const uint8* planes[4];
    int strides[4];
    if (av_image_fill_arrays(const_cast<uint8**>(planes), strides, packed, fTarget, fWidth, fHeight,
                             1) < 0)
        return B_MEDIA_BAD_FORMAT;
    av_image_copy(frame->data, frame->linesize, planes, strides, fTarget, fWidth, fHeight);
    return B_OK;
}
