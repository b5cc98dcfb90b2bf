#pragma once
// An ALSA capture PCM as a media producer of raw audio: 16-bit little-endian interleaved,
// at the rate and channel count the consumer asks for or the nearest the PCM has, one
// period per buffer. Each buffer's start time is the capture time of its first frame and its
// sequence the index of that frame in the stream. Buffers come from the producer's own group;
// the capture thread reads a period only once a buffer is free, so a slow consumer costs an
// overrun in ALSA (recovered and counted), never a write into a buffer in use.

#include <atomic>
#include <memory>

#include "media/alsa/AlsaCapture.h"
#include "media/node/MediaProducer.h"

class AlsaProducer : public MediaProducer {
public:
    explicit AlsaProducer(AlsaSource source);
    ~AlsaProducer() override;

    // The PCM's status: B_OK once it could be opened.
    status_t InitCheck() const { return fInitStatus; }
    // Overruns recovered since the node was made.
    int64 Overruns() const { return fOverruns.load(); }

    status_t GetLatency(bigtime_t* latency) override;

protected:
    status_t FormatProposal(media_format* format) override;
    status_t PrepareToConnect(media_format* format) override;
    void Disconnected() override;

    status_t StartCapture() override;
    status_t CaptureNext() override;
    void StopCapture() override;

private:
    const AlsaSource fSource;
    status_t fInitStatus;
    // Used by the control thread while connecting and by the capture thread while it runs;
    // the node layer never runs both at once.
    std::unique_ptr<AlsaCapture> fCapture;
    std::shared_ptr<BufferGroup> fGroup;
    int64 fFramesRead = 0;
    std::atomic<int64> fOverruns{0};
};
