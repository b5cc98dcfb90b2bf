#pragma once
// The built-in audio input: a 1 kHz tone at a quarter of full scale with a 2 ms full-scale
// click at every flash of the test picture (the first frame of every second on the shared
// TestSignalClock), so that audio/video sync can be measured in a recorded file. 16-bit
// little-endian, mono or stereo, at any whole rate from 8000 to 192000 Hz (one outside is
// moved to the nearest end), as a sound card's plug layer converts.
//
// Sample k of a stream lies at origin + k / rate; a buffer's header carries the time of its
// first sample and, in `sequence`, k. Paced, a buffer is sent once its last sample's time has
// passed (as a capture device delivers a period); unpaced, as fast as buffers come back.
// The buffers are the producer's own: 32 of one period (kPeriod unless the format asks for
// another buffer size), so a consumer held up for a while does not cost periods.

#include <memory>
#include <vector>

#include "media/node/MediaProducer.h"
#include "media/testsignal/TestSignalClock.h"

class TestToneProducer : public MediaProducer {
public:
    explicit TestToneProducer(std::shared_ptr<TestSignalClock> clock = nullptr,
                              const char* name = "Test Tone");
    ~TestToneProducer() override;

    const std::shared_ptr<TestSignalClock>& Clock() const { return fClock; }
    void SetPaced(bool paced) { fPaced.store(paced); }
    // Holds the capture thread up for `duration` µs before its next period, as a busy
    // machine would: the periods that fall due meanwhile are lost, as in a sound card's
    // overrun, and the stream goes on at the sample due when it wakes (paced streams only).
    void InjectStall(bigtime_t duration) { fStall.store(duration); }

    static constexpr int32 kToneFrequency = 1000;
    static constexpr int16 kToneAmplitude = 8192;
    static constexpr int16 kClickAmplitude = 30000;
    static constexpr bigtime_t kClickDuration = 2000;  // µs
    // One period (µs) when the format leaves the buffer size open: a PAL frame period, so
    // that the running inputs hand over one buffer of sound per picture (every hand-off to
    // the consumer's thread costs two thread switches, recording or not). Sample times stay
    // exact whatever the period.
    static constexpr bigtime_t kPeriod = 40000;

    // The sample index of the click of the stream's second `second` at `rate`.
    static int64 ClickSample(const TestSignalClock& clock, int64 second, int32 rate);

    status_t GetLatency(bigtime_t* latency) override;

protected:
    status_t FormatProposal(media_format* format) override;
    status_t PrepareToConnect(media_format* format) override;
    void Disconnected() override;

    status_t StartCapture() override;
    status_t CaptureNext() override;
    void StopCapture() override;

private:
    static constexpr int32 kBufferCount = 32;

    // Writes samples [first, end) of the stream, every channel alike.
    void FillSamples(int16* samples, int64 first, int64 end) const;

    const std::shared_ptr<TestSignalClock> fClock;
    std::atomic<bool> fPaced{true};
    std::atomic<bigtime_t> fStall{0};

    // Connection and capture state (see MediaProducer for which thread, when).
    int32 fRate = 0;
    int32 fChannels = 0;
    size_t fFramesPerBuffer = 0;
    std::vector<int16> fTone;  // the tone at phase i * fToneStep / fRate
    int32 fToneStep = 1;
    std::unique_ptr<BufferGroup> fBuffers;
    bigtime_t fOrigin = 0;
    int64 fNextSample = 0;
    bool fStreaming = false;  // a stream from fOrigin has begun on this connection
};
