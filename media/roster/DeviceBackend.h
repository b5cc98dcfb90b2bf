#pragma once
// The hardware side of the roster: which real devices exist and how a node is made for one.
// SystemDeviceBackend asks V4L2 and ALSA; tests give the roster a backend of their own (an
// in-process V4L2 device, or none at all) to run the default rules without hardware.

#include <memory>
#include <vector>

#include "media/node/MediaProducer.h"
#include "media/roster/MediaDevice.h"

class DeviceBackend {
public:
    virtual ~DeviceBackend() = default;

    // Real devices in their natural order (the first is the default when none is named).
    virtual std::vector<MediaDevice> VideoInputs() = 0;
    virtual std::vector<MediaDevice> AudioInputs() = 0;
    // The sound output whose mixer holds the mute switch: at most one, for `card`.
    virtual std::vector<MediaDevice> AudioOutputs(const std::string& card) = 0;

    // A device named by the user that the lists above do not show but that exists (an ALSA
    // PCM such as "plughw:1,0" opens without being listed); false when there is none.
    virtual bool FindUnlisted(DeviceKind, const std::string&, MediaDevice*) { return false; }

    // A node for a device listed above; the device's error when it cannot be opened.
    virtual status_t MakeInput(const MediaDevice& device, std::shared_ptr<MediaProducer>* node) = 0;
    virtual status_t MakeOutput(const MediaDevice& device, std::shared_ptr<MediaNode>* node) = 0;
};
