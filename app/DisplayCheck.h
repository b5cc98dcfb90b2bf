#pragma once
// Whether the windows can open, asked before Qt is: Qt ends the process with an abort when
// the display it picks does not answer. The check connects to the display servers the
// environment names (DISPLAY: an X server's socket; WAYLAND_DISPLAY: a Wayland compositor's)
// and picks the platform that answers, so that a session with only one of them works.

#include <string>

struct DisplayChoice {
    // The Qt platform to use ("xcb", "wayland"); empty: Qt's own choice (both answer, or the
    // user named one in QT_QPA_PLATFORM).
    std::string platform;
    // Empty when a display answers; else what to tell the user.
    std::string problem;
};

// `waylandPluginInstalled`: whether Qt's Wayland platform plugin is there.
DisplayChoice chooseDisplay(bool waylandPluginInstalled);

// Whether a server accepts a connection at DISPLAY's X socket / WAYLAND_DISPLAY's socket.
bool xServerAnswers(const std::string& display);
bool waylandCompositorAnswers(const std::string& display);
