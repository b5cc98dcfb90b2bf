#pragma once
// The frame grid shared by the built-in test picture and test tone, so that the picture's
// white flash and the tone's click mark the same instants: the first frame of every second
// of the stream. Times are µs from the stream's origin (the time the producer was started
// at). PAL runs at 25/1 frames per second, NTSC at 30000/1001; at NTSC rates the first frame
// of a second lies up to one frame period after the whole second, and the click follows it.
//
// The rate may change while both producers run (a change of standard); each reads it per
// frame or per buffer, so both move to the new grid together. One mutex guards the rate.

#include <mutex>

#include "support/Types.h"

class TestSignalClock {
public:
    void SetFrameRate(int32 numerator, int32 denominator);
    void GetFrameRate(int32* numerator, int32* denominator) const;
    float FieldRate() const;

    // µs from the origin to frame `frame`, truncated.
    bigtime_t FrameTime(int64 frame) const;
    // The first frame whose time is at or after `offset` µs.
    int64 FrameAtOrAfter(bigtime_t offset) const;
    // Whether `frame` is the first frame of a second of the stream.
    bool IsFlashFrame(int64 frame) const;
    // The time of the flash of the stream's second `second` (second 0: the origin).
    bigtime_t FlashTime(int64 second) const;

private:
    mutable std::mutex fLock;  // guards fNumerator and fDenominator
    int32 fNumerator = 25;
    int32 fDenominator = 1;
};
