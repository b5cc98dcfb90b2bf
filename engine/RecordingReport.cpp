#include "engine/RecordingReport.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace {

// "2026-11-23 14:05:07 UTC+0100": local time with its offset, so that logs from a machine
// in another zone still line up.
std::string wallTime(bigtime_t when) {
    const time_t seconds = time_t(when / 1000000);
    tm local{};
    localtime_r(&seconds, &local);
    char text[64];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC%z", &local);
    return text;
}

std::string line(const char* key, const std::string& value) {
    return std::string(key) + ": " + value + "\n";
}

std::string streamLine(const RecordingReport::Stream& stream, const char* unit) {
    char text[240];
    std::snprintf(text, sizeof text,
                  "%lld %s expected, %lld written, %lld dropped (%lld of them: ring full)",
                  (long long)stream.expected, unit, (long long)stream.written,
                  (long long)stream.dropped, (long long)stream.ringFull);
    std::string result = text;
    // An input a little faster than its rate (a clock of its own): the figures still add up.
    if (const int64 more = stream.written + stream.dropped - stream.expected; more > 0)
        result += "; " + std::to_string(more) + " more came than the rate gives";
    return result;
}

std::string ringLine(const RecordingReport::Stream& stream) {
    return "at most " + std::to_string(stream.ringPeak) + " of " +
           std::to_string(stream.ringSlots) + " slots in use";
}

// "3.2 ms late", "0.5 ms early": where the sound lay against the picture.
std::string offset(double milliseconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f ms %s", std::abs(milliseconds),
                  milliseconds >= 0 ? "late" : "early");
    return text;
}

std::string syncLines(const RecordingReport& report) {
    if (!report.syncMeasured)
        return line("A/V sync", "not measured (" + report.syncNote + ")");
    const SyncReport& sync = report.sync;
    std::string text;
    if (!report.testTone) {
        text = line("A/V sync", "not measured (the sound is not the test tone)");
    } else if (sync.measured) {
        char most[64];
        std::snprintf(most, sizeof most, "%.1f ms", sync.maxAbsOffsetMs);
        text = line("A/V sync", "sound " + offset(sync.firstOffsetMs) + " at the start, " +
                                    offset(sync.lastOffsetMs) + " at the end, at most " + most +
                                    " off (" + (sync.InSync() ? "in sync" : "out of sync") + ")");
    } else {
        text = line("A/V sync", "not measured (no click of the test tone beside a flash)");
    }
    char frames[160];
    std::snprintf(frames, sizeof frames, "%lld frames read, %lld missing, %lld repeated",
                  (long long)sync.frames, (long long)sync.framesMissing,
                  (long long)sync.framesRepeated);
    return text + line("Test picture", frames);
}

}  // namespace

std::string recordingReportPath(const std::string& path) {
    return path + ".log";
}

std::string formatRecordingReport(const RecordingReport& report) {
    std::string text = line("File", report.file);
    text += line("Started", report.started != 0 ? wallTime(report.started) : "never");
    if (report.started != 0) {
        char length[64];
        std::snprintf(length, sizeof length, "%.1f s",
                      double(report.stopped - report.started) / 1e6);
        text += line("Stopped", wallTime(report.stopped) + " (after " + length + ")");
    }
    text += line("Format", report.formatName);
    text += line("Container", report.container);
    char video[160];
    std::snprintf(video, sizeof video, "%s, %dx%d %s, %.3f frames/s", report.videoEncoder.c_str(),
                  int(report.width), int(report.height), report.colorSpace.c_str(),
                  report.frameRate);
    text += line("Video", video);
    if (report.audioEncoder.empty()) {
        text += line("Audio", "none");
    } else {
        char audio[160];
        std::snprintf(audio, sizeof audio, "%s, %d Hz, %d channel%s", report.audioEncoder.c_str(),
                      int(report.audioRate), int(report.audioChannels),
                      report.audioChannels == 1 ? "" : "s");
        text += line("Audio", audio);
    }
    text += line("Video input", report.videoInput.empty() ? "none" : report.videoInput);
    text += line("Audio input", report.audioInput.empty() ? "none" : report.audioInput);
    text += line("Video frames written", std::to_string(report.video.written));
    if (report.video.present) {
        text += line("Video frames", streamLine(report.video, "frames"));
        text += line("Video ring", ringLine(report.video));
    }
    if (report.audio.present) {
        text += line("Sound buffers", streamLine(report.audio, "buffers"));
        text += line("Sound ring", ringLine(report.audio));
    }
    if (report.testPicture)
        text += syncLines(report);
    if (report.errors.empty())
        text += line("Errors", "none");
    for (const RecordingReport::Error& error : report.errors) {
        std::string entry =
            wallTime(error.when) + "  " + error.text + " [" + statusText(error.status) + "]";
        if (error.repeats > 1)
            entry += " (" + std::to_string(error.repeats) + " times, the last at " +
                     wallTime(error.last) + ")";
        text += line("Error", entry);
    }
    return text;
}

void addRecordingError(std::vector<RecordingReport::Error>* errors, bigtime_t when,
                       const std::string& text, status_t status) {
    for (RecordingReport::Error& error : *errors) {
        if (error.text == text && error.status == status) {
            error.repeats++;
            error.last = when;
            return;
        }
    }
    errors->push_back({when, text, status, 1, when});
}

status_t writeRecordingReport(const RecordingReport& report) {
    const std::string path = recordingReportPath(report.file);
    FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr)
        return errno != 0 ? -errno : B_ERROR;
    const std::string text = formatRecordingReport(report);
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const int saved = errno;
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed)
        return saved != 0 ? -saved : B_IO_ERROR;
    return B_OK;
}
