#pragma once
// What both consumer nodes of the engine share: one input (offered once, connected and
// disconnected), the record path behind it, the preview sink and the notice of an input that
// has stopped. Each node adds its format rules (AcceptFormat, FormatChanged), what a new
// connection prepares (InputConnected, InputDisconnected) and what it does with a buffer
// (ReceiveBuffer). `Sink` is the node's preview: VideoFrameSink or AudioBlockSink.
//
// Threads: the connection hooks and SetView on the control thread; ReceiveBuffer,
// ProducerDataStatus and HandleEvent on the node's event thread. fInputLock guards fInput
// (ConnectedFormat copies it for other threads); fViewLock guards fView and is held while the
// sink is called; fRecord guards its own state. A node's destructor calls Quit: the event
// thread must end before the node's own part goes.

#include <mutex>
#include <string>

#include "engine/RecordPath.h"
#include "media/node/MediaConnection.h"

class AudioBlockSink;
class VideoFrameSink;

template <typename Sink>
class SingleInputConsumer : public MediaConsumer {
public:
    int32 InternalID() const { return fInternalID; }

    // Sets the input up and starts the event thread: what registering the node does.
    status_t NodeRegistered();

    // The preview sink (nullptr: none). Returns once the old sink is no longer called.
    void SetView(Sink* view);

    // Called on the event thread when the input's stream ends with an error (see RecordPath).
    void SetInputStoppedHandler(RecordPath::InputStoppedHandler handler);
    // The input's stream ended with an error: the view (this one, and any set later) shows
    // the notice with the reason instead of a picture that no longer moves (see RecordPath).
    void SetStoppedNotice(std::string notice) { fRecord.SetStoppedNotice(std::move(notice)); }
    std::string StoppedNotice() const { return fRecord.StoppedNotice(); }
    // The record path (see RecordPath).
    void SetRecording(bool recording) { fRecord.SetRecording(recording); }
    void SetRing(RingBuffer* ring, VideoConverter* converter = nullptr) {
        fRecord.SetRing(ring, converter);
    }
    void SetWaitForRing(bool wait) { fRecord.SetWaitForRing(wait); }
    int64 RingFullDrops() const { return fRecord.RingFullDrops(); }
    int64 RecordedFrames() const { return fRecord.RecordedFrames(); }
    // The format of the connection (the last one's after a disconnect; any format of the
    // node's type while none was made).
    media_format ConnectedFormat();

    // --- MediaConsumer ---
    status_t GetNextInput(int32* cookie, media_input* input) override;
    void DisposeInputCookie(int32 cookie) override;
    status_t Connected(const media_source& source, const media_destination& destination,
                       const media_format& format, media_input* input) override;
    void Disconnected(const media_source& source, const media_destination& destination) override;
    status_t GetLatencyFor(const media_destination& destination, bigtime_t* latency) override;

protected:
    // `type`: what the input takes; `destinationId` and `inputName` name it; `latency` is what
    // the node adds; `priority` its event thread's real-time priority when the system grants it.
    SingleInputConsumer(int32 internalId, const char* name, media_type type, int32 destinationId,
                        const char* inputName, bigtime_t latency, int priority, Sink* view);

    // The node's own part of a connection in `format`, once the input has taken it (control
    // thread, no lock held).
    virtual void InputConnected(const media_format& format) = 0;
    // The same for a disconnection.
    virtual void InputDisconnected() {}
    // A buffer that came while the node runs; recycled after the call.
    virtual void ReceiveBuffer(MediaBuffer* buffer) = 0;
    // The sink has just been set; fViewLock held.
    virtual void ViewChanged() {}

    // Whether `destination` is this node's input; fInputLock held.
    bool IsInput(const media_destination& destination) const {
        return destination == fInput.destination;
    }

    void HandleEvent(const media_timed_event* event, bigtime_t lateness) override;
    void BufferReceived(MediaBuffer* buffer) final;
    void ProducerDataStatus(MediaProducer* producer, status_t status, bigtime_t when) final;

    std::mutex fInputLock;
    media_input fInput;

    std::mutex fViewLock;
    Sink* fView;

    RecordPath fRecord;

private:
    // Shows the stop notice, if the input has stopped; fViewLock held.
    void ShowStopNotice();

    const int32 fInternalID;
    const media_type fType;
    const int32 fDestinationID;
    const std::string fInputName;
    const bigtime_t fLatency;
};

extern template class SingleInputConsumer<VideoFrameSink>;
extern template class SingleInputConsumer<AudioBlockSink>;
