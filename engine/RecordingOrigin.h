#pragma once
// The time origin of one recording: the capture time of its first recorded picture. The video
// node's frames are timed from it on the frame grid of the video track, so the first frame
// lies exactly at 0; the audio writer places each block of sound at its capture time less
// the origin, so a picture and the sound captured with it carry the same recording time
// however long each input took to deliver its first buffer. Sound captured before the first
// picture is left out.
//
// Reset by the control thread before the nodes start recording; set by the video node's
// event thread; read by the audio writer. Lock-free: the first Take wins.

#include <atomic>
#include <cstdint>

#include "support/Types.h"

class RecordingOrigin {
public:
    void Reset() { fOrigin.store(kUnset); }
    // The origin; the first call of a recording makes `captureTime` the origin.
    bigtime_t Take(bigtime_t captureTime) {
        bigtime_t origin = kUnset;
        if (fOrigin.compare_exchange_strong(origin, captureTime))
            return captureTime;
        return origin;
    }
    // Whether the origin is set, and then what it is.
    bool Get(bigtime_t* origin) const {
        const bigtime_t value = fOrigin.load();
        if (value == kUnset)
            return false;
        *origin = value;
        return true;
    }

private:
    static constexpr bigtime_t kUnset = INT64_MIN;
    std::atomic<bigtime_t> fOrigin{kUnset};
};
