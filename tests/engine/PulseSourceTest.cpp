// Sound from a PulseAudio server: the sources `pactl` reports, and the real `tavro --record`
// recording the monitor of a null sink that a tone is played into. The server is one this
// test starts on a socket of its own (skipped with a message where none can start).

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "media/alsa/PulseSourceList.h"
#include "tests/media/file/MovieReader.h"

namespace {

using Sources = std::vector<AlsaDeviceInfo>;

TEST(PulseSources, ParsedFromPactlsListing) {
    const char* listing = R"(Source #0
	State: SUSPENDED
	Name: alsa_output.pci-0000_00_1f.3.analog-stereo.monitor
	Description: Monitor of Built-in Audio Analog Stereo
	Driver: module-alsa-card.c
	Properties:
		device.description = "Monitor of Built-in Audio"
Source #1
	Name: alsa_input.usb-grabber
	Description: USB Video Grabber Analog Mono
Source #2
	Description: no name, not a source
Source #3
	Name: bare
)";
    EXPECT_EQ(parsePactlSources(listing),
              (Sources{{"pulse:DEVICE=alsa_output.pci-0000_00_1f.3.analog-stereo.monitor",
                        "Monitor of Built-in Audio Analog Stereo"},
                       {"pulse:DEVICE=alsa_input.usb-grabber", "USB Video Grabber Analog Mono"},
                       {"pulse:DEVICE=bare", "bare"}}));
    EXPECT_EQ(parsePactlSources(""), Sources{});
    EXPECT_EQ(parsePactlSources("Connection failure: Connection refused\n"), Sources{});
}

// A PulseAudio server with one null sink "tavro_null", in a runtime directory of its own.
class PulseServer : public testing::Test {
protected:
    void SetUp() override {
        char directory[] = "/tmp/tavro-pulse-XXXXXX";
        ASSERT_NE(mkdtemp(directory), nullptr);
        fRuntime = directory;
        fOldRuntime = std::getenv("XDG_RUNTIME_DIR") ? std::getenv("XDG_RUNTIME_DIR") : "";
        fOldHome = std::getenv("HOME") ? std::getenv("HOME") : "";
        setenv("XDG_RUNTIME_DIR", fRuntime.c_str(), 1);
        setenv("HOME", fRuntime.c_str(), 1);  // its cookie goes there, not into a real home
        unsetenv("PULSE_SERVER");
        fServer = fork();
        if (fServer == 0) {
            (void)!freopen((fRuntime + "/server.log").c_str(), "w", stderr);
            execlp("pulseaudio", "pulseaudio", "--daemonize=no", "--exit-idle-time=-1", "-n",
                   "--disable-shm=yes", "--load=module-native-protocol-unix",
                   "--load=module-null-sink sink_name=tavro_null", static_cast<char*>(nullptr));
            _exit(127);
        }
        for (int i = 0; i < 100 && !pulseServerRunning(); i++)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (!pulseServerRunning() || !Answers())
            GTEST_SKIP() << "no PulseAudio server could be started here (pulseaudio installed? "
                            "see "
                         << fRuntime << "/server.log)";
    }
    void TearDown() override {
        if (fServer > 0) {
            kill(fServer, SIGTERM);
            waitpid(fServer, nullptr, 0);
        }
        setenv("XDG_RUNTIME_DIR", fOldRuntime.c_str(), 1);
        setenv("HOME", fOldHome.c_str(), 1);
        std::filesystem::remove_all(fRuntime);
    }
    // Whether the server lists its sources yet.
    bool Answers() {
        for (int i = 0; i < 50; i++) {
            if (!listPulseSources().empty())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }

    std::string fRuntime, fOldRuntime, fOldHome;
    pid_t fServer = -1;
};

// The RMS of the first audio track of `path`, as 16-bit samples (ffmpeg decodes it).
double audioLevel(const std::string& path) {
    const std::string command = "ffmpeg -v error -i '" + path + "' -vn -f s16le -ac 1 -";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return -1;
    double sum = 0;
    int64_t count = 0;
    int16_t samples[4096];
    size_t read;
    while ((read = fread(samples, sizeof(int16_t), 4096, pipe)) > 0) {
        for (size_t i = 0; i < read; i++)
            sum += double(samples[i]) * samples[i];
        count += int64_t(read);
    }
    pclose(pipe);
    return count > 0 ? std::sqrt(sum / double(count)) : -1;
}

TEST_F(PulseServer, TheSinksMonitorIsListedAndRecorded) {
    const Sources sources = listPulseSources();
    ASSERT_FALSE(sources.empty());
    EXPECT_EQ(sources[0].name, "pulse:DEVICE=tavro_null.monitor");
    EXPECT_EQ(sources[0].description, "Monitor of Null Output");

    // A tone into the sink for longer than the recording.
    const pid_t player = fork();
    if (player == 0) {
        setpgid(0, 0);  // the shell, ffmpeg and pacat end together
        execl("/bin/sh", "sh", "-c",
              "ffmpeg -v error -re -f lavfi -i sine=frequency=440:duration=8 -f s16le -ac 2 "
              "-ar 44100 - | pacat --device=tavro_null --format=s16le --rate=44100 --channels=2",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const std::string path = temporaryPath("avi");
    const std::string command = std::string("'") + TAVRO_BINARY +
                                "' --video-input=test-picture "
                                "--audio-input=pulse:DEVICE=tavro_null.monitor --record '" +
                                path + "' --duration 3 >/dev/null 2>" + fRuntime + "/tavro.err";
    const int status = std::system(command.c_str());
    kill(-player, SIGTERM);
    waitpid(player, nullptr, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "see " << fRuntime << "/tavro.err";
    const MovieSummary movie = readMovie(path);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Audio()->decodeErrors, 0);
    EXPECT_GT(movie.Audio()->samples, 44100);
    // The test tone of the built-in input would be 1 kHz with clicks; silence would be 0.
    EXPECT_GT(audioLevel(path), 1000.0) << "the tone played into the sink is in the file";
    std::remove(path.c_str());
}

}  // namespace
