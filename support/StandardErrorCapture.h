#pragma once
// Runs a library call whose own messages would land on the user's terminal (a JACK client
// that the ALSA plugins load and that prints "jack server is not running" straight to file
// descriptor 2) with standard error turned into Tavro's debug log for the call's length.
//
// While the call runs, file descriptor 2 points at an anonymous in-memory file, so every
// thread's standard error goes there too: use it only for short calls when no other thread
// has anything to say (device listing and opening). The captured lines are written with
// logDebug afterwards, prefixed with `source`.

#include <functional>

void withStandardErrorInLog(const char* source, const std::function<void()>& call);
