#pragma once
// The mute switch of a sound output: the hardware boundary of the mixer, so that the
// parameter web above it runs unchanged over alsa-lib (AlsaMixerSwitch) or a fake in tests.

#include "support/Status.h"

class MixerSwitch {
public:
    virtual ~MixerSwitch() = default;
    // Whether there is a switch at all (a card without a "Line" element has none).
    virtual bool HasSwitch() const = 0;
    virtual status_t GetMute(bool* muted) = 0;
    virtual status_t SetMute(bool muted) = 0;
};
