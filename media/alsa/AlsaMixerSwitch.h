#pragma once
// The playback switch of a simple mixer element ("Line" unless told otherwise) on an ALSA
// card ("default" unless chosen), as a MixerSwitch. "Muted" is the switch off.
//
// Thread safety: calls may come from any thread; fLock serialises them.

#include <alsa/asoundlib.h>

#include <memory>
#include <mutex>
#include <string>

#include "media/alsa/MixerSwitch.h"

class AlsaMixerSwitch : public MixerSwitch {
public:
    explicit AlsaMixerSwitch(std::string card = "default", std::string element = "Line");

    // B_OK, or why the card's mixer could not be opened (the element may still be missing:
    // see HasSwitch).
    status_t InitCheck() const { return fStatus; }

    bool HasSwitch() const override;
    status_t GetMute(bool* muted) override;
    status_t SetMute(bool muted) override;

private:
    struct MixerCloser {
        void operator()(snd_mixer_t* mixer) const { snd_mixer_close(mixer); }
    };

    const std::string fCard;
    const std::string fElement;
    mutable std::mutex fLock;  // guards fMixer's use and fSwitch
    std::unique_ptr<snd_mixer_t, MixerCloser> fMixer;
    snd_mixer_elem_t* fSwitch = nullptr;  // owned by fMixer
    status_t fStatus = B_NO_INIT;
};
