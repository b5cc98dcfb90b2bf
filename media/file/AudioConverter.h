#pragma once
// Takes interleaved 16-bit audio in any amounts and hands out frames of the size, sample
// format, rate and channel layout an encoder wants. libswresample converts; an AVAudioFifo
// holds what does not fill a whole frame yet.

#include "media/file/FFmpegOwners.h"

class AudioConverter {
public:
    AudioConverter() = default;
    AudioConverter(const AudioConverter&) = delete;
    AudioConverter& operator=(const AudioConverter&) = delete;

    // `encoder` is configured (rate, layout, sample format) but need not be open.
    status_t Init(int inputRate, int inputChannels, const AVCodecContext* encoder);
    // Appends `frames` frames of interleaved int16 samples.
    status_t Push(const int16* samples, int frames);
    // Pushes out what the resampler still holds; after this only Pop is allowed.
    status_t Drain();
    // Samples per channel ready to be taken.
    int Available() const;
    // Fills a new frame of `count` samples (at most Available(); the rest up to `padTo` is
    // silence) into `frame`, which is reset first.
    status_t Pop(AVFrame* frame, int count, int padTo);

private:
    status_t Store(const uint8** input, int frames);

    const AVCodecContext* fEncoder = nullptr;
    SwrContextPtr fResampler;
    AudioFifoPtr fFifo;
};
