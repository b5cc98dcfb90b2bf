// Encoding cost per frame through MediaTrack::WriteFrames for 720x576 RGB32 at 25 frames per
// second, beside the cost of the same encode by the ffmpeg command-line tool on the same
// pixels (written once to a raw file and read with -f rawvideo), measured in the same run.
// Both sides pay the conversion from RGB32; CPU time (user + system, all threads) is counted.
//
//   build-c/bench/bench_encode [frames]     (default 250: ten seconds of video)
//
// Not a Google Benchmark: the comparison needs one fixed encode per side, not a loop.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "bench/FfmpegTool.h"
#include "media/file/MediaFile.h"
#include "media/file/VideoConverter.h"

namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 576;
constexpr size_t kFrameBytes = size_t(kWidth) * kHeight * 4;
// Distinct pictures cycled through, so that the encoders see motion but generating the input
// stays out of the measurement.
constexpr int kPictures = 25;

double processSeconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + now.tv_nsec / 1e9;
}

std::vector<std::vector<uint8>> makePictures() {
    std::vector<std::vector<uint8>> pictures(kPictures, std::vector<uint8>(kFrameBytes));
    for (int i = 0; i < kPictures; i++) {
        uint32 seed = 99;
        uint8* pixel = pictures[i].data();
        for (int y = 0; y < kHeight; y++) {
            for (int x = 0; x < kWidth; x++, pixel += 4) {
                seed = seed * 1103515245u + 12345u;
                uint8 grain = uint8((seed >> 24) / 8);
                pixel[0] = uint8(x + i * 4 + grain);
                pixel[1] = uint8(y + i * 2 + grain);
                pixel[2] = uint8((x / 8) ^ (y / 8)) + grain;
                pixel[3] = 0;
            }
        }
    }
    return pictures;
}

struct Case {
    const char* encoder;
    const char* fileFormat;
    const char* extension;
    std::vector<std::string> ffmpegArguments;  // after the input
};

bool findFileFormat(const char* name, media_file_format* format) {
    int32 cookie = 0;
    while (get_next_file_format(&cookie, format) == B_OK) {
        if (format->short_name == name)
            return true;
    }
    return false;
}

// Seconds of CPU for encoding `frames` frames through a track; < 0 on failure.
double encodeWithTrack(const Case& test, const std::vector<std::vector<uint8>>& pictures,
                       int frames, const std::string& path) {
    media_file_format format;
    if (!findFileFormat(test.fileFormat, &format))
        return -1;
    media_format input;
    input.type = B_MEDIA_RAW_VIDEO;
    input.raw_video.field_rate = 25;
    input.raw_video.display.format = B_RGB32;
    input.raw_video.display.line_width = kWidth;
    input.raw_video.display.line_count = kHeight;
    input.raw_video.display.bytes_per_row = kWidth * 4;
    media_codec_info info;
    media_format output;
    int32 cookie = 0;
    bool found = false;
    while (!found && get_next_encoder(&cookie, &format, &input, &output, &info) == B_OK)
        found = info.short_name == test.encoder;
    if (!found)
        return -1;

    double start = processSeconds();
    MediaFile file(path.c_str(), &format);
    MediaTrack* track = file.CreateTrack(&input, &info);
    if (track == nullptr)
        return -1;
    if (std::string(test.encoder) == "libx264") {
        ParameterWeb* web = track->Web();
        for (int32 i = 0; i < web->CountParameters(); i++) {
            if (web->ParameterAt(i)->Name().ends_with("(preset)"))
                web->ParameterAt(i)->SetValue("ultrafast", 9, 0);
        }
    }
    if (file.CommitHeader() != B_OK)
        return -1;
    for (int frame = 0; frame < frames; frame++) {
        media_encode_info encode;
        encode.start_time = bigtime_t(frame) * 40000;
        if (track->WriteFrames(pictures[frame % kPictures].data(), 1, &encode) != B_OK)
            return -1;
    }
    if (file.CloseFile() != B_OK)
        return -1;
    return processSeconds() - start;
}

// Seconds of CPU the ffmpeg tool took on the raw file; < 0 on failure.
double encodeWithTool(const Case& test, const std::string& raw, int frames,
                      const std::string& path) {
    std::vector<std::string> arguments = {
        "-f",   "rawvideo",  "-pix_fmt",
        "bgr0", "-s",        std::to_string(kWidth) + "x" + std::to_string(kHeight),
        "-r",   "25",        "-i",
        raw,    "-frames:v", std::to_string(frames)};
    arguments.insert(arguments.end(), test.ffmpegArguments.begin(), test.ffmpegArguments.end());
    arguments.push_back(path);
    return runFfmpegTool(arguments);
}

// Milliseconds per frame of the RGB32 to 4:2:0 conversion alone, with `flags`.
double conversionCost(int flags, const std::vector<std::vector<uint8>>& pictures) {
    SwsContext* scaler = sws_getContext(kWidth, kHeight, AV_PIX_FMT_BGR0, kWidth, kHeight,
                                        AV_PIX_FMT_YUV420P, flags, nullptr, nullptr, nullptr);
    AVFrame* frame = av_frame_alloc();
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = kWidth;
    frame->height = kHeight;
    av_frame_get_buffer(frame, 0);
    constexpr int kRounds = 100;
    double start = processSeconds();
    for (int i = 0; i < kRounds; i++) {
        const uint8* planes[4] = {pictures[i % kPictures].data(), nullptr, nullptr, nullptr};
        int strides[4] = {kWidth * 4, 0, 0, 0};
        sws_scale(scaler, planes, strides, 0, kHeight, frame->data, frame->linesize);
    }
    double elapsed = processSeconds() - start;
    av_frame_free(&frame);
    sws_freeContext(scaler);
    return elapsed * 1000 / kRounds;
}

}  // namespace

int main(int argc, char** argv) {
    int frames = argc > 1 ? std::atoi(argv[1]) : 250;
    if (frames <= 0)
        frames = 250;
    std::string directory = std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "/tmp";
    std::string raw = directory + "/tavro-bench-frames.raw";
    std::vector<std::vector<uint8>> pictures = makePictures();

    FILE* rawFile = std::fopen(raw.c_str(), "wb");
    if (rawFile == nullptr) {
        std::perror(raw.c_str());
        return 1;
    }
    for (int frame = 0; frame < frames; frame++)
        std::fwrite(pictures[frame % kPictures].data(), 1, kFrameBytes, rawFile);
    std::fclose(rawFile);

    std::printf("RGB32 -> yuv420p conversion alone, 720x576, ms per frame:\n");
    const std::pair<const char*, int> kFlags[] = {{"fast_bilinear", SWS_FAST_BILINEAR},
                                                  {"bilinear", SWS_BILINEAR},
                                                  {"bicubic (FFmpeg's default)", SWS_BICUBIC},
                                                  {"point", SWS_POINT}};
    for (const auto& [name, flags] : kFlags) {
        std::printf("  %-28s %6.2f%s\n", name, conversionCost(flags, pictures),
                    flags == VideoConverter::kScalerFlags ? "   <- MediaTrack" : "");
    }

    // Our tracks run mpeg4, mjpeg and rawvideo on one thread (libavcodec's default); the tool
    // is told the same. libx264 threads itself the same way on both sides.
    const Case kCases[] = {
        {"mpeg4", "avi", "avi", {"-threads", "1", "-c:v", "mpeg4"}},
        {"mjpeg", "avi", "avi", {"-threads", "1", "-c:v", "mjpeg"}},
        {"libx264", "matroska", "mkv", {"-c:v", "libx264", "-preset", "ultrafast"}},
        {"raw-video", "avi", "avi", {"-threads", "1", "-c:v", "rawvideo", "-pix_fmt", "bgra"}},
    };
    std::printf("\n%d frames 720x576 RGB32 at 25 f/s, CPU ms per frame:\n", frames);
    std::printf("  %-12s %10s %10s %8s\n", "encoder", "MediaTrack", "ffmpeg", "ratio");
    for (const Case& test : kCases) {
        std::string ours = directory + "/tavro-bench-track." + test.extension;
        std::string theirs = directory + "/tavro-bench-tool." + test.extension;
        double track = encodeWithTrack(test, pictures, frames, ours);
        double tool = encodeWithTool(test, raw, frames, theirs);
        std::remove(ours.c_str());
        std::remove(theirs.c_str());
        if (track < 0 || tool < 0) {
            std::printf("  %-12s failed (%s)\n", test.encoder, track < 0 ? "track" : "ffmpeg");
            continue;
        }
        std::printf("  %-12s %10.2f %10.2f %8.2f\n", test.encoder, track * 1000 / frames,
                    tool * 1000 / frames, track / tool);
    }
    std::remove(raw.c_str());
    return 0;
}
