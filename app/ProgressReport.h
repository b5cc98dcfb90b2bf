#pragma once
// What tavro --record prints while it records, on standard output:
//
//   00:12:34  18850 frames, 0 dropped  5440 buffers, 0 dropped  rings 2/40 1/40  1.2 GB  13.4
//   Mbit/s
//
// Once a ring has been full (the encoder or the disk cannot keep up, and frames are dropped
// for it), "encoder not keeping up" follows the time, where a narrow terminal does not cut it.
//
// On a terminal the line is rewritten in place once a second and ends with a newline when the
// recording ends. Into a pipe or a file a plain line is written every kPlainLineInterval and
// once at the end, so that two hours make 720 lines, not 7,200. Quiet writes nothing.
//
// Thread safety: none; the recorder's loop calls it.

#include <cstdio>
#include <string>

#include "support/Types.h"

// The figures of one moment of a recording.
struct RecordingFigures {
    bigtime_t elapsed = 0;  // microseconds
    int64 frames = 0;
    int64 droppedFrames = 0;
    int64 soundBuffers = 0;
    int64 droppedSoundBuffers = 0;
    // A ring's slots in use and its capacity; capacity 0 when there is no such ring.
    int32 videoRingUsed = 0;
    int32 videoRingCount = 0;
    int32 audioRingUsed = 0;
    int32 audioRingCount = 0;
    int64 fileBytes = -1;        // -1: unknown
    bool encoderBehind = false;  // a ring has been full this recording
};

// The status line of `figures`, without a line end.
std::string progressLine(const RecordingFigures& figures);

class ProgressReport {
public:
    enum class Style { InPlace, Lines, Quiet };

    static constexpr bigtime_t kInPlaceInterval = 1000000;
    static constexpr bigtime_t kPlainLineInterval = 10000000;

    // InPlace when `stream` is a terminal, else Lines; Quiet when `quiet`.
    static Style StyleFor(FILE* stream, bool quiet);

    // `width`: the terminal's columns for InPlace (a longer line is cut, as a wrapped line
    // cannot be rewritten in place); 0: ask the terminal.
    ProgressReport(FILE* stream, Style style, int width = 0);

    // Prints `figures` when a line is due at `figures.elapsed`.
    void Update(const RecordingFigures& figures);
    // The last line; ends the in-place line.
    void Finish(const RecordingFigures& figures);

private:
    void Print(const RecordingFigures& figures);

    FILE* fStream;
    Style fStyle;
    int fWidth;
    bigtime_t fNextLine;
    bool fLineOpen = false;  // an in-place line without its newline yet
};
