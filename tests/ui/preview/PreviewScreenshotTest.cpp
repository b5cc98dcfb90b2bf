// The real program on a real X server (Xvfb): on the built-in test inputs the video window
// shows the moving test picture at 100 % (its burnt-in frame counter advances between two
// screenshots) and the audio window shows the tone's level. The screenshots are kept in the
// test's working directory as preview-video-1.png, preview-video-2.png, preview-audio.png.
//
// Needs Xvfb, xdotool and ffmpeg (x11grab), all installed by scripts/install-deps.sh.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <QImage>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "app/TavroSettings.h"
#include "media/testsignal/TestPicture.h"
#include "support/Clock.h"

extern char** environ;

namespace {

// A child process, ended (SIGTERM, then SIGKILL) and reaped when this goes.
class Child {
public:
    Child(std::vector<std::string> arguments, const std::vector<std::string>& environment,
          posix_spawn_file_actions_t* actions = nullptr) {
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        // `environment` ("NAME=value") replaces what this process has under those names.
        std::vector<std::string> variables = environment;
        for (char** variable = environ; *variable != nullptr; variable++) {
            const std::string inherited = *variable;
            bool replaced = false;
            for (const std::string& own : environment)
                replaced |= inherited.compare(0, own.find('=') + 1, own, 0, own.find('=') + 1) == 0;
            if (!replaced)
                variables.push_back(inherited);
        }
        std::vector<char*> envp;
        for (std::string& variable : variables)
            envp.push_back(variable.data());
        envp.push_back(nullptr);
        if (posix_spawnp(&fPid, argv[0], actions, nullptr, argv.data(), envp.data()) != 0)
            fPid = -1;
    }
    ~Child() {
        if (fPid <= 0)
            return;
        kill(fPid, SIGTERM);
        for (int i = 0; i < 50 && waitpid(fPid, nullptr, WNOHANG) == 0; i++)
            snooze(100000);
        if (waitpid(fPid, nullptr, WNOHANG) == 0) {
            kill(fPid, SIGKILL);
            waitpid(fPid, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t Pid() const { return fPid; }
    bool Running() const { return fPid > 0 && waitpid(fPid, nullptr, WNOHANG) == 0; }

private:
    pid_t fPid = -1;
};

// Runs a shell command line and returns its standard output; an empty string on failure.
std::string output(const std::string& command) {
    std::string result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return result;
    char buffer[4096];
    size_t got;
    while ((got = fread(buffer, 1, sizeof(buffer), pipe)) > 0)
        result.append(buffer, got);
    return pclose(pipe) == 0 ? result : std::string();
}

struct Geometry {
    int x = 0, y = 0, width = 0, height = 0;
};

class PreviewScreenshotTest : public testing::Test {
protected:
    void SetUp() override {
        // Xvfb picks a free display and writes its number to the pipe.
        int displayPipe[2];
        ASSERT_EQ(pipe(displayPipe), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addclose(&actions, displayPipe[0]);
        fServer = std::make_unique<Child>(
            std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(displayPipe[1]),
                                     "-screen", "0", "1280x1024x24", "-nolisten", "tcp"},
            std::vector<std::string>{}, &actions);
        posix_spawn_file_actions_destroy(&actions);
        close(displayPipe[1]);
        ASSERT_GT(fServer->Pid(), 0) << "Xvfb could not be started";
        // The number, then a newline in a write of its own: read up to that, or the server
        // fails writing it.
        std::string number;
        char next;
        while (read(displayPipe[0], &next, 1) == 1 && next != '\n')
            number += next;
        close(displayPipe[0]);
        ASSERT_FALSE(number.empty()) << "Xvfb did not report its display";
        fDisplay = ":" + number;
    }

    std::string X(const std::string& command) {
        return output("DISPLAY=" + fDisplay + " " + command + " 2>/dev/null");
    }

    // The window with this exact title, waiting up to `seconds` for it to be mapped.
    std::string FindWindow(const char* title, int seconds) {
        for (int i = 0; i < seconds * 10; i++) {
            std::string id =
                X(std::string("xdotool search --onlyvisible --name '^") + title + "$'");
            if (!id.empty())
                return id.substr(0, id.find('\n'));
            snooze(100000);
        }
        return {};
    }

    Geometry GeometryOf(const std::string& window) {
        Geometry geometry;
        std::string shell = X("xdotool getwindowgeometry --shell " + window);
        std::sscanf(shell.c_str(), "WINDOW=%*d\nX=%d\nY=%d\nWIDTH=%d\nHEIGHT=%d", &geometry.x,
                    &geometry.y, &geometry.width, &geometry.height);
        return geometry;
    }

    bool WaitForWidth(const std::string& window, int width) {
        for (int i = 0; i < 100; i++) {
            if (GeometryOf(window).width == width)
                return true;
            snooze(100000);
        }
        return false;
    }

    // A screenshot of the window's client area, as RGB32 (bytes B, G, R, X), also saved.
    QImage Screenshot(const Geometry& area, const char* fileName) {
        std::string raw =
            X("ffmpeg -loglevel error -f x11grab -video_size " + std::to_string(area.width) + "x" +
              std::to_string(area.height) + " -i " + fDisplay + "+" + std::to_string(area.x) + "," +
              std::to_string(area.y) + " -frames:v 1 -f rawvideo -pix_fmt bgr0 -");
        if (raw.size() != size_t(area.width) * area.height * 4)
            return QImage();
        QImage image(reinterpret_cast<const uchar*>(raw.data()), area.width, area.height,
                     area.width * 4, QImage::Format_RGB32);
        QImage copy = image.copy();
        copy.save(fileName);
        return copy;
    }

    std::string fDisplay;
    std::unique_ptr<Child> fServer;
};

TEST_F(PreviewScreenshotTest, ProgramShowsTheMovingPictureAndTheLevels) {
    // The settings the program starts with: both previews, the video window at 100 % of the
    // format's picture.
    const FormatSetting* format = gSettings.formats[size_t(gSettings.lastFormat)];
    const int width = format->videoWidth, height = format->videoHeight;
    gSettings.showVideo = true;
    gSettings.showAudio = true;
    gSettings.videoFrame = Rect{400, 100, float(400 + width - 1), float(100 + height - 1)};
    gSettings.audioFrame = Rect{40, 600, 243, 642};
    ASSERT_EQ(gSettings.Save(), B_OK);

    Child program({TAVRO_PROGRAM, "--video-input=test-picture", "--audio-input=test-tone"},
                  {"DISPLAY=" + fDisplay, "QT_QPA_PLATFORM=xcb"});
    ASSERT_GT(program.Pid(), 0);

    const std::string video = FindWindow("Tavro - Video In", 30);
    ASSERT_FALSE(video.empty()) << "no video window";
    const std::string audio = FindWindow("Tavro - Audio In", 10);
    ASSERT_FALSE(audio.empty()) << "no audio window";

    // The scale shortcuts reach the window: 200 %, then back to 100 %.
    X("xdotool windowfocus --sync " + video + " key ctrl+2");
    EXPECT_TRUE(WaitForWidth(video, width * 2));
    X("xdotool windowfocus --sync " + video + " key ctrl+1");
    ASSERT_TRUE(WaitForWidth(video, width));
    const Geometry area = GeometryOf(video);
    ASSERT_EQ(area.height, height);

    const QImage first = Screenshot(area, "preview-video-1.png");
    ASSERT_FALSE(first.isNull());
    int64 firstFrame = -1, secondFrame = -1;
    ASSERT_EQ(TestPicture::ReadCounter(first.constBits(), width, height, first.bytesPerLine(),
                                       &firstFrame),
              B_OK);
    // A later frame within 10 s, however loaded the machine.
    QImage second;
    for (int attempt = 0; attempt < 20 && secondFrame <= firstFrame; attempt++) {
        snooze(500000);
        second = Screenshot(area, "preview-video-2.png");
        ASSERT_FALSE(second.isNull());
        ASSERT_EQ(TestPicture::ReadCounter(second.constBits(), width, height, second.bytesPerLine(),
                                           &secondFrame),
                  B_OK);
    }
    EXPECT_GT(secondFrame, firstFrame);
    EXPECT_NE(first, second);

    // The tone lights both strips: blue on the left channel's, red on the right channel's.
    int blue = 0, red = 0;
    for (int attempt = 0; attempt < 20 && (blue <= 10 || red <= 10); attempt++) {
        const QImage levels = Screenshot(GeometryOf(audio), "preview-audio.png");
        ASSERT_FALSE(levels.isNull());
        blue = red = 0;
        for (int y = 0; y < levels.height(); y++)
            for (int x = 0; x < levels.width(); x++) {
                const QRgb pixel = levels.pixel(x, y);
                blue += qBlue(pixel) > 0x20 && qRed(pixel) == 0 && qGreen(pixel) == 0;
                red += qRed(pixel) > 0x20 && qBlue(pixel) == 0 && qGreen(pixel) == 0;
            }
        if (blue <= 10 || red <= 10)
            snooze(500000);
    }
    EXPECT_GT(blue, 10);
    EXPECT_GT(red, 10);
    EXPECT_TRUE(program.Running()) << "the program ended early";
}

}  // namespace
