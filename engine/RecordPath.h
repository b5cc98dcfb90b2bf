#pragma once
// The record path of the engine's two consumer nodes: the recording switch, the ring a node
// copies its buffers into, and the base time, relative time and count of the recording under
// way. Each node keeps its own rules: which buffers it records, how a buffer's
// recording-relative time is reckoned (the relativeTime callable of Record) and how many
// buffers should have come.
//
// A buffer is never copied into a slot that the writer holds or has not taken yet: when every
// slot is in use the buffer is dropped and counted (RingFullDrops), which is how an encoder
// that cannot keep up shows. Times count from the recording's origin when one is set
// (SetOrigin: the video node's, which sets it), else they are the buffers' capture times (the
// audio node's: its writer takes the origin off).
//
// Threads: SetRecording, SetRing, SetOrigin and SetWaitForRing on the control thread; Record
// on the node's event thread; the getters on any thread. fRingLock guards fRing and is held
// while a buffer is written into it; the rest is atomic, but for fBaseTime (event thread
// only).

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "engine/RecordingOrigin.h"
#include "engine/RingBuffer.h"
#include "media/file/VideoConverter.h"
#include "media/node/MediaBuffer.h"

class RecordPath {
public:
    // Switched on, the counters start again with the next buffer; switched off, the next
    // buffer sees the stop request (see Record).
    void SetRecording(bool recording);
    // The ring to record into; not owned. Returns once no Write into the old ring is under
    // way, so the caller may delete it then. With `converter` (not owned, used on the node's
    // thread only), each buffer is converted into its slot (the ring's slots then hold the
    // converter's packed frames) instead of copied.
    void SetRing(RingBuffer* ring, VideoConverter* converter = nullptr);
    // With a source that is not real time (the unpaced test signal), a full ring holds the
    // node back until the writer has taken a slot, instead of losing the buffer; the source
    // then waits for its buffers. Real inputs must never wait: off by default.
    void SetWaitForRing(bool wait) { fWaitForRing.store(wait); }
    // The recording's origin, which this path's first buffer sets; not owned. nullptr: the
    // times handed to the rule are capture times. Set while not recording.
    void SetOrigin(RecordingOrigin* origin) { fOrigin = origin; }

    // Told when the input's stream ends with an error while recording (a device unplugged, a
    // driver or ALSA failure past recovery), on the node's event thread: the producer's name
    // and the error. Any thread; returns once the old handler is no longer called.
    using InputStoppedHandler = std::function<void(const std::string& input, status_t status)>;
    void SetInputStoppedHandler(InputStoppedHandler handler);
    // From the node's ProducerDataStatus: the input's stream has ended with `status`. When
    // that is an error, the stop is kept for the preview (StopNotice) and, while the path
    // records, the handler is called.
    void InputStopped(const std::string& input, status_t status);
    // What the input is called when it stops ("The video input "X" (DEVICE) has stopped."):
    // the engine's words, set before the node starts; empty: the producer's name is used.
    void SetStoppedNotice(std::string notice);
    std::string StoppedNotice() const;
    // What the preview shows since the input's stream ended with an error: the notice and the
    // reason. Empty while the input delivers. Any thread.
    std::string StopNotice() const;

    int64 RecordedFrames() const { return fRecordedFrames.load(); }
    // The recording-relative time of the last buffer offered to the ring.
    bigtime_t RelativeTime() const { return fRelativeTime.load(); }
    // The time from this path's first buffer to its last one: what the counters of buffers
    // that should have come go by.
    bigtime_t CountedTime() const { return fRelativeTime.load() - fFirstRelativeTime.load(); }
    // Buffers refused because every slot of the ring was in use: the writer fell behind.
    int64 RingFullDrops() const { return fRingFullDrops.load(); }
    // Those of `expected` buffers that were not recorded; never below 0.
    int64 Dropped(int64 expected) const;
    // Whether a buffer of the recording under way has come (recorded or refused).
    bool Started() const { return !fFirst.load(); }

    // While recording, copies `buffer` into the ring, stamped with
    // relativeTime(elapsed, first): `elapsed` is its capture time less the recording's origin
    // (with no origin set, the capture time itself), `first` whether this path has recorded
    // none yet. A buffer smaller
    // than a slot, or one the ring refuses, is not recorded. Not recording, returns whether
    // this buffer is the first after a recording ended (the stop request, now cleared).
    template <typename Rule>
    bool Record(MediaBuffer* buffer, Rule relativeTime);

private:
    // Waits for room when asked to, then writes; fRingLock held, fRing set.
    void Write(MediaBuffer* buffer, bigtime_t relative);

    std::atomic<bool> fRecording{false};
    std::atomic<bool> fStopRequested{false};
    std::atomic<bool> fWaitForRing{false};
    std::atomic<int64> fRecordedFrames{0};
    std::atomic<bigtime_t> fRelativeTime{0};
    std::atomic<bigtime_t> fFirstRelativeTime{0};
    std::atomic<int64> fRingFullDrops{0};
    bigtime_t fBaseTime = 0;
    RecordingOrigin* fOrigin = nullptr;
    // Whether the next buffer is this path's first of the recording.
    std::atomic<bool> fFirst{true};
    std::mutex fRingLock;
    RingBuffer* fRing = nullptr;
    VideoConverter* fConverter = nullptr;  // guarded by fRingLock
    std::mutex fHandlerLock;               // guards fInputStopped
    InputStoppedHandler fInputStopped;
    mutable std::mutex fNoticeLock;  // guards fStoppedNotice and fStopNotice
    std::string fStoppedNotice;
    std::string fStopNotice;
};

template <typename Rule>
bool RecordPath::Record(MediaBuffer* buffer, Rule relativeTime) {
    std::lock_guard lock(fRingLock);
    if (fRing == nullptr || !fRecording.load())
        return fStopRequested.exchange(false);
    const bigtime_t start = buffer->Header()->start_time;
    const bool first = fFirst.exchange(false);
    if (first)
        fBaseTime = fOrigin != nullptr ? fOrigin->Take(start) : 0;
    const bigtime_t relative = relativeTime(start - fBaseTime, first);
    if (first)
        fFirstRelativeTime.store(relative);
    fRelativeTime.store(relative);
    Write(buffer, relative);
    return false;
}
