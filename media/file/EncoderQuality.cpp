#include "media/file/EncoderQuality.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

namespace {

constexpr std::string_view kFixedQuantiser[] = {
    "mpeg1video", "mpeg2video", "mpeg4", "msmpeg4v2", "msmpeg4", "h261", "h263",
    "h263p",      "flv",        "wmv1",  "wmv2",      "mjpeg",   "amv",  "libxvid",
};
constexpr std::string_view kBitRate[] = {
    "aac", "ac3", "eac3", "libopus", "libshine", "wmav1", "wmav2",
};
constexpr std::string_view kLayerTwo[] = {"mp2", "mp2fixed", "libtwolame"};

// kbit/s of MPEG-1 layer II, the rates its encoders accept at 32, 44.1 and 48 kHz.
constexpr int kLayerTwoRates[] = {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384};

bool isIn(std::string_view name, const auto& list) {
    return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

}  // namespace

int applyEncoderQuality(AVCodecContext* context, float quality) {
    if (!(quality > 0))
        return 0;
    quality = std::min(quality, 1.0f);
    std::string_view name = context->codec->name;
    int channels = std::max(context->ch_layout.nb_channels, 1);

    if (isIn(name, kFixedQuantiser)) {
        int qscale = std::clamp(int(31 - 30 * quality), 1, 31);
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = FF_QP2LAMBDA * qscale;
        context->qmin = std::min(context->qmin, qscale);
        context->qmax = std::max(context->qmax, qscale);
        return context->global_quality;
    }
    if (name == "libx264" || name == "libx264rgb" || name == "libx265") {
        av_opt_set_double(context->priv_data, "crf", 51.0 * (1.0 - quality), 0);
        return 0;
    }
    if (name == "libvpx" || name == "libvpx-vp9") {
        av_opt_set_int(context->priv_data, "crf", int(63 * (1 - quality)), 0);
        context->bit_rate = 0;
        return 0;
    }
    if (name == "libmp3lame") {
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = int(FF_QP2LAMBDA * 9 * (1 - quality));
        return 0;
    }
    if (name == "libvorbis") {
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = int(FF_QP2LAMBDA * 10 * quality);
        return 0;
    }
    int kbits = int(32 + 160 * quality) * channels;
    if (isIn(name, kBitRate)) {
        context->bit_rate = int64_t(kbits) * 1000;
        return 0;
    }
    if (isIn(name, kLayerTwo)) {
        int rate = kLayerTwoRates[0];
        for (int allowed : kLayerTwoRates) {
            if (allowed <= kbits)
                rate = allowed;
        }
        context->bit_rate = int64_t(rate) * 1000;
        return 0;
    }
    return 0;
}

void limitEncoderDelay(AVCodecContext* context) {
    const double rate = av_q2d(context->framerate);
    if (!(rate > 0) || context->priv_data == nullptr)
        return;
    // Frames of lookahead; B-frames and frame threads add a few more on top.
    const int frames = std::max(1, int(std::floor(rate * kMaxEncoderDelay / 2)));
    std::string_view name = context->codec->name;
    void* options = context->priv_data;
    if (name == "libx264" || name == "libx264rgb") {
        av_opt_set_int(options, "rc-lookahead", frames, 0);
    } else if (name == "libvpx" || name == "libvpx-vp9" || name == "libaom-av1") {
        av_opt_set_int(options, "lag-in-frames", frames, 0);
    } else if (name == "libx265") {
        const std::string params =
            "rc-lookahead=" + std::to_string(std::max(frames, 5)) + ":bframes=3:frame-threads=1";
        av_opt_set(options, "x265-params", params.c_str(), 0);
    }
}

void applyEncoderDefaults(AVCodecContext* context) {
    std::string_view name = context->codec->name;
    if (name == "dnxhd" && context->priv_data != nullptr)
        av_opt_set(context->priv_data, "profile", "dnxhr_hq", 0);
    // FFmpeg's general default of 128 kbit/s is no rate these take.
    else if (name == "g726" || name == "g726le")
        context->bit_rate = 32000;
    else if (name == "g723_1")
        context->bit_rate = 6300;
}
