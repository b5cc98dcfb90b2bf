// The real `tavro --record` program on the built-in test signal: what it leaves on disk, what
// it prints, and how it ends.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app/records/TavroSettings.h"
#include "media/roster/MediaRoster.h"
#include "tests/engine/TavroProgram.h"
#include "tests/media/file/MovieReader.h"

namespace {

size_t count(const std::string& text, const std::string& what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        found++;
    return found;
}

// `text` without the video node's drift lines, which a machine busy elsewhere adds to standard
// output wherever they fall.
std::string withoutDriftLines(std::string text) {
    for (size_t at = text.find("frame dropped - drift = "); at != std::string::npos;
         at = text.find("frame dropped - drift = ", at)) {
        const size_t end = text.find('\n', at);
        text.erase(at, end == std::string::npos ? std::string::npos : end + 1 - at);
    }
    return text;
}

// The report beside `path`, removed.
std::string takeReport(const std::string& path) {
    std::ifstream file(path + ".log");
    std::stringstream text;
    text << file.rdbuf();
    std::remove((path + ".log").c_str());
    return text.str();
}

// The number after `key` in `text` ("Video frames: " gives 75 of "Video frames: 75 ..."), or
// -1 when it is not there; `at` is where to look for the key from.
long long figureAfter(const std::string& text, const std::string& key, size_t at = 0) {
    const size_t found = text.find(key, at);
    long long value = -1;
    if (found != std::string::npos)
        std::sscanf(text.c_str() + found + key.size(), "%lld", &value);
    return value;
}

// The built-in inputs, whatever devices this machine has.
std::vector<std::string> withTestSignal(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--video-input=test-picture", "--audio-input=test-tone"});
    return arguments;
}

}  // namespace

TEST(HeadlessRecorder, RecordsTheGivenDurationAndReportsIntoAPipeInPlainLines) {
    const std::string path = temporaryPath("avi");
    Outcome run = tavro(withTestSignal({"--record", path, "--duration", "0:03"}));
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    // Standard error stays empty on a machine without sound card or mixer: the libraries'
    // own messages go to the debug log.
    EXPECT_EQ(run.err, "");
    // The full name, then (three seconds being less than the plain lines' interval) only the
    // last figures, as a plain line.
    EXPECT_EQ(run.out.rfind("Recording into " + path + "\n", 0), 0u) << run.out;
    EXPECT_EQ(count(run.out, "\n"), 2u) << run.out;
    EXPECT_NE(run.out.find("\n00:00:03  "), std::string::npos) << run.out;
    // Frames a machine too busy to write them all refused are counted, never lost unseen.
    long long counted = -1;
    long long dropped = -1;
    const size_t figures = run.out.find("\n00:00:03  ");
    if (figures != std::string::npos)
        std::sscanf(run.out.c_str() + figures, "\n00:00:03 %lld frames, %lld dropped", &counted,
                    &dropped);
    EXPECT_GE(dropped, 0) << run.out;
    EXPECT_EQ(run.out.find('\r'), std::string::npos);

    MovieSummary movie = readMovie(path);
    std::remove(path.c_str());
    ASSERT_EQ(movie.openError, 0);
    ASSERT_NE(movie.Video(), nullptr);
    ASSERT_NE(movie.Audio(), nullptr);
    // The default format: 384x288 raw video at the test picture's 25 frames per second.
    EXPECT_EQ(movie.Video()->width, 384);
    EXPECT_NEAR(double(movie.Video()->frames + dropped), 75, 3);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
    EXPECT_NEAR(double(movie.Audio()->samples) / movie.Audio()->sampleRate, 3.0, 0.15);

    // The report's figures are the file's, and they add up.
    const std::string report = takeReport(path);
    EXPECT_EQ(figureAfter(report, "Video frames written: "), movie.Video()->frames) << report;
    const size_t video = report.find("Video frames: ");
    ASSERT_NE(video, std::string::npos) << report;
    const long long expected = figureAfter(report, "Video frames: ");
    const long long written = figureAfter(report, "expected, ", video);
    EXPECT_EQ(written, movie.Video()->frames) << report;
    EXPECT_EQ(written + figureAfter(report, "written, ", video), expected) << report;
    const size_t sound = report.find("Sound buffers: ");
    ASSERT_NE(sound, std::string::npos) << report;
    EXPECT_EQ(figureAfter(report, "expected, ", sound) + figureAfter(report, "written, ", sound),
              figureAfter(report, "Sound buffers: "))
        << report;
    // The peaks are there; a writer that keeps up can leave the video ring empty at every write.
    for (const char* ring : {"Video ring: at most ", "Sound ring: at most "}) {
        EXPECT_GE(figureAfter(report, ring), 0) << report;
        EXPECT_LE(figureAfter(report, ring), figureAfter(report, "of ", report.find(ring)))
            << report;
    }
    // The test signal is measured in the closed file: every frame, sound placed against them.
    EXPECT_EQ(figureAfter(report, "Test picture: "), movie.Video()->frames) << report;
    EXPECT_NE(report.find("A/V sync: sound "), std::string::npos) << report;
    EXPECT_NE(report.find("Errors: none\n"), std::string::npos) << report;
}

TEST(HeadlessRecorder, OnATerminalTheStatusIsOneLineRewrittenInPlace) {
    const std::string path = temporaryPath("avi");
    // script gives tavro a pseudo-terminal as its standard output.
    const std::string inner = std::string("'") + TAVRO_BINARY + "' --record '" + path +
                              "' --duration 2.5 --video-input=test-picture --audio-input=test-tone";
    const std::string out = temporaryPath("out");
    const int status =
        std::system(("script -qec \"" + inner + "\" /dev/null </dev/null >'" + out + "'").c_str());
    Outcome run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, withoutDriftLines(takeFile(out)), ""};
    std::remove(path.c_str());
    EXPECT_EQ(run.exitStatus, 0) << run.out;
    EXPECT_GE(count(run.out, "\r00:00:0"), 3u) << run.out;
    EXPECT_GE(count(run.out, "\033[K"), 3u);
    // The in-place line ends once, with the recording.
    EXPECT_EQ(count(run.out, "00:00:02  "), 2u) << run.out;
    EXPECT_EQ(count(run.out, "\n"), 2u) << run.out;
}

TEST(HeadlessRecorder, QuietPrintsNothingAndTheToolsKeepStandardErrorEmpty) {
    const std::string path = temporaryPath("avi");
    Outcome quiet = tavro(withTestSignal({"-q", "--record", path, "--duration=1"}));
    std::remove(path.c_str());
    EXPECT_EQ(quiet.exitStatus, 0) << quiet.err;
    EXPECT_EQ(quiet.out, "");
    EXPECT_EQ(quiet.err, "");
    for (const char* tool : {"--version", "--list-devices", "--list-formats", "--settings"}) {
        Outcome run = tavro({tool});
        EXPECT_EQ(run.exitStatus, 0) << tool;
        EXPECT_NE(run.out, "") << tool;
        EXPECT_EQ(run.err, "") << tool;
    }
}

TEST(HeadlessRecorder, OverridesChangeTheFormatForOneRecording) {
    const std::string path = temporaryPath("mkv");
    Outcome run = tavro(withTestSignal({"--record", path, "--duration", "1", "--file-format",
                                        "matroska", "--video-encoder", "mpeg4", "--quality", "0.9",
                                        "--size", "320x240", "--audio-encoder", ""}));
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    MovieSummary movie = readMovie(path);
    std::remove(path.c_str());
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->codec, "mpeg4");
    EXPECT_EQ(movie.Video()->width, 320);
    EXPECT_EQ(movie.Audio(), nullptr);
}

TEST(HeadlessRecorder, SigtermStopsTheRecordingAndClosesTheFile) {
    const std::string path = temporaryPath("avi"), out = temporaryPath("out");
    // SIGTERM two seconds after tavro has named its file (its handlers are in place by then,
    // however long a loaded machine took to start it); the shell exits with tavro's status.
    const std::string script = "'" + std::string(TAVRO_BINARY) + "' --record '" + path +
                               "' --video-input=test-picture --audio-input=test-tone >'" + out +
                               "' & pid=$!; for i in $(seq 300); do grep -q 'Recording into' '" +
                               out +
                               "' && break; sleep 0.1; done; sleep 2; kill -TERM $pid; "
                               "wait $pid";
    const int status = std::system(script.c_str());
    takeFile(out);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    MovieSummary movie = readMovie(path);
    std::remove(path.c_str());
    // A closed file that decodes; how much of the two seconds a busy machine let it hold is
    // the engine tests' matter.
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_GE(movie.Video()->frames, 1);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
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

TEST(HeadlessRecorder, ANamedDeviceThatIsNotThereIsReportedAndNothingIsRecordedInItsPlace) {
    struct Case {
        const char* what;
        std::vector<std::string> devices;
        const char* said;
    } cases[] = {
        {"video",
         {"--video-input=/dev/video-none", "--audio-input=test-tone"},
         "The chosen video input \"/dev/video-none\" is not there"},
        {"audio",
         {"--video-input=test-picture", "--audio-input=hw:CARD=None"},
         "The chosen audio input \"hw:CARD=None\" is not there"},
    };
    for (const Case& c : cases) {
        const std::string path = temporaryPath("avi");
        std::vector<std::string> arguments = c.devices;
        arguments.insert(arguments.end(), {"--record", path, "--duration", "1"});
        Outcome run = tavro(arguments);
        EXPECT_EQ(run.exitStatus, 1) << c.what;
        EXPECT_EQ(count(run.err, c.said), 1u) << c.what << ": " << run.err;
        EXPECT_FALSE(std::filesystem::exists(path)) << c.what << ": no test bars recorded";
        std::remove(path.c_str());
    }
}

TEST(HeadlessRecorder, TheDevicesChosenInTheWindowAreUsedUnlessTheCommandLineNamesOthers) {
    TavroSettings chosen;
    chosen.videoInput = "/dev/video-none";
    chosen.audioInput = MediaRoster::kTestToneID;
    ASSERT_EQ(chosen.Save(), B_OK);
    std::string settings;
    ASSERT_EQ(chosen.GetPath(&settings), B_OK);

    Outcome shown = tavro({"--settings"});
    EXPECT_NE(shown.out.find("Video input: /dev/video-none\n"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("Audio input: test-tone\n"), std::string::npos) << shown.out;

    const std::string path = temporaryPath("avi");
    Outcome kept = tavro({"--record", path, "--duration", "1"});
    EXPECT_EQ(kept.exitStatus, 1);
    EXPECT_NE(kept.err.find("\"/dev/video-none\" is not there"), std::string::npos) << kept.err;
    EXPECT_FALSE(std::filesystem::exists(path));

    Outcome overridden = tavro({"--record", path, "--duration", "1", "--video-input=test-picture"});
    EXPECT_EQ(overridden.exitStatus, 0) << overridden.err;
    EXPECT_NE(readMovie(path).Video(), nullptr);
    std::remove(path.c_str());
    std::remove(settings.c_str());
}

TEST(HeadlessRecorder, ListsTheFormatsAndRefusesABadCommandLine) {
    Outcome listing = tavro({"--list-formats"});
    EXPECT_EQ(listing.exitStatus, 0);
    EXPECT_NE(listing.out.find("Standard Format"), std::string::npos);
    EXPECT_NE(listing.out.find("avi"), std::string::npos);
    EXPECT_EQ(tavro({"--record"}).exitStatus, 2);
    EXPECT_EQ(tavro({"--record", "/tmp/x.avi", "--duration", "soon"}).exitStatus, 2);
    EXPECT_EQ(tavro({"--record", "/tmp/x.avi", "--format", "No Such Format"}).exitStatus, 2);
}

// ---------------------------------------------------------------------------------------------
// What happens to files: existing ones, odd names, and disks that fail.

namespace {

std::string readBytes(const std::string& path) {
    std::stringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// A fresh folder under the temporary directory, removed by the caller.
std::string temporaryFolder() {
    std::string path = temporaryPath("d");
    std::filesystem::create_directory(path);
    return path;
}

}  // namespace

TEST(HeadlessRecorder, AnExistingFileIsReplacedOnlyWithOverwrite) {
    const std::string path = temporaryPath("avi");
    const std::string precious = "an earlier recording";
    writeBytes(path, precious);

    Outcome refused = tavro(withTestSignal({"--record", path, "--duration", "1"}));
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_NE(refused.err.find("exists; give --overwrite"), std::string::npos) << refused.err;
    EXPECT_EQ(readBytes(path), precious);

    Outcome replaced = tavro(withTestSignal({"--record", path, "--duration", "1", "--overwrite"}));
    EXPECT_EQ(replaced.exitStatus, 0) << replaced.err;
    MovieSummary movie = readMovie(path);
    std::remove(path.c_str());
    // The new recording, whatever a busy machine let it hold of its second.
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_GE(movie.Video()->frames, 1);
}

TEST(HeadlessRecorder, AFailedStartLeavesTheFileAsItWasAndNoEmptyFile) {
    // libx264 takes only even picture sizes: the encoder refuses to open at the header.
    const std::vector<std::string> misfit = {
        "--duration", "1",      "--file-format", "matroska",   "--video-encoder",
        "libx264",    "--size", "321x241",       "--overwrite"};
    const std::string existing = temporaryPath("mkv"), missing = temporaryPath("mkv");
    writeBytes(existing, "an earlier recording");
    for (const std::string& path : {existing, missing}) {
        SCOPED_TRACE(path);
        std::vector<std::string> arguments = {"--record", path};
        arguments.insert(arguments.end(), misfit.begin(), misfit.end());
        Outcome run = tavro(withTestSignal(arguments));
        EXPECT_EQ(run.exitStatus, 1) << run.err;
    }
    EXPECT_EQ(readBytes(existing), "an earlier recording");
    EXPECT_FALSE(std::filesystem::exists(missing));
    // Nor is a hidden temporary file left beside them.
    const std::filesystem::path folder = std::filesystem::path(existing).parent_path();
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        EXPECT_EQ(entry.path().filename().string().find(".tavro-"), std::string::npos)
            << entry.path();
    }
    std::remove(existing.c_str());
}

TEST(HeadlessRecorder, NamesThatLookLikeURLsAreFilesInTheCurrentFolder) {
    const std::string folder = temporaryFolder();
    for (const std::string name : {"News: 10pm.avi", "pipe:x.avi", "file:clip.avi"}) {
        SCOPED_TRACE(name);
        Outcome run =
            tavro(withTestSignal({"--record", name, "--duration", "1"}), "cd '" + folder + "' &&");
        EXPECT_EQ(run.exitStatus, 0) << run.err;
        // Nothing of the movie went to standard output.
        EXPECT_LT(run.out.size(), 2000u);
        MovieSummary movie = readMovie(folder + "/" + name);
        ASSERT_NE(movie.Video(), nullptr);
        EXPECT_GE(movie.Video()->frames, 1);
    }
    std::filesystem::remove_all(folder);
}

TEST(HeadlessRecorder, AWriteErrorStopsTheRecordingAndKeepsADecodableFile) {
    for (const char* error : {"EIO", "EDQUOT", "ENOSPC", "EFBIG"}) {
        SCOPED_TRACE(error);
        const std::string path = temporaryPath("avi");
        // About a second of the default format's raw pictures, then the disk fails.
        const std::string environment =
            std::string("env LD_PRELOAD='") + TAVRO_FAILING_WRITES +
            "' ASAN_OPTIONS=verify_asan_link_order=0" + " TAVRO_FAIL_WRITES_PATH='" +
            std::filesystem::path(path).filename().string() + "' TAVRO_FAIL_WRITES_AFTER=10000000" +
            " TAVRO_FAIL_WRITES_ERRNO=" + error;
        Outcome run = tavro(withTestSignal({"--record", path, "--duration", "20"}), environment);
        EXPECT_EQ(run.exitStatus, 1);
        EXPECT_EQ(count(run.err, "Video file may be corrupt."), 2u) << run.err;
        EXPECT_NE(run.err.find("keeps "), std::string::npos) << run.err;
        // Stopped at once, not at the end of the duration.
        double stoppedAfter = 100;
        const size_t at = run.err.find("stopped after ");
        ASSERT_NE(at, std::string::npos) << run.err;
        std::sscanf(run.err.c_str() + at, "stopped after %lf", &stoppedAfter);
        EXPECT_LT(stoppedAfter, 10.0) << run.err;

        // However often the writers failed until the stop, the report lists the error once.
        const std::string report = takeReport(path);
        EXPECT_EQ(count(report, "Error: "), 1u) << report;
        EXPECT_EQ(count(report, "Video file may be corrupt. ["), 1u) << report;

        MovieSummary movie = readMovie(path);
        std::remove(path.c_str());
        ASSERT_EQ(movie.openError, 0);
        ASSERT_NE(movie.Video(), nullptr);
        EXPECT_GE(movie.Video()->frames, 10);
        EXPECT_EQ(movie.Video()->decodeErrors, 0);
    }
}

TEST(HeadlessRecorder, AFullDiskStopsTheRecordingAndKeepsADecodableFile) {
    // A small tmpfs of its own, in a mount namespace of its own.
    if (std::system("unshare -rm true >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "no mount namespace here (unshare -rm fails): no small disk to fill";
    const std::string folder = temporaryFolder(), copy = folder + "/kept.avi";
    const std::string script = "unshare -rm sh -c 'mount -t tmpfs -o size=8m tavro \"" + folder +
                               "/disk\" && \"$0\" \"$@\"; status=$?; cp \"" + folder +
                               "/disk/full.avi\" \"" + copy + "\"; exit $status'";
    std::filesystem::create_directory(folder + "/disk");
    Outcome run =
        tavro(withTestSignal({"--record", folder + "/disk/full.avi", "--duration", "20"}), script);
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.err.find("[No space left on device]"), std::string::npos) << run.err;
    MovieSummary movie = readMovie(copy);
    std::filesystem::remove_all(folder);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_GE(movie.Video()->frames, 5);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
}

// A sound card that fails mid-recording, at ALSA's boundary: the user's ALSA configuration
// defines a capture PCM whose "file" plugin copies what it reads into a FIFO; once the test
// closes the FIFO's reading end, every read fails with EIO.
TEST(HeadlessRecorder, AnAudioInputThatFailsStopsTheRecordingAndSaysWhich) {
    const std::string folder = temporaryFolder(), path = folder + "/failed.avi";
    const std::string fifo = folder + "/capture.fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::ofstream(folder + "/.asoundrc")
        << "pcm.tavrofail { type file slave.pcm { type null } file \"" << fifo
        << "\" format raw hint { show on description \"Failing capture\" } }\n";
    // Read for four seconds from the first sound, then unplug. The program would block
    // opening the FIFO without a reader: it is open for reading first (and not inherited).
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    std::thread card([reader] {
        char sink[65536];
        using Clock = std::chrono::steady_clock;
        Clock::time_point end = Clock::now() + std::chrono::seconds(60);
        bool flowing = false;
        while (Clock::now() < end) {
            const ssize_t got = read(reader, sink, sizeof sink);
            if (got > 0 && !flowing) {
                flowing = true;
                end = Clock::now() + std::chrono::seconds(4);
            }
            if (got <= 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        close(reader);
    });
    // Without a reader the plugin's writes raise SIGPIPE, which a real card never does.
    const std::string environment =
        "env HOME='" + folder + "' XDG_CONFIG_HOME='" + folder +
        "/config' timeout 60 sh -c 'trap \"\" PIPE; exec \"$0\" \"$@\"'";
    Outcome run = tavro({"--record", path, "--duration", "30", "--video-input=test-picture",
                         "--audio-input=tavrofail"},
                        environment);
    card.join();
    EXPECT_EQ(run.exitStatus, 1) << run.err;
    EXPECT_NE(run.err.find("stopped after "), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("The audio input \"Failing capture\" (tavrofail) has stopped."),
              std::string::npos)
        << run.err;
    EXPECT_NE(run.err.find("keeps "), std::string::npos) << run.err;
    MovieSummary movie = readMovie(path);
    std::filesystem::remove_all(folder);
    ASSERT_EQ(movie.openError, 0);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_GE(movie.Video()->frames, 10);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Audio()->decodeErrors, 0);
}

TEST(HeadlessRecorder, CommandLineRunsLeaveADamagedSettingsFileAsItIs) {
    // The test program's own settings folder, which tavro inherits.
    const std::string settings =
        std::string(std::getenv("XDG_CONFIG_HOME")) + "/zelk.Tavro settings";
    const std::string damaged = "TMsg\x01\x00\x00\x00 cut short";
    writeBytes(settings, damaged);
    for (const char* option : {"--version", "--help", "--settings", "--list-formats"}) {
        SCOPED_TRACE(option);
        EXPECT_EQ(tavro({option}).exitStatus, 0);
        EXPECT_EQ(readBytes(settings), damaged);
        EXPECT_FALSE(std::filesystem::exists(settings + ".damaged"));
    }
    std::remove(settings.c_str());
}
