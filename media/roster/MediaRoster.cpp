#include "media/roster/MediaRoster.h"

#include <cstdio>
#include <cstring>

#include "media/roster/SystemDeviceBackend.h"
#include "media/testsignal/TestPictureProducer.h"
#include "media/testsignal/TestToneProducer.h"
#include "support/Log.h"

MediaRoster::MediaRoster(RosterOptions options, std::unique_ptr<DeviceBackend> backend)
    : fOptions(std::move(options)),
      fBackend(backend != nullptr ? std::move(backend) : std::make_unique<SystemDeviceBackend>()),
      fTestClock(std::make_shared<TestSignalClock>()) {
    Rescan();
}

MediaRoster::~MediaRoster() = default;

void MediaRoster::Rescan() {
    fDevices.clear();
    for (MediaDevice& device : fBackend->VideoInputs())
        fDevices.push_back(std::move(device));
    if (fOptions.builtInInputs)
        fDevices.push_back({DeviceKind::VideoInput, kTestPictureID, "Test Picture", true});
    for (MediaDevice& device : fBackend->AudioInputs())
        fDevices.push_back(std::move(device));
    if (fOptions.builtInInputs)
        fDevices.push_back({DeviceKind::AudioInput, kTestToneID, "Test Tone", true});
    for (MediaDevice& device : fBackend->AudioOutputs(fOptions.mixerCard))
        fDevices.push_back(std::move(device));
    AddUnlisted(DeviceKind::VideoInput, fOptions.videoInput);
    AddUnlisted(DeviceKind::AudioInput, fOptions.audioInput);

    fDefaultVideo = PickDefault(DeviceKind::VideoInput, fOptions.videoInput, &fMissingVideo);
    fDefaultAudio = PickDefault(DeviceKind::AudioInput, fOptions.audioInput, &fMissingAudio);
    std::string noName;
    fDefaultOutput = PickDefault(DeviceKind::AudioOutput, "", &noName);
}

void MediaRoster::AddUnlisted(DeviceKind kind, const std::string& named) {
    if (named.empty())
        return;
    auto last = fDevices.end();
    for (auto device = fDevices.begin(); device != fDevices.end(); ++device) {
        if (device->kind != kind)
            continue;
        if (device->id == named || device->name == named)
            return;
        last = device;
    }
    MediaDevice found;
    if (fBackend->FindUnlisted(kind, named, &found))
        fDevices.insert(last == fDevices.end() ? fDevices.end() : last + 1, std::move(found));
}

void MediaRoster::SetNamedInputs(const std::string& videoInput, const std::string& audioInput) {
    fOptions.videoInput = videoInput;
    fOptions.audioInput = audioInput;
    fVideoInput.reset();
    fAudioInput.reset();
    Rescan();
}

int32 MediaRoster::PickDefault(DeviceKind kind, const std::string& named,
                               std::string* missing) const {
    missing->clear();
    if (!named.empty()) {
        for (size_t i = 0; i < fDevices.size(); i++) {
            const MediaDevice& device = fDevices[i];
            if (device.kind == kind && (device.id == named || device.name == named))
                return int32(i);
        }
        *missing = named;
        logWarning("MediaRoster: no device \"%s\"\n", named.c_str());
        return -1;
    }
    // Real devices come before the built-in one of their kind.
    for (size_t i = 0; i < fDevices.size(); i++) {
        if (fDevices[i].kind == kind)
            return int32(i);
    }
    return -1;
}

const MediaDevice* MediaRoster::DeviceAt(int32 index) const {
    return index >= 0 && size_t(index) < fDevices.size() ? &fDevices[size_t(index)] : nullptr;
}

bool MediaRoster::IsDefault(const MediaDevice& device) const {
    return &device == DefaultVideoInput() || &device == DefaultAudioInput() ||
           &device == DefaultAudioOutput();
}

status_t MediaRoster::MakeInput(int32 index, std::shared_ptr<MediaProducer>* producer) {
    const MediaDevice* device = DeviceAt(index);
    if (device == nullptr)
        return B_ENTRY_NOT_FOUND;
    if (!device->builtIn)
        return fBackend->MakeInput(*device, producer);
    if (device->id == kTestPictureID)
        *producer = std::make_shared<TestPictureProducer>(fTestClock);
    else
        *producer = std::make_shared<TestToneProducer>(fTestClock);
    return B_OK;
}

status_t MediaRoster::GetVideoInput(std::shared_ptr<MediaProducer>* producer) {
    if (fVideoInput == nullptr) {
        status_t status = MakeInput(fDefaultVideo, &fVideoInput);
        if (status != B_OK)
            return status;
    }
    *producer = fVideoInput;
    return B_OK;
}

status_t MediaRoster::GetAudioInput(std::shared_ptr<MediaProducer>* producer) {
    if (fAudioInput == nullptr) {
        status_t status = MakeInput(fDefaultAudio, &fAudioInput);
        if (status != B_OK)
            return status;
    }
    *producer = fAudioInput;
    return B_OK;
}

status_t MediaRoster::GetAudioOutput(std::shared_ptr<MediaNode>* node) {
    if (fAudioOutput == nullptr) {
        const MediaDevice* device = DefaultAudioOutput();
        if (device == nullptr)
            return B_ENTRY_NOT_FOUND;
        status_t status = fBackend->MakeOutput(*device, &fAudioOutput);
        if (status != B_OK)
            return status;
    }
    *node = fAudioOutput;
    return B_OK;
}

status_t MediaRoster::ReleaseNode(const MediaNode* node) {
    if (node == nullptr)
        return B_MEDIA_BAD_NODE;
    if (node == fVideoInput.get())
        fVideoInput.reset();
    else if (node == fAudioInput.get())
        fAudioInput.reset();
    else if (node == fAudioOutput.get())
        fAudioOutput.reset();
    else
        return B_MEDIA_BAD_NODE;
    return B_OK;
}

std::string MediaRoster::Describe() const {
    struct Section {
        DeviceKind kind;
        const char* title;
    } sections[] = {{DeviceKind::VideoInput, "Video inputs"},
                    {DeviceKind::AudioInput, "Audio inputs"},
                    {DeviceKind::AudioOutput, "Audio output (mute switch)"}};
    std::string text;
    for (const Section& section : sections) {
        text += std::string(section.title) + ":\n";
        bool any = false;
        for (const MediaDevice& device : fDevices) {
            if (device.kind != section.kind)
                continue;
            any = true;
            text += IsDefault(device) ? "* " : "  ";
            text += device.id + "  " + device.name;
            if (device.builtIn)
                text += " (built in)";
            text += "\n";
        }
        if (!any)
            text += "  none\n";
    }
    text += "* the default of its kind\n";
    return text;
}
