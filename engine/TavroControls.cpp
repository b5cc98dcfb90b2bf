// The controls of the live inputs: parameters of the video input's web, the sound output's
// mute switch, and the recording geometry (one at a time, or a recording format's at once),
// whose changes rebuild the video connection now or, while recording or holding changes,
// later.

#include "app/records/ErrorAlert.h"
#include "app/records/FormatSetting.h"
#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/VideoConsumer.h"
#include "support/Clock.h"

#include <algorithm>

namespace {

bool isLineMute(const MediaParameter* parameter) {
    return parameter->Type() == ParameterType::Discrete && parameter->Group() != nullptr &&
           parameter->Group()->Name() == "Line" && parameter->Kind() == B_MUTE;
}

// The discrete parameter `id` of `web`, or nullptr.
MediaParameter* discreteParameter(ParameterWeb* web, int32 id) {
    MediaParameter* parameter = GetNodeParameter(web, id);
    return parameter != nullptr && parameter->Type() == ParameterType::Discrete ? parameter
                                                                                : nullptr;
}

// The item a discrete parameter is set to; -1 without the parameter or a readable value.
int32 currentItem(MediaParameter* parameter) {
    int32 value = 0;
    size_t size = sizeof(value);
    if (parameter == nullptr || parameter->GetValue(&value, &size, nullptr) != B_OK ||
        size > sizeof(value))
        return -1;
    return value;
}

}  // namespace

MediaParameter* GetNodeParameter(ParameterWeb* web, int32 id) {
    if (web == nullptr)
        return nullptr;
    // From the last to the first: of two with the same id the later one wins.
    for (int32 i = web->CountParameters() - 1; i >= 0; i--) {
        MediaParameter* parameter = web->ParameterAt(i);
        if (parameter->ID() == id)
            return parameter;
    }
    return nullptr;
}

// --- Parameter webs ---

std::unique_ptr<ParameterWeb> Tavro::GetParameterWeb(MediaNode* node) {
    std::unique_ptr<ParameterWeb> web;
    if (node != nullptr)
        web = node->GetParameterWeb();
    if (web == nullptr) {
        ErrorAlert("Can't get parameter web for media node",
                   node == nullptr ? B_MEDIA_BAD_NODE : B_NOT_SUPPORTED, false);
    }
    return web;
}

namespace {

// A web of `node` that knows when the node is gone.
std::unique_ptr<ParameterWeb> webOf(const std::shared_ptr<MediaProducer>& node) {
    if (node == nullptr)
        return nullptr;
    std::unique_ptr<ParameterWeb> web = node->GetParameterWeb();
    if (web != nullptr)
        web->SetOwnerLife(std::weak_ptr<const void>(node));
    return web;
}

}  // namespace

std::unique_ptr<ParameterWeb> Tavro::GetVideoInputParameters() {
    return webOf(fVideo.producer);
}

std::unique_ptr<ParameterWeb> Tavro::GetAudioInputParameters() {
    return webOf(fAudio.producer);
}

ParameterWeb* Tavro::VideoInputWeb() {
    if (fVideoWeb == nullptr)
        fVideoWeb = GetParameterWeb(fVideo.producer.get());
    return fVideoWeb.get();
}

MediaParameter* Tavro::GetVideoParameter(int32 id) {
    return GetNodeParameter(VideoInputWeb(), id);
}

MediaParameter* Tavro::GetContinuousVideoParameter(int32 id) {
    MediaParameter* parameter = GetNodeParameter(VideoInputWeb(), id);
    return parameter != nullptr && parameter->Type() == ParameterType::Continuous ? parameter
                                                                                  : nullptr;
}

MediaParameter* Tavro::GetVideoSourceControl() {
    return discreteParameter(VideoInputWeb(), kVideoSourceParameterID);
}

MediaParameter* Tavro::GetVideoFormatControl() {
    return discreteParameter(VideoInputWeb(), kVideoFormatParameterID);
}

status_t Tavro::SetDiscreteClamped(MediaParameter* parameter, int32 value, bool onlyIfDifferent) {
    if (parameter == nullptr || parameter->CountItems() < 1)
        return B_BAD_VALUE;
    value = std::clamp<int32>(value, 0, parameter->CountItems() - 1);
    if (onlyIfDifferent) {
        int32 current = 0;
        size_t size = sizeof(current);
        if (parameter->GetValue(&current, &size, nullptr) == B_OK && size <= sizeof(current) &&
            current == value)
            return B_OK;
    }
    return parameter->SetValue(&value, sizeof(value), system_time());
}

// --- Channel, source, standard ---

status_t Tavro::ReadChannel(std::unique_ptr<ParameterWeb>& web, MediaParameter** parameter,
                            int32* channel) {
    web = GetParameterWeb(fVideo.producer.get());
    if (web == nullptr)
        return B_ERROR;
    *parameter = discreteParameter(web.get(), kChannelParameterID);
    if (*parameter == nullptr)
        return B_ENTRY_NOT_FOUND;
    size_t size = sizeof(*channel);
    return (*parameter)->GetValue(channel, &size, nullptr);
}

status_t Tavro::SetChannel(int32 channel) {
    std::unique_ptr<ParameterWeb> web;
    MediaParameter* parameter = nullptr;
    int32 current = 0;
    const status_t status = ReadChannel(web, &parameter, &current);
    if (status == B_OK && current != channel)
        parameter->SetValue(&channel, sizeof(channel), system_time());
    return status;
}

int32 Tavro::Channel() {
    std::unique_ptr<ParameterWeb> web;
    MediaParameter* parameter = nullptr;
    int32 current = 0;
    const status_t status = ReadChannel(web, &parameter, &current);
    return status == B_OK ? current : status;
}

int32 Tavro::GetCurrentVideoSource() {
    return currentItem(GetVideoSourceControl());
}

void Tavro::SetCurrentVideoSource(int32 source) {
    SetDiscreteClamped(GetVideoSourceControl(), source, false);
}

int32 Tavro::GetCurrentVideoFormat() {
    return currentItem(GetVideoFormatControl());
}

void Tavro::SetCurrentVideoFormat(int32 format) {
    SetDiscreteClamped(GetVideoFormatControl(), format, true);
}

// --- Mute ---

status_t Tavro::SetMute(bool mute) {
    if (fRoster == nullptr)
        return B_ERROR;
    std::shared_ptr<MediaNode> output;
    status_t status = fRoster->GetAudioOutput(&output);
    if (status != B_OK)
        return status;
    status_t result = B_ERROR;
    if (std::unique_ptr<ParameterWeb> web = GetParameterWeb(output.get()); web != nullptr) {
        const int32 value = mute ? 1 : 0;
        for (int32 i = web->CountParameters() - 1; i >= 0; i--) {
            MediaParameter* parameter = web->ParameterAt(i);
            if (isLineMute(parameter))
                result = parameter->SetValue(&value, sizeof(value), system_time());
        }
    }
    fRoster->ReleaseNode(output.get());
    return result;
}

bool Tavro::IsMuted() {
    if (fRoster == nullptr)
        return true;
    std::shared_ptr<MediaNode> output;
    if (fRoster->GetAudioOutput(&output) != B_OK)
        return true;
    // True unless the last switch found could be read: the state read is not what counts.
    bool muted = true;
    if (std::unique_ptr<ParameterWeb> web = GetParameterWeb(output.get()); web != nullptr) {
        for (int32 i = web->CountParameters() - 1; i >= 0; i--) {
            MediaParameter* parameter = web->ParameterAt(i);
            if (!isLineMute(parameter))
                continue;
            int32 value = 0;
            size_t size = sizeof(value);
            muted = parameter->GetValue(&value, &size, nullptr) != B_OK;
        }
    }
    fRoster->ReleaseNode(output.get());
    return muted;
}

// --- Geometry ---

status_t Tavro::ReconnectOrPend() {
    if (fRoster == nullptr || fRecorder.IsRecording() || fHoldChanges) {
        fReconnectPending = true;
        return B_ERROR;
    }
    if (fVideo.consumer != nullptr) {
        fVideo.consumer->StopBufferCreator();
        fVideo.Disconnect();
    }
    return ConnectVideo();
}

status_t Tavro::ReconnectAudioOrPend() {
    if (fRoster == nullptr || fAudio.consumer == nullptr || fAudio.producer == nullptr)
        return B_OK;
    if (fRecorder.IsRecording() || fHoldChanges) {
        fAudioReconnectPending = true;
        return B_ERROR;
    }
    fAudio.Disconnect();
    return ConnectAudio();
}

status_t Tavro::ReconnectVideo() {
    return ReconnectOrPend();
}

status_t Tavro::SetVideoSize(int32 width, int32 height) {
    if (width == fVideoWidth && height == fVideoHeight)
        return B_OK;
    fVideoWidth = width;
    fVideoHeight = height;
    const status_t status = ReconnectOrPend();
    if (status == B_OK)
        ResizeVideoWindow();
    return status;
}

status_t Tavro::SetColorSpace(color_space space) {
    if (space == fColorSpace)
        return B_OK;
    fColorSpace = space;
    return ReconnectOrPend();
}

status_t Tavro::SetVideoPlayRate(int32 rate) {
    if (rate != fVideoPlayRate) {
        fVideoPlayRate = rate;
        if (!fHoldChanges && !fRecorder.IsRecording() && fVideo.consumer != nullptr)
            fVideo.consumer->SetSkipFrames(rate);
    }
    return B_OK;
}

// The audio input is connected again at a new channel count or frequency, so that it
// delivers what the recording format asks for (a recording then writes the input as it comes).
// 0 leaves the setting as it is.
status_t Tavro::SetChannelCount(int32 count) {
    if (count <= 0 || count == fAudioChannelCount)
        return B_OK;
    fAudioChannelCount = count;
    if (fAudio.sink != nullptr)
        fAudio.sink->SetChannelCount(int32(uint8(count)));
    return ReconnectAudioOrPend();
}

status_t Tavro::SetFrequency(int32 frequency) {
    if (frequency <= 0 || float(frequency) == fAudioFrequency)
        return B_OK;
    fAudioFrequency = float(frequency);
    return ReconnectAudioOrPend();
}

void Tavro::SetHoldChanges(bool hold) {
    fHoldChanges = hold;
    if (!hold)
        FlushChanges();
}

void Tavro::FlushChanges() {
    if (fReconnectPending) {
        fReconnectPending = false;
        ReconnectOrPend();
    }
    if (fAudioReconnectPending) {
        fAudioReconnectPending = false;
        ReconnectAudioOrPend();
    }
    if (fVideo.consumer != nullptr)
        fVideo.consumer->SetSkipFrames(fVideoPlayRate);
}

void Tavro::SetFormat(FormatSetting* format) {
    if (format == nullptr)
        return;
    fHoldChanges = true;
    SetVideoSize(format->videoWidth, format->videoHeight);
    SetColorSpace(color_space(format->colorSpace));
    SetVideoPlayRate(format->frameDivisor);
    SetFrequency(format->audioFrameRate);
    SetChannelCount(format->audioChannels);
    fHoldChanges = false;
    FlushChanges();

    if (!fRecorder.IsRecording()) {
        ResizeVideoWindow();
    } else {
        ShowRequest("Tavro - Request",
                    "There is currently video capturing in progress.\n"
                    "Changes of the video/audio format cannot be previewed.",
                    "Ok");
    }
}
