#pragma once
// Scheduler: the list of timed events and the "schedule executor" thread that fires each one
// when its start arrives and keeps repeating events' starts current. Everything is reported to
// one target (the main window) through the events' notifications: "status" 0 when an event
// fires (its stopper later posts 1), 2 when a repeating event's start moved on.
//
// An event fires when its start falls in (last pass, this pass] of the executor, so an event
// that is already past when it is added, or when the scheduler starts, never fires; a repeating
// one is only moved on. The executor sleeps until the earliest coming start, or until the list
// changes (AddEvent, RemoveEvent, EventChanged), and while a start is pending looks at the
// calendar at least once a second, so that a step of the clock is followed: a start stepped
// over fires at once, and a start that already fired does not fire again after a step back.

#include <atomic>
#include <ctime>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "scheduler/Event.h"
#include "support/MessageTarget.h"

class Semaphore;

class Scheduler {
public:
    // `target` is not owned and may be null (then nothing is posted); it must outlive the
    // scheduler and its events, whose stoppers post to it.
    explicit Scheduler(MessageTarget* target);
    // Deletes every event (a running one posts its "status" 1), then stops the executor.
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // Brings every event up to date and starts the executor; B_OK at once when it runs.
    status_t Start();
    // Ends the executor and waits for it; B_OK when it was not running. Start may follow.
    status_t Stop();
    bool IsRunning() const;

    // Takes ownership of `event`, brings it up to date and wakes the executor. B_BAD_VALUE
    // for null or an event already in the list.
    status_t AddEvent(Event* event);
    // Takes `event` out of the list (the caller owns it again) and wakes the executor;
    // B_BAD_VALUE, without waking anyone, when it is not in the list.
    status_t RemoveEvent(Event* event);
    // Deletes every event, front to back. Does not wake the executor.
    void ClearEvents();
    // Without locking: only the owner's thread changes the list. Null outside the list.
    Event* EventAt(int32 index) const;
    int32 CountEvents() const;

    // Applies the event's repeat rule; posts its "status" 2 notification when the start moved.
    void UpdateEvent(Event* event);
    void UpdateEvents();
    // Brings every event up to date, then stores the one with the earliest start not before
    // `after` (the first in the list among equals) in `*next`: B_OK, or B_ERROR with null.
    status_t NextEvent(Event** next, time_t after);
    // Wakes the executor to read every event again; call it after editing an event's fields.
    void EventChanged();

    // The list lock, recursive. Hold it while editing the fields of a listed event, so that
    // the executor never sees half an edit.
    bool Lock();
    void Unlock();

    // Passes the executor made through the list since the last Start: one at its start and
    // one per wake-up. For diagnostics and tests.
    int32 CountPasses() const { return fPasses.load(std::memory_order_relaxed); }

private:
    struct Entry {
        std::unique_ptr<Event> event;
        // real_time_clock() when added: a start up to this second was past when added.
        uint32 addedAt;
        // The start at which the event last fired, when `fired`.
        bool fired = false;
        uint32 firedStart = 0;
    };

    void Execute(const std::shared_ptr<Semaphore>& synchronization);
    // One pass: fires the events due in (lastCheck, now], moves repeating ones on, and returns
    // the system time to wake up at for the next one (B_INFINITE_TIMEOUT when none).
    bigtime_t RunPass(uint32 lastCheck, uint32 now);

    MessageTarget* const fTarget;

    // Recursive: UpdateEvent locks again inside UpdateEvents, NextEvent, AddEvent and a pass.
    // Guards fEvents, fSynchronization, fExecutor and fRunning, and the fields of the listed
    // events. The executor never holds it while it sleeps.
    mutable std::recursive_mutex fLock;
    std::vector<Entry> fEvents;
    // Exists while running; its deletion ends the executor.
    std::shared_ptr<Semaphore> fSynchronization;
    std::thread fExecutor;
    bool fRunning = false;

    std::atomic<int32> fPasses{0};
};
