#pragma once
// The engine's audio node: receives raw audio from the audio input (in the producer's own
// buffers), copies each buffer into the audio ring while recording, stamped with its capture
// time (the audio writer takes the recording's origin off), and hands every buffer, recorded or
// not, to the level meter.
//
// Threads: connection hooks on the control thread, BufferReceived on the event thread. The
// input is guarded by fInputLock; fViewLock guards the level meter and is held while a block
// is handed to it (which copies and returns at once); fRecord guards its own state.

#include <atomic>
#include <mutex>

#include "engine/RecordPath.h"
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

    // Called on the event thread when the input's stream ends with an error (see RecordPath).
    void SetInputStoppedHandler(RecordPath::InputStoppedHandler handler);
    // The input's stream ended with an error: the view (this one, and any set later) shows
    // the notice with the reason instead of a picture that no longer moves (see RecordPath).
    void SetStoppedNotice(std::string notice) { fRecord.SetStoppedNotice(std::move(notice)); }
    std::string StoppedNotice() const { return fRecord.StoppedNotice(); }
    // The record path (see RecordPath).
    void SetRecording(bool recording) { fRecord.SetRecording(recording); }
    void SetRing(RingBuffer* ring) { fRecord.SetRing(ring); }
    void SetWaitForRing(bool wait) { fRecord.SetWaitForRing(wait); }
    int64 RingFullDrops() const { return fRecord.RingFullDrops(); }
    // Buffers that should have arrived since the recording began (by the connected rate and
    // buffer size), and those not recorded.
    int64 FramesCounter();
    // The counter goes by the buffer size in bytes and so stays below the buffers that came:
    // those a full ring refused are added as they are.
    int64 DroppedFrames() { return fRecord.Dropped(FramesCounter()) + fRecord.RingFullDrops(); }
    int64 RecordedFrames() const { return fRecord.RecordedFrames(); }
    // The buffers the recording's capture times span by the connected rate and buffer length
    // in frames, the first one included: what the report calls expected. 0 before the first.
    int64 ExpectedBuffers();
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
    const int32 fInternalID;

    std::mutex fInputLock;  // guards fInput
    media_input fInput;

    std::mutex fViewLock;  // guards fView
    AudioBlockSink* fView = nullptr;

    RecordPath fRecord;
    // The connected rate and buffer size, for the counter.
    std::atomic<float> fFrameRate{0};
    std::atomic<size_t> fBufferSize{0};
};

// Whether `a` and `b` can describe the same raw audio connection: equal where both are
// specified, anything against a wildcard (0).
bool format_is_compatible(const media_format& a, const media_format& b);
