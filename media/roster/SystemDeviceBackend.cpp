#include "media/roster/SystemDeviceBackend.h"

#include "media/alsa/AlsaDeviceList.h"
#include "media/alsa/AlsaMixerSwitch.h"
#include "media/alsa/AlsaProducer.h"
#include "media/alsa/MixerNode.h"
#include "media/alsa/PulseSourceList.h"
#include "media/v4l2/V4L2DeviceList.h"
#include "media/v4l2/V4L2Producer.h"
#include "media/v4l2/V4L2SystemIo.h"

SystemDeviceBackend::SystemDeviceBackend(V4L2Io* io, std::vector<std::string> videoPaths,
                                         std::string channelTable)
    : fIo(io != nullptr ? *io : V4L2SystemIo::Default()),
      fVideoPaths(std::move(videoPaths)),
      fChannelTable(std::move(channelTable)) {}

std::vector<MediaDevice> SystemDeviceBackend::VideoInputs() {
    std::vector<V4L2DeviceInfo> found =
        fVideoPaths.empty() ? listV4L2Devices() : listV4L2Devices(fIo, fVideoPaths);
    std::vector<MediaDevice> devices;
    for (const V4L2DeviceInfo& info : found)
        devices.push_back({DeviceKind::VideoInput, info.path, info.card, false});
    return devices;
}

std::vector<MediaDevice> SystemDeviceBackend::AudioInputs() {
    std::vector<MediaDevice> devices;
    for (const AlsaDeviceInfo& info : listAlsaCaptureDevices())
        devices.push_back({DeviceKind::AudioInput, info.name, info.description, false});
    // A sound server's sources by name, so a monitor or a grabber's sound can be chosen
    // without environment variables.
    for (const AlsaDeviceInfo& info : listPulseSources())
        devices.push_back({DeviceKind::AudioInput, info.name, info.description, false});
    return devices;
}

std::vector<MediaDevice> SystemDeviceBackend::AudioOutputs(const std::string& card) {
    AlsaMixerSwitch mixer(card);
    if (mixer.InitCheck() != B_OK)
        return {};
    return {{DeviceKind::AudioOutput, card, "ALSA mixer (" + card + ")", false}};
}

bool SystemDeviceBackend::FindUnlisted(DeviceKind kind, const std::string& name,
                                       MediaDevice* device) {
    if (kind != DeviceKind::AudioInput || !alsaOpensForCapture(name))
        return false;
    *device = {DeviceKind::AudioInput, name, name, false};
    return true;
}

status_t SystemDeviceBackend::MakeInput(const MediaDevice& device,
                                        std::shared_ptr<MediaProducer>* node) {
    if (device.kind == DeviceKind::VideoInput) {
        auto producer = std::make_shared<V4L2Producer>(fIo, device.id, fChannelTable);
        if (producer->InitCheck() != B_OK)
            return producer->InitCheck();
        *node = std::move(producer);
        return B_OK;
    }
    if (device.kind == DeviceKind::AudioInput) {
        AlsaSource source;
        source.name = device.id;
        auto producer = std::make_shared<AlsaProducer>(source);
        if (producer->InitCheck() != B_OK)
            return producer->InitCheck();
        *node = std::move(producer);
        return B_OK;
    }
    return B_BAD_VALUE;
}

status_t SystemDeviceBackend::MakeOutput(const MediaDevice& device,
                                         std::shared_ptr<MediaNode>* node) {
    if (device.kind != DeviceKind::AudioOutput)
        return B_BAD_VALUE;
    auto mixer = std::make_unique<AlsaMixerSwitch>(device.id);
    if (mixer->InitCheck() != B_OK)
        return mixer->InitCheck();
    *node = std::make_shared<MixerNode>(device.name, std::move(mixer));
    return B_OK;
}
