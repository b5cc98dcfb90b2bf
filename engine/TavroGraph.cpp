// The engine's media graph: finding the default inputs, making, connecting and starting the
// consumer nodes, and taking them down again.
//
// One clock serves every node (CLOCK_MONOTONIC, see MediaNode.h), so setting and starting a
// shared time source have nothing to do here; everything else runs in the order and with the
// alerts it always had, one alert per failure (only the first of the process shows).

#include <algorithm>
#include <cstdio>

#include "app/records/ErrorAlert.h"
#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/VideoConsumer.h"
#include "media/roster/DeviceBackend.h"
#include "media/testsignal/TestPictureProducer.h"
#include "media/testsignal/TestToneProducer.h"
#include "support/Clock.h"
#include "support/Log.h"

namespace {

// The worst delay from a time being due to a thread running on it, added to the start time
// so that every node is ready when the graph starts.
constexpr bigtime_t kMaxSchedulingLatency = 2000;

// The video standard some cards only connect in after a change of standard ("PAL-M" on a
// Bt848), and the one used for the connection instead.
constexpr int32 kStandardNeedingWorkAround = 4;
constexpr int32 kWorkAroundStandard = 1;

// Paces a built-in input or not; true when `producer` now runs unpaced. Only such an input may
// make its consumer wait for room in a full ring: a real device must never be held up.
bool pace(MediaProducer* producer, bool paced) {
    if (auto* picture = dynamic_cast<TestPictureProducer*>(producer))
        picture->SetPaced(paced);
    else if (auto* tone = dynamic_cast<TestToneProducer*>(producer))
        tone->SetPaced(paced);
    else
        return false;
    return !paced;
}

// Finds the free output of `producer` and the free input of `consumer` for a connection of
// `type`, with the alert of the end that is missing (`noStream` for the output).
status_t findFreeEnds(MediaProducer* producer, MediaConsumer* consumer, media_type type,
                      media_output* output, media_input* input, const char* noStream) {
    int32 count = 0;
    status_t status = producer == nullptr ? B_MEDIA_BAD_NODE
                                          : GetFreeOutputsFor(producer, output, 1, &count, type);
    if (status != B_OK || count < 1)
        return ErrorAlert(noStream, B_RESOURCE_UNAVAILABLE, false);
    count = 0;
    status =
        consumer == nullptr ? B_MEDIA_BAD_NODE : GetFreeInputsFor(consumer, input, 1, &count, type);
    if (status != B_OK || count < 1) {
        // For sound as well, as it has always read.
        return ErrorAlert("Can't find an available connection to the video window",
                          B_RESOURCE_UNAVAILABLE, false);
    }
    return B_OK;
}

// "Can't find video input", or, when a device was asked for by name and is not there, which.
void alertMissingInput(const char* kind, const std::string& missing, status_t status) {
    if (missing.empty()) {
        ErrorAlert(std::string("Can't find ").append(kind).append(" input").c_str(), status, false);
        return;
    }
    const std::string text = std::string("The chosen ") + kind + " input \"" + missing +
                             "\" is not there (see tavro --list-devices)";
    ErrorAlert(text.c_str(), status, false);
}

// What the user is told when an input of `kind` ("video", "audio") stops: its description,
// with the device's name beside it when that says more ("BT878 video" (/dev/video0)).
std::string inputStoppedText(const char* kind, const MediaDevice* device,
                             const MediaProducer* node) {
    std::string name = node != nullptr ? node->Name() : std::string();
    if (device != nullptr && !device->name.empty()) {
        name = "\"" + device->name + "\"";
        if (!device->builtIn && !device->id.empty() && device->id != device->name)
            name += " (" + device->id + ")";
    }
    return std::string("The ") + kind + " input " + name + " has stopped.";
}

}  // namespace

status_t Tavro::SelectInputs(const std::string& videoInput, const std::string& audioInput) {
    if (fRecording.load())
        return B_BUSY;
    if (fRoster == nullptr)
        return B_NO_INIT;
    TearDownNodes();
    fRoster->SetNamedInputs(videoInput, audioInput);
    return SetupNodes();
}

status_t Tavro::SetupNodes() {
    // The roster stays across SelectInputs: it holds the device backend.
    if (fRoster == nullptr)
        fRoster = std::make_unique<MediaRoster>(fOptions.roster, std::move(fBackend));

    fVideoConnected = false;
    status_t status = fRoster->GetVideoInput(&fVideoInputNode);
    if (status != B_OK) {
        fVideoInputNode.reset();
        alertMissingInput("video", fRoster->MissingVideoInput(), status);
    } else {
        bool unpaced = pace(fVideoInputNode.get(), fOptions.pacedTestSignal);
        fVideoConsumer = std::make_unique<VideoConsumer>(1, "Video Capture", fVideoSink);
        fVideoConsumer->SetWaitForRing(unpaced);
        fVideoConsumer->SetOrigin(&fRecordingOrigin);
        fVideoConsumer->SetStoppedNotice(
            inputStoppedText("video", fRoster->DefaultVideoInput(), fVideoInputNode.get()));
        status = fVideoConsumer->NodeRegistered();
        if (status != B_OK) {
            ErrorAlert("Can't register the video node", status, false);
        } else {
            status = ConnectVideo();
            if (status != B_OK)
                ErrorAlert("Can't connect the video source to the consumer node!", status, false);
            else
                fVideoConnected = true;
        }
    }

    fAudioConnected = false;
    status = fRoster->GetAudioInput(&fAudioInputNode);
    if (status != B_OK) {
        fAudioInputNode.reset();
        alertMissingInput("audio", fRoster->MissingAudioInput(), status);
    } else {
        bool unpaced = pace(fAudioInputNode.get(), fOptions.pacedTestSignal);
        fAudioUnpaced = unpaced;
        fAudioConsumer = std::make_unique<AudioConsumer>(1, "Audio Capture");
        fAudioConsumer->SetWaitForRing(unpaced);
        fAudioConsumer->SetStoppedNotice(
            inputStoppedText("audio", fRoster->DefaultAudioInput(), fAudioInputNode.get()));
        status = fAudioConsumer->NodeRegistered();
        if (status != B_OK) {
            ErrorAlert("Can't register the audio node", status, false);
        } else {
            status = ConnectAudio();
            if (status != B_OK)
                ErrorAlert("Can't connect the audio source to the consumer node!", status, false);
            else
                fAudioConnected = true;
        }
        // Unlike the video node, an audio node that did not connect is not kept.
        if (!fAudioConnected) {
            fAudioConsumer.reset();
            fRoster->ReleaseNode(fAudioInputNode.get());
            fAudioInputNode.reset();
        }
    }

    // The producer's latency and its extra latency at start decide how far ahead the nodes
    // are started.
    bigtime_t latency = 0;
    bigtime_t initialLatency = 0;
    if (fVideoInputNode != nullptr) {
        fVideoInputNode->GetLatency(&latency);
        status = fVideoInputNode->GetInitialLatency(&initialLatency);
        if (status < B_OK) {
            ErrorAlert("Can't get the initial latency for producer node", status, false);
            initialLatency = 0;
        }
    }
    initialLatency += kMaxSchedulingLatency;
    fStartLatency = latency + initialLatency;
    const bigtime_t startTime = system_time() + fStartLatency;

    status = B_OK;
    if (fVideoConnected) {
        status = fVideoInputNode->Start(startTime);
        if (status == B_OK)
            status = fVideoConsumer->Start(startTime);
        if (status != B_OK)
            return ErrorAlert("Can't start video nodes", status, false);
    }
    if (fAudioConnected) {
        status = fAudioConsumer->Start(startTime);
        if (status == B_OK)
            status = fAudioInputNode->Start(startTime);
        if (status != B_OK)
            return ErrorAlert("Can't start audio nodes", status, false);
    }
    fNodesRunning = status == B_OK;
    return status;
}

status_t Tavro::ConnectVideo() {
    status_t result =
        findFreeEnds(fVideoInputNode.get(), fVideoConsumer.get(), B_MEDIA_RAW_VIDEO, &fVideoOutput,
                     &fVideoInput, "Can't find an available video stream");
    if (result != B_OK)
        return result;
    result = B_MEDIA_BAD_FORMAT;

    // Some cards connect in one standard only after a change of it: connect in another one,
    // then go back.
    MediaParameter* standard = GetVideoFormatControl();
    bool standardChanged = false;
    if (standard != nullptr) {
        int32 value = -1;
        size_t size = sizeof(value);
        if (standard->GetValue(&value, &size, nullptr) == B_OK &&
            value == kStandardNeedingWorkAround) {
            SetDiscreteClamped(standard, kWorkAroundStandard, true);
            standardChanged = true;
        }
    }

    // The source is applied again: a driver may have forgotten it with the last connection.
    if (MediaParameter* source = GetVideoSourceControl(); source != nullptr) {
        int32 value = -1;
        size_t size = sizeof(value);
        if (source->GetValue(&value, &size, nullptr) != B_OK)
            value = -1;
        SetDiscreteClamped(source, value, false);
    }

    // The engine's colour space first, then the others from the best for recording to the
    // least; each only once.
    const color_space order[] = {fColorSpace, B_YCbCr422, B_YCbCr411, B_RGB32,
                                 B_RGB16,     B_RGB15,    B_GRAY8};
    media_format format;
    for (size_t i = 0; i < std::size(order); i++) {
        const color_space candidate = order[i];
        if (std::find(order, order + i, candidate) != order + i)
            continue;
        // Any rate and interlace: the input says which.
        format = RequestedVideoFormat(candidate, 0, 0);
        result = fVideoConsumer->SetBuffers(format, VideoConsumer::kBufferCount);
        if (result == B_OK) {
            result = Connect(fVideoOutput.source, fVideoInput.destination, &format, &fVideoOutput,
                             &fVideoInput);
        }
        if (result == B_OK) {
            // Until then the producer captures into buffers of its own.
            fVideoConsumer->HandBuffersOver();
            break;
        }
    }

    if (result == B_OK) {
        fConnectedVideoFormat = format;
        if (standardChanged) {
            SetDiscreteClamped(standard, kStandardNeedingWorkAround, true);
            logOutput("reset PAL-M format\n");
            std::fflush(stdout);
        }
    }

    fVideoConnected = result == B_OK;
    if (fVideoSink != nullptr)
        fVideoSink->SetEnabled(fVideoConnected);
    return result;
}

status_t Tavro::ConnectAudio() {
    status_t status =
        findFreeEnds(fAudioInputNode.get(), fAudioConsumer.get(), B_MEDIA_RAW_AUDIO, &fAudioOutput,
                     &fAudioInput, "Can't find an available audio stream");
    if (status != B_OK)
        return status;

    // The rate and channel count the engine asks for; the input fills in the rest (or moves
    // the rate to the nearest it has).
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    format.raw_audio = media_raw_audio_format::wildcard;
    format.raw_audio.frame_rate = fAudioFrequency;
    format.raw_audio.channel_count = uint32(fAudioChannelCount);
    status =
        Connect(fAudioOutput.source, fAudioInput.destination, &format, &fAudioOutput, &fAudioInput);
    if (status != B_OK)
        ErrorAlert("Could not connect to audio input", status, false);
    else
        fConnectedAudioFormat = format;

    fAudioConnected = status == B_OK;
    if (fAudioSink != nullptr)
        fAudioSink->SetEnabled(fAudioConnected);
    return status;
}

void Tavro::TearDownNodes() {
    if (fRoster == nullptr)
        return;
    if (fVideoConsumer != nullptr) {
        if (fNodesRunning)
            fVideoConsumer->Stop(0, true);
        fVideoConsumer->StopBufferCreator();
        Disconnect(fVideoOutput.source, fVideoInput.destination);
        // The web's parameters read through the node: it goes first.
        fVideoWeb.reset();
        if (fVideoInputNode != nullptr) {
            fRoster->ReleaseNode(fVideoInputNode.get());
            fVideoInputNode.reset();
        }
        fVideoConsumer.reset();
    }
    if (fAudioConsumer != nullptr) {
        if (fNodesRunning)
            fAudioConsumer->Stop(0, true);
        Disconnect(fAudioOutput.source, fAudioInput.destination);
        if (fAudioInputNode != nullptr) {
            fRoster->ReleaseNode(fAudioInputNode.get());
            fAudioInputNode.reset();
        }
        fAudioConsumer.reset();
    }
    fVideoWeb.reset();
    fVideoConnected = false;
    fAudioConnected = false;
    fNodesRunning = false;
}
