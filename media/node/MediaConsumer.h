#pragma once
// The base of the engine's consumer nodes: an event thread with a timed event queue, and the
// hooks a connection calls. A subclass decides what its inputs are and what a buffer means.
//
// Threads:
// - The event thread ("<name> events", started by Run) takes events from the queue in time
//   order and calls HandleEvent for each: a start or a stop once its time (less the event
//   latency) has come, a buffer or a data-status event as soon as it is first in the queue
//   (a capture time lies in the past anyway; an unpaced source stamps times ahead of the
//   clock, and its buffers are not held back for them). Nothing overtakes an earlier start or
//   stop. Before a B_START or B_STOP reaches HandleEvent, State() has already changed.
// - Producers' capture threads queue buffers (EnqueueBuffer) from any thread, without waiting.
// - The control thread (one at a time) calls Run, Start, Stop, Quit and, through
//   MediaConnection.h, the connection hooks: AcceptFormat, GetNextInput, DisposeInputCookie,
//   Connected, Disconnected, FormatChanged, GetLatencyFor. They run on the calling thread,
//   concurrently with the event thread: a subclass guards what both touch.
//
// Buffers: every buffer that reaches the consumer is recycled exactly once: by the subclass
// (in BufferReceived or HandleEvent), or by the queue when the event is flushed, when the
// producer is disconnected (DropBuffersFrom) or when the consumer quits.
//
// Destruction: a subclass's destructor must call Quit() first, so the event thread is gone
// before the subclass's members are.

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "media/node/MediaNode.h"
#include "media/node/TimedEvent.h"

class MediaConsumer : public MediaNode {
public:
    MediaConsumer(std::string name, media_type type);
    ~MediaConsumer() override;

    media_type Type() const { return fType; }

    // Starts the event thread; B_OK if it runs already.
    status_t Run();
    // Disconnects every producer still connected to it, ends the event thread (after the
    // event in hand) and recycles every queued buffer. Idempotent.
    void Quit();

    // Queues B_START / B_STOP at `when`. A synchronous stop returns once the stop has been
    // handled (at once when called on the event thread, which handles it there and then).
    status_t Start(bigtime_t when) override;
    status_t Stop(bigtime_t when, bool synchronous) override;

    // Events are handed out this many µs before their time. Default 0.
    void SetEventLatency(bigtime_t latency) { fEventLatency.store(latency); }
    bigtime_t EventLatency() const { return fEventLatency.load(); }
    // The event thread asks for SCHED_FIFO at this priority when it starts (0: do not ask,
    // the default).
    void SetRealtimePriority(int priority) { fPriority.store(priority); }

    // Producers: queue `buffer` from `producer` for delivery in the order of its start time.
    // After Quit the buffer is recycled at once and B_NOT_ALLOWED returned.
    status_t EnqueueBuffer(MediaBuffer* buffer, MediaProducer* producer);
    // Producers: queue a B_DATA_STATUS event (the stream ended with `status`) at `when`.
    status_t EnqueueDataStatus(status_t status, bigtime_t when, MediaProducer* producer);
    // Removes (and recycles) every queued buffer of `producer`, and waits until a buffer of it
    // that is being handled right now has been handled, unless called on the event thread.
    void DropBuffersFrom(MediaProducer* producer);

    // --- Connection hooks (control thread) ---

    // B_OK if the input `destination` takes `format` (wildcards may be filled in); else
    // B_MEDIA_BAD_DESTINATION or B_MEDIA_BAD_FORMAT, possibly with a counter-proposal in
    // `format`.
    virtual status_t AcceptFormat(const media_destination& destination, media_format* format) = 0;
    // Iterates the inputs: `*cookie` starts at 0 and is advanced; an error ends the iteration.
    virtual status_t GetNextInput(int32* cookie, media_input* input) = 0;
    virtual void DisposeInputCookie(int32 cookie);
    // The connection is made with `format` (the producer's final one); fill in `input`.
    virtual status_t Connected(const media_source& source, const media_destination& destination,
                               const media_format& format, media_input* input) = 0;
    virtual void Disconnected(const media_source& source, const media_destination& destination) = 0;
    // The producer changed the format of a running connection. Default: B_OK.
    virtual status_t FormatChanged(const media_source& source, const media_destination& destination,
                                   int32 changeTag, const media_format& format);
    // How long after a buffer's start time this input has handled it. Default: 0.
    virtual status_t GetLatencyFor(const media_destination& destination, bigtime_t* latency);

protected:
    // --- Event hooks (event thread) ---

    // `lateness`: µs between the event's time and now (positive: late). The default handles
    // B_HANDLE_BUFFER by BufferReceived and B_DATA_STATUS by ProducerDataStatus, and ignores
    // the rest.
    virtual void HandleEvent(const media_timed_event* event, bigtime_t lateness);
    // Default: recycles.
    virtual void BufferReceived(MediaBuffer* buffer);
    // Default: nothing.
    virtual void ProducerDataStatus(MediaProducer* producer, status_t status, bigtime_t when);

    // From HandleEvent: removes every queued event of `type` (all times), recycling buffers.
    void FlushEvents(int32 type);
    // Events waiting in the queue now.
    int32 CountQueuedEvents() const;

private:
    friend status_t Connect(const media_source&, const media_destination&, media_format*,
                            media_output*, media_input*);
    friend status_t Disconnect(const media_source&, const media_destination&);

    void EventLoop();
    bool OnEventThread() const;

    const media_type fType;
    // fLock guards fQueue, fQuit, fRunning, fHandling, fStopsHandled and fThreadID's write;
    // fChanged wakes the event thread (queue or quit) and the waiters for a handled stop or
    // a handled buffer.
    mutable std::mutex fLock;
    std::condition_variable fChanged;
    std::multimap<bigtime_t, media_timed_event> fQueue;  // by event time, then arrival
    bool fQuit = false;
    bool fRunning = false;
    MediaProducer* fHandling = nullptr;  // producer of the buffer being handled, or nullptr
    int64 fStopsQueued = 0;              // control thread only
    int64 fStopsHandled = 0;
    std::thread fThread;
    std::thread::id fThreadID;
    std::atomic<bigtime_t> fEventLatency{0};
    std::atomic<int> fPriority{0};
    // The live connections into this node; control thread only (Connect, Disconnect, Quit).
    std::vector<std::pair<media_source, media_destination>> fConnections;
};
