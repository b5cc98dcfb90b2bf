#pragma once
// The message codes that cross subsystems: the engine, the scheduler, the windows and the
// headless recorder post these to each other. Codes used inside one window stay with it.

#include "support/Types.h"

constexpr uint32 kMsgAddFormat = fourcc("adfm");
constexpr uint32 kMsgRemoveFormat = fourcc("rmfm");
constexpr uint32 kMsgFormat = fourcc("form");
constexpr uint32 kMsgFormatChanged = fourcc("fmch");
constexpr uint32 kMsgFormatsListChanged = fourcc("flch");
constexpr uint32 kMsgFormatSelected = fourcc("fmsl");
// Start a recording (from the Record button or a due timed event).
constexpr uint32 kMsgRecord = fourcc("recd");
// Stop the recording: the Stop button, a timed event's end, or the video writer on a full
// disk (posted to the engine's stop target).
constexpr uint32 kMsgStop = fourcc("stop");
// A timed event fired: "status" (int32) 0 to start recording, else to stop.
constexpr uint32 kMsgTimerEvent = fourcc("tmev");
