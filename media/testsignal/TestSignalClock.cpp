#include "media/testsignal/TestSignalClock.h"

void TestSignalClock::SetFrameRate(int32 numerator, int32 denominator) {
    if (numerator <= 0 || denominator <= 0)
        return;
    std::lock_guard lock(fLock);
    fNumerator = numerator;
    fDenominator = denominator;
}

void TestSignalClock::GetFrameRate(int32* numerator, int32* denominator) const {
    std::lock_guard lock(fLock);
    *numerator = fNumerator;
    *denominator = fDenominator;
}

float TestSignalClock::FieldRate() const {
    int32 numerator, denominator;
    GetFrameRate(&numerator, &denominator);
    return float(double(numerator) / denominator);
}

bigtime_t TestSignalClock::FrameTime(int64 frame) const {
    int32 numerator, denominator;
    GetFrameRate(&numerator, &denominator);
    // frame * 10^6 * 1001 stays far inside int64 for any stream shorter than a century.
    return frame * 1000000 * denominator / numerator;
}

int64 TestSignalClock::FrameAtOrAfter(bigtime_t offset) const {
    if (offset <= 0)
        return 0;
    int32 numerator, denominator;
    GetFrameRate(&numerator, &denominator);
    const int64 scale = int64(1000000) * denominator;
    const int64 product = offset * numerator;
    int64 frame = product / scale;
    // FrameTime truncates, so step until the truncated time reaches the offset.
    while (FrameTime(frame) < offset)
        frame++;
    while (frame > 0 && FrameTime(frame - 1) >= offset)
        frame--;
    return frame;
}

bool TestSignalClock::IsFlashFrame(int64 frame) const {
    if (frame <= 0)
        return frame == 0;
    return FrameTime(frame) / 1000000 != FrameTime(frame - 1) / 1000000;
}

bigtime_t TestSignalClock::FlashTime(int64 second) const {
    return FrameTime(FrameAtOrAfter(second * 1000000));
}
