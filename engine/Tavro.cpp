// The engine's construction, the recording's forwarders to the recorder, the formats and the
// preview windows. The graph is in TavroGraph.cpp, the input controls in TavroControls.cpp,
// the recording itself in Recorder.cpp.

#include "engine/Tavro.h"

#include <cstdio>

#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/VideoConsumer.h"
#include "media/roster/DeviceBackend.h"
#include "support/Log.h"

namespace {

// Bytes of one audio buffer until an input says otherwise: 1024 stereo 16-bit frames, about
// 23 ms at 44.1 kHz.
constexpr size_t kDefaultAudioBufferFrames = 1024;

}  // namespace

Tavro::Tavro(TavroOptions options, std::unique_ptr<DeviceBackend> backend)
    : fOptions(std::move(options)),
      fBackend(std::move(backend)),
      fConnectedVideoFormat(RequestedVideoFormat(fColorSpace, fVideoFrameRate, 1)),
      fConnectedAudioFormat(RequestedAudioFormat()) {
    if (fOptions.useRoster)
        SetupNodes();
}

Tavro::~Tavro() {
    if (fRecorder.IsRecording())
        Stop();
    // The nodes go before the rings they write into (the recorder's, which goes after).
    TearDownNodes();
}

void Tavro::SetStopTarget(MessageTarget* target) {
    fRecorder.SetStopTarget(target);
}

void Tavro::SetStatusView(RingMonitor* view) {
    fRecorder.SetStatusView(view);
}

// --- Recording ---

status_t Tavro::SetVideoTrack(MediaTrack* track) {
    return fRecorder.SetVideoTrack(track);
}

status_t Tavro::SetAudioTrack(MediaTrack* track) {
    return fRecorder.SetAudioTrack(track);
}

status_t Tavro::Start() {
    return fRecorder.Start(fAudio.unpaced);
}

status_t Tavro::Stop() {
    fRecorder.Stop();
    // The changes held back during the recording.
    FlushChanges();
    return B_OK;
}

void Tavro::StopOnError(const char* text, status_t status) {
    fRecorder.StopOnError(text, status);
}

status_t Tavro::StoppedInput(bool withAudio, std::string* notice) const {
    status_t status = fVideo.Stopped(notice);
    if (status == B_OK && withAudio)
        status = fAudio.Stopped(notice);
    return status;
}

status_t Tavro::RecordingError(std::string* text) const {
    return fRecorder.RecordingError(text);
}

bool Tavro::FillReport(const MediaFile* file, RecordingReport* report) {
    return fRecorder.FillReport(file, report, fRoster.get());
}

int64 Tavro::VideoFramesCounter() {
    return fRecorder.VideoFramesCounter();
}

int64 Tavro::DroppedVideoFrames() {
    return fRecorder.DroppedVideoFrames();
}

int64 Tavro::AudioFramesCounter() {
    return fRecorder.AudioFramesCounter();
}

int64 Tavro::DroppedAudioFrames() {
    return fRecorder.DroppedAudioFrames();
}

int64 Tavro::VideoRingFullDrops() {
    return fRecorder.VideoRingFullDrops();
}

int64 Tavro::AudioRingFullDrops() {
    return fRecorder.AudioRingFullDrops();
}

void Tavro::SetPreviewHost(PreviewHost* host) {
    fPreviewHost = host;
}

void Tavro::SetRequestPresenter(RequestPresenter presenter) {
    fRequestPresenter = std::move(presenter);
}

void Tavro::ShowRequest(const char* title, const char* text, const char* button) {
    if (fRequestPresenter)
        fRequestPresenter(title, text, button);
    else
        logWarning("%s: %s", title, text);
}

media_format Tavro::RequestedVideoFormat(color_space space, float fieldRate,
                                         uint32 interlace) const {
    media_format format;
    format.type = B_MEDIA_RAW_VIDEO;
    media_raw_video_format& video = format.raw_video;
    video.field_rate = fieldRate;
    video.interlace = interlace;
    video.first_active = 0;
    video.last_active = uint32(fVideoHeight - 1);
    video.orientation = B_VIDEO_TOP_LEFT_RIGHT;
    video.pixel_width_aspect = 1;
    video.pixel_height_aspect = 1;
    video.display.format = space;
    video.display.line_width = uint32(fVideoWidth);
    video.display.line_count = uint32(fVideoHeight);
    video.display.bytes_per_row = bytesPerRow(space, uint32(fVideoWidth));
    return format;
}

media_format Tavro::RequestedAudioFormat() const {
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    media_raw_audio_format& audio = format.raw_audio;
    audio.frame_rate = fAudioFrequency;
    audio.channel_count = uint32(fAudioChannelCount);
    audio.format = media_raw_audio_format::B_AUDIO_SHORT;
    audio.byte_order = B_MEDIA_LITTLE_ENDIAN;
    audio.buffer_size = kDefaultAudioBufferFrames * audio.channel_count *
                        (audio.format & media_raw_audio_format::B_AUDIO_SIZE_MASK);
    return format;
}

status_t Tavro::GetVideoFormat(media_format* format) {
    *format = fConnectedVideoFormat;
    return B_OK;
}

status_t Tavro::GetAudioFormat(media_format* format) {
    *format = fConnectedAudioFormat;
    return B_OK;
}

Rect Tavro::Bounds() const {
    return Rect{0, 0, float(fVideoWidth - 1), float(fVideoHeight - 1)};
}

void Tavro::SetConnectedVideoFormat(const media_format& format) {
    fConnectedVideoFormat = format;
}

void Tavro::SetConnectedAudioFormat(const media_format& format) {
    fConnectedAudioFormat = format;
}

// --- Preview windows ---

void Tavro::ShowVideo(bool show, const Rect& frame) {
    fVideo.Show(
        show, fPreviewHost, [&](PreviewHost& host) { return host.OpenVideoWindow(frame); },
        [](PreviewHost& host) { host.CloseVideoWindow(); });
}

void Tavro::ShowAudio(bool show, const Rect& frame) {
    fAudio.Show(
        show, fPreviewHost,
        [&](PreviewHost& host) {
            AudioBlockSink* sink = host.OpenAudioWindow(frame);
            if (sink != nullptr)
                sink->SetChannelCount(fAudioChannelCount);
            return sink;
        },
        [](PreviewHost& host) { host.CloseAudioWindow(); });
}

void Tavro::VideoSinkGone() {
    fVideo.SinkGone();
}

void Tavro::AudioSinkGone() {
    fAudio.SinkGone();
}

void Tavro::ResizeVideoWindow() {
    if (fPreviewHost != nullptr && fVideo.sink != nullptr)
        fPreviewHost->ResizeVideoWindow(fVideoWidth, fVideoHeight);
}
