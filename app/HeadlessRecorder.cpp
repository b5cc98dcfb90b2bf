#include "app/HeadlessRecorder.h"

#include <strings.h>
#include <sys/stat.h>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/CommandLine.h"
#include "app/ProgressReport.h"
#include "app/StopSignals.h"
#include "app/records/ErrorAlert.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "media/file/FileFormats.h"
#include "media/file/MediaFile.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "support/MessageQueue.h"

namespace {

constexpr bigtime_t kLoopPoll = 100000;

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

void applyOverrides(const CommandLine& options, FormatSetting* format) {
    if (options.fileFormat)
        format->SetFileFormat(options.fileFormat->c_str());
    if (options.videoEncoder)
        format->SetVideoEncoder(options.videoEncoder->c_str());
    if (options.audioEncoder)
        format->SetAudioEncoder(options.audioEncoder->c_str());
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

RecordingFigures takeFigures(Tavro& engine, RingBuffer* videoRing, RingBuffer* audioRing,
                             const std::string& path, bigtime_t elapsed) {
    RecordingFigures figures;
    figures.elapsed = elapsed;
    figures.frames = engine.VideoFramesCounter();
    figures.droppedFrames = engine.DroppedVideoFrames();
    figures.soundBuffers = engine.AudioFramesCounter();
    figures.droppedSoundBuffers = engine.DroppedAudioFrames();
    figures.encoderBehind = engine.VideoRingFullDrops() > 0 || engine.AudioRingFullDrops() > 0;
    if (videoRing != nullptr) {
        figures.videoRingUsed = videoRing->BuffersInUse();
        figures.videoRingCount = videoRing->Count();
    }
    if (audioRing != nullptr) {
        figures.audioRingUsed = audioRing->BuffersInUse();
        figures.audioRingCount = audioRing->Count();
    }
    struct stat info {};
    if (stat(path.c_str(), &info) == 0)
        figures.fileBytes = int64(info.st_size);
    return figures;
}

}  // namespace

int runHeadlessRecorder(const CommandLine& options) {
    FormatSetting* chosen = nullptr;
    if (!options.format.empty()) {
        for (const std::unique_ptr<FormatSetting>& format : gSettings.formats) {
            if (strcasecmp(format->name.c_str(), options.format.c_str()) == 0)
                chosen = format.get();
        }
        if (chosen == nullptr) {
            logError("no recording format \"%s\" (see tavro --list-formats)",
                     options.format.c_str());
            return kExitUsage;
        }
    } else {
        chosen = gSettings.FormatAt(gSettings.lastFormat);
    }
    std::unique_ptr<FormatSetting> format = copyFormat(*chosen);
    if (format == nullptr) {
        logError("the recording format \"%s\" cannot be read", chosen->Text());
        return 1;
    }
    applyOverrides(options, format.get());

    // Never over an existing file unless asked: the check is repeated atomically when the
    // file is made (another program may make one meanwhile).
    struct stat existing;
    const char* path = options.commandValue.c_str();
    if (!options.overwrite && lstat(path, &existing) == 0) {
        logError("%s exists; give --overwrite to replace it", path);
        return 1;
    }

    // An alert is the end of the recording's chances: it goes to standard error (ErrorAlert's
    // default) and makes the exit status 1.
    bool alerted = false;
    SetErrorAlertPresenter([&alerted](const std::string& text, bool) {
        alerted = true;
        logError("%s", text.c_str());
    });
    // A file size limit makes writes fail with EFBIG instead of ending the process.
    std::signal(SIGXFSZ, SIG_IGN);

    TavroOptions engineOptions;
    engineOptions.roster = options.devices;
    Tavro engine(engineOptions);
    engine.SetRequestPresenter([](const std::string&, const std::string&, const std::string&) {});
    // A device asked for by name that is not there has been alerted: nothing is recorded in
    // its place.
    const MediaRoster* roster = engine.Roster();
    const bool missing = roster != nullptr && (!roster->MissingVideoInput().empty() ||
                                               !roster->MissingAudioInput().empty());
    if (!engine.VideoConnected() || missing) {
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
        TavroFile file(path, format.get(), &engine,
                       options.overwrite ? ExistingFile::kReplace : ExistingFile::kRefuse);
        if (file.status < B_OK) {
            SetErrorAlertPresenter({});
            return 1;
        }
        status_t status = file.file->CommitHeader();
        if (status == B_FILE_EXISTS) {
            logError("%s exists; give --overwrite to replace it", path);
            SetErrorAlertPresenter({});
            return 1;
        }
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

        StopSignals stopSignals;

        // The file's full name, so that a relative one can be found afterwards.
        std::error_code error;
        const std::string fullPath =
            std::filesystem::absolute(options.commandValue, error).lexically_normal().string();
        ProgressReport progress(stdout, ProgressReport::StyleFor(stdout, options.quiet));
        if (!options.quiet) {
            std::printf("Recording into %s%s\n", fullPath.c_str(),
                        options.durationSeconds > 0 ? "" : " until Ctrl+C");
            std::fflush(stdout);
        }

        const bigtime_t start = system_time();
        status = engine.Start();
        if (status != B_OK) {
            ErrorAlert("Could not start the recording", status, false);
            exitStatus = 1;
        }
        const bigtime_t end = options.durationSeconds > 0
                                  ? start + bigtime_t(options.durationSeconds * 1e6)
                                  : INT64_MAX;
        bool stopRequested = false;
        while (status == B_OK && !stopRequested && !stopSignals.Requested()) {
            const bigtime_t now = system_time();
            if (now >= end)
                break;
            progress.Update(takeFigures(engine, rings.video, rings.audio, fullPath, now - start));
            const bigtime_t wait = std::min(kLoopPoll, end - now);
            Message message;
            if (stopQueue.NextMessage(&message, std::max<bigtime_t>(wait, 1)) == B_OK &&
                message.what == kMsgStop)
                stopRequested = true;
        }
        const bigtime_t elapsed = system_time() - start;
        // The last figures, taken before Stop forgets the rings.
        progress.Finish(takeFigures(engine, rings.video, rings.audio, fullPath, elapsed));
        engine.Stop();

        // The file is closed here, whatever ended the recording, and what it kept is told.
        std::string why;
        const status_t failure = engine.RecordingError(&why);
        const status_t closed = file.Close();
        if (failure != B_OK) {
            logError("the recording stopped after %.1f s: %s [%s]", double(elapsed) / 1e6,
                     why.c_str(), statusText(failure).c_str());
        } else if (closed != B_OK) {
            logError("could not finish %s [%s]", path, statusText(closed).c_str());
        }
        if (failure != B_OK || closed != B_OK || stopRequested) {
            // What is on the disk now, after the close cut off any half-written packet.
            struct stat kept;
            const long long bytes = stat(path, &kept) == 0 ? (long long)kept.st_size : 0;
            logError("%s keeps %lld bytes: the recording up to about %.1f s", path, bytes,
                     double(engine.WrittenVideoTime()) / 1e6);
            exitStatus = 1;
        }
    }
    engine.SetStopTarget(nullptr);
    engine.SetStatusView(nullptr);
    SetErrorAlertPresenter({});
    return alerted ? 1 : exitStatus;
}

int listRecordingFormats() {
    std::printf("Recording formats (the settings file's; * the last used):\n");
    for (size_t i = 0; i < gSettings.formats.size(); i++) {
        const FormatSetting* format = gSettings.formats[i].get();
        std::printf("%c %s: %s, video %s %dx%d %s quality %.2f, audio %s %d Hz %d channels\n",
                    int32(i) == gSettings.lastFormat ? '*' : ' ', format->Text(),
                    format->fileFormat.c_str(), format->videoEncoder.c_str(),
                    int(format->videoWidth), int(format->videoHeight),
                    colorSpaceName(color_space(format->colorSpace)), double(format->videoQuality),
                    format->audioEncoder.empty() ? "(none)" : format->audioEncoder.c_str(),
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
