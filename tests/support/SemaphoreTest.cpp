// Semaphore with real threads. Waits are measured only from below; the upper bounds are
// generous because the machine may be loaded.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "support/Clock.h"
#include "support/Semaphore.h"

namespace {

constexpr bigtime_t kSettle = 50000;  // time for a thread to reach its wait, µs

TEST(SemaphoreTest, AcquireBlocksUntilEnoughUnitsAreReleased) {
    Semaphore semaphore(0, "test units");
    std::atomic<bool> acquired = false;
    std::thread waiter([&] {
        EXPECT_EQ(semaphore.Acquire(2), B_OK);
        acquired = true;
    });
    snooze(kSettle);
    EXPECT_FALSE(acquired);
    ASSERT_EQ(semaphore.Release(1), B_OK);
    snooze(kSettle);
    EXPECT_FALSE(acquired) << "one unit is not enough for a wait on two";
    ASSERT_EQ(semaphore.Release(1), B_OK);
    waiter.join();
    EXPECT_TRUE(acquired);
    int32 count = -1;
    ASSERT_EQ(semaphore.GetCount(&count), B_OK);
    EXPECT_EQ(count, 0);
}

TEST(SemaphoreTest, CountsUnitsAcrossAcquireAndRelease) {
    Semaphore semaphore(3, "counting");
    EXPECT_EQ(semaphore.Name(), "counting");
    EXPECT_EQ(semaphore.Acquire(2), B_OK);
    EXPECT_EQ(semaphore.AcquireEtc(2, Timeout::Relative, 0), B_WOULD_BLOCK);
    EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Relative, 0), B_OK);
    EXPECT_EQ(semaphore.Release(4), B_OK);
    int32 count = 0;
    ASSERT_EQ(semaphore.GetCount(&count), B_OK);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(semaphore.Release(0), B_BAD_VALUE);
    EXPECT_EQ(semaphore.Acquire(0), B_BAD_VALUE);
}

// Relative and absolute time-outs end the wait no sooner than they say; time-outs too long
// for the clock wait for a release.
TEST(SemaphoreTest, TimedAcquireWaitsUntilTheTimeOut) {
    Semaphore semaphore(0, "timeouts");
    bigtime_t start = system_time();
    EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Relative, 0), B_WOULD_BLOCK);
    EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Relative, 30000), B_TIMED_OUT);
    EXPECT_GE(system_time() - start, 30000);
    start = system_time();
    EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Absolute, start + 30000), B_TIMED_OUT);
    EXPECT_GE(system_time(), start + 30000);
    EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Absolute, start - 1000), B_TIMED_OUT);

    std::atomic<int> done = 0;
    std::thread relative([&] {
        EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Relative, INT64_MAX), B_OK);
        done++;
    });
    std::thread absolute([&] {
        EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Absolute, INT64_MAX), B_OK);
        done++;
    });
    snooze(kSettle);
    EXPECT_EQ(done, 0);
    semaphore.Release(2);
    relative.join();
    absolute.join();
}

TEST(SemaphoreTest, DeleteOrDestructionWakesEveryWaiterAndLaterCallsAreRefused) {
    Semaphore semaphore(0, "deleted");
    std::thread plain([&] { EXPECT_EQ(semaphore.Acquire(), B_BAD_SEM_ID); });
    std::thread timed(
        [&] { EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Relative, 60000000), B_BAD_SEM_ID); });
    snooze(kSettle);
    EXPECT_EQ(semaphore.Delete(), B_OK);
    plain.join();
    timed.join();

    EXPECT_FALSE(semaphore.IsValid());
    int32 count;
    EXPECT_EQ(semaphore.GetCount(&count), B_BAD_SEM_ID);
    EXPECT_EQ(semaphore.Release(), B_BAD_SEM_ID);
    EXPECT_EQ(semaphore.Acquire(), B_BAD_SEM_ID);
    EXPECT_EQ(semaphore.AcquireEtc(1, Timeout::Relative, 0), B_BAD_SEM_ID);
    EXPECT_EQ(semaphore.Delete(), B_BAD_SEM_ID);

    // Destroying the object wakes a waiter the same way, safely.
    auto destroyed = std::make_unique<Semaphore>(0, "destroyed");
    std::atomic<status_t> result = B_OK;
    std::thread waiter([&, raw = destroyed.get()] { result = raw->Acquire(); });
    snooze(kSettle);
    destroyed.reset();
    waiter.join();
    EXPECT_EQ(result, B_BAD_SEM_ID);
}

}  // namespace
