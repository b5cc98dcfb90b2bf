#pragma once
// A counting semaphore with a name, time-outs, and a delete that wakes every waiter with
// B_BAD_SEM_ID. The ring buffer, timed events and the scheduler end their waiting threads by
// deleting the semaphore they wait on.
//
// The state lives in a shared block that every waiter holds while it waits, so a waiter woken
// by Delete() (or by the destructor) never touches freed memory, even if the Semaphore object
// itself is gone by the time the waiter runs again.

#include <memory>
#include <string>

#include "support/Status.h"

enum class Timeout { Relative, Absolute };

class Semaphore {
public:
    Semaphore(int32 count, const char* name);
    // Deletes the semaphore: waiters wake with B_BAD_SEM_ID.
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Blocks until `count` units are available and takes them. B_BAD_SEM_ID once deleted.
    status_t Acquire(int32 count = 1);
    // With a time-out in microseconds: relative to now, or an absolute system_time().
    // A relative time-out of 0 does not wait: B_WOULD_BLOCK when the units are not there.
    // Otherwise B_TIMED_OUT when they did not come in time.
    status_t AcquireEtc(int32 count, Timeout kind, bigtime_t timeout);
    // B_BAD_VALUE for count < 1; B_BAD_SEM_ID once deleted.
    status_t Release(int32 count = 1);
    // Wakes every waiter with B_BAD_SEM_ID; every later call returns it too.
    status_t Delete();

    // The units available now, or B_BAD_SEM_ID once deleted.
    status_t GetCount(int32* count) const;
    bool IsValid() const;
    const std::string& Name() const { return fName; }

private:
    struct State;
    std::shared_ptr<State> fState;
    std::string fName;
};
