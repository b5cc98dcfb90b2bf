#pragma once
// The sound output as a node with a parameter web: a group "Line" holding one discrete
// parameter of kind B_MUTE (value 1 muted, 0 not), present only when the output has such a
// switch. Its values go to the MixerSwitch given.

#include <memory>

#include "media/alsa/MixerSwitch.h"
#include "media/node/MediaNode.h"

constexpr int32 kMuteParameter = 1;

class MixerNode : public MediaNode {
public:
    MixerNode(std::string name, std::unique_ptr<MixerSwitch> mixerSwitch);

    // An output node does nothing over time.
    status_t Start(bigtime_t) override { return B_OK; }
    status_t Stop(bigtime_t, bool) override { return B_OK; }

    std::unique_ptr<ParameterWeb> GetParameterWeb() override;
    status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) override;
    status_t SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) override;

private:
    const std::unique_ptr<MixerSwitch> fSwitch;
    std::atomic<bigtime_t> fLastChange{0};
};
