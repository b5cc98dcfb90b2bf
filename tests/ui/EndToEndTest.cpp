// The whole program on a real X display (Xvfb): the tavro binary starts on the built-in test
// picture and tone, the keyboard opens both panes and presses Record and, 3 s later, Stop,
// Ctrl+Q quits. The recorded file must hold about 3 s of picture and sound, and the settings
// file the window's frame and open panes. A screenshot of the window during the recording is
// saved beside the test program (TAVRO_SCREENSHOT).

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "app/TavroSettings.h"
#include "support/Message.h"
#include "tests/media/file/MovieReader.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// A child process, ended (SIGTERM, then SIGKILL) and reaped when this goes.
class Child {
public:
    // `environment` entries replace or add to this process's environment; `log` (when not
    // empty) receives the child's standard output and error. Descriptors without
    // close-on-exec are inherited.
    Child(const std::vector<std::string>& arguments,
          const std::map<std::string, std::string>& environment = {}, const std::string& log = "") {
        std::map<std::string, std::string> merged;
        for (char** entry = environ; *entry != nullptr; entry++) {
            std::string text(*entry);
            size_t equals = text.find('=');
            if (equals != std::string::npos)
                merged[text.substr(0, equals)] = text.substr(equals + 1);
        }
        for (const auto& [name, value] : environment)
            merged[name] = value;
        std::vector<std::string> pairs;
        for (const auto& [name, value] : merged)
            pairs.push_back(name + "=" + value);

        std::vector<char*> argv, envp;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        for (const std::string& pair : pairs)
            envp.push_back(const_cast<char*>(pair.c_str()));
        envp.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        if (!log.empty()) {
            posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                             0644);
            posix_spawn_file_actions_adddup2(&actions, 1, 2);
        }
        if (posix_spawnp(&fPid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0)
            fPid = -1;
        posix_spawn_file_actions_destroy(&actions);
    }

    ~Child() {
        if (fPid <= 0)
            return;
        kill(fPid, SIGTERM);
        if (Wait(5s) < -1) {
            kill(fPid, SIGKILL);
            waitpid(fPid, nullptr, 0);
        }
    }

    bool Started() const { return fPid > 0; }

    // The exit status; -1 for a signal, -2 when it is still running after `timeout`.
    int Wait(std::chrono::milliseconds timeout) {
        auto end = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < end) {
            int status;
            pid_t done = waitpid(fPid, &status, WNOHANG);
            if (done == fPid) {
                fPid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(50ms);
        }
        return -2;
    }

private:
    pid_t fPid = -1;
};

// Runs a command line; its standard output.
std::string run(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return output;
    char chunk[256];
    while (size_t got = fread(chunk, 1, sizeof(chunk), pipe))
        output.append(chunk, got);
    pclose(pipe);
    return output;
}

// The window's client height on the display.
int heightOf(const std::string& window) {
    std::string shell = run("xdotool getwindowgeometry --shell " + window);
    size_t at = shell.find("HEIGHT=");
    return at == std::string::npos ? -1 : std::atoi(shell.c_str() + at + 7);
}

// Saves a picture of `window` as a PNG file, through a Qt client of the same display.
bool saveScreenshot(const std::string& window, const char* path) {
    int argc = 1;
    char name[] = "tavro-end-to-end-test";
    char* argv[] = {name, nullptr};
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    QGuiApplication client(argc, argv);
    QPixmap picture = QGuiApplication::primaryScreen()->grabWindow(std::stoul(window));
    return !picture.isNull() && picture.save(path, "PNG");
}

void keys(const std::string& sequence) {
    std::system(("xdotool key --delay 150 " + sequence).c_str());
    std::this_thread::sleep_for(300ms);
}

std::string readText(const std::string& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

class EndToEndTest : public testing::Test {
protected:
    void SetUp() override {
        fDirectory = fs::temp_directory_path() / ("tavro-end-to-end-" + std::to_string(getpid()));
        fs::create_directories(fDirectory / "config");
    }

    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(fDirectory, ignored);
    }

    // Starts Xvfb on a display number it picks itself; false when it does not come up.
    bool StartDisplay() {
        int pipeEnds[2];
        if (pipe(pipeEnds) != 0)
            return false;
        fDisplayServer = std::make_unique<Child>(
            std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(pipeEnds[1]), "-screen",
                                     "0", "1024x768x24", "-nolisten", "tcp"},
            std::map<std::string, std::string>{}, (fDirectory / "xvfb.log").string());
        close(pipeEnds[1]);
        std::string number;
        pollfd readable{pipeEnds[0], POLLIN, 0};
        while (fDisplayServer->Started() && poll(&readable, 1, 15000) > 0) {
            char c;
            if (read(pipeEnds[0], &c, 1) != 1 || c == '\n')
                break;
            number += c;
        }
        close(pipeEnds[0]);
        if (number.empty())
            return false;
        fDisplay = ":" + number;
        setenv("DISPLAY", fDisplay.c_str(), 1);
        return true;
    }

    // The settings the program starts with: panes closed, this test's output file.
    void WriteSettings() {
        gSettings.SetFileName(Output().c_str());
        gSettings.tavroFrame = Rect{100, 100, 559, 400};
        gSettings.showTimer = false;
        gSettings.showTVControls = false;
        // Only the main window, so that the keyboard stays with it.
        gSettings.showVideo = false;
        gSettings.showAudio = false;
        gSettings.timer = false;
        Message settings;
        gSettings.SaveTo(&settings);
        std::vector<uint8> bytes;
        ASSERT_EQ(settings.Flatten(&bytes), B_OK);
        std::ofstream(SettingsPath(), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }

    std::string Output() const { return (fDirectory / "clip.avi").string(); }
    std::string SettingsPath() const {
        return (fDirectory / "config" / kSettingsFileName).string();
    }

    fs::path fDirectory;
    std::string fDisplay;
    std::unique_ptr<Child> fDisplayServer;
};

TEST_F(EndToEndTest, RecordsThroughTheWindowAndKeepsItsState) {
    ASSERT_TRUE(StartDisplay()) << readText((fDirectory / "xvfb.log").string());
    WriteSettings();
    std::string log = (fDirectory / "tavro.log").string();
    auto tavro = std::make_unique<Child>(
        std::vector<std::string>{TAVRO_BINARY, "--video-input=test-picture",
                                 "--audio-input=test-tone"},
        std::map<std::string, std::string>{{"XDG_CONFIG_HOME", (fDirectory / "config").string()},
                                           {"QT_QPA_PLATFORM", "xcb"}},
        log);
    ASSERT_TRUE(tavro->Started());

    std::string window =
        run("timeout 30 xdotool search --sync --onlyvisible --name '^Tavro$' | head -n 1");
    while (!window.empty() && window.back() == '\n')
        window.pop_back();
    ASSERT_FALSE(window.empty()) << readText(log);
    std::this_thread::sleep_for(1s);
    std::system(("xdotool windowfocus --sync " + window).c_str());
    std::this_thread::sleep_for(500ms);

    // The file name field has the focus. Tab 5 times reaches the timer pane's switch; back
    // once, the TV pane's. Back 4 times more is the file name field again, and once more
    // wraps to the last control that takes the focus: Record (Stop is still disabled).
    int closedHeight = heightOf(window);
    keys("Tab Tab Tab Tab Tab space shift+Tab space");
    int openHeight = heightOf(window);
    keys("shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab space");
    auto started = std::chrono::steady_clock::now();
    bool recording = false;
    while (!recording && std::chrono::steady_clock::now() - started < 10s) {
        std::error_code error;
        recording = fs::exists(Output(), error) && fs::file_size(Output(), error) > 0;
        std::this_thread::sleep_for(50ms);
    }
    ASSERT_TRUE(recording) << readText(log);
    EXPECT_TRUE(saveScreenshot(window, TAVRO_SCREENSHOT));
    std::printf("Screenshot of the main window: %s\n", TAVRO_SCREENSHOT);
    std::this_thread::sleep_until(started + 3s);

    // Record handed the focus to Stop: space stops.
    keys("space");
    keys("ctrl+q");
    EXPECT_EQ(tavro->Wait(20s), 0) << readText(log);

    MovieSummary movie = readMovie(Output());
    ASSERT_EQ(movie.openError, 0);
    const StreamSummary* video = movie.Video();
    const StreamSummary* audio = movie.Audio();
    ASSERT_NE(video, nullptr);
    ASSERT_NE(audio, nullptr);
    EXPECT_EQ(video->decodeErrors, 0);
    EXPECT_EQ(audio->decodeErrors, 0);
    // 3 s between the key presses; a loaded machine presses late, and may drop frames.
    EXPECT_GT(video->frames, 25);
    EXPECT_GT(audio->samples, audio->sampleRate);
    double videoSeconds = video->endSeconds;
    double audioSeconds = audio->endSeconds;
    EXPECT_GT(videoSeconds, 2.0);
    EXPECT_LT(videoSeconds, 6.0);
    EXPECT_GT(audioSeconds, 2.0);
    EXPECT_LT(audioSeconds, 6.0);
    std::printf("Recorded %.2f s of video, %.2f s of sound\n", videoSeconds, audioSeconds);

    Message saved;
    std::string bytes = readText(SettingsPath());
    ASSERT_EQ(saved.Unflatten(bytes.data(), bytes.size()), B_OK);
    Rect frame;
    ASSERT_EQ(saved.FindRect("tavroFrame", &frame), B_OK);
    EXPECT_EQ(frame.left, 100);
    EXPECT_EQ(frame.top, 100);
    EXPECT_EQ(frame.right, 559);
    // Both panes were opened through the window: each grew it by its height and the gap.
    EXPECT_GE(openHeight, closedHeight + 16);
    EXPECT_EQ(frame.bottom - frame.top + 1, openHeight);
    EXPECT_TRUE(saved.GetBool("showTimer", false));
    EXPECT_TRUE(saved.GetBool("showTVControls", false));
    EXPECT_EQ(saved.GetString("fileName", ""), Output());
}

}  // namespace
