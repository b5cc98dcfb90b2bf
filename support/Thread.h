#pragma once
// Named threads. The name shows in top, gdb and perf (the kernel keeps 15 characters).
// There is no way to kill or suspend a thread: end one by a flag, a wake-up and a join.

#include <functional>
#include <thread>

// Starts `body` on a new thread named `name`.
std::thread spawnThread(const char* name, std::function<void()> body);
// Names the calling thread.
void setThreadName(const char* name);
// Asks for SCHED_FIFO at `priority` (1..99) for the calling thread. Capture and writer
// threads call it and carry on at normal priority when the system refuses (returns false).
bool requestRealtimePriority(int priority);
