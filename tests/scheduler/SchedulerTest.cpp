// Scheduler: real executor threads on the real clocks, timed in seconds.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>

#include "scheduler/Scheduler.h"
#include "support/Clock.h"
#include "tests/scheduler/SchedulerTestSupport.h"

namespace {

// The tolerance for when a notification arrives.
constexpr bigtime_t kSlack = 500000;

// Adds a new event to `scheduler`, which owns it then.
Event* add(Scheduler& scheduler, int32 time, int32 duration = 0, int32 repeatTime = 0,
           int32 repeats = 0) {
    Event* event = makeEvent(time, duration, repeatTime, repeats).release();
    EXPECT_EQ(scheduler.AddEvent(event), B_OK);
    return event;
}

bool waitForPasses(const Scheduler& scheduler, int32 passes) {
    const bigtime_t giveUp = system_time() + 5 * kSecond;
    while (scheduler.CountPasses() < passes && system_time() < giveUp)
        snooze(1000);
    return scheduler.CountPasses() >= passes;
}

// Threads of this process with the executor's name (the kernel keeps 15 characters of it).
int countExecutors() {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        count += name == std::string("schedule executor").substr(0, 15);
    }
    return count;
}

// A started scheduler that notifies `target`.
class SchedulerFiring : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(scheduler.Start(), B_OK); }
    MessageQueue target;
    Scheduler scheduler{&target};
};

}  // namespace

TEST_F(SchedulerFiring, EventAheadFiresOnceAndStopsAfterItsDuration) {
    const int32 start = real_time_clock() + 2;
    Event* event = add(scheduler, start, 2);
    expectNotification(target, event, kEventStarted);
    EXPECT_GE(real_time_clock_usecs(), start * kSecond);
    EXPECT_LE(real_time_clock_usecs(), start * kSecond + kSlack);
    expectNotification(target, event, kEventStopped);
    EXPECT_NEAR(double(real_time_clock_usecs()), double((start + 2) * kSecond), double(kSlack));
    EXPECT_FALSE(event->IsRunning());
    expectQuiet(target, 3 * kSecond / 2);
}

TEST_F(SchedulerFiring, EventsPastWhenAddedDoNotFireAndARepeatingOneMovesOn) {
    // Let the executor's last pass fall well behind, so that a start between that pass and
    // the moment of adding is still one that was past when added.
    snooze(2 * kSecond + kSecond / 10);
    const int32 now = real_time_clock();
    Event* once = add(scheduler, now - 1, 60);
    Event* daily = add(scheduler, now - 3600, 60, kDay, kRepeatForever);
    expectNotification(target, daily, kEventMoved);
    EXPECT_EQ(daily->Time(), now - 3600 + kDay);
    EXPECT_EQ(once->Time(), now - 1);
    expectQuiet(target, 3 * kSecond / 2);
}

TEST_F(SchedulerFiring, StartSteppedOverFiresAtOnceAndNotAgainAfterAStepBack) {
    CalendarStep calendar;
    const int32 start = real_time_clock() + 3600;
    Event* event = add(scheduler, start, 2);
    ASSERT_TRUE(waitForPasses(scheduler, 2));

    // The executor sleeps towards a start an hour away when the calendar jumps to it.
    const bigtime_t stepped = system_time();
    calendar.SetNow(bigtime_t(start - 1) * kSecond);
    expectNotification(target, event, kEventStarted);
    EXPECT_LT(system_time() - stepped, 5 * kSecond / 2);
    expectNotification(target, event, kEventStopped);

    // Stepped back before the start, the event is ahead again, and an edit wakes the executor
    // as the window's edits do: the start that fired does not fire a second time.
    calendar.By(-3 * kSecond);
    scheduler.EventChanged();
    expectQuiet(target, 3 * kSecond);
}

TEST(SchedulerWakeUp, OnlyAChangeOfTheListWakesTheExecutor) {
    Scheduler scheduler(nullptr);
    ASSERT_EQ(scheduler.Start(), B_OK);
    ASSERT_TRUE(waitForPasses(scheduler, 1));
    const int32 passes = scheduler.CountPasses();

    Event stray("stray", std::make_unique<Message>(kMsgTimerEvent));
    EXPECT_EQ(scheduler.RemoveEvent(&stray), B_BAD_VALUE);
    snooze(kSecond / 3);
    EXPECT_EQ(scheduler.CountPasses(), passes);

    Event* listed = add(scheduler, real_time_clock() + 3600);
    EXPECT_TRUE(waitForPasses(scheduler, passes + 1));
    EXPECT_EQ(scheduler.RemoveEvent(listed), B_OK);
    EXPECT_TRUE(waitForPasses(scheduler, passes + 2));
    delete listed;
    scheduler.EventChanged();
    EXPECT_TRUE(waitForPasses(scheduler, passes + 3));
}

TEST(SchedulerQuery, NextEventPicksTheEarliestStartNotBeforeTheGivenTime) {
    Scheduler scheduler(nullptr);
    const int32 now = real_time_clock();
    add(scheduler, now - 100);
    Event dummy("dummy", nullptr);
    Event* next = &dummy;
    EXPECT_EQ(scheduler.NextEvent(&next, now), B_ERROR);
    EXPECT_EQ(next, nullptr);

    Event* late = add(scheduler, now + 500);
    Event* early = add(scheduler, now + 200);
    add(scheduler, now + 200);
    EXPECT_EQ(scheduler.NextEvent(&next, now), B_OK);
    EXPECT_EQ(next, early);  // the first of two at the same time
    EXPECT_EQ(scheduler.NextEvent(&next, now + 201), B_OK);
    EXPECT_EQ(next, late);
}

TEST(SchedulerLifecycle, StartTwiceLeavesOneExecutorAndStopAllowsARestart) {
    MessageQueue target;
    Scheduler scheduler(&target);
    ASSERT_EQ(countExecutors(), 0);
    EXPECT_EQ(scheduler.Start(), B_OK);
    EXPECT_EQ(scheduler.Start(), B_OK);
    ASSERT_TRUE(waitForPasses(scheduler, 1));  // by then the thread has named itself
    EXPECT_EQ(countExecutors(), 1);

    EXPECT_EQ(scheduler.Stop(), B_OK);
    EXPECT_EQ(scheduler.Stop(), B_OK);
    EXPECT_FALSE(scheduler.IsRunning());
    EXPECT_EQ(countExecutors(), 0);

    // The restarted executor fires as the first one did.
    EXPECT_EQ(scheduler.Start(), B_OK);
    Event* soon = add(scheduler, real_time_clock() + 1);
    expectNotification(target, soon, kEventStarted);
    EXPECT_EQ(countExecutors(), 1);
}

TEST(SchedulerLifecycle, StopWhileTheExecutorIsBusyReturnsPromptly) {
    for (int round = 0; round < 200; round++) {
        MessageQueue target;
        Scheduler scheduler(&target);
        const int32 now = real_time_clock();
        for (int32 i = 1; i <= 20; i++)
            add(scheduler, now + i, 60, kDay, kRepeatForever);
        ASSERT_EQ(scheduler.Start(), B_OK);

        // Keeps waking the executor and contending for its lock.
        std::atomic<bool> done{false};
        std::thread poker([&] {
            while (!done.load()) {
                scheduler.EventChanged();
                scheduler.Lock();
                scheduler.Unlock();
            }
        });
        std::this_thread::sleep_for(std::chrono::microseconds(round % 7 * 50));
        std::future<status_t> stopped =
            std::async(std::launch::async, [&scheduler] { return scheduler.Stop(); });
        // A deadlock would hang the joins below as well; ctest's time-out then reports it.
        const bool prompt = stopped.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
        done = true;
        poker.join();
        ASSERT_TRUE(prompt) << "round " << round;
        EXPECT_EQ(stopped.get(), B_OK);
    }
}
