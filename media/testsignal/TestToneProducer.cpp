#include "media/testsignal/TestToneProducer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <numeric>

#include "support/Clock.h"

namespace {

// The rates the tone is made at, as a sound card's plug layer offers them.
constexpr int32 kMinRate = 8000;
constexpr int32 kMaxRate = 192000;

int32 nearestRate(float requested) {
    return std::clamp(int32(requested), kMinRate, kMaxRate);
}

// The first sample at or after `offset` µs.
int64 sampleAtOrAfter(bigtime_t offset, int32 rate) {
    if (offset <= 0)
        return 0;
    return (offset * rate + 999999) / 1000000;
}

}  // namespace

TestToneProducer::TestToneProducer(std::shared_ptr<TestSignalClock> clock, const char* name)
    : MediaProducer(name, B_MEDIA_RAW_AUDIO),
      fClock(clock != nullptr ? std::move(clock) : std::make_shared<TestSignalClock>()) {}

TestToneProducer::~TestToneProducer() {
    Quit();
}

int64 TestToneProducer::ClickSample(const TestSignalClock& clock, int64 second, int32 rate) {
    return sampleAtOrAfter(clock.FlashTime(second), rate);
}

status_t TestToneProducer::GetLatency(bigtime_t* latency) {
    // A buffer leaves once its last sample is due: one period after its start time.
    *latency = fRate > 0 ? bigtime_t(fFramesPerBuffer) * 1000000 / fRate : kPeriod;
    return B_OK;
}

status_t TestToneProducer::FormatProposal(media_format* format) {
    if (status_t status = ProposeShortAudio(format); status != B_OK)
        return status;
    media_raw_audio_format& audio = format->raw_audio;
    audio.frame_rate = audio.frame_rate <= 0 ? 48000.0f : float(nearestRate(audio.frame_rate));
    if (audio.channel_count == 0 || audio.channel_count > 2)
        audio.channel_count = 2;
    const size_t frameBytes = audio.channel_count * 2;
    if (audio.buffer_size == 0)
        audio.buffer_size = size_t(audio.frame_rate) * size_t(kPeriod) / 1000000 * frameBytes;
    audio.buffer_size = std::max(frameBytes, audio.buffer_size / frameBytes * frameBytes);
    return B_OK;
}

status_t TestToneProducer::PrepareToConnect(media_format* format) {
    status_t status = FormatProposal(format);
    if (status != B_OK)
        return status;
    auto buffers = std::make_unique<BufferGroup>(format->raw_audio.buffer_size, kBufferCount);
    if (buffers->InitCheck() != B_OK)
        return buffers->InitCheck();
    fBuffers = std::move(buffers);
    fRate = int32(format->raw_audio.frame_rate);
    fChannels = int32(format->raw_audio.channel_count);
    fFramesPerBuffer = format->raw_audio.buffer_size / (size_t(fChannels) * 2);
    // index * kToneFrequency % rate takes the multiples of their greatest common divisor.
    fToneStep = std::gcd(fRate, kToneFrequency);
    fTone.resize(size_t(fRate / fToneStep));
    for (size_t i = 0; i < fTone.size(); i++) {
        const double phase = double(int64(i) * fToneStep) / fRate;
        fTone[i] = int16(std::lround(kToneAmplitude * std::sin(2 * std::numbers::pi * phase)));
    }
    return B_OK;
}

void TestToneProducer::Disconnected() {
    // Disconnect has taken every buffer back from the consumer before this runs.
    fBuffers.reset();
    fRate = 0;
    fStreaming = false;
}

status_t TestToneProducer::StartCapture() {
    if (fBuffers == nullptr)
        return B_MEDIA_NOT_CONNECTED;
    // The sample due now; a paced stream that begins within a period of its time starts at
    // sample 0, one that begins later (or goes on after a reconnect) at the due sample.
    const bigtime_t origin = StartTime();
    int64 due = std::max<int64>(0, (system_time() - origin) * fRate / 1000000);
    if (due < int64(fFramesPerBuffer))
        due = 0;
    if (origin != fOrigin || !fStreaming) {
        fOrigin = origin;
        fNextSample = fPaced.load() ? due : 0;
    } else if (fPaced.load()) {
        fNextSample = std::max(fNextSample, due);
    }
    fStreaming = true;
    return B_OK;
}

void TestToneProducer::FillSamples(int16* samples, int64 first, int64 end) const {
    // The clock is asked once per buffer: a second's click lies up to one frame period after
    // the second, so the clicks that can reach into [first, end) are those of the seconds from
    // the one before the first sample's to the last sample's.
    const int64 clickLength = kClickDuration * fRate / 1000000;
    std::vector<int64> clicks;
    for (int64 second = std::max<int64>(0, first / fRate - 1); second <= (end - 1) / fRate;
         second++)
        clicks.push_back(ClickSample(*fClock, second, fRate));
    // A 2 kHz square wave: unmistakable next to the tone, and no DC step.
    const int64 halfPeriod = std::max<int64>(1, fRate / 4000);
    for (int64 index = first; index < end; index++) {
        int16 value = 0;
        bool click = false;
        for (const int64 start : clicks) {
            const int64 offset = index - start;
            if (offset >= 0 && offset < clickLength) {
                value = (offset / halfPeriod) % 2 == 0 ? kClickAmplitude : -kClickAmplitude;
                click = true;
                break;
            }
        }
        // The phase from the index modulo one tone period keeps the sine exact over long
        // streams; the table holds the tone at every phase that occurs.
        if (!click)
            value = fTone[size_t(index * kToneFrequency % fRate) / fToneStep];
        for (int32 c = 0; c < fChannels; c++)
            *samples++ = value;
    }
}

status_t TestToneProducer::CaptureNext() {
    if (const bigtime_t stall = fStall.exchange(0); stall > 0 && fPaced.load()) {
        if (!WaitUntil(system_time() + stall))
            return B_OK;
        const int64 due = (system_time() - fOrigin) * fRate / 1000000;
        fNextSample = std::max(fNextSample, due - int64(fFramesPerBuffer));
    }
    const int64 first = fNextSample;
    const int64 end = first + int64(fFramesPerBuffer);
    const bigtime_t period = bigtime_t(fFramesPerBuffer) * 1000000 / fRate;
    const bool paced = fPaced.load();
    if (paced && !WaitUntil(fOrigin + end * 1000000 / fRate))
        return B_OK;

    MediaBuffer* buffer = nullptr;
    status_t status = fBuffers->RequestBuffer(fFramesPerBuffer * size_t(fChannels) * 2,
                                              paced ? period : 100000, &buffer);
    if (status == B_TIMED_OUT || status == B_WOULD_BLOCK) {
        if (!paced)
            return B_TIMED_OUT;
        fNextSample = end;  // the consumer is stuck: this period is lost
        return B_OK;
    }
    if (status != B_OK)
        return status;
    fNextSample = end;

    FillSamples(static_cast<int16*>(buffer->Data()), first, end);
    media_header* header = buffer->Header();
    header->type = B_MEDIA_RAW_AUDIO;
    header->size_used = fFramesPerBuffer * size_t(fChannels) * 2;
    header->start_time = fOrigin + first * 1000000 / fRate;
    header->sequence = first;
    SendBuffer(buffer);
    return B_OK;
}

void TestToneProducer::StopCapture() {}
