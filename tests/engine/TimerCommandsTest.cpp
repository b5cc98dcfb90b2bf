// The timer commands of the real tavro program, without a display: a timer stored with
// --add-timer is listed, recorded by --run-timers (which ends cleanly on SIGTERM) and removed;
// bad values are refused with exit status 2.

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/engine/TavroProgram.h"
#include "tests/media/file/MovieReader.h"

namespace {

// Local "H:MM:SS" of `time`.
std::string clockText(time_t time) {
    struct tm local {};
    localtime_r(&time, &local);
    char text[16];
    std::strftime(text, sizeof(text), "%H:%M:%S", &local);
    return text;
}

TEST(TimerCommands, AddedTimerIsListedRecordedAndRemoved) {
    // Ahead by more than the engine takes to start on a loaded machine: the whole run is
    // recorded, not the rest of one in progress.
    const time_t start = time(nullptr) + 8;
    struct tm local {};
    localtime_r(&start, &local);
    if (local.tm_hour == 23 && local.tm_min == 59)
        GTEST_SKIP() << "the timer would cross midnight";
    const std::string path = temporaryPath("avi");

    Outcome added = tavro({"--add-timer", clockText(start) + "-" + clockText(start + 4), path});
    ASSERT_EQ(added.exitStatus, 0) << added.err;
    Outcome listed = tavro({"--list-timers"});
    EXPECT_EQ(listed.exitStatus, 0);
    EXPECT_EQ(listed.out.rfind("0: ", 0), 0u) << listed.out;
    EXPECT_NE(listed.out.find(path), std::string::npos) << listed.out;

    // SIGTERM well after the timer's end.
    Outcome run = tavro({"--run-timers", "--video-input=test-picture", "--audio-input=test-tone"},
                        "timeout --preserve-status -s TERM 18");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("started: " + path), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("stopped: " + path), std::string::npos) << run.out;
    const MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.openError, 0);
    ASSERT_NE(movie.Video(), nullptr);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Video()->decodeErrors + movie.Audio()->decodeErrors, 0);
    EXPECT_GT(movie.Video()->endSeconds, 2.0);
    EXPECT_LT(movie.Video()->endSeconds, 8.0);
    std::printf("timed recording: %.2f s of video, %.2f s of sound\n", movie.Video()->endSeconds,
                movie.Audio()->endSeconds);

    Outcome removed = tavro({"--remove-timer", "0"});
    EXPECT_EQ(removed.exitStatus, 0) << removed.err;
    EXPECT_EQ(tavro({"--list-timers"}).out, "No timers.\n");
    std::filesystem::remove(path);
}

TEST(TimerCommands, BadValuesAreRefused) {
    const std::vector<std::vector<std::string>> lines = {
        {"--add-timer", "25:00-26:00", "x.avi"},
        {"--add-timer", "20:00", "x.avi"},
        {"--add-timer", "20:00-21:00"},
        {"--add-timer", "20:00-21:00", "x.avi", "--repeat", "hourly"},
        {"--add-timer", "20:00-21:00", "x.avi", "--date", "2026-13-01"},
        {"--add-timer", "20:00-21:00", "x.avi", "--format", "No Such Format"},
        {"--remove-timer", "0"},
        {"--remove-timer", "zero"},
    };
    for (const std::vector<std::string>& line : lines) {
        Outcome outcome = tavro(line);
        EXPECT_EQ(outcome.exitStatus, 2) << line[1] << " " << outcome.out;
        EXPECT_FALSE(outcome.err.empty()) << line[1];
    }
    EXPECT_EQ(tavro({"--list-timers"}).out, "No timers.\n");
}

}  // namespace
