// Which display the windows open on, decided before Qt (which aborts when its display does not
// answer): every mix of X server, Wayland compositor and Qt's Wayland plugin, and what the
// real program says when nothing answers.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "app/DisplayCheck.h"
#include "tests/ui/XvfbSession.h"

namespace {

// A socket where a Wayland compositor's would be, accepting connections (the kernel queues
// them; no compositor protocol is spoken).
class FakeCompositor {
public:
    explicit FakeCompositor(const std::string& path) : fPath(path) {
        fFd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        std::filesystem::remove(path);
        EXPECT_EQ(bind(fFd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(fFd, 8), 0);
    }
    ~FakeCompositor() {
        close(fFd);
        std::filesystem::remove(fPath);
    }

private:
    std::string fPath;
    int fFd = -1;
};

void setOrClear(const char* name, const std::string& value) {
    if (value.empty())
        unsetenv(name);
    else
        setenv(name, value.c_str(), 1);
}

// A display number that no server of this machine uses.
const std::string kNobody = ":987";

}  // namespace

TEST(DisplayCheck, PicksTheDisplayThatAnswersAndSaysWhyWhenNoneDoes) {
    XvfbSession xvfb;
    ASSERT_TRUE(xvfb.Start("320x240x24"));
    const std::string x = std::getenv("DISPLAY");
    const std::string runtime = std::getenv("XDG_CONFIG_HOME");  // a fresh directory
    FakeCompositor compositor(runtime + "/wayland-tavro");
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);

    struct Case {
        std::string qpa, display, wayland;
        bool plugin;
        std::string platform;  // "!" + a part of the problem when it fails
    } cases[] = {
        {"", x, "", true, "xcb"},
        {"", x, "wayland-tavro", true, ""},  // both answer: Qt's choice
        {"", "", "wayland-tavro", true, "wayland"},
        {"", kNobody, "wayland-tavro", true, "wayland"},
        {"", "", "wayland-tavro", false, "!(Debian package qt6-wayland"},
        {"", x, "wayland-gone", true, "xcb"},
        {"", "", "", true, "!neither DISPLAY nor WAYLAND_DISPLAY is set"},
        {"", kNobody, "", true, "!no X server on DISPLAY=\":987\"."},
        {"", "", "wayland-gone", true,
         "!no Wayland compositor on WAYLAND_DISPLAY=\"wayland-gone\"."},
        {"", kNobody, "wayland-gone", true, "!no X server on DISPLAY=\":987\"; no Wayland"},
        {"", "localhost:abc", "", true, "!no X server on DISPLAY=\"localhost:abc\""},
        {"offscreen", "", "", false, ""},
        {"xcb", x, "wayland-tavro", true, ""},
        {"xcb", kNobody, "wayland-tavro", true, "!QT_QPA_PLATFORM asks for X"},
        {"wayland", x, "wayland-gone", true, "!QT_QPA_PLATFORM asks for Wayland"},
        {"wayland", "", "wayland-tavro", true, ""},
    };
    for (const Case& c : cases) {
        setOrClear("QT_QPA_PLATFORM", c.qpa);
        setOrClear("DISPLAY", c.display);
        setOrClear("WAYLAND_DISPLAY", c.wayland);
        const DisplayChoice choice = chooseDisplay(c.plugin);
        const std::string line = c.qpa + "|" + c.display + "|" + c.wayland;
        if (c.platform.rfind("!", 0) == 0) {
            EXPECT_NE(choice.problem.find(c.platform.substr(1)), std::string::npos)
                << line << ": " << choice.problem;
            EXPECT_NE(choice.problem.find("see tavro --help"), std::string::npos) << line;
        } else {
            EXPECT_EQ(choice.problem, "") << line;
            EXPECT_EQ(choice.platform, c.platform) << line;
        }
    }
    setenv("DISPLAY", x.c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    unsetenv("WAYLAND_DISPLAY");
}

TEST(DisplayCheck, TheProgramExitsOneWithAMessageWhenNoDisplayAnswers) {
    struct Case {
        std::string environment;
        std::string message;
    } cases[] = {
        {"DISPLAY=" + kNobody, "no X server on DISPLAY=\":987\""},
        {"WAYLAND_DISPLAY=wayland-none XDG_RUNTIME_DIR=/tmp",
         "no Wayland compositor on WAYLAND_DISPLAY=\"wayland-none\""},
    };
    for (const Case& c : cases) {
        const std::string command = "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM " +
                                    c.environment + " '" + TAVRO_PROGRAM + "' 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::string output;
        char buffer[1024];
        for (size_t got; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            output.append(buffer, got);
        const int status = pclose(pipe);
        ASSERT_TRUE(WIFEXITED(status)) << c.environment << ": killed by a signal";
        EXPECT_EQ(WEXITSTATUS(status), 1) << c.environment;
        EXPECT_NE(output.find(c.message), std::string::npos) << output;
    }
}
