#pragma once
// The two clocks: system time (CLOCK_MONOTONIC, microseconds) times media buffers and
// threads; the real-time clock (CLOCK_REALTIME) is the calendar that timed events use.

#include "support/Types.h"

// Microseconds on CLOCK_MONOTONIC.
bigtime_t system_time();
// Seconds since the epoch, as signed 32-bit calendar seconds (the width timed events store).
int32 real_time_clock();
// Microseconds since the epoch.
bigtime_t real_time_clock_usecs();
// The calendar's seam for tests: from now on both real-time readings above are `offset`
// microseconds ahead of (or, negative, behind) the system's calendar, as after a step of the
// clock; 0 restores the true calendar. System time is never moved.
void set_real_time_clock_offset(bigtime_t offset);
// Sleeps for `duration` microseconds (nothing for zero or less).
void snooze(bigtime_t duration);
// Sleeps until system_time() reaches `when`.
void snooze_until(bigtime_t when);
