#pragma once
// Converts interleaved 16-bit audio from one rate and channel count to another with
// libswresample: for an input that could not be opened at the rate or channel count a track
// was made for. A stream keeps its place: what the resampler holds back from one call comes
// out at the start of the next.

#include <vector>

#include "media/file/FFmpegOwners.h"

class AudioResampler {
public:
    status_t Init(int inputRate, int inputChannels, int outputRate, int outputChannels);
    // Converts `frames` frames; `*output` (interleaved, the output's channel count) holds
    // `*outputFrames` frames until the next call.
    status_t Convert(const int16* samples, int frames, const int16** output, int* outputFrames);

private:
    SwrContextPtr fResampler;
    int fOutputChannels = 0;
    std::vector<int16> fOutput;
};
