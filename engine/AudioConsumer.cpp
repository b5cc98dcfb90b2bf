#include "engine/AudioConsumer.h"

#include <cmath>

#include "engine/PreviewSinks.h"

namespace {

// The event thread's real-time priority when the system grants one, as the video node's: a
// starved audio node would lose periods of its input.
constexpr int kEventPriority = 15;
// What the node adds to the input's latency, in µs.
constexpr bigtime_t kLatency = 500;

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
    : SingleInputConsumer(internalId, name, B_MEDIA_RAW_AUDIO, 1, "", kLatency, kEventPriority,
                          nullptr) {}

AudioConsumer::~AudioConsumer() {
    Quit();
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

// --- Buffers ---

void AudioConsumer::ReceiveBuffer(MediaBuffer* buffer) {
    // Nothing waits for the end of an audio recording: the stop request is only cleared. A
    // buffer is stamped with its capture time, gaps included: the writer takes the
    // recording's origin off, and the track places the sound there.
    fRecord.Record(buffer, [](bigtime_t elapsed, bool) { return elapsed; });
    std::lock_guard lock(fViewLock);
    if (fView != nullptr) {
        fView->AudioBlockReceived(static_cast<const int16*>(buffer->Data()),
                                  buffer->SizeUsed() / sizeof(int16));
    }
}

// --- Connection hooks ---

status_t AudioConsumer::AcceptFormat(const media_destination& destination, media_format* format) {
    std::lock_guard lock(fInputLock);
    if (!IsInput(destination))
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

void AudioConsumer::InputConnected(const media_format& format) {
    fFrameRate.store(format.raw_audio.frame_rate);
    fBufferSize.store(format.raw_audio.buffer_size);
}

status_t AudioConsumer::FormatChanged(const media_source&, const media_destination&, int32,
                                      const media_format& format) {
    std::lock_guard lock(fInputLock);
    if (fInput.source.IsNull())
        return B_OK;
    return format_is_compatible(format, fInput.format) ? B_OK : B_MEDIA_BAD_FORMAT;
}
