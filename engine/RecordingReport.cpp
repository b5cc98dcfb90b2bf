#include "engine/RecordingReport.h"

#include <cerrno>
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
    char text[160];
    std::snprintf(text, sizeof text, "%lld %s expected, %lld dropped (%lld of them: ring full)",
                  (long long)stream.expected, unit, (long long)stream.dropped,
                  (long long)stream.ringFull);
    return text;
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
    text += line("Video frames written", std::to_string(report.videoFramesWritten));
    if (report.video.present)
        text += line("Video frames", streamLine(report.video, "frames"));
    if (report.audio.present)
        text += line("Sound buffers", streamLine(report.audio, "buffers"));
    if (report.errors.empty())
        text += line("Errors", "none");
    for (const RecordingReport::Error& error : report.errors)
        text += line("Error", wallTime(error.when) + "  " + error.text + " [" +
                                  statusText(error.status) + "]");
    return text;
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
