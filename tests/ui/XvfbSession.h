#pragma once
// The real program on an X server of the test's own (Xvfb): child processes, the server, the
// program's windows found with xdotool, keys typed into them and screenshots taken with
// ffmpeg (x11grab). Needs Xvfb, xdotool and ffmpeg, all installed by scripts/install-deps.sh.

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QImage>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

using namespace std::chrono_literals;

// Polls `done` every 100 ms until it holds or `timeout` has passed; its last answer.
inline bool eventually(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(100ms);
    }
    return true;
}

// Runs a shell command line; its standard output, empty when the command fails.
inline std::string shellOutput(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return output;
    char chunk[4096];
    while (size_t got = fread(chunk, 1, sizeof(chunk), pipe))
        output.append(chunk, got);
    return pclose(pipe) == 0 ? output : std::string();
}

// A child process in this process's environment, ended (SIGTERM, then SIGKILL) and reaped
// when this goes. Its output goes where the test's goes.
class Child {
public:
    static constexpr int kRunning = -2;

    explicit Child(std::vector<std::string> arguments) {
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        if (posix_spawnp(&fPid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
            fPid = -1;
        fStarted = fPid > 0;
    }

    ~Child() {
        if (fPid <= 0)
            return;
        kill(fPid, SIGTERM);
        if (Wait(5s) == kRunning) {
            kill(fPid, SIGKILL);
            waitpid(fPid, nullptr, 0);
        }
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool Started() const { return fStarted; }

    // The exit status (-1 after a signal), or kRunning while it still runs after `timeout`.
    int Wait(std::chrono::milliseconds timeout = {}) {
        const bool ended = eventually(
            [this] {
                int status;
                if (fPid > 0 && waitpid(fPid, &status, WNOHANG) == fPid)
                    fPid = -1, fStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
                return fPid <= 0;
            },
            timeout);
        return ended ? fStatus : kRunning;
    }

private:
    pid_t fPid = -1;
    bool fStarted = false;
    int fStatus = -1;
};

// An X server on a display number it picks itself. Once it is up, DISPLAY names it and Qt
// programs started after show on it.
class XvfbSession {
public:
    // `screen` as Xvfb takes it ("1024x768x24"); false when the server does not come up.
    bool Start(const std::string& screen) {
        int ends[2];
        if (pipe(ends) != 0)
            return false;
        // No auto-repeat (-r): a machine busy elsewhere can hold xdotool up between a key's
        // press and its release long enough for the server to repeat the key.
        fServer = std::make_unique<Child>(
            std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0",
                                     screen, "-nolisten", "tcp", "-r"});
        close(ends[1]);
        // The number, then a newline in a write of its own: read up to that, or the server
        // fails writing it.
        std::string number;
        pollfd readable{ends[0], POLLIN, 0};
        char next;
        while (fServer->Started() && poll(&readable, 1, 15000) > 0 &&
               read(ends[0], &next, 1) == 1 && next != '\n')
            number += next;
        close(ends[0]);
        setenv("DISPLAY", (":" + number).c_str(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        return !number.empty();
    }

    // The visible window titled exactly `title`, waiting up to `seconds` for it; "" if none.
    std::string FindWindow(const std::string& title, int seconds) {
        const std::string id =
            shellOutput("timeout " + std::to_string(seconds) +
                        " xdotool search --sync --onlyvisible --name '^" + title + "$'");
        return id.substr(0, id.find('\n'));
    }

    // The window's client area on the screen.
    QRect GeometryOf(const std::string& window) {
        int x = 0, y = 0, width = 0, height = 0;
        const std::string shell = shellOutput("xdotool getwindowgeometry --shell " + window);
        std::sscanf(shell.c_str(), "WINDOW=%*d\nX=%d\nY=%d\nWIDTH=%d\nHEIGHT=%d", &x, &y, &width,
                    &height);
        return QRect(x, y, width, height);
    }

    void Focus(const std::string& window) {
        shellOutput("xdotool windowfocus --sync " + window);
        std::this_thread::sleep_for(500ms);
    }

    // Types `keys` (xdotool's names) into the window that has the focus.
    void Keys(const std::string& keys) {
        shellOutput("xdotool key --delay 150 " + keys);
        std::this_thread::sleep_for(300ms);
    }

    // What the screen shows of the window's client area (RGB32), also saved as `file` (PNG);
    // a null image when it cannot be taken.
    QImage Screenshot(const std::string& window, const std::string& file) {
        const QRect area = GeometryOf(window);
        const std::string raw =
            shellOutput("ffmpeg -loglevel error -f x11grab -draw_mouse 0 -video_size " +
                        std::to_string(area.width()) + "x" + std::to_string(area.height()) +
                        " -i " + std::getenv("DISPLAY") + "+" + std::to_string(area.x()) + "," +
                        std::to_string(area.y()) + " -frames:v 1 -f rawvideo -pix_fmt bgr0 -");
        if (area.isEmpty() || raw.size() != size_t(area.width()) * area.height() * 4)
            return QImage();
        const QImage image = QImage(reinterpret_cast<const uchar*>(raw.data()), area.width(),
                                    area.height(), area.width() * 4, QImage::Format_RGB32)
                                 .copy();
        image.save(QString::fromStdString(file), "PNG");
        return image;
    }

private:
    std::unique_ptr<Child> fServer;
};
