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

template <typename Stream, typename Connect>
void Tavro::SetUpStream(Stream& stream, const char* kind, const MediaDevice* device,
                        Connect connect) {
    stream.unpaced = pace(stream.producer.get(), fOptions.pacedTestSignal);
    stream.consumer->SetWaitForRing(stream.unpaced);
    stream.consumer->SetStoppedNotice(inputStoppedText(kind, device, stream.producer.get()));
    status_t status = stream.consumer->NodeRegistered();
    if (status != B_OK) {
        ErrorAlert((std::string("Can't register the ") + kind + " node").c_str(), status, false);
        return;
    }
    status = connect();
    if (status != B_OK) {
        ErrorAlert(
            (std::string("Can't connect the ") + kind + " source to the consumer node!").c_str(),
            status, false);
    } else {
        stream.connected = true;
    }
}

status_t Tavro::SelectInputs(const std::string& videoInput, const std::string& audioInput) {
    if (fRecorder.IsRecording())
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

    fVideo.connected = false;
    status_t status = fRoster->GetVideoInput(&fVideo.producer);
    if (status != B_OK) {
        fVideo.producer.reset();
        alertMissingInput("video", fRoster->MissingVideoInput(), status);
    } else {
        fVideo.consumer = std::make_unique<VideoConsumer>(1, "Video Capture", fVideo.sink);
        fVideo.consumer->SetOrigin(fRecorder.Origin());
        SetUpStream(fVideo, "video", fRoster->DefaultVideoInput(),
                    [this] { return ConnectVideo(); });
    }

    fAudio.connected = false;
    status = fRoster->GetAudioInput(&fAudio.producer);
    if (status != B_OK) {
        fAudio.producer.reset();
        alertMissingInput("audio", fRoster->MissingAudioInput(), status);
    } else {
        fAudio.consumer = std::make_unique<AudioConsumer>(1, "Audio Capture");
        SetUpStream(fAudio, "audio", fRoster->DefaultAudioInput(),
                    [this] { return ConnectAudio(); });
        // Unlike the video node, an audio node that did not connect is not kept.
        if (!fAudio.connected) {
            fAudio.consumer.reset();
            fAudio.ReleaseProducer(*fRoster);
        }
    }
    return StartNodes();
}

status_t Tavro::StartNodes() {
    // The producer's latency and its extra latency at start decide how far ahead the nodes
    // are started.
    bigtime_t latency = 0;
    bigtime_t initialLatency = 0;
    if (fVideo.producer != nullptr) {
        fVideo.producer->GetLatency(&latency);
        if (const status_t status = fVideo.producer->GetInitialLatency(&initialLatency);
            status < B_OK) {
            ErrorAlert("Can't get the initial latency for producer node", status, false);
            initialLatency = 0;
        }
    }
    initialLatency += kMaxSchedulingLatency;
    fStartLatency = latency + initialLatency;
    const bigtime_t startTime = system_time() + fStartLatency;

    status_t status = B_OK;
    if (fVideo.connected) {
        status = fVideo.producer->Start(startTime);
        if (status == B_OK)
            status = fVideo.consumer->Start(startTime);
        if (status != B_OK)
            return ErrorAlert("Can't start video nodes", status, false);
    }
    if (fAudio.connected) {
        status = fAudio.consumer->Start(startTime);
        if (status == B_OK)
            status = fAudio.producer->Start(startTime);
        if (status != B_OK)
            return ErrorAlert("Can't start audio nodes", status, false);
    }
    fNodesRunning = status == B_OK;
    return status;
}

status_t Tavro::ConnectVideo() {
    status_t result =
        findFreeEnds(fVideo.producer.get(), fVideo.consumer.get(), B_MEDIA_RAW_VIDEO,
                     &fVideo.output, &fVideo.input, "Can't find an available video stream");
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
        result = fVideo.consumer->SetBuffers(format, VideoConsumer::kBufferCount);
        if (result == B_OK) {
            result = Connect(fVideo.output.source, fVideo.input.destination, &format,
                             &fVideo.output, &fVideo.input);
        }
        if (result == B_OK) {
            // Until then the producer captures into buffers of its own.
            fVideo.consumer->HandBuffersOver();
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

    fVideo.SetConnected(result == B_OK);
    return result;
}

status_t Tavro::ConnectAudio() {
    status_t status =
        findFreeEnds(fAudio.producer.get(), fAudio.consumer.get(), B_MEDIA_RAW_AUDIO,
                     &fAudio.output, &fAudio.input, "Can't find an available audio stream");
    if (status != B_OK)
        return status;

    // The rate and channel count the engine asks for; the input fills in the rest (or moves
    // the rate to the nearest it has).
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    format.raw_audio = media_raw_audio_format::wildcard;
    format.raw_audio.frame_rate = fAudioFrequency;
    format.raw_audio.channel_count = uint32(fAudioChannelCount);
    status = Connect(fAudio.output.source, fAudio.input.destination, &format, &fAudio.output,
                     &fAudio.input);
    if (status != B_OK)
        ErrorAlert("Could not connect to audio input", status, false);
    else
        fConnectedAudioFormat = format;

    fAudio.SetConnected(status == B_OK);
    return status;
}

void Tavro::TearDownNodes() {
    if (fRoster == nullptr)
        return;
    // The web's parameters read through the video input: it goes before the input.
    fVideoWeb.reset();
    fVideo.TearDown(*fRoster, fNodesRunning, [this] { fVideo.consumer->StopBufferCreator(); });
    fAudio.TearDown(*fRoster, fNodesRunning, [] {});
    fVideo.connected = false;
    fAudio.connected = false;
    fNodesRunning = false;
}
