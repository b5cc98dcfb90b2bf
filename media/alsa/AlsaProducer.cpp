#include "media/alsa/AlsaProducer.h"

namespace {

constexpr int32 kBufferCount = 8;
constexpr int kWaitMs = 50;  // short enough for a stop to be noticed in time

}  // namespace

AlsaProducer::AlsaProducer(AlsaSource source)
    : MediaProducer(source.name, B_MEDIA_RAW_AUDIO), fSource(std::move(source)) {
    // Opened once here to tell the roster whether the PCM exists; kept for the connection.
    fCapture = std::make_unique<AlsaCapture>(fSource);
    fInitStatus = fCapture->InitCheck();
}

AlsaProducer::~AlsaProducer() {
    Quit();
}

status_t AlsaProducer::GetLatency(bigtime_t* latency) {
    const media_format& format = ConnectedFormat();
    const media_raw_audio_format& audio = format.raw_audio;
    size_t frameBytes = size_t(audio.channel_count) * 2;
    if (audio.frame_rate <= 0 || frameBytes == 0) {
        *latency = 0;
        return B_OK;
    }
    *latency = bigtime_t(double(audio.buffer_size / frameBytes) * 1000000.0 / audio.frame_rate);
    return B_OK;
}

status_t AlsaProducer::FormatProposal(media_format* format) {
    if (fInitStatus != B_OK)
        return fInitStatus;
    if (status_t status = ProposeShortAudio(format); status != B_OK)
        return status;
    media_raw_audio_format& audio = format->raw_audio;
    if (audio.frame_rate == 0)
        audio.frame_rate = 44100;
    if (audio.channel_count == 0)
        audio.channel_count = 2;
    return B_OK;
}

status_t AlsaProducer::PrepareToConnect(media_format* format) {
    if (fCapture == nullptr || fCapture->InitCheck() != B_OK) {
        fCapture = std::make_unique<AlsaCapture>(fSource);
        if (fCapture->InitCheck() != B_OK)
            return fCapture->InitCheck();
    }
    media_raw_audio_format& audio = format->raw_audio;
    uint32 rate = uint32(audio.frame_rate);
    uint32 frameBytes = audio.channel_count * 2;
    // A buffer size the consumer asked for sets the period; else about 21 ms.
    uint32 period = audio.buffer_size > 0 && frameBytes > 0 ? uint32(audio.buffer_size / frameBytes)
                                                            : std::max<uint32>(rate / 47, 64);
    status_t status = fCapture->Configure(rate, audio.channel_count, period);
    if (status != B_OK)
        return status;
    audio.frame_rate = float(fCapture->Rate());
    audio.channel_count = fCapture->Channels();
    audio.buffer_size = fCapture->PeriodBytes();
    fGroup = std::make_shared<BufferGroup>(fCapture->PeriodBytes(), kBufferCount);
    return fGroup->InitCheck();
}

void AlsaProducer::Disconnected() {
    if (fCapture != nullptr)
        fCapture->Stop();
    // Every buffer is back: the node layer dropped those still queued at the consumer.
    fGroup.reset();
}

status_t AlsaProducer::StartCapture() {
    if (fGroup == nullptr)
        return B_NO_INIT;
    fFramesRead = 0;
    return fCapture->Start();
}

void AlsaProducer::StopCapture() {
    fCapture->Stop();
}

status_t AlsaProducer::CaptureNext() {
    MediaBuffer* buffer = nullptr;
    status_t status = fGroup->RequestBuffer(fCapture->PeriodBytes(), kWaitMs * 1000, &buffer);
    if (status == B_TIMED_OUT || status == B_WOULD_BLOCK)
        return B_TIMED_OUT;
    if (status != B_OK)
        return status;
    size_t bytes = 0;
    bigtime_t startTime = 0;
    int64 overrunsBefore = fCapture->Overruns();
    status = fCapture->ReadPeriod(buffer->Data(), &bytes, &startTime, kWaitMs);
    fOverruns.fetch_add(fCapture->Overruns() - overrunsBefore);
    if (status != B_OK) {
        buffer->Recycle();
        return status;
    }
    media_header* header = buffer->Header();
    header->type = B_MEDIA_RAW_AUDIO;
    header->buffer = buffer->ID();
    header->size_used = bytes;
    header->start_time = startTime;
    header->sequence = fFramesRead;
    header->flags = 0;
    header->bytes_per_row = 0;
    fFramesRead += int64(bytes / (size_t(fCapture->Channels()) * 2));
    return SendBuffer(buffer);
}
