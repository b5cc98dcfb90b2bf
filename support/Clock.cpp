#include "support/Clock.h"

#include <atomic>
#include <cerrno>
#include <ctime>

namespace {

std::atomic<bigtime_t> sRealTimeOffset{0};

bigtime_t readClock(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return bigtime_t(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

}  // namespace

bigtime_t system_time() {
    return readClock(CLOCK_MONOTONIC);
}

int32 real_time_clock() {
    // Whole seconds rounded down, also before 1970, so that both readings tell one time.
    const bigtime_t usecs = real_time_clock_usecs();
    return int32(usecs >= 0 ? usecs / 1000000 : (usecs - 999999) / 1000000);
}

bigtime_t real_time_clock_usecs() {
    return readClock(CLOCK_REALTIME) + sRealTimeOffset.load(std::memory_order_relaxed);
}

void set_real_time_clock_offset(bigtime_t offset) {
    sRealTimeOffset.store(offset, std::memory_order_relaxed);
}

void snooze(bigtime_t duration) {
    if (duration <= 0)
        return;
    snooze_until(system_time() + duration);
}

void snooze_until(bigtime_t when) {
    timespec deadline{time_t(when / 1000000), long(when % 1000000) * 1000};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}
