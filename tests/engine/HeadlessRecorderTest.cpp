// The real `tavro --record` program on the built-in test signal: what it leaves on disk, what
// it prints, and how it ends.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/Clock.h"
#include "tests/media/file/MovieReader.h"

namespace {

struct Outcome {
    int exitStatus = -1;
    std::string out;
    std::string err;
};

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Starts tavro with `arguments`; standard output and error go to files.
pid_t start(const std::vector<std::string>& arguments, const std::string& outPath,
            const std::string& errPath) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(TAVRO_BINARY));
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(out, 1);
        dup2(err, 2);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return child;
}

Outcome finish(pid_t child, const std::string& outPath, const std::string& errPath) {
    Outcome run;
    int status = 0;
    if (waitpid(child, &status, 0) == child && WIFEXITED(status))
        run.exitStatus = WEXITSTATUS(status);
    run.out = slurp(outPath);
    run.err = slurp(errPath);
    std::remove(outPath.c_str());
    std::remove(errPath.c_str());
    return run;
}

Outcome tavro(const std::vector<std::string>& arguments) {
    const std::string out = temporaryPath("out"), err = temporaryPath("err");
    return finish(start(arguments, out, err), out, err);
}

size_t count(const std::string& text, const std::string& what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        found++;
    return found;
}

// The built-in inputs, whatever devices this machine has.
const std::vector<std::string> kTestSignal = {"--video-input=test-picture",
                                              "--audio-input=test-tone"};

std::vector<std::string> with(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), kTestSignal.begin(), kTestSignal.end());
    return arguments;
}

}  // namespace

TEST(HeadlessRecorder, RecordsTheGivenDurationAndPrintsTheStatusEverySecond) {
    const std::string path = temporaryPath("avi");
    Outcome run = tavro(with({"--record", path, "--duration", "3"}));
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_GE(count(run.out, " frames ("), 3u) << run.out;
    EXPECT_NE(run.out.find("buffers ("), std::string::npos);
    EXPECT_NE(run.out.find("video ring "), std::string::npos);

    MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.openError, 0);
    ASSERT_NE(movie.Video(), nullptr);
    ASSERT_NE(movie.Audio(), nullptr);
    // The default format: 384x288 raw video at the test picture's 25 frames per second.
    EXPECT_EQ(movie.Video()->width, 384);
    EXPECT_NEAR(double(movie.Video()->frames), 75, 3);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
    EXPECT_NEAR(double(movie.Audio()->samples) / movie.Audio()->sampleRate, 3.0, 0.15);
    std::remove(path.c_str());
}

TEST(HeadlessRecorder, OverridesChangeTheFormatForOneRecording) {
    const std::string path = temporaryPath("mkv");
    Outcome run = tavro(
        with({"--record", path, "--duration", "1", "--file-format", "matroska", "--video-encoder",
              "mpeg4", "--quality", "0.9", "--size", "320x240", "--audio-encoder", ""}));
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    MovieSummary movie = readMovie(path);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->codec, "mpeg4");
    EXPECT_EQ(movie.Video()->width, 320);
    EXPECT_EQ(movie.Audio(), nullptr);
    std::remove(path.c_str());
}

TEST(HeadlessRecorder, SigtermStopsTheRecordingAndClosesTheFile) {
    const std::string path = temporaryPath("avi");
    const std::string out = temporaryPath("out"), err = temporaryPath("err");
    const pid_t child = start(with({"--record", path}), out, err);
    ASSERT_GT(child, 0);
    snooze(2000000);
    kill(child, SIGTERM);
    Outcome run = finish(child, out, err);
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    MovieSummary movie = readMovie(path);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_GE(movie.Video()->frames, 25);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
    std::remove(path.c_str());
}

TEST(HeadlessRecorder, WithoutAnyVideoInputItSaysSoOnceAndRecordsNothing) {
    for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
        if (entry.path().filename().string().rfind("video", 0) == 0)
            GTEST_SKIP() << "this machine has a video device: " << entry.path();
    }
    const std::string path = temporaryPath("avi");
    Outcome run = tavro({"--record", path, "--duration", "1", "--no-test-inputs"});
    EXPECT_NE(run.exitStatus, 0);
    EXPECT_EQ(count(run.err, "Can't find video input"), 1u) << run.err;
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(HeadlessRecorder, ABadCommandLineIsRefused) {
    EXPECT_EQ(tavro({"--record"}).exitStatus, 2);
    EXPECT_EQ(tavro({"--record", "/tmp/x.avi", "--duration", "soon"}).exitStatus, 2);
    EXPECT_EQ(tavro({"--record", "/tmp/x.avi", "--size", "big"}).exitStatus, 2);
    EXPECT_EQ(tavro({"--record", "/tmp/x.avi", "--format", "No Such Format"}).exitStatus, 2);
    Outcome listing = tavro({"--list-formats"});
    EXPECT_EQ(listing.exitStatus, 0);
    EXPECT_NE(listing.out.find("Standard Format"), std::string::npos);
    EXPECT_NE(listing.out.find("avi"), std::string::npos);
}
