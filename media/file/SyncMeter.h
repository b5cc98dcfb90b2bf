#pragma once
// Measures a recording of the built-in test signal: finds the test picture's white flashes
// and the test tone's clicks (both mark the first frame of every second of the stream) and
// reports, per second, how far the sound lies from the picture, and which frames of the
// picture are missing or repeated (read from the picture's burnt-in frame counter).
//
// A user checks a whole capture chain with it: record the test signal through it, then
// measure the file. The recording's own report and the benchmarks use the same figures.

#include <string>
#include <vector>

#include "support/Status.h"

struct SyncSecond {
    int64 second = 0;          // of the file's picture timeline, from its first frame
    bool hasOffset = false;    // a flash with a click near it was found in this second
    double offsetMs = 0;       // click time less flash time: > 0 when the sound is late
    int64 framesMissing = 0;   // counter values skipped, by the frames of this second
    int64 framesRepeated = 0;  // frames whose counter value came before
};

struct SyncReport {
    std::vector<SyncSecond> seconds;
    int64 frames = 0;      // decoded pictures
    int64 unreadable = 0;  // pictures (flashes aside) whose counter did not read
    int64 flashes = 0;
    int64 clicks = 0;
    int64 framesMissing = 0;
    int64 framesRepeated = 0;
    // Over the seconds with an offset; `measured` is false when there were none.
    bool measured = false;
    double firstOffsetMs = 0;
    double lastOffsetMs = 0;
    double maxAbsOffsetMs = 0;

    // Whether the file is in sync: offsets measured, none beyond `limitMs`, no frame
    // missing or repeated.
    bool InSync(double limitMs = kSyncLimitMs) const;
    static constexpr double kSyncLimitMs = 20;
};

// Decodes `path` and measures it. B_OK with the report; the file's error when it cannot be
// read (B_MEDIA_BAD_FORMAT when it holds no picture).
status_t MeasureSync(const char* path, SyncReport* report);

// The report as printed by tavro --check-sync: a heading, one line per second, a verdict line.
std::string FormatSyncReport(const SyncReport& report);
