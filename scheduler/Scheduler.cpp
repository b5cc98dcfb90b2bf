#include "scheduler/Scheduler.h"

#include <algorithm>
#include <cinttypes>
#include <climits>
#include <system_error>

#include "support/Clock.h"
#include "support/Log.h"
#include "support/Semaphore.h"
#include "support/Thread.h"

namespace {

// The executor has nothing to wait for but a change of the list.
constexpr bigtime_t kNoWakeUp = INT64_MAX;
// time() follows the precise real-time clock by up to a scheduler tick, so a wake-up at the
// exact system time of a second can still read the second before. It looks again after this
// many microseconds instead of spinning.
constexpr bigtime_t kClockLagRetry = 10000;
// The executor sleeps on system time, which a step of the calendar (NTP, the user) does not
// move. While a start is pending it looks at the calendar again at least this often, so a
// step forward is followed within this many microseconds.
constexpr bigtime_t kClockFollow = 1000000;

}  // namespace

Scheduler::Scheduler(MessageTarget* target) : fTarget(target) {}

Scheduler::~Scheduler() {
    ClearEvents();
    Stop();
}

status_t Scheduler::Start() {
    std::lock_guard<std::recursive_mutex> lock(fLock);
    if (fRunning)
        return B_OK;
    fPasses = 0;
    auto synchronization = std::make_shared<Semaphore>(0, "schedule synchronization");
    UpdateEvents();
    try {
        // It takes the lock for its first pass, so it waits for this call to finish.
        fExecutor =
            spawnThread("schedule executor", [this, synchronization] { Execute(synchronization); });
    } catch (const std::system_error&) {
        return B_NO_MORE_THREADS;
    }
    fSynchronization = std::move(synchronization);
    fRunning = true;
    return B_OK;
}

status_t Scheduler::Stop() {
    std::thread executor;
    {
        std::lock_guard<std::recursive_mutex> lock(fLock);
        if (!fRunning)
            return B_OK;
        fSynchronization->Delete();
        fSynchronization.reset();
        executor = std::move(fExecutor);
        fRunning = false;
    }
    // Joined outside the lock: the executor may be waiting for it to make one more pass
    // before it sees the deleted semaphore.
    executor.join();
    return B_OK;
}

bool Scheduler::IsRunning() const {
    std::lock_guard<std::recursive_mutex> lock(fLock);
    return fRunning;
}

status_t Scheduler::AddEvent(Event* event) {
    if (event == nullptr)
        return B_BAD_VALUE;
    std::lock_guard<std::recursive_mutex> lock(fLock);
    for (const Entry& entry : fEvents) {
        if (entry.event.get() == event)
            return B_BAD_VALUE;
    }
    fEvents.push_back(Entry{std::unique_ptr<Event>(event), uint32(real_time_clock())});
    UpdateEvent(event);
    if (fSynchronization)
        fSynchronization->Release();
    return B_OK;
}

status_t Scheduler::RemoveEvent(Event* event) {
    if (event == nullptr)
        return B_BAD_VALUE;
    std::lock_guard<std::recursive_mutex> lock(fLock);
    auto found = std::find_if(fEvents.begin(), fEvents.end(),
                              [event](const Entry& entry) { return entry.event.get() == event; });
    if (found == fEvents.end())
        return B_BAD_VALUE;
    (void)found->event.release();
    fEvents.erase(found);
    if (fSynchronization)
        fSynchronization->Release();
    return B_OK;
}

void Scheduler::ClearEvents() {
    std::lock_guard<std::recursive_mutex> lock(fLock);
    for (Entry& entry : fEvents)
        entry.event.reset();
    fEvents.clear();
}

Event* Scheduler::EventAt(int32 index) const {
    if (index < 0 || size_t(index) >= fEvents.size())
        return nullptr;
    return fEvents[size_t(index)].event.get();
}

int32 Scheduler::CountEvents() const {
    return int32(fEvents.size());
}

void Scheduler::UpdateEvent(Event* event) {
    if (event == nullptr)
        return;
    std::lock_guard<std::recursive_mutex> lock(fLock);
    bool changed = false;
    event->NextOccurance(&changed);
    if (changed && fTarget != nullptr && event->EventMessage() != nullptr)
        fTarget->PostMessage(event->Notification(kEventMoved));
}

void Scheduler::UpdateEvents() {
    std::lock_guard<std::recursive_mutex> lock(fLock);
    for (Entry& entry : fEvents)
        UpdateEvent(entry.event.get());
}

status_t Scheduler::NextEvent(Event** next, time_t after) {
    std::lock_guard<std::recursive_mutex> lock(fLock);
    Event* earliest = nullptr;
    for (Entry& entry : fEvents) {
        Event* event = entry.event.get();
        UpdateEvent(event);
        if (event->Time() >= after && (earliest == nullptr || event->Time() < earliest->Time()))
            earliest = event;
    }
    if (next != nullptr)
        *next = earliest;
    return earliest != nullptr ? B_OK : B_ERROR;
}

void Scheduler::EventChanged() {
    std::lock_guard<std::recursive_mutex> lock(fLock);
    if (fSynchronization)
        fSynchronization->Release();
}

bool Scheduler::Lock() {
    fLock.lock();
    return true;
}

void Scheduler::Unlock() {
    fLock.unlock();
}

void Scheduler::Execute(const std::shared_ptr<Semaphore>& synchronization) {
    uint32 lastCheck = uint32(real_time_clock());
    for (;;) {
        bigtime_t wakeUp;
        uint32 now;
        {
            std::lock_guard<std::recursive_mutex> lock(fLock);
            // The same second closes this pass's window and opens the next one's, so a start
            // that falls between two passes belongs to exactly one of them.
            now = uint32(real_time_clock());
            wakeUp = RunPass(lastCheck, now);
        }
        lastCheck = now;
        fPasses.fetch_add(1, std::memory_order_relaxed);

        const status_t status = wakeUp == kNoWakeUp
                                    ? synchronization->Acquire()
                                    : synchronization->AcquireEtc(1, Timeout::Absolute, wakeUp);
        if (status == B_BAD_SEM_ID)
            return;
    }
}

bigtime_t Scheduler::RunPass(uint32 lastCheck, uint32 now) {
    // Taken every pass rather than once, so that a step of the real-time clock (NTP, the
    // user) is followed from the next wake-up on.
    const bigtime_t clockOffset = system_time() - real_time_clock_usecs();
    bigtime_t wakeUp = kNoWakeUp;
    for (Entry& entry : fEvents) {
        Event* event = entry.event.get();
        if (event->EventMessage() == nullptr)
            continue;

        // Calendar seconds count unsigned here: the 32-bit clock goes on past 2038, and a
        // start before 1970 lies in the far future instead of always being due.
        const uint32 start = uint32(event->Time());
        const uint32 openedAt = std::max(lastCheck, entry.addedAt);
        // After the calendar stepped back, the window of a later pass can hold a start that
        // already fired: it fires once.
        if (openedAt < start && start <= now && !(entry.fired && entry.firedStart == start)) {
            event->Trigger(fTarget);
            entry.fired = true;
            entry.firedStart = start;
        }
        UpdateEvent(event);

        const bigtime_t deadline = bigtime_t(event->Time()) * 1000000 + clockOffset;
        logDebug("event at %" PRId64 "\n", deadline);

        // The next second at which this event needs a pass: its start while that is ahead;
        // for a repeating event that started this very second, the next one, when its start
        // has become past and moves on.
        const uint32 current = uint32(event->Time());
        int64 second;
        if (current > now)
            second = current;
        else if (event->CanRepeat())
            second = int64(now) + 1;
        else
            continue;
        wakeUp = std::min(wakeUp,
                          std::max(second * 1000000 + clockOffset, system_time() + kClockLagRetry));
    }
    if (wakeUp != kNoWakeUp)
        wakeUp = std::min(wakeUp, system_time() + kClockFollow);
    return wakeUp;
}
