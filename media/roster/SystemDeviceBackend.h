#pragma once
// Real devices: V4L2 capture devices (/dev/video*, those reporting video capture with
// streaming), ALSA capture PCMs ("default" first), the sources of a running PulseAudio or
// PipeWire server (as pulse plugin PCMs) and ALSA's mixer on the chosen card.

#include <string>

#include "media/roster/DeviceBackend.h"
#include "media/v4l2/V4L2Io.h"

class SystemDeviceBackend : public DeviceBackend {
public:
    // `io` carries every V4L2 call (the system's, or an in-process device); `videoPaths`
    // empty: scan /dev/video*. `channelTable` is the channel plan V4L2 tuners use ("" picks
    // it from the standard).
    explicit SystemDeviceBackend(V4L2Io* io = nullptr, std::vector<std::string> videoPaths = {},
                                 std::string channelTable = "");

    std::vector<MediaDevice> VideoInputs() override;
    std::vector<MediaDevice> AudioInputs() override;
    std::vector<MediaDevice> AudioOutputs(const std::string& card) override;
    bool FindUnlisted(DeviceKind kind, const std::string& name, MediaDevice* device) override;
    status_t MakeInput(const MediaDevice& device, std::shared_ptr<MediaProducer>* node) override;
    status_t MakeOutput(const MediaDevice& device, std::shared_ptr<MediaNode>* node) override;

private:
    V4L2Io& fIo;
    std::vector<std::string> fVideoPaths;
    std::string fChannelTable;
};
