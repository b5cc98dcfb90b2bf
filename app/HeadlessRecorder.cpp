#include "app/HeadlessRecorder.h"

#include <strings.h>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "app/ErrorAlert.h"
#include "app/MessageCodes.h"
#include "app/TavroSettings.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "media/file/FileFormats.h"
#include "media/file/MediaFile.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"

namespace {

// Set by SIGINT and SIGTERM; the recording loop looks at it ten times a second.
volatile std::sig_atomic_t sStopSignal = 0;

void onStopSignal(int) {
    sStopSignal = 1;
}

constexpr bigtime_t kLoopPoll = 100000;

struct RecordOptions {
    const char* path = nullptr;
    double duration = 0;  // seconds; 0: until a signal
    const char* format = nullptr;
    int32 channel = -1;
    RosterOptions devices;
    // Overrides of the chosen format; null or negative: keep the format's.
    const char* fileFormat = nullptr;
    const char* videoEncoder = nullptr;
    const char* audioEncoder = nullptr;
    int32 width = -1;
    int32 height = -1;
    int32 colorSpace = -1;
    float quality = -1;
    int32 frameDivisor = -1;
    int32 audioRate = -1;
    int32 audioChannels = -1;
};

int usage(const char* problem) {
    std::fprintf(stderr,
                 "tavro: %s\n"
                 "Usage: tavro --record FILE [--duration SECONDS] [--format NAME] [--channel N]\n"
                 "         [--video-device DEVICE] [--audio-device DEVICE] [--file-format NAME]\n"
                 "         [--video-encoder NAME] [--audio-encoder NAME] [--size WxH]\n"
                 "         [--color-space NAME] [--quality Q] [--frame-divisor N]\n"
                 "         [--audio-rate HZ] [--audio-channels N]\n",
                 problem);
    return 2;
}

bool parseNumber(const char* text, double minimum, double maximum, double* value) {
    char* end = nullptr;
    const double parsed = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(parsed >= minimum && parsed <= maximum))
        return false;
    *value = parsed;
    return true;
}

bool parseColorSpace(const char* text, int32* space) {
    const color_space known[] = {B_RGB32,    B_RGB24,    B_RGB16, B_RGB15,
                                 B_YCbCr422, B_YCbCr411, B_GRAY8};
    for (color_space candidate : known) {
        const char* name = colorSpaceName(candidate);
        // "B_RGB32" or "RGB32", in any case.
        if (strcasecmp(text, name) == 0 || strcasecmp(text, name + 2) == 0) {
            *space = candidate;
            return true;
        }
    }
    return false;
}

// B_OK, or the exit status of a bad command line (after the message).
int parseArguments(int argc, char** argv, RecordOptions* options) {
    if (argc < 1 || argv[0][0] == '\0' || std::strncmp(argv[0], "--", 2) == 0)
        return usage("--record needs a file name");
    options->path = argv[0];
    for (int i = 1; i < argc; i++) {
        const char* name = argv[i];
        if (i + 1 >= argc)
            return usage((std::string(name) + " needs a value").c_str());
        const char* value = argv[++i];
        double number = 0;
        auto bad = [&] { return usage((std::string("bad value for ") + name).c_str()); };
        if (std::strcmp(name, "--duration") == 0) {
            if (!parseNumber(value, 0, 1e7, &number))
                return bad();
            options->duration = number;
        } else if (std::strcmp(name, "--format") == 0) {
            options->format = value;
        } else if (std::strcmp(name, "--channel") == 0) {
            if (!parseNumber(value, 0, 1e6, &number))
                return bad();
            options->channel = int32(number);
        } else if (std::strcmp(name, "--video-device") == 0) {
            options->devices.videoInput = value;
        } else if (std::strcmp(name, "--audio-device") == 0) {
            options->devices.audioInput = value;
        } else if (std::strcmp(name, "--file-format") == 0) {
            options->fileFormat = value;
        } else if (std::strcmp(name, "--video-encoder") == 0) {
            options->videoEncoder = value;
        } else if (std::strcmp(name, "--audio-encoder") == 0) {
            options->audioEncoder = value;
        } else if (std::strcmp(name, "--size") == 0) {
            unsigned width = 0, height = 0;
            char end = 0;
            if (std::sscanf(value, "%ux%u%c", &width, &height, &end) != 2 || width < 1 ||
                height < 1 || width > 4096 || height > 4096)
                return bad();
            options->width = int32(width);
            options->height = int32(height);
        } else if (std::strcmp(name, "--color-space") == 0) {
            if (!parseColorSpace(value, &options->colorSpace))
                return bad();
        } else if (std::strcmp(name, "--quality") == 0) {
            if (!parseNumber(value, 0, 1, &number))
                return bad();
            options->quality = float(number);
        } else if (std::strcmp(name, "--frame-divisor") == 0) {
            if (!parseNumber(value, 1, 100, &number))
                return bad();
            options->frameDivisor = int32(number);
        } else if (std::strcmp(name, "--audio-rate") == 0) {
            if (!parseNumber(value, 1000, 384000, &number))
                return bad();
            options->audioRate = int32(number);
        } else if (std::strcmp(name, "--audio-channels") == 0) {
            if (!parseNumber(value, 1, 2, &number))
                return bad();
            options->audioChannels = int32(number);
        } else {
            return usage((std::string("unknown option '") + name + "'").c_str());
        }
    }
    return B_OK;
}

// A copy of `format` that this recording may change without touching the settings.
std::unique_ptr<FormatSetting> copyFormat(const FormatSetting& format) {
    auto copy = std::make_unique<FormatSetting>(nullptr);
    std::vector<uint8> flat(size_t(format.FlattenedSize()));
    if (format.Flatten(flat.data(), ssize_t(flat.size())) != B_OK ||
        copy->Unflatten(kFormatSettingType, flat.data(), ssize_t(flat.size())) != B_OK)
        return nullptr;
    copy->frameDivisor = format.frameDivisor;  // not part of the flattened record
    return copy;
}

void applyOverrides(const RecordOptions& options, FormatSetting* format) {
    if (options.fileFormat != nullptr)
        format->SetFileFormat(options.fileFormat);
    if (options.videoEncoder != nullptr)
        format->SetVideoEncoder(options.videoEncoder);
    if (options.audioEncoder != nullptr)
        format->SetAudioEncoder(options.audioEncoder);
    if (options.width > 0) {
        format->videoWidth = options.width;
        format->videoHeight = options.height;
    }
    if (options.colorSpace >= 0)
        format->colorSpace = options.colorSpace;
    if (options.quality >= 0)
        format->videoQuality = options.quality;
    if (options.frameDivisor > 0)
        format->frameDivisor = options.frameDivisor;
    if (options.audioRate > 0)
        format->audioFrameRate = options.audioRate;
    if (options.audioChannels > 0)
        format->audioChannels = uint8(options.audioChannels);
}

void printStatus(Tavro& engine, RingBuffer* videoRing, RingBuffer* audioRing, bigtime_t elapsed) {
    const int64 seconds = elapsed / 1000000;
    std::printf("%02lld:%02lld:%02lld  %lld frames (%lld)  %lld buffers (%lld)",
                (long long)(seconds / 3600), (long long)(seconds / 60 % 60),
                (long long)(seconds % 60), (long long)engine.VideoFramesCounter(),
                (long long)engine.DroppedVideoFrames(), (long long)engine.AudioFramesCounter(),
                (long long)engine.DroppedAudioFrames());
    if (videoRing != nullptr) {
        std::printf("  video ring %d/%d (peak %d)", int(videoRing->BuffersInUse()),
                    int(videoRing->Count()), int(videoRing->MaxBuffersUsed()));
    }
    if (audioRing != nullptr) {
        std::printf("  audio ring %d/%d (peak %d)", int(audioRing->BuffersInUse()),
                    int(audioRing->Count()), int(audioRing->MaxBuffersUsed()));
    }
    std::printf("\n");
    std::fflush(stdout);
}

// Hands the rings to the status printer: the engine's status view.
class RingWatcher : public RingMonitor {
public:
    void SetVideoBuffer(RingBuffer* ring) override { video = ring; }
    void SetAudioBuffer(RingBuffer* ring) override { audio = ring; }
    RingBuffer* video = nullptr;
    RingBuffer* audio = nullptr;
};

}  // namespace

int runHeadlessRecorder(int argc, char** argv, const RosterOptions& devices) {
    RecordOptions options;
    options.devices = devices;
    if (int status = parseArguments(argc, argv, &options); status != B_OK)
        return status;

    FormatSetting* chosen = nullptr;
    if (options.format != nullptr) {
        for (FormatSetting* format : gSettings.formats) {
            if (format->name != nullptr && strcasecmp(format->name, options.format) == 0)
                chosen = format;
        }
        if (chosen == nullptr) {
            std::fprintf(stderr, "tavro: no recording format \"%s\" (see tavro --list-formats)\n",
                         options.format);
            return 2;
        }
    } else {
        chosen = gSettings.formats[size_t(gSettings.lastFormat)];
    }
    std::unique_ptr<FormatSetting> format = copyFormat(*chosen);
    if (format == nullptr) {
        std::fprintf(stderr, "tavro: the recording format \"%s\" cannot be read\n", chosen->Text());
        return 1;
    }
    applyOverrides(options, format.get());

    // An alert is the end of the recording's chances: it goes to standard error (ErrorAlert's
    // default) and makes the exit status 1.
    bool alerted = false;
    SetErrorAlertPresenter([&alerted](const std::string& text, bool) {
        alerted = true;
        std::fprintf(stderr, "%s\n", text.c_str());
    });
    // A file size limit makes writes fail with EFBIG instead of ending the process.
    std::signal(SIGXFSZ, SIG_IGN);

    TavroOptions engineOptions;
    engineOptions.roster = options.devices;
    Tavro engine(engineOptions);
    engine.SetRequestPresenter([](const std::string&, const std::string&, const std::string&) {});
    if (!engine.VideoConnected()) {
        SetErrorAlertPresenter({});
        return 1;
    }
    engine.SetFormat(format.get());
    if (options.channel >= 0)
        engine.SetChannel(options.channel);

    MessageQueue stopQueue;
    RingWatcher rings;
    engine.SetStopTarget(&stopQueue);
    engine.SetStatusView(&rings);

    int exitStatus = 0;
    {
        TavroFile file(options.path, format.get(), &engine);
        if (file.status < B_OK) {
            SetErrorAlertPresenter({});
            return 1;
        }
        status_t status = file.file->CommitHeader();
        if (status != B_OK) {
            ErrorAlert("Could not write the file's header", status, false);
            SetErrorAlertPresenter({});
            return 1;
        }
        if (engine.SetVideoTrack(file.videoTrack) != B_OK ||
            engine.SetAudioTrack(file.audioTrack) != B_OK) {
            ErrorAlert("Not enough memory for the recording buffers", B_NO_MEMORY, false);
            SetErrorAlertPresenter({});
            return 1;
        }

        sStopSignal = 0;
        struct sigaction action {};
        action.sa_handler = onStopSignal;
        sigemptyset(&action.sa_mask);
        struct sigaction oldInt {
        }, oldTerm{};
        sigaction(SIGINT, &action, &oldInt);
        sigaction(SIGTERM, &action, &oldTerm);

        const bigtime_t start = system_time();
        status = engine.Start();
        if (status != B_OK) {
            ErrorAlert("Could not start the recording", status, false);
            exitStatus = 1;
        }
        const bigtime_t end =
            options.duration > 0 ? start + bigtime_t(options.duration * 1e6) : INT64_MAX;
        bigtime_t nextStatus = start + 1000000;
        bool stopRequested = false;
        while (status == B_OK && !stopRequested && sStopSignal == 0) {
            const bigtime_t now = system_time();
            if (now >= end)
                break;
            if (now >= nextStatus) {
                printStatus(engine, rings.video, rings.audio, now - start);
                nextStatus += 1000000;
            }
            const bigtime_t wait = std::min({kLoopPoll, end - now, nextStatus - now});
            Message message;
            if (stopQueue.NextMessage(&message, std::max<bigtime_t>(wait, 1)) == B_OK &&
                message.what == kMsgStop)
                stopRequested = true;
        }
        const bigtime_t elapsed = system_time() - start;
        // The last figures, taken before Stop forgets the rings.
        printStatus(engine, rings.video, rings.audio, elapsed);
        engine.Stop();
        sigaction(SIGINT, &oldInt, nullptr);
        sigaction(SIGTERM, &oldTerm, nullptr);
        if (stopRequested)
            exitStatus = 1;
        // The file is closed here, whatever ended the recording.
    }
    engine.SetStopTarget(nullptr);
    engine.SetStatusView(nullptr);
    SetErrorAlertPresenter({});
    return alerted ? 1 : exitStatus;
}

int listRecordingFormats() {
    std::printf("Recording formats (the settings file's; * the last used):\n");
    for (size_t i = 0; i < gSettings.formats.size(); i++) {
        const FormatSetting* format = gSettings.formats[i];
        std::printf(
            "%c %s: %s, video %s %dx%d %s quality %.2f, audio %s %d Hz %d channels\n",
            int32(i) == gSettings.lastFormat ? '*' : ' ', format->Text(),
            format->fileFormat ? format->fileFormat : "",
            format->videoEncoder ? format->videoEncoder : "", int(format->videoWidth),
            int(format->videoHeight), colorSpaceName(color_space(format->colorSpace)),
            double(format->videoQuality),
            format->audioEncoder && format->audioEncoder[0] ? format->audioEncoder : "(none)",
            int(format->audioFrameRate), int(format->audioChannels));
    }

    media_format video;
    video.type = B_MEDIA_RAW_VIDEO;
    video.raw_video.display.format = B_RGB32;
    media_format audio;
    audio.type = B_MEDIA_RAW_AUDIO;
    audio.raw_audio.format = media_raw_audio_format::B_AUDIO_SHORT;
    std::printf("\nFile formats and their encoders on this machine:\n");
    media_file_format fileFormat;
    int32 cookie = 0;
    while (get_next_file_format(&cookie, &fileFormat) == B_OK) {
        std::printf("%s  (%s)\n", fileFormat.short_name.c_str(), fileFormat.pretty_name.c_str());
        for (const media_format* input : {&video, &audio}) {
            std::string names;
            media_format output;
            media_codec_info info;
            int32 encoderCookie = 0;
            while (get_next_encoder(&encoderCookie, &fileFormat, input, &output, &info) == B_OK)
                names += " " + info.short_name;
            std::printf("    %s:%s\n", input == &video ? "video" : "audio",
                        names.empty() ? " (none)" : names.c_str());
        }
    }
    return 0;
}
