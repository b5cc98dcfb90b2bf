// The small pieces of the support kit: status texts, named threads, locked memory and the
// message queue.

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/Clock.h"
#include "support/LockedMemory.h"
#include "support/Log.h"
#include "support/MessageQueue.h"
#include "support/Status.h"
#include "support/Thread.h"

namespace {

TEST(StatusTest, TextsComeFromErrnoTheTableOrAFallback) {
    EXPECT_EQ(statusText(B_DEVICE_FULL), std::strerror(ENOSPC));
    EXPECT_EQ(statusText(B_TIMED_OUT), std::strerror(ETIMEDOUT));
    EXPECT_EQ(statusText(B_BAD_SEM_ID), "Bad semaphore ID");
    EXPECT_EQ(statusText(B_RESOURCE_UNAVAILABLE), "Resource unavailable");
    EXPECT_EQ(statusText(B_OK), "No error");
    for (status_t unknown : {B_GENERAL_ERROR_BASE, B_GENERAL_ERROR_BASE + 999, 12345, -70000})
        EXPECT_FALSE(statusText(unknown).empty()) << unknown;
}

// Each level shows at or above the threshold, as one "tavro: " line however long; the
// engine's standard-output lines go with everything but errors only (quiet).
TEST(LogTest, LevelsFollowTheThresholdAsWholeLines) {
    const std::string longText(3000, 'x');
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    SetLogThreshold(LogLevel::kInfo);
    logError("cannot open %s: %s", "/dev/video9", "No such device");
    logWarning("%s\n", "a trailing newline is not doubled");
    logInfo("%s", longText.c_str());
    logDebug("not shown");
    logOutput("frame dropped - drift = %d?\n", 80000);
    SetLogThreshold(LogLevel::kError);
    logWarning("not shown under quiet");
    logOutput("not shown under quiet\n");
    logError("still shown");
    SetLogThreshold(LogLevel::kDebug);
    logDebug("event at %d", 42);
    SetLogThreshold(LogLevel::kInfo);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "frame dropped - drift = 80000?\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tavro: cannot open /dev/video9: No such device\n"
              "tavro: a trailing newline is not doubled\n"
              "tavro: " +
                  longText +
                  "\n"
                  "tavro: still shown\n"
                  "tavro: event at 42\n");
}

// Lines written from several threads at once come out whole.
TEST(LogTest, LinesFromSeveralThreadsNeverInterleave) {
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (char c : {'a', 'b', 'c', 'd'})
        threads.emplace_back([c] {
            const std::string line(700, c);
            for (int i = 0; i < 50; i++)
                logError("%s", line.c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
    const std::string written = testing::internal::GetCapturedStderr();
    size_t lines = 0;
    for (size_t at = 0; at < written.size(); at = written.find('\n', at) + 1, lines++) {
        const std::string line = written.substr(at, written.find('\n', at) - at);
        ASSERT_EQ(line, "tavro: " + std::string(700, line.back()));
    }
    EXPECT_EQ(lines, 200u);
}

TEST(ThreadTest, SpawnedThreadCarriesItsNameCutToFifteenCharacters) {
    char name[32] = {};
    std::thread thread = spawnThread(
        "video writer", [&] { pthread_getname_np(pthread_self(), name, sizeof(name)); });
    thread.join();
    EXPECT_STREQ(name, "video writer");

    thread = spawnThread("a name far longer than fifteen",
                         [&] { pthread_getname_np(pthread_self(), name, sizeof(name)); });
    thread.join();
    EXPECT_STREQ(name, "a name far long");
}

TEST(LockedMemoryTest, HandsOutAlignedBlocksUntilTheRegionIsUsedUpAndNoneWhenEmpty) {
    LockedMemory memory(3 * LockedMemory::BlockSpan(100));
    ASSERT_EQ(memory.InitCheck(), B_OK);
    char* first = static_cast<char*>(memory.Allocate(100));
    char* second = static_cast<char*>(memory.Allocate(100));
    char* third = static_cast<char*>(memory.Allocate(100));
    for (char* block : {first, second, third}) {
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(uintptr_t(block) % LockedMemory::kAlignment, 0u);
        std::memset(block, 0xab, 100);
    }
    EXPECT_GE(second, first + 100);
    EXPECT_GE(third, second + 100);
    EXPECT_LE(third + 100, first + memory.Size());
    EXPECT_EQ(memory.Allocate(1), nullptr);
    EXPECT_EQ(memory.Allocate(SIZE_MAX), nullptr);

    LockedMemory empty(0);
    EXPECT_EQ(empty.InitCheck(), B_BAD_VALUE);
    EXPECT_EQ(empty.Allocate(1), nullptr);
}

TEST(MessageQueueTest, NextMessageWaitsForAPostOrTimesOut) {
    MessageQueue queue;
    Message message;
    bigtime_t start = system_time();
    EXPECT_EQ(queue.NextMessage(&message, 30000), B_TIMED_OUT);
    EXPECT_GE(system_time() - start, 30000);

    std::thread poster([&] {
        snooze(30000);
        queue.PostMessage(fourcc("frst"));
        queue.PostMessage(fourcc("scnd"));
    });
    ASSERT_EQ(queue.NextMessage(&message, 10000000), B_OK);
    EXPECT_EQ(message.what, fourcc("frst"));
    poster.join();
    EXPECT_EQ(queue.CountMessages(), 1);
    ASSERT_EQ(queue.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, fourcc("scnd"));
    EXPECT_EQ(queue.NextMessage(&message, 0), B_TIMED_OUT);

    // A time-out too long for the clock to count waits for ever.
    poster = std::thread([&] {
        snooze(30000);
        queue.PostMessage(fourcc("late"));
    });
    EXPECT_EQ(queue.NextMessage(&message, INT64_MAX), B_OK);
    EXPECT_EQ(message.what, fourcc("late"));
    poster.join();
}

}  // namespace
