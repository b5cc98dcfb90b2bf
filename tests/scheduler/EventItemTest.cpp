// The timer list's entries: what they set on their event, the texts a row shows, and the
// event's hand-over to the scheduler.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "scheduler/EventItem.h"
#include "scheduler/Scheduler.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"
#include "tests/scheduler/SchedulerTestSupport.h"
#include "tests/scheduler/ZoneForTest.h"

namespace {

std::unique_ptr<EventItem> makeItem() {
    return std::make_unique<EventItem>(std::make_unique<Message>(kMsgTimerEvent));
}

TEST(EventItemTest, RepeatModesSetTheEventsRule) {
    struct Case {
        int32 mode;
        int32 repeatTime;
        int32 repeats;
        const char* word;
    };
    const Case cases[] = {
        {kModeToday, 0, 0, ""},
        {kModeSingle, 0, 0, ""},
        {kModeDaily, 86400, kRepeatForever, "daily"},
        {kModeWeekly, 604800, kRepeatForever, "weekly"},
        {kModeMonthly, kRepeatMonthly, kRepeatForever, "monthly"},
    };
    for (const Case& c : cases) {
        auto item = makeItem();
        // From a repeating rule, so that going back to none must clear it.
        item->SetRepeatMode(kModeWeekly);
        item->SetRepeatMode(c.mode);
        EXPECT_EQ(item->GetEvent()->RepeatTime(), c.repeatTime) << c.mode;
        EXPECT_EQ(item->GetEvent()->Repeats(), c.repeats) << c.mode;
        EXPECT_STREQ(item->RepeatWord(), c.word) << c.mode;
    }
    // An unknown mode keeps the repeat time it had.
    auto item = makeItem();
    item->SetRepeatMode(kModeDaily);
    item->SetRepeatMode(9);
    EXPECT_EQ(item->GetEvent()->RepeatTime(), 86400);
}

TEST(EventItemTest, ChannelWithoutNameIsNamedByItsNumber) {
    auto item = makeItem();
    item->SetChannel(5, nullptr);
    EXPECT_EQ(item->ChannelName(), "Channel 5");
    item->SetChannel(12, "Arte");
    EXPECT_EQ(item->Channel(), 12);
    EXPECT_EQ(item->ChannelName(), "Arte");
}

TEST(EventItemTest, TextsAreLocalTimesOfStartAndStop) {
    ZoneForTest zone("Europe/Berlin");
    auto item = makeItem();
    item->SetStartTime(int32(ZoneForTest::Local(2026, 11, 23, 9, 5)));
    item->SetDuration(105 * 60);
    EXPECT_EQ(item->StartText(), " 9:05");
    EXPECT_EQ(item->StopText(), "10:50");
    EXPECT_EQ(item->DateText(), "Mon, 23 Nov 2026");
    EXPECT_EQ(item->GetEvent()->Time(), item->StartTime());
    EXPECT_EQ(item->GetEvent()->Duration(), 105 * 60);

    item->SetFileName("/video/news.mkv");
    EXPECT_EQ(item->FileLeaf(), "news.mkv");
}

TEST(EventItemTest, SameStartKeepsTheTexts) {
    const time_t noonUtc = 1795435200;  // 2026-11-23 12:00 UTC
    auto item = makeItem();
    {
        ZoneForTest zone("UTC");
        item->SetStartTime(int32(noonUtc));
        EXPECT_EQ(item->StartText(), "12:00");
    }
    ZoneForTest zone("Europe/Berlin");
    item->SetStartTime(int32(noonUtc));
    EXPECT_EQ(item->StartText(), "12:00") << "rebuilt although nothing changed";
    item->SetStartTime(int32(noonUtc + 60));
    EXPECT_EQ(item->StartText(), "13:01");
}

TEST(EventItemTest, SchedulerOwnsTheEventBetweenAddAndRemove) {
    Scheduler scheduler(nullptr);
    auto item = makeItem();
    Event* event = item->GetEvent();
    EXPECT_EQ(item->RemoveFrom(&scheduler), B_BAD_VALUE);
    ASSERT_EQ(item->AddTo(&scheduler), B_OK);
    EXPECT_TRUE(item->IsScheduled());
    EXPECT_EQ(scheduler.EventAt(0), event);
    EXPECT_EQ(item->AddTo(&scheduler), B_BAD_VALUE);
    ASSERT_EQ(item->RemoveFrom(&scheduler), B_OK);
    EXPECT_FALSE(item->IsScheduled());
    EXPECT_EQ(scheduler.CountEvents(), 0);
    EXPECT_EQ(item->GetEvent(), event);
}

TEST(EventItemTest, NotificationsNameTheEntry) {
    MessageQueue target;
    Scheduler scheduler(&target);
    auto item = makeItem();
    item->SetStartTime(real_time_clock() + 1);
    item->SetDuration(1);
    ASSERT_EQ(item->AddTo(&scheduler), B_OK);
    ASSERT_EQ(scheduler.Start(), B_OK);

    for (int32 status : {kEventStarted, kEventStopped}) {
        Message message;
        ASSERT_EQ(target.NextMessage(&message, 5 * kSecond), B_OK);
        EXPECT_EQ(message.GetInt32("status", -1), status);
        void* named = nullptr;
        ASSERT_EQ(message.FindPointer("eventItem", &named), B_OK);
        EXPECT_EQ(named, item.get());
    }
    scheduler.Stop();
    ASSERT_EQ(item->RemoveFrom(&scheduler), B_OK);
}

}  // namespace
