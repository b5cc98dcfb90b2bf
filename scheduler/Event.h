#pragma once
// Event: one timed recording. A start time on the real-time clock (calendar seconds), a
// duration, an optional repeat rule, and a message that is posted to a target, with the fields
// "event" (this Event) and "status" added, when the event starts (0), when it stops (1) and
// when the scheduler moves its start on to the next repetition (2). The Scheduler decides when
// an event starts; the event ends itself from an "Event Stopper" thread of its own.

#include <atomic>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "support/Message.h"
#include "support/MessageTarget.h"

class Semaphore;

// Repeat times below zero that are not a number of seconds.
constexpr int32 kRepeatMonthly = -1;
constexpr int32 kRepeatYearly = -2;
// Repeats: the rule applies without end.
constexpr int32 kRepeatForever = -1;

// The "status" field of a notification.
constexpr int32 kEventStarted = 0;
constexpr int32 kEventStopped = 1;
constexpr int32 kEventMoved = 2;

class Event {
public:
    // Starts now, lasts 0 s, does not repeat. A null name is the empty name. `message` may be
    // null: such an event is never fired by the scheduler and posts nothing.
    Event(const char* name, std::unique_ptr<Message> message);
    // Restores an archive made by Archive(). A missing or mistyped field keeps the default of
    // the constructor above; the event is idle.
    explicit Event(const Message& archive);
    // A copy of `other` (name, duration, repeat rule and its own copy of the message) starting
    // at other's next occurrence. This brings `other` (not null) up to date too, as
    // NextOccurance does.
    explicit Event(Event* other);
    // Ends a running event: its stopper posts a last "status" 1 before this returns.
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    // A new Event when `archive` is an Event's archive (a "class" value "Event"), else null.
    static std::unique_ptr<Event> Instantiate(const Message* archive);
    // Adds "class", "name", "msg" (only when there is a message), "time", "duration",
    // "repeat time" and "repeats". B_BAD_VALUE for a null archive, else the first failure.
    status_t Archive(Message* archive) const;

    // Starts the event: posts "status" 0 to `target` (null: nothing is posted) and, for a
    // positive duration, starts the stopper that posts "status" 1 at time + duration, or
    // sooner when the event is destroyed. Triggering a running event ends that run first.
    // B_NO_MORE_THREADS when the stopper cannot be started; then nothing is posted.
    status_t Trigger(MessageTarget* target);
    // True from Trigger until the stopper ends the run. An event with no positive duration
    // has no end: it stays running until it is destroyed or triggered again.
    bool IsRunning() const;

    // Applies the repeat rule until the start is not before now or the repeats run out, and
    // returns the start. `*changed` is written by each step taken, and only then.
    time_t NextOccurance(bool* changed);
    // One repetition step measured from `now`: adds the repeat time, or for the monthly and
    // yearly rules sets the start one month or year after `now` at now's local time of day.
    // Counts down positive repeats when the start moved.
    void CalculateRepeat(time_t now, bool* changed);
    // True when NextOccurance can still move the start: repeats are left and the repeat time
    // is a number of seconds or the monthly or yearly rule.
    bool CanRepeat() const;

    // A copy of the event's message with "event" (this) and "status" set.
    Message Notification(int32 status) const;

    void SetName(const char* name);
    void SetTime(int32 time);
    void SetDuration(int32 seconds);
    // A repeat time of 0 also sets the repeats to 0.
    void SetRepeatTime(int32 repeatTime);
    // Values below -1 are stored as -1 (without end).
    void SetRepeats(int32 repeats);

    const std::string& Name() const { return fName; }
    // Null when the event has none.
    const Message* EventMessage() const { return fMessage.get(); }
    int32 Time() const { return fTime.load(std::memory_order_relaxed); }
    int32 Duration() const { return fDuration.load(std::memory_order_relaxed); }
    int32 RepeatTime() const { return fRepeatTime.load(std::memory_order_relaxed); }
    int32 Repeats() const { return fRepeats.load(std::memory_order_relaxed); }

private:
    void RunStopper(const std::shared_ptr<Semaphore>& stopper, bigtime_t end, MessageTarget* target,
                    const Message& stopped);
    // Deletes the stopper semaphore (the stopper posts "status" 1 if it still waits) and joins
    // the stopper thread.
    void EndRun();

    // Set by the owner's thread only.
    std::string fName;
    // Never changes after construction, so every thread may read it.
    const std::unique_ptr<const Message> fMessage;
    // The scheduler's executor moves the start on while the owner's thread reads and edits
    // these: atomics keep each read whole; a change of several of them at once (a repetition
    // step, an edit in the timer pane) is made under the Scheduler's lock.
    std::atomic<int32> fTime;
    std::atomic<int32> fDuration{0};
    std::atomic<int32> fRepeatTime{0};
    std::atomic<int32> fRepeats{0};

    mutable std::mutex fStopperLock;  // guards fStopper and fStopperThread
    // Set while the event runs; its deletion wakes the stopper.
    std::shared_ptr<Semaphore> fStopper;
    std::thread fStopperThread;
};
