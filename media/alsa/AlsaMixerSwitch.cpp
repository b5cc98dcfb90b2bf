#include "media/alsa/AlsaMixerSwitch.h"
#include "media/alsa/AlsaErrors.h"
#include "support/Log.h"

#include <cstdio>

AlsaMixerSwitch::AlsaMixerSwitch(std::string card, std::string element)
    : fCard(std::move(card)), fElement(std::move(element)) {
    // A machine without a mixer (no sound card, a container, ssh) is common and leaves only
    // the mute switch out: a debug line, not an error.
    auto fail = [this](const char* call, int error) {
        logDebug("alsa: %s for mixer \"%s\" failed: %s\n", call, fCard.c_str(),
                 snd_strerror(error));
        fMixer.reset();
        fStatus = error;
    };
    routeAlsaErrorsToLog();
    snd_mixer_t* mixer = nullptr;
    int error = snd_mixer_open(&mixer, 0);
    if (error < 0) {
        fail("snd_mixer_open", error);
        return;
    }
    fMixer.reset(mixer);
    if ((error = snd_mixer_attach(mixer, fCard.c_str())) < 0) {
        fail("snd_mixer_attach", error);
        return;
    }
    if ((error = snd_mixer_selem_register(mixer, nullptr, nullptr)) < 0) {
        fail("snd_mixer_selem_register", error);
        return;
    }
    if ((error = snd_mixer_load(mixer)) < 0) {
        fail("snd_mixer_load", error);
        return;
    }
    fStatus = B_OK;

    snd_mixer_selem_id_t* id;
    snd_mixer_selem_id_alloca(&id);
    snd_mixer_selem_id_set_index(id, 0);
    snd_mixer_selem_id_set_name(id, fElement.c_str());
    snd_mixer_elem_t* found = snd_mixer_find_selem(mixer, id);
    if (found != nullptr && snd_mixer_selem_has_playback_switch(found))
        fSwitch = found;
}

bool AlsaMixerSwitch::HasSwitch() const {
    std::lock_guard lock(fLock);
    return fSwitch != nullptr;
}

status_t AlsaMixerSwitch::GetMute(bool* muted) {
    std::lock_guard lock(fLock);
    if (fStatus != B_OK)
        return fStatus;
    if (fSwitch == nullptr)
        return B_ENTRY_NOT_FOUND;
    int on = 0;
    int error = snd_mixer_selem_get_playback_switch(fSwitch, SND_MIXER_SCHN_FRONT_LEFT, &on);
    if (error < 0)
        return error;
    *muted = on == 0;
    return B_OK;
}

status_t AlsaMixerSwitch::SetMute(bool muted) {
    std::lock_guard lock(fLock);
    if (fStatus != B_OK)
        return fStatus;
    if (fSwitch == nullptr)
        return B_ENTRY_NOT_FOUND;
    int error = snd_mixer_selem_set_playback_switch_all(fSwitch, muted ? 0 : 1);
    if (error < 0) {
        logWarning("alsa: cannot switch \"%s\" on mixer \"%s\": %s", fElement.c_str(),
                   fCard.c_str(), snd_strerror(error));
    }
    return error;
}
