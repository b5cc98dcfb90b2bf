#pragma once
// The report beside a recording's file: NAME.log for NAME, plain text, one "key: value" a
// line, written when the file is closed (by the window, a timer or tavro --record alike).
// It says when the recording ran, in what format, from which inputs, how many frames and
// sound buffers it took and lost, how full the rings between the inputs and the file got,
// every error it met with its time, and for the built-in test signal how well sound and
// picture kept together.

#include <string>
#include <vector>

#include "media/file/SyncMeter.h"
#include "support/Status.h"
#include "support/Types.h"

struct RecordingReport {
    // Frames (or sound buffers) of one stream. written + dropped = expected, unless more came
    // than the input's rate gives (then the report says how many more).
    struct Stream {
        bool present = false;
        int64 expected = 0;  // what the input's rate gives from the first to the last one
        int64 written = 0;   // in the file
        int64 dropped = 0;   // never came, refused by a full ring, failed, or left at the stop
        int64 ringFull = 0;  // of the dropped, refused because the writer was behind
        int32 ringPeak = 0;  // the most slots of the ring in use at once
        int32 ringSlots = 0;
    };
    // One kind of error: the same text and status again only counts (`repeats`, `last`).
    struct Error {
        bigtime_t when = 0;  // wall clock, µs since the epoch: the first time
        std::string text;
        status_t status = B_OK;
        int64 repeats = 1;
        bigtime_t last = 0;  // the last time, when it repeated
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
    std::vector<Error> errors;
    // A recording of the built-in test picture is measured once it is closed (SyncMeter):
    // whether it was, the figures, or why not.
    bool testPicture = false;
    bool testTone = false;  // the sound is the test tone: its clicks give the offsets
    bool syncMeasured = false;
    SyncReport sync;
    std::string syncNote;
};

// Adds an error to `errors`, or counts it again when one of the same text and status is
// there: the list holds each kind of error once, with its first and last time.
void addRecordingError(std::vector<RecordingReport::Error>* errors, bigtime_t when,
                       const std::string& text, status_t status);

// `path` + ".log": the report's name beside the file.
std::string recordingReportPath(const std::string& path);
std::string formatRecordingReport(const RecordingReport& report);
// Writes the report over any earlier one; the error of creating or writing it.
status_t writeRecordingReport(const RecordingReport& report);
