#include "tests/media/file/MovieReader.h"

#include <unistd.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

const StreamSummary* MovieSummary::Video() const {
    for (const StreamSummary& stream : streams) {
        if (stream.video)
            return &stream;
    }
    return nullptr;
}

const StreamSummary* MovieSummary::Audio() const {
    // Not every other stream is sound: a DVD's navigation packets come first.
    for (const StreamSummary& stream : streams) {
        if (!stream.video && stream.sampleRate > 0)
            return &stream;
    }
    return nullptr;
}

namespace {

struct Decoder {
    AVCodecContext* context = nullptr;
    AVStream* stream = nullptr;
    StreamSummary* summary = nullptr;
    double lastPictureTime = -1e9;  // seconds
    ~Decoder() { avcodec_free_context(&context); }
};

void keepPicture(const AVFrame* frame, MovieSummary* movie) {
    SwsContext* scaler = sws_getContext(frame->width, frame->height, AVPixelFormat(frame->format),
                                        frame->width, frame->height, AV_PIX_FMT_RGB24,
                                        SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    if (scaler == nullptr)
        return;
    std::vector<uint8> rgb(size_t(frame->width) * frame->height * 3);
    uint8* planes[4] = {rgb.data(), nullptr, nullptr, nullptr};
    int strides[4] = {frame->width * 3, 0, 0, 0};
    sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, planes, strides);
    sws_freeContext(scaler);
    movie->pictures.push_back(std::move(rgb));
}

void receive(Decoder& decoder, AVFrame* frame, MovieSummary* movie, int keepPictures) {
    while (true) {
        int error = avcodec_receive_frame(decoder.context, frame);
        if (error == AVERROR(EAGAIN) || error == AVERROR_EOF)
            return;
        if (error < 0) {
            decoder.summary->decodeErrors++;
            return;
        }
        if (frame->decode_error_flags != 0)
            decoder.summary->decodeErrors++;
        AVRational base = decoder.stream->time_base;
        int64_t start = frame->best_effort_timestamp;
        double end = 0;
        if (decoder.summary->video) {
            decoder.summary->frames++;
            if (int(movie->pictures.size()) < keepPictures)
                keepPicture(frame, movie);
            double period = frame->pkt_duration > 0 ? frame->pkt_duration * av_q2d(base)
                            : decoder.stream->avg_frame_rate.num > 0
                                ? 1 / av_q2d(decoder.stream->avg_frame_rate)
                                : 0;
            end = (start != AV_NOPTS_VALUE ? start * av_q2d(base) : 0) + period;
            // A picture shown less than half a period after the one before it (or without a
            // time) is one a player drops or shows at the wrong moment.
            const double time = start != AV_NOPTS_VALUE ? start * av_q2d(base) : -1e9;
            if (start == AV_NOPTS_VALUE || time - decoder.lastPictureTime < period / 2)
                decoder.summary->timeFaults++;
            decoder.lastPictureTime = time;
        } else {
            decoder.summary->samples += frame->nb_samples;
            end = (start != AV_NOPTS_VALUE ? start * av_q2d(base) : 0) +
                  double(frame->nb_samples) / frame->sample_rate;
        }
        decoder.summary->endSeconds = std::max(decoder.summary->endSeconds, end);
        av_frame_unref(frame);
    }
}

}  // namespace

MovieSummary readMovie(const std::string& path, int keepPictures) {
    MovieSummary movie;
    AVFormatContext* context = nullptr;
    movie.openError = avformat_open_input(&context, path.c_str(), nullptr, nullptr);
    if (movie.openError < 0)
        return movie;
    movie.openError = avformat_find_stream_info(context, nullptr);
    if (movie.openError < 0) {
        avformat_close_input(&context);
        return movie;
    }
    movie.streams.resize(context->nb_streams);
    std::vector<std::unique_ptr<Decoder>> decoders;
    for (unsigned i = 0; i < context->nb_streams; i++) {
        auto decoder = std::make_unique<Decoder>();
        AVStream* stream = context->streams[i];
        const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
        decoder->stream = stream;
        decoder->summary = &movie.streams[i];
        decoder->summary->video = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        decoder->summary->width = stream->codecpar->width;
        decoder->summary->height = stream->codecpar->height;
        decoder->summary->sampleRate = stream->codecpar->sample_rate;
        decoder->summary->channels = stream->codecpar->ch_layout.nb_channels;
        if (codec != nullptr) {
            decoder->summary->codec = codec->name;
            decoder->context = avcodec_alloc_context3(codec);
            avcodec_parameters_to_context(decoder->context, stream->codecpar);
            decoder->context->pkt_timebase = stream->time_base;
            if (avcodec_open2(decoder->context, codec, nullptr) < 0)
                avcodec_free_context(&decoder->context);
        }
        decoders.push_back(std::move(decoder));
    }

    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    while (av_read_frame(context, packet) >= 0) {
        Decoder& decoder = *decoders[packet->stream_index];
        if (decoder.context != nullptr) {
            if (packet->flags & AV_PKT_FLAG_KEY)
                decoder.summary->keyFrames++;
            if (avcodec_send_packet(decoder.context, packet) < 0)
                decoder.summary->decodeErrors++;
            receive(decoder, frame, &movie, keepPictures);
        }
        av_packet_unref(packet);
    }
    for (auto& decoder : decoders) {
        if (decoder->context != nullptr) {
            avcodec_send_packet(decoder->context, nullptr);
            receive(*decoder, frame, &movie, keepPictures);
        }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avformat_close_input(&context);
    return movie;
}

const Rgb kBarColours[4] = {{200, 30, 40}, {40, 190, 60}, {30, 50, 210}, {128, 128, 128}};

namespace {

void toYCbCr(Rgb c, uint8* y, uint8* cb, uint8* cr) {
    *y = uint8(std::lround(16 + (65.738 * c.r + 129.057 * c.g + 25.064 * c.b) / 256));
    *cb = uint8(std::lround(128 + (-37.945 * c.r - 74.494 * c.g + 112.439 * c.b) / 256));
    *cr = uint8(std::lround(128 + (112.439 * c.r - 94.154 * c.g - 18.285 * c.b) / 256));
}

int gray(Rgb c) {
    return int(std::lround(0.299 * c.r + 0.587 * c.g + 0.114 * c.b));
}

}  // namespace

Rgb expectedBarColour(color_space space, int bar) {
    Rgb c = kBarColours[bar];
    auto expand = [](int value, int bits) {
        int kept = value >> (8 - bits);
        return (kept << (8 - bits)) | (kept >> (2 * bits - 8));
    };
    switch (space) {
        case B_RGB16:
            return {expand(c.r, 5), expand(c.g, 6), expand(c.b, 5)};
        case B_RGB15:
            return {expand(c.r, 5), expand(c.g, 5), expand(c.b, 5)};
        case B_GRAY8:
            return {gray(c), gray(c), gray(c)};
        default:
            return c;
    }
}

std::vector<uint8> barsPicture(color_space space, int width, int height) {
    size_t stride = bytesPerRow(space, uint32(width));
    std::vector<uint8> picture(stride * height);
    for (int y = 0; y < height; y++) {
        uint8* row = picture.data() + stride * y;
        for (int x = 0; x < width; x++) {
            Rgb c = kBarColours[x * 4 / width];
            uint8 luma, cb, cr;
            toYCbCr(c, &luma, &cb, &cr);
            switch (space) {
                case B_RGB32:
                    row[x * 4] = uint8(c.b), row[x * 4 + 1] = uint8(c.g);
                    row[x * 4 + 2] = uint8(c.r), row[x * 4 + 3] = 0;
                    break;
                case B_RGB24:
                    row[x * 3] = uint8(c.b), row[x * 3 + 1] = uint8(c.g),
                            row[x * 3 + 2] = uint8(c.r);
                    break;
                case B_RGB16: {
                    uint16 v = uint16(((c.r >> 3) << 11) | ((c.g >> 2) << 5) | (c.b >> 3));
                    row[x * 2] = uint8(v), row[x * 2 + 1] = uint8(v >> 8);
                    break;
                }
                case B_RGB15: {
                    uint16 v = uint16(((c.r >> 3) << 10) | ((c.g >> 3) << 5) | (c.b >> 3));
                    row[x * 2] = uint8(v), row[x * 2 + 1] = uint8(v >> 8);
                    break;
                }
                case B_YCbCr422:
                    row[x * 2] = luma;
                    row[x * 2 + 1] = x % 2 == 0 ? cb : cr;
                    break;
                case B_YCbCr411: {
                    static constexpr int kLuma[8] = {1, 3, 5, 7, 8, 9, 10, 11};
                    uint8* group = row + (x / 8) * 12;
                    group[kLuma[x % 8]] = luma;
                    if (x % 4 == 0) {
                        group[(x % 8) / 4 * 4] = cb;
                        group[(x % 8) / 4 * 4 + 2] = cr;
                    }
                    break;
                }
                case B_GRAY8:
                    row[x] = uint8(gray(c));
                    break;
                default:
                    break;
            }
        }
    }
    return picture;
}

std::vector<uint8> texturedPicture(int width, int height, int frame) {
    std::vector<uint8> picture(size_t(width) * height * 4);
    // The same noise in every frame under moving gradients: busy, but no scene cut.
    uint32 seed = 12345u;
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            seed = seed * 1103515245u + 12345u;
            uint8 noise = uint8((seed >> 24) / 4);
            uint8* pixel = &picture[(size_t(y) * width + x) * 4];
            pixel[0] = uint8((x * 2 + frame * 3) + noise);
            pixel[1] = uint8((y * 3 + x) + noise);
            pixel[2] = uint8((x ^ y) + frame + noise);
            pixel[3] = 0;
        }
    }
    return picture;
}

std::vector<int16> toneSamples(int64 first, int frames, int rate, int channels) {
    std::vector<int16> samples(size_t(frames) * channels);
    for (int i = 0; i < frames; i++) {
        double t = double(first + i) / rate;
        int16 value = int16(8000 * std::sin(2 * M_PI * 440 * t));
        for (int c = 0; c < channels; c++)
            samples[size_t(i) * channels + c] = value;
    }
    return samples;
}

media_format rawVideoFormat(color_space space, int width, int height, float rate) {
    media_format format;
    format.type = B_MEDIA_RAW_VIDEO;
    format.raw_video.field_rate = rate;
    format.raw_video.interlace = 1;
    format.raw_video.pixel_width_aspect = 1;
    format.raw_video.pixel_height_aspect = 1;
    format.raw_video.display.format = space;
    format.raw_video.display.line_width = uint32(width);
    format.raw_video.display.line_count = uint32(height);
    format.raw_video.display.bytes_per_row = bytesPerRow(space, uint32(width));
    return format;
}

media_format rawAudioFormat(int rate, int channels) {
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    format.raw_audio.frame_rate = float(rate);
    format.raw_audio.channel_count = uint32(channels);
    format.raw_audio.format = media_raw_audio_format::B_AUDIO_SHORT;
    format.raw_audio.byte_order = B_MEDIA_LITTLE_ENDIAN;
    return format;
}

std::string temporaryPath(const char* extension) {
    static int counter = 0;
    const char* directory = std::getenv("TMPDIR");
    std::string path = directory != nullptr ? directory : "/tmp";
    path += "/tavro-file-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++) + "." +
            extension;
    return path;
}

std::string ffmpegDecodeErrors(const std::string& path) {
    return ffmpegDecodeErrors(std::vector<std::string>{path});
}

std::string ffmpegDecodeErrors(const std::vector<std::string>& paths) {
    // The paths go to the shell in single quotes; one inside is closed, escaped and reopened.
    std::string inputs;
    std::string maps;
    for (size_t i = 0; i < paths.size(); i++) {
        inputs += " -i '";
        for (char c : paths[i])
            inputs += c == '\'' ? std::string("'\\''") : std::string(1, c);
        inputs += "'";
        maps += " -map " + std::to_string(i);
    }
    const std::string command = "ffmpeg -nostdin -hide_banner -v error" + inputs + maps +
                                " -f null - 2>&1; echo \"exit $?\"";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return "ffmpeg did not run";
    std::string output;
    char chunk[4096];
    while (size_t got = fread(chunk, 1, sizeof(chunk), pipe))
        output.append(chunk, got);
    pclose(pipe);
    // The last line is the exit status: 0 and nothing else printed is a clean file.
    const std::string clean = "exit 0\n";
    if (output.size() >= clean.size() &&
        output.compare(output.size() - clean.size(), clean.size(), clean) == 0)
        output.erase(output.size() - clean.size());
    return output;
}
