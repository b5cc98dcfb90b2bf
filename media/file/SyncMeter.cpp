#include "media/file/SyncMeter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>

extern "C" {
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include "media/file/FFmpegOwners.h"
#include "media/testsignal/TestPicture.h"

namespace {

// A flash frame is white all over; the brightest part of the test picture (its bars) covers
// well under this share of it.
constexpr double kFlashShare = 0.9;
constexpr int kWhite = 190;
// The tone stays at a quarter of full scale; its clicks go near full scale.
constexpr int kClickLevel = 20000;
// Clicks come once a second: a click closer than this to the one before is the same click.
constexpr double kClickGap = 0.5;
// A click belongs to the flash nearest to it, if closer than this.
constexpr double kPairWindow = 0.5;

struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

// One picture in file order: its time and its counter (kFlash, kUnread or the value).
struct Picture {
    double time;
    int64 counter;
};
constexpr int64 kFlash = -1;
constexpr int64 kUnread = -2;

struct Decoder {
    CodecContextPtr context;
    AVStream* stream = nullptr;
};

status_t openDecoder(AVFormatContext* input, AVMediaType type, Decoder* decoder) {
    const AVCodec* codec = nullptr;
    const int index = av_find_best_stream(input, type, -1, -1, &codec, 0);
    if (index < 0 || codec == nullptr)
        return B_MEDIA_BAD_FORMAT;
    decoder->stream = input->streams[index];
    decoder->context.reset(avcodec_alloc_context3(codec));
    if (!decoder->context)
        return B_NO_MEMORY;
    int error = avcodec_parameters_to_context(decoder->context.get(), decoder->stream->codecpar);
    if (error < 0)
        return avStatus("avcodec_parameters_to_context", error);
    decoder->context->pkt_timebase = decoder->stream->time_base;
    if ((error = avcodec_open2(decoder->context.get(), codec, nullptr)) < 0)
        return avStatus("avcodec_open2", error);
    return B_OK;
}

double frameTime(const AVFrame* frame, const AVStream* stream) {
    const int64_t pts = frame->best_effort_timestamp;
    return pts == AV_NOPTS_VALUE ? 0 : double(pts) * av_q2d(stream->time_base);
}

class Analysis {
public:
    void Picture(const AVFrame* frame, double time);
    void Sound(const AVFrame* frame, double time);
    void Finish(SyncReport* report);

private:
    std::vector<::Picture> fPictures;
    std::vector<double> fClicks;
    SwsContextPtr fScaler;
    std::vector<uint8> fRgb;
    SwrContextPtr fResampler;
    int fResamplerFormat = -1;
    std::vector<int16> fSamples;
};

void Analysis::Picture(const AVFrame* frame, double time) {
    const int width = frame->width;
    const int height = frame->height;
    fScaler.reset(sws_getCachedContext(fScaler.release(), width, height,
                                       AVPixelFormat(frame->format), width, height, AV_PIX_FMT_BGR0,
                                       SWS_POINT, nullptr, nullptr, nullptr));
    if (!fScaler) {
        fPictures.push_back({time, kUnread});
        return;
    }
    const int rowBytes = width * 4;
    fRgb.resize(size_t(rowBytes) * size_t(height));
    uint8* planes[4] = {fRgb.data(), nullptr, nullptr, nullptr};
    int strides[4] = {rowBytes, 0, 0, 0};
    sws_scale(fScaler.get(), frame->data, frame->linesize, 0, height, planes, strides);

    int64 white = 0;
    int64 looked = 0;
    for (int y = 0; y < height; y += 4) {
        const uint8* row = fRgb.data() + size_t(y) * size_t(rowBytes);
        for (int x = 0; x < width; x += 4, looked++) {
            const uint8* pixel = row + x * 4;
            if (pixel[0] > kWhite && pixel[1] > kWhite && pixel[2] > kWhite)
                white++;
        }
    }
    if (looked > 0 && double(white) >= kFlashShare * double(looked)) {
        fPictures.push_back({time, kFlash});
        return;
    }
    int64 counter = 0;
    if (TestPicture::ReadCounter(fRgb.data(), uint32(width), uint32(height), uint32(rowBytes),
                                 &counter) != B_OK)
        counter = kUnread;
    fPictures.push_back({time, counter});
}

void Analysis::Sound(const AVFrame* frame, double time) {
    // The first channel as 16-bit samples at the stream's own rate.
    if (!fResampler || fResamplerFormat != frame->format) {
        AVChannelLayout mono;
        av_channel_layout_default(&mono, 1);
        AVChannelLayout layout{};
        if (av_channel_layout_copy(&layout, &frame->ch_layout) < 0 ||
            !av_channel_layout_check(&layout))
            av_channel_layout_default(&layout, frame->ch_layout.nb_channels);
        SwrContext* resampler = nullptr;
        swr_alloc_set_opts2(&resampler, &mono, AV_SAMPLE_FMT_S16, frame->sample_rate, &layout,
                            AVSampleFormat(frame->format), frame->sample_rate, 0, nullptr);
        av_channel_layout_uninit(&layout);
        // Keep the first channel as it is rather than mix it with the others.
        if (resampler != nullptr && frame->ch_layout.nb_channels > 1) {
            std::vector<double> matrix(size_t(frame->ch_layout.nb_channels), 0.0);
            matrix[0] = 1.0;
            swr_set_matrix(resampler, matrix.data(), 1);
        }
        fResampler.reset(resampler);
        fResamplerFormat = frame->format;
        if (!fResampler || swr_init(fResampler.get()) < 0) {
            fResampler.reset();
            return;
        }
    }
    fSamples.resize(size_t(frame->nb_samples) + 64);
    uint8* out[1] = {reinterpret_cast<uint8*>(fSamples.data())};
    const int count =
        swr_convert(fResampler.get(), out, int(fSamples.size()),
                    const_cast<const uint8**>(frame->extended_data), frame->nb_samples);
    for (int i = 0; i < count; i++) {
        if (std::abs(int(fSamples[size_t(i)])) < kClickLevel)
            continue;
        const double at = time + double(i) / frame->sample_rate;
        if (fClicks.empty() || at - fClicks.back() >= kClickGap)
            fClicks.push_back(at);
    }
}

void Analysis::Finish(SyncReport* report) {
    *report = SyncReport();
    if (fPictures.empty())
        return;
    std::stable_sort(fPictures.begin(), fPictures.end(),
                     [](const ::Picture& a, const ::Picture& b) { return a.time < b.time; });
    const double first = fPictures.front().time;
    std::map<int64, SyncSecond> seconds;
    auto secondOf = [&](double time) -> SyncSecond& {
        const int64 second = int64(std::floor(time - first));
        SyncSecond& entry = seconds[second];
        entry.second = second;
        return entry;
    };

    // The counter's step between frames: 1, or the frame divisor of the recording.
    std::map<int64, int64> steps;
    int64 previous = kUnread;
    for (const ::Picture& picture : fPictures) {
        if (picture.counter >= 0 && previous >= 0 && picture.counter > previous)
            steps[picture.counter - previous]++;
        previous = picture.counter;
    }
    int64 step = 1;
    int64 mostSeen = 0;
    for (const auto& [each, seen] : steps) {
        if (seen > mostSeen) {
            step = each;
            mostSeen = seen;
        }
    }

    int64 last = kUnread;  // the last counter read
    int64 between = 0;     // pictures since it whose counter is not known
    for (const ::Picture& picture : fPictures) {
        secondOf(picture.time);
        report->frames++;
        if (picture.counter == kFlash) {
            report->flashes++;
            between++;
            continue;
        }
        if (picture.counter == kUnread) {
            report->unreadable++;
            between++;
            continue;
        }
        if (last >= 0) {
            SyncSecond& entry = secondOf(picture.time);
            if (picture.counter <= last && between == 0) {
                entry.framesRepeated++;
            } else if (picture.counter > last) {
                const int64 missing = (picture.counter - last) / step - 1 - between;
                if (missing > 0)
                    entry.framesMissing += missing;
            }
        }
        last = picture.counter;
        between = 0;
    }

    report->clicks = int64(fClicks.size());
    for (const ::Picture& picture : fPictures) {
        if (picture.counter != kFlash || fClicks.empty())
            continue;
        auto nearest = std::min_element(fClicks.begin(), fClicks.end(), [&](double a, double b) {
            return std::fabs(a - picture.time) < std::fabs(b - picture.time);
        });
        if (std::fabs(*nearest - picture.time) > kPairWindow)
            continue;
        SyncSecond& entry = secondOf(picture.time);
        entry.hasOffset = true;
        entry.offsetMs = (*nearest - picture.time) * 1000.0;
        if (!report->measured)
            report->firstOffsetMs = entry.offsetMs;
        report->measured = true;
        report->lastOffsetMs = entry.offsetMs;
        report->maxAbsOffsetMs = std::max(report->maxAbsOffsetMs, std::fabs(entry.offsetMs));
    }
    for (auto& [second, entry] : seconds) {
        report->framesMissing += entry.framesMissing;
        report->framesRepeated += entry.framesRepeated;
        report->seconds.push_back(entry);
    }
}

void drain(Decoder& decoder, AVFrame* frame, Analysis& analysis, bool video) {
    while (avcodec_receive_frame(decoder.context.get(), frame) >= 0) {
        const double time = frameTime(frame, decoder.stream);
        if (video)
            analysis.Picture(frame, time);
        else
            analysis.Sound(frame, time);
        av_frame_unref(frame);
    }
}

}  // namespace

bool SyncReport::InSync(double limitMs) const {
    return measured && maxAbsOffsetMs <= limitMs && framesMissing == 0 && framesRepeated == 0;
}

status_t MeasureSync(const char* path, SyncReport* report) {
    *report = SyncReport();
    AVFormatContext* raw = nullptr;
    int error = avformat_open_input(&raw, path, nullptr, nullptr);
    if (error < 0)
        return avStatus("avformat_open_input", error);
    std::unique_ptr<AVFormatContext, InputCloser> input(raw);
    if ((error = avformat_find_stream_info(input.get(), nullptr)) < 0)
        return avStatus("avformat_find_stream_info", error);
    Decoder video;
    if (status_t status = openDecoder(input.get(), AVMEDIA_TYPE_VIDEO, &video); status != B_OK)
        return status;
    Decoder audio;
    const bool hasAudio = openDecoder(input.get(), AVMEDIA_TYPE_AUDIO, &audio) == B_OK;

    Analysis analysis;
    PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    if (!packet || !frame)
        return B_NO_MEMORY;
    while ((error = av_read_frame(input.get(), packet.get())) >= 0) {
        if (packet->stream_index == video.stream->index) {
            if (avcodec_send_packet(video.context.get(), packet.get()) >= 0)
                drain(video, frame.get(), analysis, true);
        } else if (hasAudio && packet->stream_index == audio.stream->index) {
            if (avcodec_send_packet(audio.context.get(), packet.get()) >= 0)
                drain(audio, frame.get(), analysis, false);
        }
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(video.context.get(), nullptr);
    drain(video, frame.get(), analysis, true);
    if (hasAudio) {
        avcodec_send_packet(audio.context.get(), nullptr);
        drain(audio, frame.get(), analysis, false);
    }
    analysis.Finish(report);
    return B_OK;
}

std::string FormatSyncReport(const SyncReport& report) {
    std::string text = "second  offset ms  missing  repeated\n";
    char line[160];
    for (const SyncSecond& second : report.seconds) {
        char offset[32] = "-";
        if (second.hasOffset)
            std::snprintf(offset, sizeof offset, "%+.1f", second.offsetMs);
        std::snprintf(line, sizeof line, "%6lld  %9s  %7lld  %8lld\n", (long long)second.second,
                      offset, (long long)second.framesMissing, (long long)second.framesRepeated);
        text += line;
    }
    if (!report.measured) {
        std::snprintf(line, sizeof line,
                      "verdict: cannot measure: %lld flashes and %lld clicks of the test signal "
                      "found in %lld frames\n",
                      (long long)report.flashes, (long long)report.clicks,
                      (long long)report.frames);
        return text + line;
    }
    std::snprintf(line, sizeof line,
                  "verdict: %s: offset %+.1f ms at the start, %+.1f ms at the end, at most "
                  "%.1f ms; %lld frames, %lld missing, %lld repeated\n",
                  report.InSync() ? "in sync" : "OUT OF SYNC", report.firstOffsetMs,
                  report.lastOffsetMs, report.maxAbsOffsetMs, (long long)report.frames,
                  (long long)report.framesMissing, (long long)report.framesRepeated);
    return text + line;
}
