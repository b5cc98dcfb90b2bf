#pragma once
// The engine's audio node: receives raw audio from the audio input (in the producer's own
// buffers), copies each buffer into the audio ring while recording, stamped with its capture
// time (the audio writer takes the recording's origin off), and hands every buffer, recorded or
// not, to the level meter.
//
// Threads and locks: see SingleInputConsumer. The level meter is called under fViewLock; it
// copies the block and returns at once.

#include <atomic>

#include "engine/SingleInputConsumer.h"

class AudioConsumer : public SingleInputConsumer<AudioBlockSink> {
public:
    AudioConsumer(int32 internalId, const char* name);
    ~AudioConsumer() override;

    // Buffers that should have arrived since the recording began (by the connected rate and
    // buffer size), and those not recorded.
    int64 FramesCounter();
    // The counter goes by the buffer size in bytes and so stays below the buffers that came:
    // those a full ring refused are added as they are.
    int64 DroppedFrames() { return fRecord.Dropped(FramesCounter()) + fRecord.RingFullDrops(); }
    // The buffers the recording's capture times span by the connected rate and buffer length
    // in frames, the first one included: what the report calls expected. 0 before the first.
    int64 ExpectedBuffers();

    // --- MediaConsumer ---
    status_t AcceptFormat(const media_destination& destination, media_format* format) override;
    status_t FormatChanged(const media_source& source, const media_destination& destination,
                           int32 changeTag, const media_format& format) override;

protected:
    void InputConnected(const media_format& format) override;
    void ReceiveBuffer(MediaBuffer* buffer) override;

private:
    // The connected rate and buffer size, for the counter.
    std::atomic<float> fFrameRate{0};
    std::atomic<size_t> fBufferSize{0};
};

// Whether `a` and `b` can describe the same raw audio connection: equal where both are
// specified, anything against a wildcard (0).
bool format_is_compatible(const media_format& a, const media_format& b);
