#include "media/file/MediaTrack.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include "media/file/AudioConverter.h"
#include "media/file/EncoderParameters.h"
#include "media/file/EncoderQuality.h"
#include "media/file/MediaFile.h"
#include "media/file/VideoConverter.h"
#include "support/Clock.h"

namespace {

constexpr AVRational kMicroseconds = {1, 1000000};
// A connection that leaves the rate open records at the PAL rate.
constexpr float kDefaultFieldRate = 25.0f;
// How far an audio block's time may lie from where the track's sound has got to before the
// track moves it there (µs): more than capture jitter, well under what is seen as out of sync.
constexpr bigtime_t kAudioPlacementTolerance = 10000;

bool isMuxer(const AVOutputFormat* muxer, std::string_view names) {
    // `names` is a comma-separated list.
    while (!names.empty()) {
        size_t comma = names.find(',');
        if (names.substr(0, comma) == muxer->name)
            return true;
        if (comma == std::string_view::npos)
            break;
        names.remove_prefix(comma + 1);
    }
    return false;
}

// rawvideo keeps the captured layout where the container stores it so that players read it:
// FFmpeg writes RGB32's padding byte (bgr0) into avi and mov as a 24-bit stream, avi has no
// tag for 5-6-5, matroska stores no raw RGB (nor 4:4:4) at all, mov none for planar 4:1:1.
AVPixelFormat rawPixelFormat(color_space space, const AVOutputFormat* muxer) {
    AVPixelFormat native = pixelFormatFor(space);
    if (native == AV_PIX_FMT_BGR0)
        native = AV_PIX_FMT_BGRA;
    bool rgb = native == AV_PIX_FMT_BGRA || native == AV_PIX_FMT_BGR24 ||
               native == AV_PIX_FMT_RGB565LE || native == AV_PIX_FMT_RGB555LE;
    if (isMuxer(muxer, "matroska,webm") && rgb)
        return AV_PIX_FMT_YUV422P;
    if (isMuxer(muxer, "avi") && native == AV_PIX_FMT_RGB565LE)
        return AV_PIX_FMT_BGR24;
    if (isMuxer(muxer, "mov") && native == AV_PIX_FMT_YUV411P)
        return AV_PIX_FMT_YUYV422;
    return native;
}

bool takes(const AVPixelFormat* list, AVPixelFormat format) {
    for (; list != nullptr && *list != AV_PIX_FMT_NONE; list++) {
        if (*list == format)
            return true;
    }
    return false;
}

// The encoder's pixel format for a source: the source's own when the encoder takes it; for
// lossy encoders 4:2:0 (what players expect; full range for JPEG, whose limited range is
// non-standard); else FFmpeg's least lossy choice.
AVPixelFormat encoderPixelFormat(const AVCodec* codec, AVPixelFormat source) {
    const AVPixelFormat* list = codec->pix_fmts;
    AVPixelFormat direct =
        source == AV_PIX_FMT_BGR0 && !takes(list, source) && takes(list, AV_PIX_FMT_BGRA)
            ? AV_PIX_FMT_BGRA
            : source;
    if (takes(list, direct))
        return direct;
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec->id);
    // H.264 and others are both: only purely lossless encoders keep the full colour.
    bool lossless = descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_LOSSLESS) &&
                    !(descriptor->props & AV_CODEC_PROP_LOSSY);
    bool jpeg = codec->id == AV_CODEC_ID_MJPEG || codec->id == AV_CODEC_ID_AMV;
    if (!lossless && jpeg && takes(list, AV_PIX_FMT_YUVJ420P))
        return AV_PIX_FMT_YUVJ420P;
    if (!lossless && takes(list, AV_PIX_FMT_YUV420P))
        return AV_PIX_FMT_YUV420P;
    std::vector<AVPixelFormat> writable;
    for (; list != nullptr && *list != AV_PIX_FMT_NONE; list++) {
        if (sws_isSupportedOutput(*list))
            writable.push_back(*list);
    }
    writable.push_back(AV_PIX_FMT_NONE);
    return avcodec_find_best_pix_fmt_of_list(writable.data(), source, 0, nullptr);
}

AVSampleFormat encoderSampleFormat(const AVCodec* codec) {
    const AVSampleFormat* list = codec->sample_fmts;
    for (const AVSampleFormat* format = list; *format != AV_SAMPLE_FMT_NONE; format++) {
        if (*format == AV_SAMPLE_FMT_S16)
            return *format;
    }
    return list[0];
}

// Telephone codecs: mono at one rate only, which they check when they open without listing
// either.
struct TelephoneCodec {
    std::string_view encoder;
    int rate;
};
constexpr TelephoneCodec kTelephoneCodecs[] = {
    {"g723_1", 8000},          {"g726", 8000},    {"g726le", 8000}, {"libgsm", 8000},
    {"libgsm_ms", 8000},       {"libilbc", 8000}, {"g722", 16000},  {"libopencore_amrnb", 8000},
    {"libvo_amrwbenc", 16000},
};

const TelephoneCodec* telephoneCodec(const AVCodec* codec) {
    for (const TelephoneCodec& each : kTelephoneCodecs) {
        if (each.encoder == codec->name)
            return &each;
    }
    return nullptr;
}

int encoderSampleRate(const AVCodec* codec, int wanted) {
    if (const TelephoneCodec* telephone = telephoneCodec(codec))
        return telephone->rate;
    if (codec->supported_samplerates == nullptr)
        return wanted;
    int best = 0;
    for (const int* rate = codec->supported_samplerates; *rate != 0; rate++) {
        if (*rate == wanted)
            return wanted;
        if (best == 0 || std::abs(*rate - wanted) < std::abs(best - wanted))
            best = *rate;
    }
    return best;
}

// The layout of `channels`, refused when the encoder lists its layouts and not that one; a
// telephone codec gets mono, which the converter mixes the input down to.
status_t chooseLayout(const AVCodec* codec, int channels, AVChannelLayout* layout) {
    av_channel_layout_uninit(layout);
    av_channel_layout_default(layout, telephoneCodec(codec) != nullptr ? 1 : channels);
    if (codec->ch_layouts == nullptr)
        return B_OK;
    for (const AVChannelLayout* each = codec->ch_layouts; each->nb_channels != 0; each++) {
        if (av_channel_layout_compare(each, layout) == 0)
            return B_OK;
    }
    return B_MEDIA_BAD_FORMAT;
}

// Every option of an encoder context that is not open yet, its private ones included, as one
// string: two contexts with the same string open the same encoder. Empty when one cannot be
// read.
std::string encoderSettings(AVCodecContext* context) {
    std::string settings;
    // An encoder's private data holds options only where it has a class for them.
    void* options = context->codec->priv_class != nullptr ? context->priv_data : nullptr;
    for (void* object : {static_cast<void*>(context), options}) {
        if (object == nullptr)
            continue;
        char* text = nullptr;
        if (av_opt_serialize(object, 0, 0, &text, '=', ';') < 0 || text == nullptr) {
            av_free(text);
            return {};
        }
        settings += text;
        settings += '|';
        av_free(text);
    }
    char geometry[96];
    std::snprintf(geometry, sizeof(geometry), "%d/%d %d/%d %dx%d", context->time_base.num,
                  context->time_base.den, context->framerate.num, context->framerate.den,
                  context->width, context->height);
    return settings + geometry;
}

}  // namespace

MediaTrack::MediaTrack(MediaFile* file, const media_format& input, const media_codec_info& info)
    : fFile(file), fInput(input), fInfo(info) {}

MediaTrack::~MediaTrack() = default;

status_t MediaTrack::Init(const AVCodec* codec, const AVOutputFormat* muxer) {
    fContext.reset(avcodec_alloc_context3(codec));
    fFrame.reset(av_frame_alloc());
    fPacket.reset(av_packet_alloc());
    if (!fContext || !fFrame || !fPacket)
        return B_NO_MEMORY;
    applyEncoderDefaults(fContext.get());
    status_t status;
    if (codec->type == AVMEDIA_TYPE_VIDEO && fInput.type == B_MEDIA_RAW_VIDEO)
        status = InitVideo(codec, muxer);
    else if (codec->type == AVMEDIA_TYPE_AUDIO && fInput.type == B_MEDIA_RAW_AUDIO)
        status = InitAudio(codec);
    else
        status = B_MEDIA_BAD_FORMAT;
    if (status != B_OK)
        return status;
    if (muxer->flags & AVFMT_GLOBALHEADER)
        fContext->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

    // Whether the encoder takes this input at all (sizes, rates, layouts) shows only when it
    // opens: open a copy, so that the track itself stays open to settings. Open uses that copy
    // when the settings have not changed since, instead of opening the encoder a second time.
    CodecContextPtr trial(avcodec_alloc_context3(codec));
    if (!trial)
        return B_NO_MEMORY;
    AVCodecParameters* parameters = avcodec_parameters_alloc();
    int error = parameters != nullptr ? avcodec_parameters_from_context(parameters, fContext.get())
                                      : AVERROR(ENOMEM);
    if (error >= 0)
        error = avcodec_parameters_to_context(trial.get(), parameters);
    avcodec_parameters_free(&parameters);
    if (error < 0)
        return avStatus("avcodec_parameters_to_context", error);
    if ((error = av_opt_copy(trial.get(), fContext.get())) < 0 ||
        (codec->priv_class != nullptr && trial->priv_data != nullptr &&
         (error = av_opt_copy(trial->priv_data, fContext->priv_data)) < 0))
        return avStatus("av_opt_copy", error);
    trial->time_base = fContext->time_base;
    trial->framerate = fContext->framerate;
    std::string settings = encoderSettings(trial.get());
    if ((error = avcodec_open2(trial.get(), codec, nullptr)) < 0)
        return avStatus("avcodec_open2", error);
    if (!settings.empty()) {
        fTrial = std::move(trial);
        fTrialSettings = std::move(settings);
    }

    fParameters = std::make_unique<EncoderParameters>(fContext.get(), this);
    return B_OK;
}

status_t MediaTrack::InitVideo(const AVCodec* codec, const AVOutputFormat* muxer) {
    media_raw_video_format& raw = fInput.raw_video;
    if (raw.display.bytes_per_row == 0)
        raw.display.bytes_per_row = bytesPerRow(raw.display.format, raw.display.line_width);
    float rate = raw.field_rate >= 1.0f ? raw.field_rate : kDefaultFieldRate;
    raw.field_rate = rate;
    AVPixelFormat source = pixelFormatFor(raw.display.format);
    if (source == AV_PIX_FMT_NONE)
        return B_MEDIA_BAD_FORMAT;
    AVPixelFormat target = codec->id == AV_CODEC_ID_RAWVIDEO
                               ? rawPixelFormat(raw.display.format, muxer)
                               : encoderPixelFormat(codec, source);
    if (target == AV_PIX_FMT_NONE)
        return B_MEDIA_BAD_FORMAT;

    fVideo = std::make_unique<VideoConverter>();
    if (status_t status = fVideo->Init(raw, target); status != B_OK)
        return status;

    // Time base 1/rate (1001/30000 for NTSC): mpeg4 takes no denominator above 65535.
    AVRational frameRate = av_d2q(rate, 65535);
    fContext->width = int(raw.display.line_width);
    fContext->height = int(raw.display.line_count);
    fContext->pix_fmt = target;
    fContext->framerate = frameRate;
    fContext->time_base = av_inv_q(frameRate);
    fContext->sample_aspect_ratio =
        raw.pixel_width_aspect != 0 && raw.pixel_height_aspect != 0
            ? AVRational{raw.pixel_width_aspect, raw.pixel_height_aspect}
            : AVRational{1, 1};
    // AVI keeps no decoding delay: an encoder that reorders frames would put the whole picture
    // late by its delay (libx264's B-frames: 57 ms at 25 frames per second).
    if (muxer != nullptr && std::string_view(muxer->name) == "avi")
        fContext->max_b_frames = 0;
    limitEncoderDelay(fContext.get());
    if (target == AV_PIX_FMT_YUVJ420P || target == AV_PIX_FMT_YUVJ422P ||
        target == AV_PIX_FMT_YUVJ444P)
        fContext->color_range = AVCOL_RANGE_JPEG;

    fFrame->format = target;
    fFrame->width = fContext->width;
    fFrame->height = fContext->height;
    if (int error = av_frame_get_buffer(fFrame.get(), 0); error < 0)
        return avStatus("av_frame_get_buffer", error);
    return B_OK;
}

status_t MediaTrack::InitAudio(const AVCodec* codec) {
    media_raw_audio_format& raw = fInput.raw_audio;
    if (raw.format == 0)
        raw.format = media_raw_audio_format::B_AUDIO_SHORT;
    if (raw.format != media_raw_audio_format::B_AUDIO_SHORT || raw.channel_count < 1 ||
        raw.channel_count > 8 || !(raw.frame_rate >= 1000 && raw.frame_rate <= 384000))
        return B_MEDIA_BAD_FORMAT;
    raw.byte_order = B_MEDIA_LITTLE_ENDIAN;

    if (status_t status = chooseLayout(codec, int(raw.channel_count), &fContext->ch_layout);
        status != B_OK)
        return status;
    fContext->sample_fmt = encoderSampleFormat(codec);
    fContext->sample_rate = encoderSampleRate(codec, int(raw.frame_rate));
    fContext->time_base = AVRational{1, fContext->sample_rate};

    fAudio = std::make_unique<AudioConverter>();
    return fAudio->Init(int(raw.frame_rate), int(raw.channel_count), fContext.get());
}

status_t MediaTrack::SetQuality(float quality) {
    if (!(quality >= 0 && quality <= 1))
        return B_BAD_VALUE;
    if (fState != State::Created)
        return B_NOT_ALLOWED;
    fQuality = quality;
    // A quality changes the settings of every lossy encoder: the encoder opened at Init will
    // not do, and need not hold its memory until Open.
    if (quality > 0)
        fTrial.reset();
    return B_OK;
}

status_t MediaTrack::GetQuality(float* quality) const {
    if (quality == nullptr)
        return B_BAD_VALUE;
    *quality = fQuality;
    return B_OK;
}

ParameterWeb* MediaTrack::Web() const {
    return fParameters ? fParameters->Web() : nullptr;
}

std::unique_ptr<ParameterWeb> MediaTrack::NewWeb() const {
    return fParameters ? fParameters->NewWeb() : nullptr;
}

status_t MediaTrack::SetParameterValue(int32 id, const void* value, size_t size) {
    return SetParameterValue(id, system_time(), value, size);
}

status_t MediaTrack::GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) {
    if (!fParameters)
        return B_NO_INIT;
    return fParameters->Get(id, lastChange, value, size);
}

status_t MediaTrack::SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) {
    if (!fParameters)
        return B_NO_INIT;
    if (fState != State::Created)
        return B_NOT_ALLOWED;
    return fParameters->Set(id, when, value, size);
}

status_t MediaTrack::Open(AVStream* stream, bool globalHeader) {
    if (fState != State::Created)
        return B_NOT_ALLOWED;
    fStream = stream;
    if (globalHeader)
        fContext->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    fFrameQuality = applyEncoderQuality(fContext.get(), fQuality);
    if (fTrial && encoderSettings(fContext.get()) == fTrialSettings) {
        // The encoder opened at Init has these very settings: it becomes the track's. The
        // context the parameters read stays as it is.
        fSettings = std::move(fContext);
        fContext = std::move(fTrial);
    } else {
        fTrial.reset();
        if (int error = avcodec_open2(fContext.get(), fContext->codec, nullptr); error < 0)
            return avStatus("avcodec_open2", error);
    }
    if (int error = avcodec_parameters_from_context(stream->codecpar, fContext.get()); error < 0)
        return avStatus("avcodec_parameters_from_context", error);
    stream->time_base = fContext->time_base;
    stream->avg_frame_rate = fContext->framerate;
    stream->sample_aspect_ratio = fContext->sample_aspect_ratio;
    fState = State::Open;
    return B_OK;
}

status_t MediaTrack::WriteFrames(const void* data, int64 frameCount,
                                 const media_encode_info* info) {
    if (fState != State::Open)
        return B_NOT_ALLOWED;
    if (data == nullptr || frameCount < 0)
        return B_BAD_VALUE;
    media_encode_info none;
    const media_encode_info& encodeInfo = info != nullptr ? *info : none;
    if (fVideo)
        return WriteVideo(static_cast<const uint8*>(data), frameCount, encodeInfo, false);
    return WriteAudio(static_cast<const int16*>(data), frameCount, encodeInfo);
}

std::unique_ptr<VideoConverter> MediaTrack::NewPackedConverter() const {
    if (!fVideo || !fVideo->Scales())
        return nullptr;
    auto converter = std::make_unique<VideoConverter>();
    if (converter->Init(fInput.raw_video, fContext->pix_fmt) != B_OK)
        return nullptr;
    return converter;
}

status_t MediaTrack::WritePackedFrames(const void* data, int64 frameCount,
                                       const media_encode_info* info) {
    if (fState != State::Open)
        return B_NOT_ALLOWED;
    if (!fVideo || !fVideo->Scales())
        return B_MEDIA_BAD_FORMAT;
    if (data == nullptr || frameCount < 0)
        return B_BAD_VALUE;
    media_encode_info none;
    return WriteVideo(static_cast<const uint8*>(data), frameCount, info != nullptr ? *info : none,
                      true);
}

status_t MediaTrack::WriteVideo(const uint8* data, int64 frameCount, const media_encode_info& info,
                                bool packed) {
    const size_t frameBytes = packed ? fVideo->TargetFrameBytes() : fVideo->FrameBytes();
    int64_t pts = av_rescale_q_rnd(info.start_time, kMicroseconds, fContext->time_base,
                                   AVRounding(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
    for (int64 i = 0; i < frameCount; i++, pts++) {
        // Two frames closer than one period (capture jitter) cannot share a time stamp.
        if (fStarted && pts <= fNextPts)
            pts = fNextPts + 1;
        const uint8* frame = data + size_t(i) * frameBytes;
        if (status_t status = packed ? fVideo->CopyPacked(frame, fFrame.get())
                                     : fVideo->Convert(frame, fFrame.get());
            status != B_OK)
            return status;
        fFrame->pts = pts;
        fFrame->quality = fFrameQuality;
        fFrame->pict_type =
            (info.flags & B_MEDIA_KEY_FRAME) && i == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
        if (status_t status = Encode(fFrame.get()); status != B_OK)
            return status;
        fStarted = true;
        fNextPts = pts;
    }
    return B_OK;
}

status_t MediaTrack::WriteAudio(const int16* samples, int64 frameCount,
                                const media_encode_info& info) {
    const int64 rate = int64(fInput.raw_audio.frame_rate);
    const size_t channels = fInput.raw_audio.channel_count;
    bigtime_t start = info.start_time;
    if (!fStarted) {
        // Samples from before the recording's origin are left out.
        if (start < 0) {
            const int64 skip = (-start * rate + 999999) / 1000000;
            if (skip >= frameCount)
                return B_OK;
            samples += size_t(skip) * channels;
            frameCount -= skip;
            start += skip * 1000000 / rate;
        }
        // The track's samples follow each other from the first write's time on.
        fAudioOrigin = start;
        fInputFrames = 0;
        fNextPts = av_rescale_q(start, kMicroseconds, fContext->time_base);
        fStarted = true;
    } else {
        // Each block goes where its time says: a gap in the input (a lost period, an overrun)
        // is filled with silence, so the sound after it stays with its picture; a block that
        // overlaps what was written loses its overlap.
        const int64 due = (start - fAudioOrigin) * rate / 1000000;
        const int64 gap = due - fInputFrames;
        const int64 tolerance = kAudioPlacementTolerance * rate / 1000000;
        if (gap > tolerance) {
            if (status_t status = PushAudio(nullptr, gap); status != B_OK)
                return status;
        } else if (gap < -tolerance) {
            const int64 skip = std::min(-gap, frameCount);
            samples += size_t(skip) * channels;
            frameCount -= skip;
        }
    }
    return PushAudio(samples, frameCount);
}

// Appends `frameCount` frames of `samples` (nullptr: silence) to the track's sound.
status_t MediaTrack::PushAudio(const int16* samples, int64 frameCount) {
    const size_t channels = fInput.raw_audio.channel_count;
    constexpr int kChunk = 1 << 14;
    if (samples == nullptr && frameCount > 0)
        fSilence.assign(size_t(std::min<int64>(frameCount, kChunk)) * channels, 0);
    while (frameCount > 0) {
        const int chunk = int(std::min<int64>(frameCount, kChunk));
        if (status_t status = fAudio->Push(samples != nullptr ? samples : fSilence.data(), chunk);
            status != B_OK)
            return status;
        if (samples != nullptr)
            samples += size_t(chunk) * channels;
        frameCount -= chunk;
        fInputFrames += chunk;
        if (status_t status = SendAudio(false); status != B_OK)
            return status;
    }
    return B_OK;
}

// Sends whole encoder frames from the converter; `last` sends the remainder too, padded with
// silence for encoders that take only whole frames.
status_t MediaTrack::SendAudio(bool last) {
    const AVCodecContext* encoder = fContext.get();
    bool variable = encoder->frame_size == 0 ||
                    (encoder->codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
    int frameSize = encoder->frame_size > 0 ? encoder->frame_size : 4096;
    while (fAudio->Available() >= frameSize || (last && fAudio->Available() > 0)) {
        int count = std::min(fAudio->Available(), frameSize);
        bool smallLast = variable || (encoder->codec->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME);
        int padTo = count < frameSize && !smallLast ? frameSize : count;
        if (status_t status = fAudio->Pop(fFrame.get(), count, padTo); status != B_OK)
            return status;
        fFrame->pts = fNextPts;
        fNextPts += fFrame->nb_samples;
        if (status_t status = Encode(fFrame.get()); status != B_OK)
            return status;
    }
    return B_OK;
}

status_t MediaTrack::Encode(AVFrame* frame) {
    int error = avcodec_send_frame(fContext.get(), frame);
    if (error < 0)
        return avStatus("avcodec_send_frame", error);
    while (true) {
        error = avcodec_receive_packet(fContext.get(), fPacket.get());
        if (error == AVERROR(EAGAIN) || error == AVERROR_EOF)
            return B_OK;
        if (error < 0)
            return avStatus("avcodec_receive_packet", error);
        if (fPacket->duration == 0 && fVideo)
            fPacket->duration = 1;
        status_t status = fFile->WritePacket(fPacket.get(), fContext.get(), fStream);
        av_packet_unref(fPacket.get());
        if (status != B_OK)
            return status;
    }
}

status_t MediaTrack::Flush() {
    if (fState == State::Flushed)
        return B_OK;
    if (fState != State::Open)
        return B_NOT_ALLOWED;
    fState = State::Flushed;
    if (fAudio && fStarted) {
        if (status_t status = fAudio->Drain(); status != B_OK)
            return status;
        if (status_t status = SendAudio(true); status != B_OK)
            return status;
    }
    return Encode(nullptr);
}

status_t MediaTrack::EncodedFormat(media_format* format) const {
    if (format == nullptr)
        return B_BAD_VALUE;
    *format = media_format();
    bool raw = fInfo.output_type == B_MEDIA_RAW_VIDEO || fInfo.output_type == B_MEDIA_RAW_AUDIO;
    if (fVideo) {
        format->type = raw ? B_MEDIA_RAW_VIDEO : B_MEDIA_ENCODED_VIDEO;
        format->raw_video = fInput.raw_video;
    } else {
        format->type = raw ? B_MEDIA_RAW_AUDIO : B_MEDIA_ENCODED_AUDIO;
        format->raw_audio = fInput.raw_audio;
    }
    std::strncpy(format->encoding, fInfo.short_name.c_str(), sizeof(format->encoding) - 1);
    return B_OK;
}
