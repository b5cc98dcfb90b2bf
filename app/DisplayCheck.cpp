#include "app/DisplayCheck.h"

#include <netdb.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// `path` with a leading '@' is in the abstract namespace.
bool unixSocketAnswers(const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    socklen_t length = socklen_t(offsetof(sockaddr_un, sun_path) + path.size());
    if (path[0] == '@')
        address.sun_path[0] = '\0';
    else
        length += 1;  // the terminating zero
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const bool answers = connect(fd, reinterpret_cast<sockaddr*>(&address), length) == 0;
    close(fd);
    return answers;
}

bool tcpAnswers(const std::string& host, int port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
        return false;
    bool answers = false;
    for (addrinfo* at = found; at != nullptr && !answers; at = at->ai_next) {
        const int fd = socket(at->ai_family, at->ai_socktype | SOCK_CLOEXEC, at->ai_protocol);
        if (fd < 0)
            continue;
        answers = connect(fd, at->ai_addr, at->ai_addrlen) == 0;
        close(fd);
    }
    freeaddrinfo(found);
    return answers;
}

}  // namespace

bool xServerAnswers(const std::string& display) {
    // [host]:number[.screen], or a socket's path.
    if (!display.empty() && display[0] == '/')
        return unixSocketAnswers(display);
    const size_t colon = display.rfind(':');
    if (colon == std::string::npos || colon + 1 >= display.size())
        return false;
    const std::string host = display.substr(0, colon);
    char* end = nullptr;
    const long number = std::strtol(display.c_str() + colon + 1, &end, 10);
    if (end == display.c_str() + colon + 1 || (*end != '\0' && *end != '.') || number < 0 ||
        number > 60000)
        return false;
    if (host.empty() || host == "unix") {
        const std::string socket = "/tmp/.X11-unix/X" + std::to_string(number);
        return unixSocketAnswers("@" + socket) || unixSocketAnswers(socket);
    }
    return tcpAnswers(host, 6000 + int(number));
}

bool waylandCompositorAnswers(const std::string& display) {
    if (display.empty())
        return false;
    if (display[0] == '/')
        return unixSocketAnswers(display);
    const std::string runtime = environment("XDG_RUNTIME_DIR");
    return !runtime.empty() && unixSocketAnswers(runtime + "/" + display);
}

DisplayChoice chooseDisplay(bool waylandPluginInstalled) {
    const std::string named = environment("QT_QPA_PLATFORM");
    const std::string x = environment("DISPLAY"), wayland = environment("WAYLAND_DISPLAY");
    const std::string hint = "\nThe command-line tools work without one: see tavro --help.";
    auto failed = [&hint](const std::string& problem) { return DisplayChoice{"", problem + hint}; };
    // A platform named outright: only the two that need a server are checked.
    if (!named.empty() && named.rfind("xcb", 0) != 0 && named.rfind("wayland", 0) != 0)
        return {};

    const bool xAnswers = !x.empty() && xServerAnswers(x);
    const bool waylandAnswers = !wayland.empty() && waylandCompositorAnswers(wayland);
    if (named.rfind("xcb", 0) == 0) {
        if (xAnswers)
            return {};
        return failed("QT_QPA_PLATFORM asks for X, and no X server answers on DISPLAY=\"" + x +
                      "\".");
    }
    if (named.rfind("wayland", 0) == 0 || (waylandAnswers && !xAnswers)) {
        if (!waylandAnswers) {
            return failed(
                "QT_QPA_PLATFORM asks for Wayland, and no Wayland compositor answers "
                "on WAYLAND_DISPLAY=\"" +
                wayland + "\".");
        }
        if (!waylandPluginInstalled) {
            return failed(
                "this is a Wayland session, and Qt's Wayland platform plugin is not "
                "installed (Debian package qt6-wayland; scripts/install-deps.sh "
                "installs it).");
        }
        return {named.empty() ? "wayland" : "", ""};
    }
    if (xAnswers)
        return {waylandAnswers || !named.empty() ? "" : "xcb", ""};

    if (x.empty() && wayland.empty())
        return failed(
            "the windows need a display, and neither DISPLAY nor WAYLAND_DISPLAY is set.");
    std::string problem = "the windows need a display, and none answers:";
    if (!x.empty())
        problem += " no X server on DISPLAY=\"" + x + "\";";
    if (!wayland.empty())
        problem += " no Wayland compositor on WAYLAND_DISPLAY=\"" + wayland + "\";";
    problem.back() = '.';
    return failed(problem);
}
