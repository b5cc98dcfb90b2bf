// Recordings through the whole engine (nodes, rings, writer threads, a real output file) from
// the built-in test signal at 720x576 RGB32, 25 frames per second.
//
// Paced: the test picture and tone in real time for --seconds (default 60), into an avi with
// mpeg4 video at quality 0.9 and raw stereo sound. Reports the frames recorded and dropped,
// the rings' peaks, and the CPU time of the whole process per recorded frame beside, measured
// afterwards in the same run, the same pictures drawn alone and drawn and encoded alone
// (a track of the same format, no engine), so that the engine's own share can be read off.
//
// Unpaced: the test picture as fast as the pipeline takes it, video only (the tone's node is
// stopped, or it would spin beside the measurement), for --unpaced-seconds (default 10) after
// a second of warm-up, for raw-video and mpeg4 in avi: frames per second written to the file.
//
//   build/bench/bench_record [--seconds N] [--unpaced-seconds N] [--paced-only|--unpaced-only]
//
// Against the ffmpeg tool: for mpeg4 (avi) and libx264 (matroska) at 720x576 and 1920x1080,
// captured in RGB32 and in YCbCr422, --ratio-seconds (default 10) of the paced test signal
// recorded with the encoder's defaults and raw sound; then the same number of test pictures,
// drawn in the same colour space, piped into `ffmpeg -f rawvideo ...` with the same encoder,
// options and threads (the tool writes no sound: a second input costs it a thread of its own
// that spends more than the sound itself). Both sides convert from the capture colour space to
// the encoder's.
// The record path's CPU per frame is the whole process's less the test picture's drawing
// and the sync check the file's report makes of a test-picture recording when it closes
// (a capture card costs neither), set against the tool's; the A/V offset that
// tavro --check-sync measures in the recording stands beside it.
//
//   build/bench/bench_record --ratio-only [--ratio-seconds N] [--sizes 576|1080]
//
// Not a Google Benchmark: each figure is one long run, not a loop of iterations.

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "app/records/ErrorAlert.h"
#include "app/records/FormatSetting.h"
#include "bench/FfmpegTool.h"
#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "engine/VideoConsumer.h"
#include "media/file/MediaFile.h"
#include "media/file/SyncMeter.h"
#include "media/testsignal/TestPicture.h"
#include "media/testsignal/TestSignalClock.h"
#include "support/Clock.h"

namespace {

constexpr int32 kWidth = 720;
constexpr int32 kHeight = 576;
constexpr float kQuality = 0.9f;

int gAlerts = 0;

// User + system CPU seconds of the whole process (all threads).
double processCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec) + usage.ru_utime.tv_usec / 1e6 +
           double(usage.ru_stime.tv_sec) + usage.ru_stime.tv_usec / 1e6;
}

double wallSeconds() {
    return double(system_time()) / 1e6;
}

std::string scratchPath(const char* name, const char* extension = "avi") {
    const char* directory = std::getenv("TMPDIR");
    return std::string(directory != nullptr && directory[0] != '\0' ? directory : "/tmp") +
           "/tavro-bench-" + name + "." + extension;
}

long long fileBytes(const std::string& path) {
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return -1;
    std::fseek(file, 0, SEEK_END);
    const long long size = std::ftell(file);
    std::fclose(file);
    return size;
}

TavroOptions testSignal(bool paced) {
    TavroOptions options;
    options.roster.videoInput = MediaRoster::kTestPictureID;
    options.roster.audioInput = MediaRoster::kTestToneID;
    options.pacedTestSignal = paced;
    return options;
}

void setFormat(FormatSetting* format, const char* videoEncoder, const char* audioEncoder) {
    format->SetFileFormat("avi");
    format->SetVideoEncoder(videoEncoder);
    format->SetAudioEncoder(audioEncoder);
    format->videoWidth = kWidth;
    format->videoHeight = kHeight;
    format->colorSpace = B_RGB32;
    format->videoQuality = kQuality;
}

// The status panel's part: keeps the rings while a recording runs and polls them, as the
// panel's pulse does, which also raises their high-water marks.
class RingWatcher : public RingMonitor {
public:
    void SetVideoBuffer(RingBuffer* ring) override {
        video = ring;
        if (ring != nullptr)
            videoCount = ring->Count();
    }
    void SetAudioBuffer(RingBuffer* ring) override {
        audio = ring;
        if (ring != nullptr)
            audioCount = ring->Count();
    }
    void Poll() {
        if (video != nullptr)
            videoPeak = std::max(videoPeak, video->BuffersInUse());
        if (audio != nullptr)
            audioPeak = std::max(audioPeak, audio->BuffersInUse());
    }
    // The ring's own mark also catches the fill a Write saw between two polls.
    void TakeMarks() {
        if (video != nullptr)
            videoPeak = std::max(videoPeak, video->MaxBuffersUsed());
        if (audio != nullptr)
            audioPeak = std::max(audioPeak, audio->MaxBuffersUsed());
    }

    RingBuffer* video = nullptr;
    RingBuffer* audio = nullptr;
    int32 videoPeak = 0;
    int32 audioPeak = 0;
    int32 videoCount = 0;
    int32 audioCount = 0;
};

// Stops the inputs and waits until the writers have emptied the rings, so that every frame
// the video node recorded is in the file when Stop comes (Stop leaves slots still in a ring
// unwritten).
void drain(Tavro& engine, RingWatcher& rings) {
    engine.VideoInputNode()->Stop(0, true);
    engine.AudioInputNode()->Stop(0, true);
    const bigtime_t deadline = system_time() + 10000000;
    while (system_time() < deadline) {
        rings.TakeMarks();
        const bool videoEmpty = rings.video == nullptr || rings.video->BuffersInUse() <= 0;
        const bool audioEmpty = rings.audio == nullptr || rings.audio->BuffersInUse() <= 0;
        if (videoEmpty && audioEmpty)
            break;
        snooze(10000);
    }
    snooze(50000);  // the writer's last WriteFrames after it released its slot
}

struct PacedResult {
    bool ok = false;
    double seconds = 0;
    double cpuSeconds = 0;
    int64 recordedVideo = 0;
    int64 videoCounter = 0;
    int64 droppedVideo = 0;
    int64 recordedAudio = 0;
    int64 droppedAudio = 0;
    double audioBufferSeconds = 0;
    double idleMs = 0;  // CPU per frame period of the graph running, not recording
    RingWatcher rings;
    media_format videoFormat;
    long long bytes = 0;
};

PacedResult recordPaced(double seconds) {
    PacedResult result;
    const std::string path = scratchPath("paced");
    Tavro engine(testSignal(true));
    if (!engine.VideoConnected() || !engine.AudioConnected()) {
        std::fprintf(stderr, "the built-in test inputs did not connect\n");
        return result;
    }
    FormatSetting format("bench");
    setFormat(&format, "mpeg4", "raw-audio");
    engine.SetFormat(&format);
    engine.GetVideoFormat(&result.videoFormat);
    {
        TavroFile file(path.c_str(), &format, &engine);
        if (file.status != B_OK || file.file->CommitHeader() != B_OK ||
            file.audioTrack == nullptr) {
            std::fprintf(stderr, "could not create %s\n", path.c_str());
            return result;
        }
        if (engine.SetVideoTrack(file.videoTrack) != B_OK ||
            engine.SetAudioTrack(file.audioTrack) != B_OK)
            return result;
        engine.SetStatusView(&result.rings);
        media_format audio;
        engine.GetAudioFormat(&audio);
        result.audioBufferSeconds =
            double(audio.raw_audio.buffer_size) / (4.0 * double(audio.raw_audio.frame_rate));

        // What the running graph costs before anything is recorded: the inputs drawing
        // and the consumers recycling.
        const double idleSeconds = std::min(seconds, 5.0);
        const double idleCpu = processCpuSeconds();
        snooze(bigtime_t(idleSeconds * 1e6));
        result.idleMs = (processCpuSeconds() - idleCpu) * 1000 / (idleSeconds * 25);

        const double cpuStart = processCpuSeconds();
        const double wallStart = wallSeconds();
        if (engine.Start() != B_OK)
            return result;
        const bigtime_t end = system_time() + bigtime_t(seconds * 1e6);
        while (system_time() < end) {
            snooze(100000);  // the status panel's pulse
            result.rings.Poll();
        }
        drain(engine, result.rings);
        result.recordedVideo = engine.VideoConsumerNode()->RecordedFrames();
        result.videoCounter = engine.VideoFramesCounter();
        result.droppedVideo = engine.DroppedVideoFrames();
        result.recordedAudio = engine.AudioConsumerNode()->RecordedFrames();
        result.droppedAudio = engine.DroppedAudioFrames();
        engine.Stop();
        engine.SetStatusView(nullptr);
        result.cpuSeconds = processCpuSeconds() - cpuStart;
        result.seconds = wallSeconds() - wallStart;
    }  // the file is closed here
    result.bytes = fileBytes(path);
    std::remove(path.c_str());
    result.ok = true;
    return result;
}

struct EncodeAlone {
    bool ok = false;
    double drawMs = 0;    // CPU per frame, drawing the test picture alone
    double encodeMs = 0;  // CPU per frame of the encode, the drawing taken off
};

// The recording's pictures again, drawn alone and then drawn and written through a track of
// the recording's format (mpeg4 at the same quality, same input format) on this thread.
EncodeAlone encodeAlone(const media_format& videoFormat, int64 frames) {
    EncodeAlone result;
    if (frames <= 0)
        return result;
    TestSignalClock clock;
    TestPicture picture(kWidth, kHeight, B_RGB32);
    if (picture.InitCheck() != B_OK)
        return result;
    std::string frame(picture.FrameSize(), '\0');
    auto draw = [&](int64 n) {
        picture.Draw(frame.data(), n, clock.FrameTime(n), 25, clock.IsFlashFrame(n));
    };

    double start = processCpuSeconds();
    for (int64 n = 0; n < frames; n++)
        draw(n);
    const double drawSeconds = processCpuSeconds() - start;

    TavroOptions options;
    options.useRoster = false;
    Tavro engine(options);
    engine.SetConnectedVideoFormat(videoFormat);
    FormatSetting format("bench");
    setFormat(&format, "mpeg4", "");
    const std::string path = scratchPath("alone");
    start = processCpuSeconds();
    {
        TavroFile file(path.c_str(), &format, &engine);
        if (file.status != B_OK || file.file->CommitHeader() != B_OK)
            return result;
        media_encode_info info;
        for (int64 n = 0; n < frames; n++) {
            draw(n);
            info.start_time = clock.FrameTime(n);
            if (file.videoTrack->WriteFrames(frame.data(), 1, &info) != B_OK)
                return result;
        }
    }
    const double bothSeconds = processCpuSeconds() - start;
    std::remove(path.c_str());
    result.drawMs = drawSeconds * 1000 / double(frames);
    result.encodeMs = (bothSeconds - drawSeconds) * 1000 / double(frames);
    result.ok = true;
    return result;
}

void runPaced(double seconds) {
    std::printf(
        "Paced: %.0f s of the test signal, 720x576 RGB32 at 25 f/s, avi, mpeg4 at "
        "quality %.1f + raw-audio 44.1 kHz stereo\n",
        seconds, double(kQuality));
    std::fflush(stdout);
    PacedResult run = recordPaced(seconds);
    if (!run.ok) {
        std::printf("  failed\n");
        return;
    }
    std::printf(
        "  video: %lld frames recorded, counter %lld, %lld dropped (%.0f expected "
        "at 25 f/s)\n",
        (long long)run.recordedVideo, (long long)run.videoCounter, (long long)run.droppedVideo,
        seconds * 25);
    std::printf("  audio: %lld buffers recorded, %lld dropped (%.0f expected of %.0f ms each)\n",
                (long long)run.recordedAudio, (long long)run.droppedAudio,
                run.audioBufferSeconds > 0 ? seconds / run.audioBufferSeconds : 0.0,
                run.audioBufferSeconds * 1000);
    std::printf("  ring peaks: video %d of %d slots, audio %d of %d slots\n", run.rings.videoPeak,
                run.rings.videoCount, run.rings.audioPeak, run.rings.audioCount);
    std::printf("  file: %.1f MB; wall %.1f s; alerts %d\n", double(run.bytes) / 1e6, run.seconds,
                gAlerts);
    const double perFrame =
        run.recordedVideo > 0 ? run.cpuSeconds * 1000 / double(run.recordedVideo) : 0;
    std::printf(
        "  process CPU: %.2f s in all, %.2f ms per recorded frame (%.0f%% of one "
        "core)\n",
        run.cpuSeconds, perFrame, run.cpuSeconds * 100 / run.seconds);
    std::fflush(stdout);

    EncodeAlone alone = encodeAlone(run.videoFormat, run.recordedVideo);
    if (!alone.ok) {
        std::printf("  encode alone: failed\n");
        return;
    }
    std::printf("  graph running, not recording: %.2f ms CPU per frame period\n", run.idleMs);
    std::printf("  same pictures alone, CPU ms per frame: drawing %.2f, mpeg4 encode %.2f\n",
                alone.drawMs, alone.encodeMs);
    std::printf("  engine's own (recording - encode - drawing): %.2f ms per frame\n",
                perFrame - alone.encodeMs - alone.drawMs);
}

void runUnpaced(const char* encoder, double seconds) {
    const std::string path = scratchPath("unpaced");
    Tavro engine(testSignal(false));
    if (!engine.VideoConnected()) {
        std::printf("  %-10s failed: no test picture\n", encoder);
        return;
    }
    // Unpaced, the tone runs as fast as its buffers come back: stopped, it costs nothing.
    engine.AudioInputNode()->Stop(0, true);
    FormatSetting format("bench");
    setFormat(&format, encoder, "");
    engine.SetFormat(&format);
    RingWatcher rings;
    double fps = 0, cpuMs = 0;
    int64 dropped = 0;
    {
        TavroFile file(path.c_str(), &format, &engine);
        if (file.status != B_OK || file.file->CommitHeader() != B_OK ||
            engine.SetVideoTrack(file.videoTrack) != B_OK ||
            engine.SetAudioTrack(nullptr) != B_OK) {
            std::printf("  %-10s failed: no file\n", encoder);
            return;
        }
        engine.SetStatusView(&rings);
        if (engine.Start() != B_OK)
            return;
        // Frames in the file: recorded into the ring and taken out by the writer.
        auto written = [&] {
            return engine.VideoConsumerNode()->RecordedFrames() - rings.video->BuffersInUse();
        };
        snooze(1000000);  // warm-up: the ring fills to its working level
        const int64 firstFrames = written();
        const double firstCpu = processCpuSeconds();
        const double firstWall = wallSeconds();
        const bigtime_t end = system_time() + bigtime_t(seconds * 1e6);
        while (system_time() < end) {
            snooze(100000);
            rings.Poll();
        }
        const int64 frames = written() - firstFrames;
        const double wall = wallSeconds() - firstWall;
        const double cpu = processCpuSeconds() - firstCpu;
        fps = double(frames) / wall;
        cpuMs = frames > 0 ? cpu * 1000 / double(frames) : 0;
        drain(engine, rings);
        dropped = engine.DroppedVideoFrames();
        engine.Stop();
        engine.SetStatusView(nullptr);
    }
    std::remove(path.c_str());
    std::printf("  %-10s %8.1f %10.2f %8lld %6d/%d\n", encoder, fps, cpuMs, (long long)dropped,
                rings.videoPeak, rings.videoCount);
    std::fflush(stdout);
}

// --- Against the ffmpeg tool ---

struct RatioCase {
    const char* encoder;
    const char* fileFormat;
    const char* extension;
    int32 width;
    int32 height;
    color_space space;
};

const char* toolPixelFormat(color_space space) {
    return space == B_YCbCr422 ? "yuyv422" : "bgr0";
}

struct RatioRun {
    bool ok = false;
    int64 frames = 0;  // recorded
    int64 dropped = 0;
    double cpuMs = 0;   // process CPU per recorded frame, recording to the file's close
    double drawMs = 0;  // the test picture's drawing alone, per frame
    // The sync check the file's report runs when it closes (test picture only), per frame:
    // the same MeasureSync on the same file, timed again here.
    double checkMs = 0;
    double toolMs = -1;  // the ffmpeg tool, per frame
    SyncReport sync;
    status_t syncStatus = B_ERROR;
};

// Draws `frames` test pictures as the test picture producer does and hands each to `use`;
// CPU seconds of the drawing alone, or < 0 when `use` gave up.
double drawPictures(const RatioCase& test, int64 frames,
                    const std::function<bool(const std::string&)>& use) {
    TestSignalClock clock;
    TestPicture picture(test.width, test.height, test.space);
    if (picture.InitCheck() != B_OK)
        return -1;
    std::string frame(picture.FrameSize(), '\0');
    double drawing = 0;
    for (int64 n = 0; n < frames; n++) {
        const double start = processCpuSeconds();
        picture.Draw(frame.data(), n, clock.FrameTime(n), 25, clock.IsFlashFrame(n));
        drawing += processCpuSeconds() - start;
        if (use && !use(frame))
            return -1;
    }
    return drawing;
}

RatioRun runRatioCase(const RatioCase& test, double seconds) {
    RatioRun run;
    const std::string path = scratchPath("ratio", test.extension);
    FormatSetting format("bench");
    format.SetFileFormat(test.fileFormat);
    format.SetVideoEncoder(test.encoder);
    format.SetAudioEncoder("raw-audio");
    format.videoWidth = test.width;
    format.videoHeight = test.height;
    format.colorSpace = test.space;
    format.videoQuality = 0;  // the encoder's defaults, as the tool has them
    {
        Tavro engine(testSignal(true));
        if (!engine.VideoConnected() || !engine.AudioConnected())
            return run;
        engine.SetFormat(&format);
        RingWatcher rings;
        const double cpuStart = processCpuSeconds();
        {
            TavroFile file(path.c_str(), &format, &engine);
            if (file.status != B_OK || file.file->CommitHeader() != B_OK ||
                engine.SetVideoTrack(file.videoTrack) != B_OK ||
                engine.SetAudioTrack(file.audioTrack) != B_OK)
                return run;
            engine.SetStatusView(&rings);
            if (engine.Start() != B_OK)
                return run;
            snooze(bigtime_t(seconds * 1e6));
            drain(engine, rings);
            run.frames = engine.VideoConsumerNode()->RecordedFrames();
            run.dropped = engine.DroppedVideoFrames();
            engine.Stop();
            engine.SetStatusView(nullptr);
        }  // the file is closed here: its trailer and last sync are the recording's too
        if (run.frames <= 0)
            return run;
        run.cpuMs = (processCpuSeconds() - cpuStart) * 1000 / double(run.frames);
    }
    const double checkStart = processCpuSeconds();
    run.syncStatus = MeasureSync(path.c_str(), &run.sync);
    run.checkMs = (processCpuSeconds() - checkStart) * 1000 / double(run.frames);
    std::remove(path.c_str());

    const std::string toolPath = scratchPath("ratio-tool", test.extension);
    std::vector<std::string> arguments = {
        "-f",       "rawvideo",
        "-pix_fmt", toolPixelFormat(test.space),
        "-s",       std::to_string(test.width) + "x" + std::to_string(test.height),
        "-r",       "25",
        "-i",       "-",
        "-c:v",     test.encoder,
        "-pix_fmt", "yuv420p"};
    // The encoders thread as the track opens them: mpeg4 on one thread (libavcodec's default,
    // which the tool would otherwise raise), libx264 as it threads itself on both sides; the
    // track holds a libx264 to a short lookahead, so that a crash loses little.
    if (std::strcmp(test.encoder, "libx264") == 0)
        arguments.insert(arguments.end(), {"-rc-lookahead", "5"});
    else
        arguments.insert(arguments.end(), {"-threads", "1"});
    arguments.push_back(toolPath);
    double drawing = 0;
    const double tool = runFfmpegTool(arguments, [&](int fd) {
        drawing = drawPictures(test, run.frames, [fd](const std::string& frame) {
            return writeAll(fd, frame.data(), frame.size());
        });
        return drawing >= 0;
    });
    std::remove(toolPath.c_str());
    if (tool < 0 || drawing < 0)
        return run;
    run.toolMs = tool * 1000 / double(run.frames);
    run.drawMs = drawing * 1000 / double(run.frames);
    run.ok = true;
    return run;
}

void runRatios(double seconds, int sizes) {
    std::printf(
        "Against the ffmpeg tool: %.0f s of the paced test signal per case, the encoder's "
        "defaults, raw sound; CPU ms per frame\n",
        seconds);
    std::printf("  %-8s %-9s %-9s %7s %7s %7s %7s %7s %6s %6s %9s %9s\n", "encoder", "size",
                "capture", "process", "drawing", "check", "path", "ffmpeg", "ratio", "dropped",
                "A/V start", "A/V end");
    std::fflush(stdout);
    const RatioCase kCases[] = {
        {"mpeg4", "avi", "avi", 720, 576, B_RGB32},
        {"mpeg4", "avi", "avi", 720, 576, B_YCbCr422},
        {"libx264", "matroska", "mkv", 720, 576, B_RGB32},
        {"libx264", "matroska", "mkv", 720, 576, B_YCbCr422},
        {"mpeg4", "avi", "avi", 1920, 1080, B_RGB32},
        {"mpeg4", "avi", "avi", 1920, 1080, B_YCbCr422},
        {"libx264", "matroska", "mkv", 1920, 1080, B_RGB32},
        {"libx264", "matroska", "mkv", 1920, 1080, B_YCbCr422},
    };
    for (const RatioCase& test : kCases) {
        if (sizes != 0 && test.height != sizes)
            continue;
        const std::string size = std::to_string(test.width) + "x" + std::to_string(test.height);
        const char* capture = test.space == B_YCbCr422 ? "YCbCr422" : "RGB32";
        RatioRun run = runRatioCase(test, seconds);
        if (!run.ok) {
            std::printf("  %-8s %-9s %-9s failed\n", test.encoder, size.c_str(), capture);
            continue;
        }
        // A capture card costs neither the drawing nor the report's sync check.
        const double path = run.cpuMs - run.drawMs - run.checkMs;
        char start[16] = "-", end[16] = "-";
        if (run.syncStatus == B_OK && run.sync.measured) {
            std::snprintf(start, sizeof start, "%+.1f ms", run.sync.firstOffsetMs);
            std::snprintf(end, sizeof end, "%+.1f ms", run.sync.lastOffsetMs);
        }
        std::printf("  %-8s %-9s %-9s %7.2f %7.2f %7.2f %7.2f %7.2f %6.2f %6lld %9s %9s\n",
                    test.encoder, size.c_str(), capture, run.cpuMs, run.drawMs, run.checkMs, path,
                    run.toolMs, path / run.toolMs, (long long)run.dropped, start, end);
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv) {
    double seconds = 60;
    double unpacedSeconds = 10;
    double ratioSeconds = 10;
    int sizes = 0;
    bool paced = true;
    bool unpaced = true;
    bool ratio = true;
    for (int i = 1; i < argc; i++) {
        if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc)
            seconds = std::atof(argv[++i]);
        else if (std::strcmp(argv[i], "--unpaced-seconds") == 0 && i + 1 < argc)
            unpacedSeconds = std::atof(argv[++i]);
        else if (std::strcmp(argv[i], "--ratio-seconds") == 0 && i + 1 < argc)
            ratioSeconds = std::atof(argv[++i]);
        else if (std::strcmp(argv[i], "--sizes") == 0 && i + 1 < argc)
            sizes = std::atoi(argv[++i]);
        else if (std::strcmp(argv[i], "--paced-only") == 0)
            unpaced = ratio = false;
        else if (std::strcmp(argv[i], "--unpaced-only") == 0)
            paced = ratio = false;
        else if (std::strcmp(argv[i], "--ratio-only") == 0)
            paced = unpaced = false;
        else {
            std::fprintf(stderr,
                         "usage: %s [--seconds N] [--unpaced-seconds N] [--ratio-seconds N] "
                         "[--sizes 576|1080] [--paced-only|--unpaced-only|--ratio-only]\n",
                         argv[0]);
            return 2;
        }
    }
    if (seconds <= 0 || unpacedSeconds <= 0 || ratioSeconds <= 0) {
        std::fprintf(stderr, "durations must be positive\n");
        return 2;
    }
    SetErrorAlertPresenter([](const std::string& text, bool) {
        gAlerts++;
        std::fprintf(stderr, "alert: %s\n", text.c_str());
    });

    if (paced)
        runPaced(seconds);
    if (unpaced) {
        std::printf(
            "%sUnpaced: the test picture as fast as the pipeline takes it, 720x576 "
            "RGB32, avi, no sound, %.0f s after 1 s of warm-up\n",
            paced ? "\n" : "", unpacedSeconds);
        std::printf("  %-10s %8s %10s %8s %8s\n", "encoder", "frames/s", "CPU ms/f", "dropped",
                    "ring peak");
        std::fflush(stdout);
        runUnpaced("raw-video", unpacedSeconds);
        runUnpaced("mpeg4", unpacedSeconds);
    }
    if (ratio) {
        if (paced || unpaced)
            std::printf("\n");
        runRatios(ratioSeconds, sizes);
    }
    return gAlerts == 0 ? 0 : 1;
}
