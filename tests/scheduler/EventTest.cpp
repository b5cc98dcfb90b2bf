// Event: repeat rules on times in the past, the archive round trip, copies, and the stopper
// thread's notifications.

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <vector>

#include "scheduler/Event.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"

namespace {

constexpr int32 kDay = 86400;
constexpr uint32 kMsgTimerEvent = fourcc("tmev");

std::unique_ptr<Event> makeEvent(int32 time, int32 repeatTime, int32 repeats) {
    auto event = std::make_unique<Event>("news", std::make_unique<Message>(kMsgTimerEvent));
    event->SetTime(time);
    event->SetRepeatTime(repeatTime);
    event->SetRepeats(repeats);
    return event;
}

tm localTime(time_t time) {
    tm local{};
    localtime_r(&time, &local);
    return local;
}

int32 statusOf(const Message& message) {
    return message.GetInt32("status", -100);
}

}  // namespace

TEST(EventRepeat, DailyWithoutEndLandsOnFirstStartNotBeforeNow) {
    const int32 start = real_time_clock() - 3 * kDay + 100;
    auto event = makeEvent(start, kDay, kRepeatForever);
    bool changed = false;
    EXPECT_EQ(event->NextOccurance(&changed), start + 3 * kDay);
    EXPECT_TRUE(changed);
    EXPECT_EQ(event->Time(), start + 3 * kDay);
    EXPECT_EQ(event->Repeats(), kRepeatForever);
}

TEST(EventRepeat, CountedRepeatsRunOutAndLeaveTheStartInThePast) {
    const int32 start = real_time_clock() - 5 * kDay;
    auto event = makeEvent(start, kDay, 2);
    bool changed = false;
    EXPECT_EQ(event->NextOccurance(&changed), start + 2 * kDay);
    EXPECT_TRUE(changed);
    EXPECT_EQ(event->Repeats(), 0);

    // No step is taken any more, so the caller's flag is left as it was.
    changed = true;
    EXPECT_EQ(event->NextOccurance(&changed), start + 2 * kDay);
    EXPECT_TRUE(changed);
}

TEST(EventRepeat, ShortRepeatTimeFarBehindTakesEveryStep) {
    // Billions of one-second steps would be needed one by one; the result must be the same.
    const int32 now = real_time_clock();
    auto forever = makeEvent(1000, 1, kRepeatForever);
    bool changed = false;
    EXPECT_GE(forever->NextOccurance(&changed), now);
    EXPECT_LE(forever->Time(), real_time_clock());
    EXPECT_TRUE(changed);

    auto counted = makeEvent(1000, 7, 5);
    EXPECT_EQ(counted->NextOccurance(&changed), 1000 + 5 * 7);
    EXPECT_EQ(counted->Repeats(), 0);
}

TEST(EventRepeat, MonthlyAndYearlyStartAtThePresentTimeOfDay) {
    for (int32 rule : {kRepeatMonthly, kRepeatYearly}) {
        SCOPED_TRACE(rule);
        auto event = makeEvent(real_time_clock() - 100, rule, kRepeatForever);
        const time_t before = real_time_clock();
        bool changed = false;
        const time_t next = event->NextOccurance(&changed);
        const time_t after = real_time_clock();
        ASSERT_TRUE(changed);

        // The calculation took "now" somewhere in [before, after].
        bool matched = false;
        for (time_t now = before; now <= after && !matched; now++) {
            const tm present = localTime(now);
            const tm moved = localTime(next);
            const bool sameTimeOfDay = moved.tm_hour == present.tm_hour &&
                                       moved.tm_min == present.tm_min &&
                                       moved.tm_sec == present.tm_sec;
            const bool oneLater =
                rule == kRepeatMonthly
                    ? moved.tm_year * 12 + moved.tm_mon == present.tm_year * 12 + present.tm_mon + 1
                    : moved.tm_year == present.tm_year + 1 && moved.tm_mon == present.tm_mon;
            // Day 29 to 31 may roll into the following month; every other day is kept.
            const bool sameDay = present.tm_mday > 28 || moved.tm_mday == present.tm_mday;
            matched = sameTimeOfDay && oneLater && sameDay;
        }
        EXPECT_TRUE(matched) << "next start " << next;
    }
}

TEST(EventRepeat, UnknownOrNoRepeatTimeLeavesTheStartAlone) {
    const int32 start = real_time_clock() - kDay;
    auto event = makeEvent(start, -3, kRepeatForever);
    bool changed = true;
    event->CalculateRepeat(real_time_clock(), &changed);
    EXPECT_FALSE(changed);
    EXPECT_EQ(event->NextOccurance(&changed), start);  // and returns instead of looping

    event->SetRepeatTime(0);
    EXPECT_EQ(event->Repeats(), 0);  // clearing the repeat time clears the repeats
    event->SetRepeats(-5);
    EXPECT_EQ(event->Repeats(), kRepeatForever);
    event->CalculateRepeat(real_time_clock(), &changed);
    EXPECT_FALSE(changed);
    EXPECT_EQ(event->Time(), start);
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
    EXPECT_EQ(restored->Name(), "Late news");
    EXPECT_EQ(restored->Time(), 1700000000);
    EXPECT_EQ(restored->Duration(), 5400);
    EXPECT_EQ(restored->RepeatTime(), 604800);
    EXPECT_EQ(restored->Repeats(), 4);
    ASSERT_NE(restored->EventMessage(), nullptr);
    EXPECT_EQ(restored->EventMessage()->ToString(), original.EventMessage()->ToString());
    EXPECT_FALSE(restored->IsRunning());
}

TEST(EventArchive, RejectsForeignArchivesAndDefaultsMissingFields) {
    Event event("x", nullptr);
    EXPECT_EQ(event.Archive(nullptr), B_BAD_VALUE);
    EXPECT_EQ(Event::Instantiate(nullptr), nullptr);
    Message foreign;
    foreign.AddString("class", "FormatSetting");
    EXPECT_EQ(Event::Instantiate(&foreign), nullptr);

    Message bare;
    bare.AddString("class", "Event");
    bare.AddString("time", "not a number");
    const int32 before = real_time_clock();
    std::unique_ptr<Event> restored = Event::Instantiate(&bare);
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(restored->Name(), "");
    EXPECT_EQ(restored->EventMessage(), nullptr);
    EXPECT_GE(restored->Time(), before);
    EXPECT_LE(restored->Time(), real_time_clock());
    EXPECT_EQ(restored->Duration(), 0);
    EXPECT_EQ(restored->RepeatTime(), 0);
    EXPECT_EQ(restored->Repeats(), 0);
}

TEST(EventCopy, OwnsItsMessageAndStartsAtTheNextOccurrence) {
    const int32 start = real_time_clock() - kDay + 100;
    auto original = makeEvent(start, kDay, kRepeatForever);
    ASSERT_EQ(original->Trigger(nullptr), B_OK);  // no duration yet, so it runs without end
    ASSERT_TRUE(original->IsRunning());
    original->SetDuration(60);

    Event copy(original.get());
    EXPECT_EQ(copy.Time(), start + kDay);
    EXPECT_EQ(original->Time(), start + kDay);  // brought up to date as well
    EXPECT_EQ(copy.Name(), "news");
    EXPECT_EQ(copy.Duration(), 60);
    EXPECT_EQ(copy.RepeatTime(), kDay);
    EXPECT_EQ(copy.Repeats(), kRepeatForever);
    EXPECT_FALSE(copy.IsRunning());

    original.reset();  // must leave the copy's message intact
    ASSERT_NE(copy.EventMessage(), nullptr);
    EXPECT_EQ(copy.EventMessage()->what, kMsgTimerEvent);
}

TEST(EventTrigger, WithoutDurationStartsButNeverStops) {
    MessageQueue target;
    auto event = makeEvent(real_time_clock(), 0, 0);
    ASSERT_EQ(event->Trigger(&target), B_OK);
    Message started;
    ASSERT_EQ(target.NextMessage(&started, 2000000), B_OK);
    EXPECT_EQ(started.what, kMsgTimerEvent);
    EXPECT_EQ(statusOf(started), kEventStarted);
    void* sender = nullptr;
    ASSERT_EQ(started.FindPointer("event", &sender), B_OK);
    EXPECT_EQ(sender, event.get());

    Message more;
    EXPECT_EQ(target.NextMessage(&more, 1500000), B_TIMED_OUT);
    EXPECT_TRUE(event->IsRunning());
    event.reset();
    EXPECT_EQ(target.CountMessages(), 0);
}

TEST(EventTrigger, DestroyingARunningEventPostsOneStopBeforeReturning) {
    MessageQueue target;
    auto event = makeEvent(real_time_clock(), 0, 0);
    event->SetDuration(3600);
    // Compared as a number: the event is gone by then.
    const uintptr_t address = reinterpret_cast<uintptr_t>(event.get());
    ASSERT_EQ(event->Trigger(&target), B_OK);
    Message message;
    ASSERT_EQ(target.NextMessage(&message, 2000000), B_OK);
    ASSERT_EQ(statusOf(message), kEventStarted);
    EXPECT_TRUE(event->IsRunning());

    event.reset();
    ASSERT_EQ(target.CountMessages(), 1);
    ASSERT_EQ(target.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(statusOf(message), kEventStopped);
    void* sender = nullptr;
    ASSERT_EQ(message.FindPointer("event", &sender), B_OK);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(sender), address);
}

TEST(EventTrigger, EventWhoseEndHasPassedStartsThenStopsAtOnce) {
    for (int round = 0; round < 20; round++) {
        MessageQueue target;
        auto event = makeEvent(real_time_clock() - 10, 0, 0);
        event->SetDuration(5);
        ASSERT_EQ(event->Trigger(&target), B_OK);
        Message message;
        ASSERT_EQ(target.NextMessage(&message, 2000000), B_OK);
        EXPECT_EQ(statusOf(message), kEventStarted);
        ASSERT_EQ(target.NextMessage(&message, 2000000), B_OK);
        EXPECT_EQ(statusOf(message), kEventStopped);
        event.reset();
        EXPECT_EQ(target.CountMessages(), 0);
    }
}
