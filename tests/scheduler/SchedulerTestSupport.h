#pragma once
// Helpers of the scheduler tests: events that post 'tmev' notifications, and a check of the
// next notification a target gets.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "scheduler/Event.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"

constexpr int32 kDay = 86400;
constexpr uint32 kMsgTimerEvent = fourcc("tmev");
constexpr bigtime_t kSecond = 1000000;

inline std::unique_ptr<Event> makeEvent(int32 time, int32 duration = 0, int32 repeatTime = 0,
                                        int32 repeats = 0) {
    auto event = std::make_unique<Event>("news", std::make_unique<Message>(kMsgTimerEvent));
    event->SetTime(time);
    event->SetDuration(duration);
    event->SetRepeatTime(repeatTime);
    event->SetRepeats(repeats);
    return event;
}

// Waits for the next notification and checks what it says and which event sent it (given by
// its address as a number where the event may be gone by then).
inline void expectNotification(MessageQueue& target, uintptr_t from, int32 status,
                               bigtime_t timeout = 5 * kSecond) {
    Message message;
    ASSERT_EQ(target.NextMessage(&message, timeout), B_OK) << "no status " << status;
    EXPECT_EQ(message.what, kMsgTimerEvent);
    EXPECT_EQ(message.GetInt32("status", -100), status);
    void* sender = nullptr;
    ASSERT_EQ(message.FindPointer("event", &sender), B_OK);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(sender), from);
}

inline void expectNotification(MessageQueue& target, const Event* from, int32 status,
                               bigtime_t timeout = 5 * kSecond) {
    expectNotification(target, reinterpret_cast<uintptr_t>(from), status, timeout);
}

inline void expectQuiet(MessageQueue& target, bigtime_t period) {
    Message message;
    EXPECT_EQ(target.NextMessage(&message, period), B_TIMED_OUT) << message.ToString();
}

// Steps the calendar that timed events read, as NTP or the user steps it; the true calendar
// comes back when the object goes.
class CalendarStep {
public:
    CalendarStep() = default;
    ~CalendarStep() { set_real_time_clock_offset(0); }
    CalendarStep(const CalendarStep&) = delete;
    CalendarStep& operator=(const CalendarStep&) = delete;

    // From now on the calendar reads `when` (microseconds since the epoch) and runs on.
    void SetNow(bigtime_t when) {
        set_real_time_clock_offset(0);
        set_real_time_clock_offset(when - real_time_clock_usecs());
    }
    void By(bigtime_t step) { SetNow(real_time_clock_usecs() + step); }
};
