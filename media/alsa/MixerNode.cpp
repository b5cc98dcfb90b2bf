#include "media/alsa/MixerNode.h"

#include <cstring>

MixerNode::MixerNode(std::string name, std::unique_ptr<MixerSwitch> mixerSwitch)
    : MediaNode(std::move(name)), fSwitch(std::move(mixerSwitch)) {}

std::unique_ptr<ParameterWeb> MixerNode::GetParameterWeb() {
    auto web = std::make_unique<ParameterWeb>(this);
    if (fSwitch != nullptr && fSwitch->HasSwitch()) {
        MediaParameter* mute =
            web->MakeGroup("Line")->MakeDiscreteParameter(kMuteParameter, "Mute", B_MUTE);
        mute->AddItem(0, "Off");
        mute->AddItem(1, "On");
    }
    return web;
}

status_t MixerNode::GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) {
    if (id != kMuteParameter || fSwitch == nullptr)
        return B_BAD_VALUE;
    if (value == nullptr || size == nullptr || *size < sizeof(int32))
        return B_NO_MEMORY;
    bool muted = false;
    status_t status = fSwitch->GetMute(&muted);
    if (status != B_OK)
        return status;
    int32 result = muted ? 1 : 0;
    std::memcpy(value, &result, sizeof(result));
    *size = sizeof(result);
    if (lastChange != nullptr)
        *lastChange = fLastChange.load();
    return B_OK;
}

status_t MixerNode::SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) {
    if (id != kMuteParameter || fSwitch == nullptr)
        return B_BAD_VALUE;
    if (value == nullptr || size < sizeof(int32))
        return B_BAD_VALUE;
    int32 requested;
    std::memcpy(&requested, value, sizeof(requested));
    status_t status = fSwitch->SetMute(requested != 0);
    if (status == B_OK)
        fLastChange.store(when);
    return status;
}
