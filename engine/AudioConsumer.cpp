#include "engine/AudioConsumer.h"

#include <cmath>

#include "engine/PreviewSinks.h"

namespace {

// The event thread's real-time priority when the system grants one, as the video node's: a
// starved audio node would lose periods of its input.
constexpr int kEventPriority = 15;

template <typename T>
bool matches(T a, T b) {
    return a == T(0) || b == T(0) || a == b;
}

}  // namespace

bool format_is_compatible(const media_format& a, const media_format& b) {
    if (a.type != b.type)
        return false;
    if (a.type != B_MEDIA_RAW_AUDIO)
        return true;
    const media_raw_audio_format& x = a.raw_audio;
    const media_raw_audio_format& y = b.raw_audio;
    return matches(x.frame_rate, y.frame_rate) && matches(x.channel_count, y.channel_count) &&
           matches(x.format, y.format) && matches(x.byte_order, y.byte_order) &&
           matches(x.buffer_size, y.buffer_size);
}

AudioConsumer::AudioConsumer(int32 internalId, const char* name)
    : MediaConsumer(name, B_MEDIA_RAW_AUDIO), fInternalID(internalId) {
    SetEventLatency(0);
    SetRealtimePriority(kEventPriority);
}

AudioConsumer::~AudioConsumer() {
    Quit();
}

status_t AudioConsumer::NodeRegistered() {
    {
        std::lock_guard lock(fInputLock);
        fInput.node = this;
        fInput.destination = {this, 1};
        fInput.source = {};
        fInput.format = media_format{};
        fInput.format.type = B_MEDIA_RAW_AUDIO;
    }
    return Run();
}

void AudioConsumer::SetView(AudioBlockSink* view) {
    std::lock_guard lock(fViewLock);
    fView = view;
    if (const std::string notice = fRecord.StopNotice(); fView != nullptr && !notice.empty())
        fView->InputStopped(notice);
}

media_format AudioConsumer::ConnectedFormat() {
    std::lock_guard lock(fInputLock);
    return fInput.format;
}

// --- Recording ---

int64 AudioConsumer::FramesCounter() {
    // Buffers per second taken as the rate over the buffer size in bytes, in single
    // precision, as the status panel has always computed it.
    const size_t bufferSize = fBufferSize.load();
    if (bufferSize == 0)
        return 0;
    const float buffersPerSecond = fFrameRate.load() / float(bufferSize);
    return int64(float(fRecord.CountedTime()) * buffersPerSecond / 1000000.0f);
}

int64 AudioConsumer::ExpectedBuffers() {
    if (!fRecord.Started())
        return 0;
    const media_raw_audio_format audio = ConnectedFormat().raw_audio;
    const uint32 frameBytes =
        audio.channel_count * (audio.format & media_raw_audio_format::B_AUDIO_SIZE_MASK);
    if (frameBytes == 0 || audio.buffer_size < frameBytes || audio.frame_rate <= 0)
        return fRecord.RecordedFrames();
    // Capture times jitter by a little: the nearest whole buffer.
    const double bufferTime = double(audio.buffer_size / frameBytes) * 1e6 / audio.frame_rate;
    return std::llround(double(fRecord.CountedTime()) / bufferTime) + 1;
}

// --- Events ---

void AudioConsumer::HandleEvent(const media_timed_event* event, bigtime_t lateness) {
    switch (event->type) {
        case B_STOP:
            FlushEvents(B_HANDLE_BUFFER);
            break;
        case B_START:
            break;
        default:
            MediaConsumer::HandleEvent(event, lateness);
            break;
    }
}

void AudioConsumer::BufferReceived(MediaBuffer* buffer) {
    if (State() != RunState::Started) {
        buffer->Recycle();
        return;
    }
    // Nothing waits for the end of an audio recording: the stop request is only cleared. A
    // buffer is stamped with its capture time, gaps included: the writer takes the
    // recording's origin off, and the track places the sound there.
    fRecord.Record(buffer, [](bigtime_t elapsed, bool) { return elapsed; });
    {
        std::lock_guard lock(fViewLock);
        if (fView != nullptr) {
            fView->AudioBlockReceived(static_cast<const int16*>(buffer->Data()),
                                      buffer->SizeUsed() / sizeof(int16));
        }
    }
    buffer->Recycle();
}

void AudioConsumer::ProducerDataStatus(MediaProducer* producer, status_t status, bigtime_t) {
    fRecord.InputStopped(producer != nullptr ? producer->Name() : Name(), status);
    const std::string notice = fRecord.StopNotice();
    std::lock_guard lock(fViewLock);
    if (fView != nullptr && !notice.empty())
        fView->InputStopped(notice);
}

void AudioConsumer::SetInputStoppedHandler(RecordPath::InputStoppedHandler handler) {
    fRecord.SetInputStoppedHandler(std::move(handler));
}

// --- Connection hooks ---

status_t AudioConsumer::AcceptFormat(const media_destination& destination, media_format* format) {
    std::lock_guard lock(fInputLock);
    if (destination != fInput.destination)
        return B_MEDIA_BAD_DESTINATION;
    if (format->type == B_MEDIA_NO_TYPE || format->type == B_MEDIA_UNKNOWN_TYPE) {
        format->type = B_MEDIA_RAW_AUDIO;
        format->raw_audio = media_raw_audio_format::wildcard;
    }
    if (format_is_compatible(*format, fInput.format))
        return B_OK;
    // A counter-proposal: what this input takes.
    *format = fInput.format;
    return B_MEDIA_BAD_FORMAT;
}

status_t AudioConsumer::GetNextInput(int32* cookie, media_input* input) {
    if (*cookie != 0)
        return B_BAD_INDEX;
    std::lock_guard lock(fInputLock);
    if (fInput.source.IsNull()) {
        fInput.format = media_format{};
        fInput.format.type = B_MEDIA_RAW_AUDIO;
        fInput.format.raw_audio = media_raw_audio_format::wildcard;
        fInput.node = this;
    }
    *input = fInput;
    *cookie = 1;
    return B_OK;
}

void AudioConsumer::DisposeInputCookie(int32) {}

status_t AudioConsumer::Connected(const media_source& source, const media_destination& destination,
                                  const media_format& format, media_input* input) {
    std::lock_guard lock(fInputLock);
    if (!fInput.source.IsNull() || destination != fInput.destination)
        return B_MEDIA_BAD_DESTINATION;
    fInput.source = source;
    fInput.format = format;
    *input = fInput;
    fFrameRate.store(format.raw_audio.frame_rate);
    fBufferSize.store(format.raw_audio.buffer_size);
    return B_OK;
}

void AudioConsumer::Disconnected(const media_source& source, const media_destination& destination) {
    std::lock_guard lock(fInputLock);
    if (source == fInput.source && destination == fInput.destination)
        fInput.source = {};
}

status_t AudioConsumer::FormatChanged(const media_source&, const media_destination&, int32,
                                      const media_format& format) {
    std::lock_guard lock(fInputLock);
    if (fInput.source.IsNull())
        return B_OK;
    return format_is_compatible(format, fInput.format) ? B_OK : B_MEDIA_BAD_FORMAT;
}

status_t AudioConsumer::GetLatencyFor(const media_destination& destination, bigtime_t* latency) {
    std::lock_guard lock(fInputLock);
    if (destination != fInput.destination)
        return B_MEDIA_BAD_DESTINATION;
    *latency = 500;
    return B_OK;
}
