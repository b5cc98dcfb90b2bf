#pragma once
// Move-only owners for the FFmpeg handles the file writer holds, and the one place where an
// FFmpeg error becomes a status_t. FFmpeg's AVERROR(e) is the negative errno, the same
// convention as status_t, so the value passes through unchanged; the name of the failed call
// goes to standard error.

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include "support/Status.h"

struct AVCodecContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct AVFrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct AVPacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct SwsContextDeleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
struct SwrContextDeleter {
    void operator()(SwrContext* context) const { swr_free(&context); }
};
struct AVAudioFifoDeleter {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};
// An output context. Its file (pb) is not its own: MediaFile's OutputFile owns it.
struct AVOutputContextDeleter {
    void operator()(AVFormatContext* context) const {
        context->pb = nullptr;
        avformat_free_context(context);
    }
};

using CodecContextPtr = std::unique_ptr<AVCodecContext, AVCodecContextDeleter>;
using FramePtr = std::unique_ptr<AVFrame, AVFrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, AVPacketDeleter>;
using SwsContextPtr = std::unique_ptr<SwsContext, SwsContextDeleter>;
using SwrContextPtr = std::unique_ptr<SwrContext, SwrContextDeleter>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, AVAudioFifoDeleter>;
using OutputContextPtr = std::unique_ptr<AVFormatContext, AVOutputContextDeleter>;

// Sends FFmpeg's own messages (av_log) to Tavro's debug log instead of standard error. Once per
// process; every use of FFmpeg goes through the file format registry, which calls it.
void routeFFmpegLog();

// Returns `error` as a status; a negative one is logged with the call that returned it.
status_t avStatus(const char* call, int error);
