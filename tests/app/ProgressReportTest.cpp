// What tavro --record prints while it records: the figures' line, and how often and how it is
// written on a terminal, into a pipe and when quiet.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/ProgressReport.h"

namespace {

// Runs `write` against a ProgressReport of `style` on an in-memory stream; what it wrote.
template <typename Write>
std::string written(ProgressReport::Style style, int width, Write write) {
    char* buffer = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&buffer, &size);
    {
        ProgressReport report(stream, style, width);
        write(report);
    }
    std::fclose(stream);
    std::string text(buffer, size);
    std::free(buffer);
    return text;
}

RecordingFigures at(bigtime_t seconds) {
    RecordingFigures figures;
    figures.elapsed = seconds * 1000000;
    figures.frames = seconds * 25;
    figures.soundBuffers = seconds * 10;
    figures.videoRingUsed = 2;
    figures.videoRingCount = 40;
    figures.audioRingCount = 40;
    figures.fileBytes = seconds * 1000000;
    return figures;
}

size_t count(const std::string& text, const std::string& what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        found++;
    return found;
}

}  // namespace

TEST(ProgressReport, TheLineLabelsEveryFigure) {
    RecordingFigures figures;
    figures.elapsed = 3725 * 1000000LL + 999999;
    figures.frames = 12345678;
    figures.droppedFrames = 3;
    figures.soundBuffers = 4567;
    figures.droppedSoundBuffers = 0;
    figures.videoRingUsed = 7;
    figures.videoRingCount = 40;
    figures.audioRingUsed = 1;
    figures.audioRingCount = 40;
    figures.fileBytes = 1234567890;
    EXPECT_EQ(progressLine(figures),
              "01:02:05  12345678 frames, 3 dropped  4567 buffers, 0 dropped  rings 7/40 1/40  "
              "1.2 GB  2.7 Mbit/s");

    // Before the rings exist and before the file has a size, those figures are left out.
    RecordingFigures start;
    EXPECT_EQ(progressLine(start), "00:00:00  0 frames, 0 dropped  0 buffers, 0 dropped");
    start.fileBytes = 999;
    start.elapsed = 500000;  // too early for a rate
    EXPECT_EQ(progressLine(start), "00:00:00  0 frames, 0 dropped  0 buffers, 0 dropped  999 B");

    // A full ring is said first, where a narrow terminal does not cut it off.
    figures.encoderBehind = true;
    EXPECT_EQ(progressLine(figures).substr(0, 36), "01:02:05  encoder not keeping up  12");
}

TEST(ProgressReport, IntoAPipeAPlainLineEveryTenSecondsAndAtTheEnd) {
    const std::string text = written(ProgressReport::Style::Lines, 0, [](ProgressReport& report) {
        // The recorder's loop asks ten times a second.
        for (bigtime_t tenth = 0; tenth <= 250; tenth++) {
            RecordingFigures figures = at(0);
            figures.elapsed = tenth * 100000;
            report.Update(figures);
        }
        report.Finish(at(25));
    });
    EXPECT_EQ(count(text, "\n"), 3u) << text;
    EXPECT_EQ(text.find('\r'), std::string::npos);
    EXPECT_EQ(text.find('\033'), std::string::npos);
    EXPECT_EQ(text.substr(0, 9), "00:00:10 ");
    EXPECT_NE(text.find("\n00:00:20 "), std::string::npos);
    EXPECT_NE(text.find("\n00:00:25  625 frames"), std::string::npos);
}

TEST(ProgressReport, OnATerminalOneLineRewrittenEverySecondAndCutToTheWidth) {
    const std::string text =
        written(ProgressReport::Style::InPlace, 40, [](ProgressReport& report) {
            for (bigtime_t tenth = 0; tenth <= 35; tenth++) {
                RecordingFigures figures = at(tenth / 10);
                figures.elapsed = tenth * 100000;
                report.Update(figures);
            }
            report.Finish(at(4));
        });
    // Seconds 1, 2 and 3, then the last figures; one newline, at the very end.
    EXPECT_EQ(count(text, "\r"), 4u) << text;
    EXPECT_EQ(count(text, "\033[K"), 4u);
    EXPECT_EQ(count(text, "\n"), 1u);
    EXPECT_EQ(text.back(), '\n');
    // Each rewrite is at most 39 columns, so that the terminal never wraps it.
    for (size_t at = text.find('\r'); at != std::string::npos; at = text.find('\r', at + 1))
        EXPECT_LE(text.find('\033', at) - at - 1, 39u);
    EXPECT_NE(text.find("\r00:00:04  100 frames, 0 dropped  40 buf\033[K\n"), std::string::npos)
        << text;
}

TEST(ProgressReport, QuietWritesNothing) {
    const std::string text = written(ProgressReport::Style::Quiet, 0, [](ProgressReport& report) {
        for (bigtime_t second = 0; second <= 30; second++)
            report.Update(at(second));
        report.Finish(at(30));
    });
    EXPECT_EQ(text, "");
    EXPECT_EQ(ProgressReport::StyleFor(stdout, true), ProgressReport::Style::Quiet);
}
