#include "app/ProgressReport.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

std::string bytesText(int64 bytes) {
    const char* units[] = {"B", "kB", "MB", "GB", "TB"};
    double value = double(bytes);
    size_t unit = 0;
    while (value >= 1000 && unit + 1 < std::size(units)) {
        value /= 1000;
        unit++;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text;
}

}  // namespace

std::string progressLine(const RecordingFigures& figures) {
    const int64 seconds = figures.elapsed / 1000000;
    char text[256];
    int length = std::snprintf(
        text, sizeof text,
        "%02lld:%02lld:%02lld  %s%lld frames, %lld dropped  %lld buffers, %lld dropped",
        (long long)(seconds / 3600), (long long)(seconds / 60 % 60), (long long)(seconds % 60),
        figures.encoderBehind ? "encoder not keeping up  " : "", (long long)figures.frames,
        (long long)figures.droppedFrames, (long long)figures.soundBuffers,
        (long long)figures.droppedSoundBuffers);
    std::string line(text, size_t(length));
    if (figures.videoRingCount > 0 || figures.audioRingCount > 0) {
        line += "  rings";
        for (auto [used, count] : {std::pair{figures.videoRingUsed, figures.videoRingCount},
                                   std::pair{figures.audioRingUsed, figures.audioRingCount}}) {
            if (count > 0)
                line += " " + std::to_string(used) + "/" + std::to_string(count);
        }
    }
    if (figures.fileBytes >= 0) {
        line += "  " + bytesText(figures.fileBytes);
        if (figures.elapsed >= 1000000) {
            std::snprintf(text, sizeof text, "  %.1f Mbit/s",
                          double(figures.fileBytes) * 8 / double(figures.elapsed));
            line += text;
        }
    }
    return line;
}

ProgressReport::Style ProgressReport::StyleFor(FILE* stream, bool quiet) {
    if (quiet)
        return Style::Quiet;
    return isatty(fileno(stream)) ? Style::InPlace : Style::Lines;
}

ProgressReport::ProgressReport(FILE* stream, Style style, int width)
    : fStream(stream),
      fStyle(style),
      fWidth(width),
      fNextLine(style == Style::InPlace ? kInPlaceInterval : kPlainLineInterval) {
    if (fStyle == Style::InPlace && fWidth == 0) {
        winsize size{};
        fWidth =
            ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
    }
}

void ProgressReport::Update(const RecordingFigures& figures) {
    if (fStyle == Style::Quiet || figures.elapsed < fNextLine)
        return;
    const bigtime_t interval = fStyle == Style::InPlace ? kInPlaceInterval : kPlainLineInterval;
    while (fNextLine <= figures.elapsed)
        fNextLine += interval;
    Print(figures);
}

void ProgressReport::Finish(const RecordingFigures& figures) {
    if (fStyle == Style::Quiet)
        return;
    Print(figures);
    if (fLineOpen)
        std::fputc('\n', fStream);
    fLineOpen = false;
    std::fflush(fStream);
}

void ProgressReport::Print(const RecordingFigures& figures) {
    std::string line = progressLine(figures);
    if (fStyle == Style::InPlace) {
        // The last column stays free: a terminal that wraps there would scroll.
        if (fWidth > 1 && line.size() > size_t(fWidth - 1))
            line.resize(size_t(fWidth - 1));
        std::fprintf(fStream, "\r%s\033[K", line.c_str());
        fLineOpen = true;
    } else {
        std::fprintf(fStream, "%s\n", line.c_str());
    }
    std::fflush(fStream);
}
