#pragma once
// Test helpers: reads a written movie back with libavformat and libavcodec, decoding every
// packet, and makes test pictures and sound in Tavro's input formats.

#include <string>
#include <vector>

#include "media/MediaFormat.h"
#include "support/Types.h"

struct StreamSummary {
    bool video = false;
    std::string codec;  // the decoder's name ("mpeg4", "rawvideo", ...)
    int width = 0;
    int height = 0;
    int64 frames = 0;        // decoded video frames
    int64 samples = 0;       // decoded audio samples per channel
    int64 keyFrames = 0;     // packets flagged key
    int64 decodeErrors = 0;  // packets or frames the decoder refused
    double endSeconds = 0;   // end of the last decoded frame
    int64 timeFaults = 0;    // pictures with no time, or shown under half a period apart
    int sampleRate = 0;
    int channels = 0;
};

struct MovieSummary {
    int openError = 0;  // avformat_open_input's or find_stream_info's error
    std::vector<StreamSummary> streams;
    // The first decoded video frames as packed RGB24 rows (width * 3 bytes each).
    std::vector<std::vector<uint8>> pictures;

    const StreamSummary* Video() const;
    const StreamSummary* Audio() const;
};

MovieSummary readMovie(const std::string& path, int keepPictures = 0);

struct Rgb {
    int r, g, b;
};

// Four vertical bars of flat colour (red, green, blue, grey) in `space`, `width` a multiple
// of 8. Bytes per row as bytesPerRow() says.
std::vector<uint8> barsPicture(color_space space, int width, int height);
extern const Rgb kBarColours[4];
// The colour a bar of `space` decodes to at best (RGB16/RGB15 lose low bits, gray its hue).
Rgb expectedBarColour(color_space space, int bar);

// A busy RGB32 picture (fixed noise under gradients that move with `frame`) whose encoded
// size follows quality.
std::vector<uint8> texturedPicture(int width, int height, int frame);

// Interleaved 16-bit stereo: a 440 Hz tone, `frames` frames from sample `first`.
std::vector<int16> toneSamples(int64 first, int frames, int rate, int channels);

media_format rawVideoFormat(color_space space, int width, int height, float rate);
media_format rawAudioFormat(int rate, int channels);

// A unique path in the temporary directory with `extension`; the file is removed by the
// caller (or at the end of the test program's run, by the system).
std::string temporaryPath(const char* extension);

// What `ffmpeg -v error -i path -f null -` prints while decoding the whole file: empty for a
// clean file. "ffmpeg did not run" when the program is missing or fails to start.
std::string ffmpegDecodeErrors(const std::string& path);
// The same for several files at once, in one ffmpeg: cheaper than one run for each.
std::string ffmpegDecodeErrors(const std::vector<std::string>& paths);
