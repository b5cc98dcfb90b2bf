#include "media/v4l2/V4L2Controls.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr uint32 kUserClass = V4L2_CTRL_CLASS_USER;

std::string nameOf(const uint8* text, size_t size) {
    return std::string(reinterpret_cast<const char*>(text),
                       strnlen(reinterpret_cast<const char*>(text), size));
}

status_t readInt32(const void* value, size_t size, int32* result) {
    if (value == nullptr || size < sizeof(int32))
        return B_BAD_VALUE;
    std::memcpy(result, value, sizeof(int32));
    return B_OK;
}

status_t writeValue(const void* source, void* value, size_t* size) {
    if (value == nullptr || size == nullptr || *size < 4)
        return B_NO_MEMORY;
    std::memcpy(value, source, 4);
    *size = 4;
    return B_OK;
}

}  // namespace

V4L2Controls::V4L2Controls(V4L2Device& device, std::string channelTable)
    : fDevice(device), fChannelTable(std::move(channelTable)) {
    if (fDevice.InitCheck() != B_OK)
        return;
    for (uint32 index = 0;; index++) {
        v4l2_input input{};
        input.index = index;
        if (Ioctl(VIDIOC_ENUMINPUT, &input) != B_OK)
            break;
        fInputs.push_back(nameOf(input.name, sizeof(input.name)));
        if (input.type == V4L2_INPUT_TYPE_TUNER && !fHasTuner) {
            fHasTuner = true;
            fTuner = input.tuner;
        }
    }
    if (fHasTuner) {
        v4l2_tuner tuner{};
        tuner.index = fTuner;
        fHasTuner = Ioctl(VIDIOC_G_TUNER, &tuner) == B_OK && tuner.type == V4L2_TUNER_ANALOG_TV;
    }
    for (uint32 index = 0;; index++) {
        v4l2_standard standard{};
        standard.index = index;
        if (Ioctl(VIDIOC_ENUMSTD, &standard) != B_OK)
            break;
        fStandards.push_back(
            {standard.id, nameOf(standard.name, sizeof(standard.name)), standard.framelines});
    }

    v4l2_queryctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (Ioctl(VIDIOC_QUERYCTRL, &query) == B_OK) {
        uint32 cid = query.id;
        query.id = cid | V4L2_CTRL_FLAG_NEXT_CTRL;
        if (V4L2_CTRL_ID2CLASS(cid) != kUserClass || (query.flags & V4L2_CTRL_FLAG_DISABLED))
            continue;
        if (query.type != V4L2_CTRL_TYPE_INTEGER && query.type != V4L2_CTRL_TYPE_BOOLEAN &&
            query.type != V4L2_CTRL_TYPE_MENU && query.type != V4L2_CTRL_TYPE_INTEGER_MENU)
            continue;
        Control control{query, {}, 0};
        control.query.id = cid;
        switch (cid) {
            case V4L2_CID_BRIGHTNESS:
                control.parameter = kBrightnessParameter;
                break;
            case V4L2_CID_CONTRAST:
                control.parameter = kContrastParameter;
                break;
            case V4L2_CID_SATURATION:
                control.parameter = kSaturationParameter;
                break;
            default:
                control.parameter = kFirstControlParameter + int32(cid - V4L2_CID_BASE);
        }
        if (query.type == V4L2_CTRL_TYPE_MENU || query.type == V4L2_CTRL_TYPE_INTEGER_MENU) {
            for (int32 item = query.minimum; item <= query.maximum; item++) {
                v4l2_querymenu menu{};
                menu.id = cid;
                menu.index = uint32(item);
                if (Ioctl(VIDIOC_QUERYMENU, &menu) != B_OK)
                    continue;  // drivers leave holes in menus
                std::string name = query.type == V4L2_CTRL_TYPE_MENU
                                       ? nameOf(menu.name, sizeof(menu.name))
                                       : std::to_string(menu.value);
                control.menu.emplace_back(item, name);
            }
        }
        fControls.push_back(std::move(control));
    }
}

std::unique_ptr<ParameterWeb> V4L2Controls::MakeWeb(Controllable* owner) {
    auto web = std::make_unique<ParameterWeb>(owner != nullptr ? owner : this);
    ParameterGroup* input = web->MakeGroup("Video Input");
    if (!fInputs.empty()) {
        MediaParameter* source =
            input->MakeDiscreteParameter(kVideoSourceParameter, "Video Source:", B_INPUT_MUX);
        for (size_t i = 0; i < fInputs.size(); i++)
            source->AddItem(int32(i), fInputs[i]);
    }
    if (!fStandards.empty()) {
        MediaParameter* format =
            input->MakeDiscreteParameter(kVideoFormatParameter, "Video Format:", B_VIDEO_FORMAT);
        for (size_t i = 0; i < fStandards.size(); i++)
            format->AddItem(int32(i), fStandards[i].name);
    }
    if (fHasTuner) {
        MediaParameter* channel =
            input->MakeDiscreteParameter(kChannelParameter, "Channel:", B_TUNER_CHANNEL);
        const std::vector<TvChannel>& channels = Channels().Channels();
        for (size_t i = 0; i < channels.size(); i++)
            channel->AddItem(int32(i), channels[i].name);
    }

    if (!fControls.empty()) {
        ParameterGroup* picture = web->MakeGroup("Picture");
        // Brightness, contrast and saturation first, in that order, then the rest as listed.
        std::vector<const Control*> ordered;
        for (int32 id : {kBrightnessParameter, kContrastParameter, kSaturationParameter}) {
            if (const Control* control = FindControl(id))
                ordered.push_back(control);
        }
        for (const Control& control : fControls) {
            if (!IsScaled(control.parameter))
                ordered.push_back(&control);
        }
        for (const Control* control : ordered) {
            const v4l2_queryctrl& query = control->query;
            std::string name = nameOf(query.name, sizeof(query.name));
            if (IsScaled(control->parameter)) {
                picture->MakeContinuousParameter(control->parameter, name, B_GAIN, "", -100, 100,
                                                 1);
            } else if (query.type == V4L2_CTRL_TYPE_INTEGER) {
                picture->MakeContinuousParameter(control->parameter, name, B_GENERIC, "",
                                                 float(query.minimum), float(query.maximum),
                                                 float(std::max(query.step, 1)));
            } else if (query.type == V4L2_CTRL_TYPE_BOOLEAN) {
                MediaParameter* parameter =
                    picture->MakeDiscreteParameter(control->parameter, name, B_ENABLE);
                parameter->AddItem(0, "Off");
                parameter->AddItem(1, "On");
            } else {
                MediaParameter* parameter =
                    picture->MakeDiscreteParameter(control->parameter, name, B_GENERIC);
                for (const auto& [value, itemName] : control->menu)
                    parameter->AddItem(value, itemName);
            }
        }
    }
    return web;
}

status_t V4L2Controls::GetParameterValue(int32 id, bigtime_t* lastChange, void* value,
                                         size_t* size) {
    status_t status;
    if (const Control* control = FindControl(id);
        control != nullptr && control->query.type == V4L2_CTRL_TYPE_INTEGER) {
        float result = 0;
        status = ReadControl(*control, &result);
        if (status == B_OK)
            status = writeValue(&result, value, size);
    } else {
        int32 result = 0;
        status = ReadIndex(id, &result);
        if (status == B_OK)
            status = writeValue(&result, value, size);
    }
    if (status == B_OK && lastChange != nullptr) {
        std::lock_guard lock(fLock);
        auto change = fChanges.find(id);
        *lastChange = change != fChanges.end() ? change->second : 0;
    }
    return status;
}

status_t V4L2Controls::SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) {
    status_t status;
    if (const Control* control = FindControl(id);
        control != nullptr && control->query.type == V4L2_CTRL_TYPE_INTEGER) {
        if (value == nullptr || size < sizeof(float))
            return B_BAD_VALUE;
        float requested;
        std::memcpy(&requested, value, sizeof(float));
        status = WriteControl(*control, requested);
    } else {
        int32 requested;
        status = readInt32(value, size, &requested);
        if (status == B_OK)
            status = WriteIndex(id, requested);
    }
    if (status == B_OK) {
        std::lock_guard lock(fLock);
        fChanges[id] = when;
    }
    return status;
}

uint32 V4L2Controls::FrameLinesOf(int32 index) const {
    if (index < 0 || size_t(index) >= fStandards.size())
        return 0;
    return fStandards[index].frameLines;
}

int32 V4L2Controls::CurrentStandard() const {
    v4l2_std_id current = 0;
    if (Ioctl(VIDIOC_G_STD, &current) != B_OK)
        return -1;
    for (size_t i = 0; i < fStandards.size(); i++) {
        if (fStandards[i].id == current)
            return int32(i);
    }
    for (size_t i = 0; i < fStandards.size(); i++) {
        if (fStandards[i].id & current)
            return int32(i);
    }
    return -1;
}

const ChannelTable& V4L2Controls::Channels() const {
    if (const ChannelTable* named = ChannelTable::Find(fChannelTable))
        return *named;
    return ChannelTable::ForLines(FrameLinesOf(CurrentStandard()));
}

uint32 V4L2Controls::ControlFor(int32 id) const {
    const Control* control = FindControl(id);
    return control != nullptr ? control->query.id : 0;
}

const V4L2Controls::Control* V4L2Controls::FindControl(int32 parameter) const {
    for (const Control& control : fControls) {
        if (control.parameter == parameter)
            return &control;
    }
    return nullptr;
}

bool V4L2Controls::IsScaled(int32 parameter) {
    return parameter == kBrightnessParameter || parameter == kContrastParameter ||
           parameter == kSaturationParameter;
}

status_t V4L2Controls::ReadIndex(int32 id, int32* value) const {
    switch (id) {
        case kVideoSourceParameter: {
            if (fInputs.empty())
                return B_BAD_VALUE;
            int input = 0;
            status_t status = Ioctl(VIDIOC_G_INPUT, &input);
            *value = input;
            return status;
        }
        case kVideoFormatParameter:
            if (fStandards.empty())
                return B_BAD_VALUE;
            *value = CurrentStandard();
            return *value >= 0 ? B_OK : B_ERROR;
        case kChannelParameter: {
            if (!fHasTuner)
                return B_BAD_VALUE;
            v4l2_frequency frequency{};
            frequency.tuner = fTuner;
            status_t status = Ioctl(VIDIOC_G_FREQUENCY, &frequency);
            if (status != B_OK)
                return status;
            *value = Channels().Nearest(frequency.frequency);
            return B_OK;
        }
        default: {
            const Control* control = FindControl(id);
            if (control == nullptr)
                return B_BAD_VALUE;
            v4l2_control current{};
            current.id = control->query.id;
            status_t status = Ioctl(VIDIOC_G_CTRL, &current);
            *value = current.value;
            return status;
        }
    }
}

status_t V4L2Controls::WriteIndex(int32 id, int32 value) {
    switch (id) {
        case kVideoSourceParameter: {
            if (value < 0 || size_t(value) >= fInputs.size())
                return B_BAD_VALUE;
            int input = value;
            return Ioctl(VIDIOC_S_INPUT, &input);
        }
        case kVideoFormatParameter: {
            if (value < 0 || size_t(value) >= fStandards.size())
                return B_BAD_VALUE;
            v4l2_std_id standard = fStandards[value].id;
            return Ioctl(VIDIOC_S_STD, &standard);
        }
        case kChannelParameter: {
            const std::vector<TvChannel>& channels = Channels().Channels();
            if (!fHasTuner || value < 0 || size_t(value) >= channels.size())
                return B_BAD_VALUE;
            v4l2_frequency frequency{};
            frequency.tuner = fTuner;
            frequency.type = V4L2_TUNER_ANALOG_TV;
            frequency.frequency = channels[value].frequency;
            return Ioctl(VIDIOC_S_FREQUENCY, &frequency);
        }
        default: {
            const Control* control = FindControl(id);
            if (control == nullptr)
                return B_BAD_VALUE;
            if (value < control->query.minimum || value > control->query.maximum)
                return B_BAD_VALUE;
            v4l2_control next{control->query.id, value};
            return Ioctl(VIDIOC_S_CTRL, &next);
        }
    }
}

status_t V4L2Controls::ReadControl(const Control& control, float* value) const {
    v4l2_control current{};
    current.id = control.query.id;
    status_t status = Ioctl(VIDIOC_G_CTRL, &current);
    if (status != B_OK)
        return status;
    const v4l2_queryctrl& query = control.query;
    if (!IsScaled(control.parameter) || query.maximum <= query.minimum) {
        *value = float(current.value);
        return B_OK;
    }
    *value = -100.0f + 200.0f * float(int64(current.value) - query.minimum) /
                           float(int64(query.maximum) - query.minimum);
    return B_OK;
}

status_t V4L2Controls::WriteControl(const Control& control, float value) {
    if (!std::isfinite(value))
        return B_BAD_VALUE;
    const v4l2_queryctrl& query = control.query;
    int64 raw;
    if (IsScaled(control.parameter)) {
        // -100..100 onto minimum..maximum; the fraction is cut off, and the driver rounds to
        // its step.
        double position = (std::clamp(double(value), -100.0, 100.0) + 100.0) / 200.0;
        raw = query.minimum + int64(position * double(int64(query.maximum) - query.minimum));
    } else {
        raw = std::clamp<int64>(int64(value), query.minimum, query.maximum);
    }
    v4l2_control next{query.id, int32(raw)};
    return Ioctl(VIDIOC_S_CTRL, &next);
}
