#pragma once
// The base of every capture input (V4L2 device, ALSA PCM, test signal): one output, one
// capture thread, and the connection steps. A subclass implements the device side only.
//
// Threads:
// - The control thread (the engine or a test; one at a time, the class is not re-entrant
//   there) calls Start, Stop, Quit and, through Connect/Disconnect/SetOutputBuffersFor in
//   MediaConnection.h, the connection hooks. Those hooks run while the capture thread is not
//   running, so a subclass needs no lock between its connection state and its capture state.
// - The capture thread ("<name> capture") runs while the node is started AND the output is
//   connected: it waits for the start time, calls StartCapture once, CaptureNext over and over,
//   and StopCapture once. Changing the connection (a new buffer group, a disconnect) stops the
//   thread, applies the change and starts it again if the node is still started.
// - Parameter reads and writes come from any thread (see MediaNode).
//
// Stream errors: CaptureNext returning an error other than B_TIMED_OUT ends the stream
// (B_DEV_NOT_READY for a vanished device, for instance). The error is kept (StreamStatus),
// delivered to the consumer as a ProducerDataStatus event in time order after the last
// buffer, and posted as kMsgStreamEnded to the notification target, if one is set. The node
// stays "started" but sends nothing until it is stopped and started again.
//
// Destruction: a subclass's destructor must call Quit() first, so the capture thread is gone
// before the subclass's members are.

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "media/node/BufferGroup.h"
#include "media/node/MediaNode.h"

class MessageTarget;

// Posted to the notification target when a stream ends with an error: "status" (int32, the
// error) and "node" (string, the producer's name).
constexpr uint32 kMsgStreamEnded = fourcc("sten");

class MediaProducer : public MediaNode {
public:
    MediaProducer(std::string name, media_type type);
    ~MediaProducer() override;

    media_type Type() const { return fType; }

    // The one output: cookie 0 yields it (free or not) and advances the cookie; any other
    // cookie gives B_BAD_INDEX.
    status_t GetNextOutput(int32* cookie, media_output* output) const;
    bool IsConnected() const;
    media_output Output() const;

    status_t Start(bigtime_t when) override;
    status_t Stop(bigtime_t when, bool synchronous) override;
    // Stops the capture thread for good and disconnects. Idempotent.
    void Quit();

    // The delay from a frame's capture time to its buffer being sent, and the extra time the
    // first buffer needs after a start. Both default to 0.
    virtual status_t GetLatency(bigtime_t* latency);
    virtual status_t GetInitialLatency(bigtime_t* latency);

    // B_OK, or the error that ended the current stream.
    status_t StreamStatus() const { return fStreamStatus.load(); }
    // Gets kMsgStreamEnded; not owned, must outlive the producer or be reset to nullptr.
    void SetNotificationTarget(MessageTarget* target);

    // Capture threads ask for SCHED_FIFO at this priority (0: do not ask). Default 20; takes
    // effect at the next start of the thread.
    void SetRealtimePriority(int priority) { fPriority.store(priority); }

protected:
    // --- Connection hooks (control thread, capture thread not running) ---

    // Fills the wildcards of `format` with what this producer would deliver. B_MEDIA_BAD_FORMAT
    // when it cannot deliver the format at all (wrong type, a colour space it lacks, ...).
    virtual status_t FormatProposal(media_format* format) = 0;
    // Makes the device deliver `format` and writes back what it will really deliver: the size
    // the device adjusted to, bytes per row, field rate. An error refuses the connection.
    virtual status_t PrepareToConnect(media_format* format) = 0;
    // The consumer took the connection with `format` (as PrepareToConnect left it).
    virtual void Connected(const media_format& format);
    // The connection is gone (or the consumer refused it after PrepareToConnect): release
    // what PrepareToConnect set up.
    virtual void Disconnected();
    // The consumer handed over its own buffers (nullptr: it took them back). The group stays
    // valid until the next call of this hook or Disconnected.
    virtual void BufferGroupChanged(BufferGroup* group);

    // --- Capture hooks (capture thread) ---

    // Called once the start time has come: start streaming.
    virtual status_t StartCapture() = 0;
    // Produces at most one buffer and sends it (SendBuffer). Must return within about 100 ms
    // so that a stop is noticed: B_TIMED_OUT (or B_OK) to go on, any other error ends the
    // stream with that error.
    virtual status_t CaptureNext() = 0;
    // Stop streaming; called once for every successful StartCapture.
    virtual void StopCapture() = 0;

    // --- For subclasses ---

    // The common part of a raw-audio producer's FormatProposal: fills the type, sample format
    // and byte order of `format` as 16-bit little-endian; B_MEDIA_BAD_FORMAT for another.
    static status_t ProposeShortAudio(media_format* format);

    // Hands a filled buffer to the connected consumer, which recycles it. Without a
    // connection the buffer is recycled here and B_MEDIA_NOT_CONNECTED returned.
    status_t SendBuffer(MediaBuffer* buffer);
    // Sleeps until system_time() reaches `when`; false when a stop cut the wait short.
    bool WaitUntil(bigtime_t when);
    bool StopRequested() const { return fStopRequested.load(); }
    // The time the node was last started at (Start's `when`): the origin of its stream.
    bigtime_t StartTime();
    // The consumer's own buffers, or nullptr; stable while the capture thread runs.
    BufferGroup* ConsumerBuffers() const { return fConsumerBuffers.get(); }
    // The connected format; stable while the capture thread runs.
    const media_format& ConnectedFormat() const { return fOutput.format; }
    // Tells the consumer about a new format of the running connection (a changed standard,
    // say) through its FormatChanged hook; stores it when the consumer answers B_OK. Call it
    // on the capture thread (or while that is not running): ConnectedFormat is read there
    // without a lock.
    status_t ChangeFormat(const media_format& format);

private:
    friend status_t Connect(const media_source&, const media_destination&, media_format*,
                            media_output*, media_input*);
    friend status_t Disconnect(const media_source&, const media_destination&);
    friend status_t SetOutputBuffersFor(const media_source&, const media_destination&,
                                        std::shared_ptr<BufferGroup>);

    void CaptureLoop();
    void EndStream(status_t status);
    // Starts the capture thread if started, connected, not ended by an error and not running.
    void UpdateCapture();
    // Stops the capture thread and waits for it.
    void JoinCapture();

    const media_type fType;
    // fOutput, fConsumerBuffers and fQuit are changed only on the control thread while the
    // capture thread is not running; fStateLock guards them against the readers on other
    // threads (Output, IsConnected, SendBuffer's destination).
    mutable std::mutex fStateLock;
    media_output fOutput;
    std::shared_ptr<BufferGroup> fConsumerBuffers;
    bool fQuit = false;

    // fWaitLock guards fStartTime and fStopTime and pairs with fWake for WaitUntil.
    std::mutex fWaitLock;
    std::condition_variable fWake;
    bigtime_t fStartTime = 0;
    bigtime_t fStopTime = INT64_MAX;

    std::thread fThread;  // control thread only
    std::atomic<bool> fStopRequested{false};
    std::atomic<status_t> fStreamStatus{B_OK};
    std::atomic<MessageTarget*> fTarget{nullptr};
    std::atomic<int> fPriority{20};
};
