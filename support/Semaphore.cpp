#include "support/Semaphore.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "support/Clock.h"

struct Semaphore::State {
    std::mutex lock;  // guards count and deleted
    std::condition_variable changed;
    int64 count = 0;
    bool deleted = false;
};

Semaphore::Semaphore(int32 count, const char* name)
    : fState(std::make_shared<State>()), fName(name ? name : "") {
    fState->count = count;
}

Semaphore::~Semaphore() {
    Delete();
}

status_t Semaphore::Acquire(int32 count) {
    std::shared_ptr<State> state = fState;
    if (count < 1)
        return B_BAD_VALUE;
    std::unique_lock<std::mutex> lock(state->lock);
    while (!state->deleted && state->count < count)
        state->changed.wait(lock);
    if (state->deleted)
        return B_BAD_SEM_ID;
    state->count -= count;
    return B_OK;
}

status_t Semaphore::AcquireEtc(int32 count, Timeout kind, bigtime_t timeout) {
    std::shared_ptr<State> state = fState;
    if (count < 1)
        return B_BAD_VALUE;
    // Deadlines run on CLOCK_MONOTONIC like system_time(); steady_clock is that clock here.
    // It counts nanoseconds, so a deadline it cannot hold (an "infinite" INT64_MAX time-out,
    // absolute or relative) means waiting without one.
    constexpr bigtime_t kNoDeadline = std::chrono::steady_clock::duration::max().count() / 1000;
    bigtime_t deadline = timeout;
    if (kind == Timeout::Relative) {
        bigtime_t now = system_time();
        deadline = timeout >= kNoDeadline - now ? kNoDeadline : now + timeout;
    }
    bool forever = deadline >= kNoDeadline;
    auto until =
        std::chrono::steady_clock::time_point(std::chrono::microseconds(forever ? 0 : deadline));

    std::unique_lock<std::mutex> lock(state->lock);
    if (kind == Timeout::Relative && timeout <= 0 && !state->deleted && state->count < count)
        return B_WOULD_BLOCK;
    while (!state->deleted && state->count < count) {
        if (forever) {
            state->changed.wait(lock);
        } else if (state->changed.wait_until(lock, until) == std::cv_status::timeout &&
                   !state->deleted && state->count < count) {
            return B_TIMED_OUT;
        }
    }
    if (state->deleted)
        return B_BAD_SEM_ID;
    state->count -= count;
    return B_OK;
}

status_t Semaphore::Release(int32 count) {
    if (count < 1)
        return B_BAD_VALUE;
    {
        std::lock_guard<std::mutex> lock(fState->lock);
        if (fState->deleted)
            return B_BAD_SEM_ID;
        fState->count += count;
    }
    fState->changed.notify_all();
    return B_OK;
}

status_t Semaphore::Delete() {
    {
        std::lock_guard<std::mutex> lock(fState->lock);
        if (fState->deleted)
            return B_BAD_SEM_ID;
        fState->deleted = true;
    }
    fState->changed.notify_all();
    return B_OK;
}

status_t Semaphore::GetCount(int32* count) const {
    std::lock_guard<std::mutex> lock(fState->lock);
    if (fState->deleted)
        return B_BAD_SEM_ID;
    *count = int32(fState->count);
    return B_OK;
}

bool Semaphore::IsValid() const {
    std::lock_guard<std::mutex> lock(fState->lock);
    return !fState->deleted;
}
