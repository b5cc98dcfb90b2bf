#include "media/ParameterWeb.h"

const char* const B_GENERIC = "";
const char* const B_MUTE = "MUTE";
const char* const B_GAIN = "GAIN";
const char* const B_ENABLE = "ENABLE";
const char* const B_INPUT_MUX = "INPUTMUX";
const char* const B_TUNER_CHANNEL = "TUNERCHAN";
const char* const B_VIDEO_FORMAT = "VIDEOFORMAT";
const char* const B_QUALITY = "QUALITY";
const char* const B_BITRATE = "BITRATE";
const char* const B_GOP_SIZE = "GOPSIZE";
const char* const B_FRAME_RATE = "FRAMERATE";
const char* const B_RESOLUTION = "RESOLUTION";
const char* const B_LEVEL = "LEVEL";

MediaParameter::MediaParameter(ParameterGroup* group, int32 id, ParameterType type,
                               std::string name, std::string kind)
    : fGroup(group), fID(id), fType(type), fName(std::move(name)), fKind(std::move(kind)) {}

ParameterWeb* MediaParameter::Web() const {
    return fGroup->Web();
}

status_t MediaParameter::GetValue(void* buffer, size_t* size, bigtime_t* lastChange) const {
    std::shared_ptr<const void> hold;
    Controllable* owner = Web()->LockOwner(&hold);
    if (owner == nullptr)
        return B_NO_INIT;
    bigtime_t when = 0;
    status_t status = owner->GetParameterValue(fID, &when, buffer, size);
    if (status == B_OK && lastChange != nullptr)
        *lastChange = when;
    return status;
}

status_t MediaParameter::SetValue(const void* buffer, size_t size, bigtime_t when) {
    std::shared_ptr<const void> hold;
    Controllable* owner = Web()->LockOwner(&hold);
    if (owner == nullptr)
        return B_NO_INIT;
    return owner->SetParameterValue(fID, when, buffer, size);
}

MediaParameter* ParameterGroup::Adopt(MediaParameter* parameter) {
    fParameters.emplace_back(parameter);
    fWeb->fAll.push_back(parameter);
    return parameter;
}

MediaParameter* ParameterGroup::MakeNullParameter(int32 id, std::string name, std::string kind) {
    return Adopt(
        new MediaParameter(this, id, ParameterType::Null, std::move(name), std::move(kind)));
}

MediaParameter* ParameterGroup::MakeDiscreteParameter(int32 id, std::string name,
                                                      std::string kind) {
    return Adopt(
        new MediaParameter(this, id, ParameterType::Discrete, std::move(name), std::move(kind)));
}

MediaParameter* ParameterGroup::MakeContinuousParameter(int32 id, std::string name,
                                                        std::string kind, std::string unit,
                                                        float min, float max, float step) {
    MediaParameter* parameter =
        new MediaParameter(this, id, ParameterType::Continuous, std::move(name), std::move(kind));
    parameter->fUnit = std::move(unit);
    parameter->fMin = min;
    parameter->fMax = max;
    parameter->fStep = step;
    return Adopt(parameter);
}

MediaParameter* ParameterGroup::MakeTextParameter(int32 id, std::string name, std::string kind,
                                                  size_t maxBytes) {
    MediaParameter* parameter =
        new MediaParameter(this, id, ParameterType::Text, std::move(name), std::move(kind));
    parameter->fMaxBytes = maxBytes;
    return Adopt(parameter);
}

ParameterGroup* ParameterGroup::MakeGroup(std::string name) {
    fGroups.emplace_back(new ParameterGroup(fWeb, std::move(name)));
    return fGroups.back().get();
}

MediaParameter* ParameterGroup::ParameterAt(int32 index) const {
    if (index < 0 || index >= CountParameters())
        return nullptr;
    return fParameters[index].get();
}

ParameterGroup* ParameterGroup::GroupAt(int32 index) const {
    if (index < 0 || index >= CountGroups())
        return nullptr;
    return fGroups[index].get();
}

ParameterGroup* ParameterWeb::MakeGroup(std::string name) {
    fGroups.emplace_back(new ParameterGroup(this, std::move(name)));
    return fGroups.back().get();
}

ParameterGroup* ParameterWeb::GroupAt(int32 index) const {
    if (index < 0 || index >= CountGroups())
        return nullptr;
    return fGroups[index].get();
}

MediaParameter* ParameterWeb::ParameterAt(int32 index) const {
    if (index < 0 || index >= CountParameters())
        return nullptr;
    return fAll[index];
}

MediaParameter* ParameterWeb::ParameterWithID(int32 id) const {
    for (MediaParameter* parameter : fAll) {
        if (parameter->ID() == id)
            return parameter;
    }
    return nullptr;
}

ParameterGroup* ParameterWeb::GroupWithName(const std::string& name) const {
    // Breadth first, so a top-level group wins over a nested one of the same name.
    std::vector<ParameterGroup*> pending;
    for (const auto& group : fGroups)
        pending.push_back(group.get());
    for (size_t i = 0; i < pending.size(); i++) {
        if (pending[i]->Name() == name)
            return pending[i];
        for (int32 j = 0; j < pending[i]->CountGroups(); j++)
            pending.push_back(pending[i]->GroupAt(j));
    }
    return nullptr;
}

void ParameterWeb::SetOwnerLife(std::weak_ptr<const void> life) {
    fOwnerLife = std::move(life);
    fHasOwnerLife = true;
}

bool ParameterWeb::OwnerGone() const {
    return fHasOwnerLife && fOwnerLife.expired();
}

Controllable* ParameterWeb::LockOwner(std::shared_ptr<const void>* hold) const {
    if (!fHasOwnerLife)
        return fOwner;
    *hold = fOwnerLife.lock();
    return *hold != nullptr ? fOwner : nullptr;
}
