#pragma once
// Devices for tests: a mixer switch in memory, and a roster backend with the in-process Bt848
// as the only video device.

#include <memory>
#include <string>
#include <vector>

#include "media/alsa/MixerNode.h"
#include "media/roster/SystemDeviceBackend.h"
#include "tests/media/capture/FakeBt848.h"

// The mute switch of a mixer, in memory (in `*muted` when given).
class FakeMixerSwitch : public MixerSwitch {
public:
    explicit FakeMixerSwitch(bool present, bool* muted = nullptr)
        : fPresent(present), fMuted(muted != nullptr ? muted : &fOwnState) {}
    bool HasSwitch() const override { return fPresent; }
    status_t GetMute(bool* muted) override {
        if (!fPresent)
            return B_ENTRY_NOT_FOUND;
        *muted = *fMuted;
        return B_OK;
    }
    status_t SetMute(bool muted) override {
        if (!fPresent)
            return B_ENTRY_NOT_FOUND;
        *fMuted = muted;
        return B_OK;
    }

private:
    bool fPresent;
    bool fOwnState = false;
    bool* fMuted;
};

// Video from `card` (none when null) through the real V4L2 listing; the audio inputs named by
// `audioIds`, each failing to open with B_DEV_NOT_READY; a sound output "mixer" when
// `mixer` is not None, with or without its "Line" switch.
class CardBackend : public DeviceBackend {
public:
    enum class Mixer { None, WithSwitch, WithoutSwitch };

    explicit CardBackend(FakeBt848* card, std::vector<std::string> audioIds = {},
                         Mixer mixer = Mixer::None)
        : fVideo(card, {"/dev/video0"}),
          fCard(card),
          fAudioIds(std::move(audioIds)),
          fMixer(mixer) {}

    std::vector<MediaDevice> VideoInputs() override {
        return fCard != nullptr ? fVideo.VideoInputs() : std::vector<MediaDevice>{};
    }
    std::vector<MediaDevice> AudioInputs() override {
        std::vector<MediaDevice> devices;
        for (const std::string& id : fAudioIds)
            devices.push_back({DeviceKind::AudioInput, id, "Card " + id, false});
        return devices;
    }
    std::vector<MediaDevice> AudioOutputs(const std::string&) override {
        if (fMixer == Mixer::None)
            return {};
        return {{DeviceKind::AudioOutput, "mixer", "Test mixer", false}};
    }
    status_t MakeInput(const MediaDevice& device, std::shared_ptr<MediaProducer>* node) override {
        if (device.kind == DeviceKind::VideoInput)
            return fVideo.MakeInput(device, node);
        return B_DEV_NOT_READY;
    }
    status_t MakeOutput(const MediaDevice& device, std::shared_ptr<MediaNode>* node) override {
        // The switch's state outlives the node, as a sound card's does.
        *node = std::make_shared<MixerNode>(
            device.name, std::make_unique<FakeMixerSwitch>(fMixer == Mixer::WithSwitch, &fMuted));
        return B_OK;
    }

private:
    SystemDeviceBackend fVideo;
    FakeBt848* fCard;
    std::vector<std::string> fAudioIds;
    Mixer fMixer;
    bool fMuted = false;
};
