#include "support/Clock.h"

#include <cerrno>
#include <ctime>

namespace {

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
    return int32(time(nullptr));
}

bigtime_t real_time_clock_usecs() {
    return readClock(CLOCK_REALTIME);
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
