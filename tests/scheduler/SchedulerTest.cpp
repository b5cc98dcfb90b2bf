// Scheduler: real executor threads on the real clocks, timed in seconds.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "scheduler/Scheduler.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"

namespace {

constexpr int32 kDay = 86400;
constexpr uint32 kMsgTimerEvent = fourcc("tmev");
constexpr bigtime_t kSecond = 1000000;
// The tolerance for when a notification arrives.
constexpr bigtime_t kSlack = 500000;

Event* newEvent(int32 time, int32 duration = 0, int32 repeatTime = 0, int32 repeats = 0) {
    auto* event = new Event("timed", std::make_unique<Message>(kMsgTimerEvent));
    event->SetTime(time);
    event->SetDuration(duration);
    event->SetRepeatTime(repeatTime);
    event->SetRepeats(repeats);
    return event;
}

// Waits for the next notification and checks where it came from and what it says.
void expectNotification(MessageQueue& target, const Event* from, int32 status,
                        bigtime_t timeout = 5 * kSecond) {
    Message message;
    ASSERT_EQ(target.NextMessage(&message, timeout), B_OK) << "no status " << status;
    EXPECT_EQ(message.what, kMsgTimerEvent);
    EXPECT_EQ(message.GetInt32("status", -100), status);
    void* sender = nullptr;
    ASSERT_EQ(message.FindPointer("event", &sender), B_OK);
    EXPECT_EQ(sender, from);
}

void expectQuiet(MessageQueue& target, bigtime_t period) {
    Message message;
    EXPECT_EQ(target.NextMessage(&message, period), B_TIMED_OUT) << message.ToString();
}

bool waitForPasses(const Scheduler& scheduler, int32 passes) {
    const bigtime_t giveUp = system_time() + 5 * kSecond;
    while (scheduler.CountPasses() < passes) {
        if (system_time() > giveUp)
            return false;
        snooze(1000);
    }
    return true;
}

// Threads of this process with the executor's name (the kernel keeps 15 characters of it).
int countExecutors() {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        std::getline(comm, name);
        if (name == std::string("schedule executor").substr(0, 15))
            count++;
    }
    return count;
}

}  // namespace

TEST(SchedulerFiring, EventAheadFiresOnceAndStopsAfterItsDuration) {
    MessageQueue target;
    Scheduler scheduler(&target);
    ASSERT_EQ(scheduler.Start(), B_OK);
    const int32 start = real_time_clock() + 2;
    Event* event = newEvent(start, 2);
    ASSERT_EQ(scheduler.AddEvent(event), B_OK);

    expectNotification(target, event, kEventStarted);
    const bigtime_t started = real_time_clock_usecs();
    EXPECT_GE(started, start * kSecond);
    EXPECT_LE(started, start * kSecond + kSlack);

    expectNotification(target, event, kEventStopped);
    EXPECT_NEAR(double(real_time_clock_usecs()), double((start + 2) * kSecond), double(kSlack));
    EXPECT_FALSE(event->IsRunning());
    expectQuiet(target, 3 * kSecond / 2);
}

TEST(SchedulerFiring, RepeatingEventFiresAgainAtItsNextStart) {
    MessageQueue target;
    Scheduler scheduler(&target);
    ASSERT_EQ(scheduler.Start(), B_OK);
    const int32 start = real_time_clock() + 1;
    Event* event = newEvent(start, 0, 2, 1);
    ASSERT_EQ(scheduler.AddEvent(event), B_OK);

    expectNotification(target, event, kEventStarted);
    expectNotification(target, event, kEventMoved);
    EXPECT_EQ(event->Time(), start + 2);
    expectNotification(target, event, kEventStarted);
    const bigtime_t again = real_time_clock_usecs();
    EXPECT_GE(again, (start + 2) * kSecond);
    EXPECT_LE(again, (start + 2) * kSecond + kSlack);
    EXPECT_EQ(event->Repeats(), 0);
    expectQuiet(target, 3 * kSecond / 2);
}

TEST(SchedulerFiring, EventsPastWhenAddedDoNotFireAndARepeatingOneMovesOn) {
    MessageQueue target;
    Scheduler scheduler(&target);
    ASSERT_EQ(scheduler.Start(), B_OK);
    // Let the executor's last pass fall well behind, so that a start between that pass and
    // the moment of adding is still one that was past when added.
    snooze(2 * kSecond + kSecond / 10);
    const int32 now = real_time_clock();
    Event* once = newEvent(now - 1, 60);
    Event* daily = newEvent(now - 3600, 60, kDay, kRepeatForever);
    ASSERT_EQ(scheduler.AddEvent(once), B_OK);
    ASSERT_EQ(scheduler.AddEvent(daily), B_OK);

    expectNotification(target, daily, kEventMoved);
    EXPECT_EQ(daily->Time(), now - 3600 + kDay);
    EXPECT_EQ(once->Time(), now - 1);
    expectQuiet(target, 3 * kSecond / 2);
}

TEST(SchedulerWakeUp, OnlyAChangeOfTheListWakesTheExecutor) {
    Scheduler scheduler(nullptr);
    ASSERT_EQ(scheduler.Start(), B_OK);
    ASSERT_TRUE(waitForPasses(scheduler, 1));
    const int32 passes = scheduler.CountPasses();

    Event stray("stray", std::make_unique<Message>(kMsgTimerEvent));
    EXPECT_EQ(scheduler.RemoveEvent(&stray), B_BAD_VALUE);
    EXPECT_EQ(scheduler.RemoveEvent(nullptr), B_BAD_VALUE);
    EXPECT_EQ(scheduler.AddEvent(nullptr), B_BAD_VALUE);
    snooze(kSecond / 3);
    EXPECT_EQ(scheduler.CountPasses(), passes);

    Event* listed = newEvent(real_time_clock() + 3600);
    ASSERT_EQ(scheduler.AddEvent(listed), B_OK);
    EXPECT_EQ(scheduler.AddEvent(listed), B_BAD_VALUE);  // already owned
    EXPECT_TRUE(waitForPasses(scheduler, passes + 1));
    EXPECT_EQ(scheduler.RemoveEvent(listed), B_OK);
    EXPECT_TRUE(waitForPasses(scheduler, passes + 2));
    EXPECT_EQ(scheduler.CountEvents(), 0);
    delete listed;
    scheduler.EventChanged();
    EXPECT_TRUE(waitForPasses(scheduler, passes + 3));
}

TEST(SchedulerQuery, NextEventPicksTheEarliestStartNotBeforeTheGivenTime) {
    Scheduler scheduler(nullptr);
    const int32 now = real_time_clock();
    Event dummy("dummy", nullptr);
    Event* next = &dummy;
    EXPECT_EQ(scheduler.NextEvent(&next, now), B_ERROR);
    EXPECT_EQ(next, nullptr);

    ASSERT_EQ(scheduler.AddEvent(newEvent(now - 100)), B_OK);
    next = &dummy;
    EXPECT_EQ(scheduler.NextEvent(&next, now), B_ERROR);
    EXPECT_EQ(next, nullptr);

    Event* late = newEvent(now + 500);
    Event* early = newEvent(now + 200);
    Event* tie = newEvent(now + 200);
    ASSERT_EQ(scheduler.AddEvent(late), B_OK);
    ASSERT_EQ(scheduler.AddEvent(early), B_OK);
    ASSERT_EQ(scheduler.AddEvent(tie), B_OK);
    EXPECT_EQ(scheduler.NextEvent(&next, now), B_OK);
    EXPECT_EQ(next, early);
    EXPECT_EQ(scheduler.NextEvent(&next, now + 201), B_OK);
    EXPECT_EQ(next, late);
    EXPECT_EQ(scheduler.NextEvent(&next, now + 501), B_ERROR);
    EXPECT_EQ(next, nullptr);
    EXPECT_EQ(scheduler.CountEvents(), 4);
    EXPECT_EQ(scheduler.EventAt(1), late);
    EXPECT_EQ(scheduler.EventAt(4), nullptr);
}

TEST(SchedulerLifecycle, StartTwiceLeavesOneExecutorAndStopAllowsARestart) {
    MessageQueue target;
    Scheduler scheduler(&target);
    ASSERT_EQ(countExecutors(), 0);
    EXPECT_EQ(scheduler.Start(), B_OK);
    EXPECT_EQ(scheduler.Start(), B_OK);
    EXPECT_TRUE(scheduler.IsRunning());
    ASSERT_TRUE(waitForPasses(scheduler, 1));  // by then the thread has named itself
    EXPECT_EQ(countExecutors(), 1);

    EXPECT_EQ(scheduler.Stop(), B_OK);
    EXPECT_EQ(scheduler.Stop(), B_OK);
    EXPECT_FALSE(scheduler.IsRunning());
    EXPECT_EQ(countExecutors(), 0);

    EXPECT_EQ(scheduler.Start(), B_OK);
    ASSERT_TRUE(waitForPasses(scheduler, 1));
    EXPECT_EQ(countExecutors(), 1);
    // The restarted executor fires as the first one did.
    Event* soon = newEvent(real_time_clock() + 1);
    ASSERT_EQ(scheduler.AddEvent(soon), B_OK);
    expectNotification(target, soon, kEventStarted);
}

TEST(SchedulerLifecycle, StopWhileTheExecutorIsBusyReturnsPromptly) {
    for (int round = 0; round < 200; round++) {
        MessageQueue target;
        Scheduler scheduler(&target);
        const int32 now = real_time_clock();
        for (int32 i = 1; i <= 20; i++)
            ASSERT_EQ(scheduler.AddEvent(newEvent(now + i, 60, kDay, kRepeatForever)), B_OK);
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
