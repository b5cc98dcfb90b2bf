#pragma once
// tavro --check-sync FILE: measures a recording of the built-in test signal (see SyncMeter)
// and prints the offset of sound to picture per second, the frames missing or repeated, and
// a verdict. Exit status 0 in sync, 1 out of sync or when the file cannot be read or holds
// no test signal to measure.

#include "app/CommandLine.h"

int runCheckSync(const CommandLine& line);
