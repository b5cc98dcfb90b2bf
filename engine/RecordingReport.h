#pragma once
// The report beside a recording's file: NAME.log for NAME, plain text, one "key: value" a
// line, written when the file is closed (by the window, a timer or tavro --record alike).
// It says when the recording ran, in what format, from which inputs, how many frames and
// sound buffers it took and lost, and every error it met, with the time of each.

#include <string>
#include <vector>

#include "support/Status.h"
#include "support/Types.h"

struct RecordingReport {
    struct Stream {
        bool present = false;
        int64 expected = 0;  // frames (or sound buffers) that should have come
        int64 dropped = 0;   // of those, not in the file
        int64 ringFull = 0;  // of the dropped, refused because the writer was behind
    };
    struct Error {
        bigtime_t when = 0;  // wall clock, µs since the epoch
        std::string text;
        status_t status = B_OK;
    };

    std::string file;
    bigtime_t started = 0;  // wall clock, µs since the epoch; 0: never started
    bigtime_t stopped = 0;
    // The format: container and encoders by their short names ("" for no sound).
    std::string formatName;
    std::string container;
    std::string videoEncoder;
    std::string audioEncoder;
    int32 width = 0;
    int32 height = 0;
    std::string colorSpace;
    double frameRate = 0;  // frames a second written, after the frame divisor
    int32 audioRate = 0;
    int32 audioChannels = 0;
    std::string videoInput;
    std::string audioInput;
    Stream video;
    Stream audio;
    int64 videoFramesWritten = 0;
    std::vector<Error> errors;
};

// `path` + ".log": the report's name beside the file.
std::string recordingReportPath(const std::string& path);
std::string formatRecordingReport(const RecordingReport& report);
// Writes the report over any earlier one; the error of creating or writing it.
status_t writeRecordingReport(const RecordingReport& report);
