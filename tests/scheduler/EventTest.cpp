// Event: repeat rules on times in the past, the archive round trip, copies, and the stopper
// thread's notifications.

#include <gtest/gtest.h>

#include <ctime>
#include <vector>

#include "support/Clock.h"
#include "tests/scheduler/SchedulerTestSupport.h"
#include "tests/scheduler/ZoneForTest.h"

TEST(EventRepeat, StepsUntilNotBeforeNowOrUntilTheRepeatsRunOut) {
    const int32 now = real_time_clock();
    const struct {
        int32 start, repeatTime, repeats;
        int32 next, repeatsLeft;
        bool changed;
    } cases[] = {
        // Daily without end, started three days ago: the first start not before now.
        {now - 3 * kDay + 100, kDay, kRepeatForever, now + 100, kRepeatForever, true},
        // Daily twice, started five days ago: two steps, and still in the past.
        {now - 5 * kDay, kDay, 2, now - 3 * kDay, 0, true},
        // Far behind at a short repeat time: the same as each step taken one by one.
        {1000, 7, 5, 1035, 0, true},
        // A repeat time below -2, or 0, leaves the start alone.
        {now - kDay, -3, kRepeatForever, now - kDay, kRepeatForever, false},
        {now - kDay, 0, kRepeatForever, now - kDay, kRepeatForever, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.repeatTime);
        auto event = makeEvent(c.start, 0, c.repeatTime, c.repeats);
        bool changed = false;
        EXPECT_EQ(event->NextOccurance(&changed), c.next);
        EXPECT_EQ(event->Time(), c.next);
        EXPECT_EQ(event->Repeats(), c.repeatsLeft);
        EXPECT_EQ(changed, c.changed);
    }
    auto forever = makeEvent(1000, 0, 1, -5);  // repeats below -1 mean without end
    EXPECT_EQ(forever->Repeats(), kRepeatForever);
    EXPECT_GE(forever->NextOccurance(nullptr), now);
    forever->SetRepeatTime(0);  // no repeat time: no repeats either
    EXPECT_EQ(forever->Repeats(), 0);
}

TEST(EventRepeat, MonthlyAndYearlyStartAtThePresentTimeOfDay) {
    for (int32 rule : {kRepeatMonthly, kRepeatYearly}) {
        SCOPED_TRACE(rule);
        auto event = makeEvent(real_time_clock() - 100, 0, rule, kRepeatForever);
        const time_t before = real_time_clock();
        bool changed = false;
        const time_t next = event->NextOccurance(&changed);
        const time_t after = real_time_clock();
        ASSERT_TRUE(changed);

        // The calculation took "now" somewhere in [before, after].
        tm moved{};
        localtime_r(&next, &moved);
        bool matched = false;
        for (time_t now = before; now <= after && !matched; now++) {
            tm at{};
            localtime_r(&now, &at);
            const int months = rule == kRepeatMonthly ? 1 : 12;
            // Day 29 to 31 may roll into the following month; every other day is kept.
            matched = moved.tm_year * 12 + moved.tm_mon == at.tm_year * 12 + at.tm_mon + months &&
                      (at.tm_mday > 28 || moved.tm_mday == at.tm_mday) &&
                      moved.tm_hour == at.tm_hour && moved.tm_min == at.tm_min &&
                      moved.tm_sec == at.tm_sec;
        }
        EXPECT_TRUE(matched) << "next start " << next;
    }
}

TEST(EventRepeat, MonthlyKeepsTheLocalTimeOfDayOverADaylightSavingChange) {
    ZoneForTest zone("Europe/Berlin");
    CalendarStep calendar;
    // 20:00 on 10 March 2027 (winter time); the clocks go forward on 28 March.
    calendar.SetNow(bigtime_t(ZoneForTest::Local(2027, 3, 10, 20, 0)) * kSecond);
    auto event = makeEvent(real_time_clock() - 60, 3600, kRepeatMonthly, kRepeatForever);
    const time_t next = event->NextOccurance(nullptr);
    EXPECT_NEAR(double(next), double(ZoneForTest::Local(2027, 4, 10, 20, 0)), 1.0);
    EXPECT_NEAR(double(next - ZoneForTest::Local(2027, 3, 10, 20, 0)), 31.0 * kDay - 3600, 1.0);
}

TEST(EventArchive, FlattenedRoundTripRestoresEveryFieldIdle) {
    auto message = std::make_unique<Message>(kMsgTimerEvent);
    message->AddString("file", "/tmp/late news.avi");
    message->AddInt32("channel", 12);
    Event original("Late news", std::move(message));
    original.SetTime(1700000000);
    original.SetRepeatTime(604800);
    original.SetRepeats(4);
    ASSERT_EQ(original.Trigger(nullptr), B_OK);  // no duration yet, so it runs without end
    ASSERT_TRUE(original.IsRunning());
    original.SetDuration(5400);

    Message archive;
    ASSERT_EQ(original.Archive(&archive), B_OK);
    std::vector<uint8> bytes;
    ASSERT_EQ(archive.Flatten(&bytes), B_OK);
    Message restoredArchive;
    ASSERT_EQ(restoredArchive.Unflatten(bytes.data(), bytes.size()), B_OK);

    std::unique_ptr<Event> restored = Event::Instantiate(&restoredArchive);
    ASSERT_NE(restored, nullptr);
    EXPECT_FALSE(restored->IsRunning());
    // Every field (name, message, times, repeat rule) archives as the original's did.
    Message again;
    ASSERT_EQ(restored->Archive(&again), B_OK);
    EXPECT_EQ(again.ToString(), archive.ToString());

    // Another class's archive is refused; a bare one gets the defaults of a new event.
    Message foreign;
    foreign.AddString("class", "FormatSetting");
    EXPECT_EQ(Event::Instantiate(&foreign), nullptr);
    Message bare;
    bare.AddString("class", "Event");
    bare.AddString("time", "not a number");
    const int32 before = real_time_clock();
    restored = Event::Instantiate(&bare);
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(restored->EventMessage(), nullptr);
    EXPECT_GE(restored->Time(), before);
    EXPECT_EQ(restored->Duration() + restored->RepeatTime() + restored->Repeats(), 0);
}

TEST(EventCopy, OwnsItsMessageAndStartsAtTheNextOccurrence) {
    const int32 start = real_time_clock() - kDay + 100;
    auto original = makeEvent(start, 0, kDay, kRepeatForever);
    ASSERT_EQ(original->Trigger(nullptr), B_OK);  // no duration yet, so it runs without end
    original->SetDuration(60);

    Event copy(original.get());
    EXPECT_EQ(copy.Time(), start + kDay);
    EXPECT_EQ(original->Time(), start + kDay);  // brought up to date as well
    EXPECT_EQ(copy.Duration(), 60);
    EXPECT_EQ(copy.Repeats(), kRepeatForever);
    EXPECT_FALSE(copy.IsRunning());
    original.reset();  // must leave the copy's message intact
    ASSERT_NE(copy.EventMessage(), nullptr);
    EXPECT_EQ(copy.EventMessage()->what, kMsgTimerEvent);
}

TEST(EventTrigger, WithoutDurationStartsButNeverStops) {
    MessageQueue target;
    auto event = makeEvent(real_time_clock());
    ASSERT_EQ(event->Trigger(&target), B_OK);
    expectNotification(target, event.get(), kEventStarted, 2 * kSecond);
    expectQuiet(target, 3 * kSecond / 2);
    EXPECT_TRUE(event->IsRunning());
    event.reset();
    EXPECT_EQ(target.CountMessages(), 0);
}

TEST(EventTrigger, DestroyingARunningEventPostsOneStopBeforeReturning) {
    MessageQueue target;
    auto event = makeEvent(real_time_clock(), 3600);
    // Kept as a number: the event is gone when the stop is looked at.
    const auto address = reinterpret_cast<uintptr_t>(event.get());
    ASSERT_EQ(event->Trigger(&target), B_OK);
    expectNotification(target, event.get(), kEventStarted, 2 * kSecond);
    event.reset();
    ASSERT_EQ(target.CountMessages(), 1);
    expectNotification(target, address, kEventStopped, 0);
}

TEST(EventTrigger, EventWhoseEndHasPassedStartsThenStopsAtOnce) {
    for (int round = 0; round < 20; round++) {
        MessageQueue target;
        auto event = makeEvent(real_time_clock() - 10, 5);
        ASSERT_EQ(event->Trigger(&target), B_OK);
        expectNotification(target, event.get(), kEventStarted, 2 * kSecond);
        expectNotification(target, event.get(), kEventStopped, 2 * kSecond);
        event.reset();
        EXPECT_EQ(target.CountMessages(), 0);
    }
}
