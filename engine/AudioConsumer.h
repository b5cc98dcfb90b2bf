#pragma once
// The engine's audio node: receives raw audio from the audio input (in the producer's own
// buffers), copies each buffer into the audio ring while recording, stamped with its capture
// time relative to the first recorded buffer, and hands every buffer, recorded or not, to the
// level meter.
//
// Threads: connection hooks on the control thread, BufferReceived on the event thread. The
// input is guarded by fInputLock; fViewLock guards the level meter and is held while a block
// is handed to it (which copies and returns at once); the recording state is atomic.

#include <atomic>
#include <mutex>

#include "engine/RingBuffer.h"
#include "media/node/MediaConnection.h"

class AudioBlockSink;

class AudioConsumer : public MediaConsumer {
public:
    AudioConsumer(int32 internalId, const char* name);
    ~AudioConsumer() override;

    int32 InternalID() const { return fInternalID; }

    // Sets the input up and starts the event thread: what registering the node does.
    status_t NodeRegistered();

    // The level meter (nullptr: none). Returns once the old one is no longer called.
    void SetView(AudioBlockSink* view);

    void SetRecording(bool recording);
    // The ring to record into; not owned. Returns once no Write into the old ring is under
    // way, so the caller may delete it then.
    void SetRing(RingBuffer* ring);
    // With a source that is not real time (the unpaced test signal), a full ring holds the
    // node back until the writer has taken a slot, instead of losing the frame; the source
    // then waits for its buffers. Real inputs must never wait: off by default.
    void SetWaitForRing(bool wait) { fWaitForRing.store(wait); }
    // Buffers that should have arrived since the recording began (by the connected rate and
    // buffer size), and those not recorded.
    int64 FramesCounter();
    int64 DroppedFrames();
    int64 RecordedFrames() const { return fRecordedFrames.load(); }
    media_format ConnectedFormat();

    // --- MediaConsumer ---
    status_t AcceptFormat(const media_destination& destination, media_format* format) override;
    status_t GetNextInput(int32* cookie, media_input* input) override;
    void DisposeInputCookie(int32 cookie) override;
    status_t Connected(const media_source& source, const media_destination& destination,
                       const media_format& format, media_input* input) override;
    void Disconnected(const media_source& source, const media_destination& destination) override;
    status_t FormatChanged(const media_source& source, const media_destination& destination,
                           int32 changeTag, const media_format& format) override;
    status_t GetLatencyFor(const media_destination& destination, bigtime_t* latency) override;

protected:
    void HandleEvent(const media_timed_event* event, bigtime_t lateness) override;
    void BufferReceived(MediaBuffer* buffer) override;
    void ProducerDataStatus(MediaProducer* producer, status_t status, bigtime_t when) override;

private:
    void RecordBuffer(MediaBuffer* buffer);

    const int32 fInternalID;

    std::mutex fInputLock;  // guards fInput
    media_input fInput;

    std::mutex fViewLock;  // guards fView
    AudioBlockSink* fView = nullptr;

    // Recording state: switched by the control thread, used by the event thread.
    std::atomic<bool> fRecording{false};
    std::atomic<bool> fStopRequested{false};
    std::atomic<int64> fRecordedFrames{0};
    std::atomic<bigtime_t> fBaseTime{0};
    std::atomic<bigtime_t> fRelativeTime{0};
    // fRingLock guards fRing and is held while a buffer is written into it.
    std::mutex fRingLock;
    std::atomic<bool> fWaitForRing{false};
    RingBuffer* fRing = nullptr;
    // The connected rate and buffer size, for the counter.
    std::atomic<float> fFrameRate{0};
    std::atomic<size_t> fBufferSize{0};
};

// Whether `a` and `b` can describe the same raw audio connection: equal where both are
// specified, anything against a wildcard (0).
bool format_is_compatible(const media_format& a, const media_format& b);
