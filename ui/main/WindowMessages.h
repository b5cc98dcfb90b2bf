#pragma once
// The message codes the windows post to each other besides the cross-subsystem ones of
// app/MessageCodes.h: the main window's menu items, controls and panes, and the bare messages
// by which each secondary window reports its closing to the window that opened it.

#include "support/Types.h"

// Codes every window understands.
constexpr uint32 B_QUIT_REQUESTED = fourcc("_QRQ");
constexpr uint32 B_ABOUT_REQUESTED = fourcc("_ABR");
// A file dropped on a window: string "refs", the file's path.
constexpr uint32 B_REFS_RECEIVED = fourcc("_RRC");
// A save panel's reply: string "directory" (a path) and string "name" (typed by the user).
constexpr uint32 B_SAVE_REQUESTED = fourcc("SAVE");

// The main window's menus and controls.
constexpr uint32 kMsgShowVideo = fourcc("svid");
constexpr uint32 kMsgShowAudio = fourcc("saud");
// To the video preview window: float "resize", the scale factor.
constexpr uint32 kMsgResize = fourcc("resz");
constexpr uint32 kMsgFullScreen = fourcc("full");
// Opens or activates the format editor; int32 "index" (optional) selects a format in it.
constexpr uint32 kMsgFormatSettings = fourcc("fset");
constexpr uint32 kMsgVideoProfiles = fourcc("vipr");
constexpr uint32 kMsgVideoSettings = fourcc("vset");
constexpr uint32 kMsgAudioSettings = fourcc("aset");
constexpr uint32 kMsgFileName = fourcc("fnam");
constexpr uint32 kMsgSelectFileName = fourcc("sfnm");
// int32 "be:value": non-zero runs the scheduler.
constexpr uint32 kMsgTimerEnabled = fourcc("tmen");
constexpr uint32 kMsgTimerPane = fourcc("pswi");
constexpr uint32 kMsgTVPane = fourcc("tvcs");
// The engine made a new video preview window: the "Video Size" items follow it.
constexpr uint32 kMsgNewVideoWindow = fourcc("nviw");

// Closing reports, each sent by the window named.
constexpr uint32 kMsgFormatWindowClosed = fourcc("fscl");
constexpr uint32 kMsgProfileWindowClosed = fourcc("vpcl");
constexpr uint32 kMsgAudioSettingsClosed = fourcc("ascl");
constexpr uint32 kMsgVideoSettingsClosed = fourcc("vscl");
constexpr uint32 kMsgAudioWindowClosed = fourcc("acls");
constexpr uint32 kMsgVideoWindowClosed = fourcc("vcls");
