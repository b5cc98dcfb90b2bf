#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "engine/RingBuffer.h"

namespace {

using namespace std::chrono_literals;

// Reaches the counters, so the rebase can be tested without 2^28 writes.
class TestRing : public RingBuffer {
public:
    using RingBuffer::ReadCountForTesting;
    using RingBuffer::RingBuffer;
    using RingBuffer::SetCountsForTesting;
    using RingBuffer::WriteCountForTesting;
};

std::vector<uint8> filled(uint32 size, uint8 value) {
    return std::vector<uint8>(size, value);
}

bool slotHolds(const void* slot, uint32 size, uint8 value) {
    return std::memcmp(slot, filled(size, value).data(), size) == 0;
}

TEST(RingBuffer, AFailedConstructionReportsItAndNeverBlocks) {
    for (auto [count, size] : {std::pair<int32, uint32>{4, 0}, {0, 64}, {-1, 64}}) {
        RingBuffer ring(count, size);
        EXPECT_EQ(ring.InitCheck(), B_BAD_VALUE);
        EXPECT_EQ(ring.Write(filled(64, 1).data(), 1), B_ERROR);
        void* data;
        bigtime_t time;
        EXPECT_LT(ring.AcquireBuffer(&data, &time), B_OK);
        EXPECT_EQ(ring.BuffersInUse(), -1);
        ring.ReleaseBuffer();
    }
}

TEST(RingBuffer, AcquireWaitsForAWrite) {
    RingBuffer ring(4, 256);
    ASSERT_EQ(ring.InitCheck(), B_OK);
    std::atomic<bool> acquired{false};
    void* data = nullptr;
    bigtime_t time = 0;
    std::thread reader([&] {
        EXPECT_EQ(ring.AcquireBuffer(&data, &time), B_OK);
        acquired = true;
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(acquired);
    ASSERT_EQ(ring.Write(filled(256, 7).data(), 4711), B_OK);
    reader.join();
    EXPECT_TRUE(slotHolds(data, 256, 7));
    EXPECT_EQ(time, 4711);
    EXPECT_EQ(ring.BuffersInUse(), 1);
    ring.ReleaseBuffer();
    EXPECT_EQ(ring.BuffersInUse(), 0);
}

// A writer more than Count() slots ahead overwrites the oldest unread slot; it is refused only
// when the slots in use reach the slot size in bytes.
TEST(RingBuffer, AWriterAheadOverwritesAndTheHighWaterMarkFollows) {
    RingBuffer ring(4, 64);
    for (uint8 i = 1; i <= 5; i++)
        EXPECT_EQ(ring.Write(filled(64, i).data(), i), B_OK);
    EXPECT_EQ(ring.MaxBuffersUsed(), 4);  // Write measures before it adds
    EXPECT_EQ(ring.BuffersInUse(), 5);
    EXPECT_EQ(ring.MaxBuffersUsed(), 5);
    ring.ResetMaxBuffers();
    EXPECT_EQ(ring.MaxBuffersUsed(), 0);

    void* data;
    bigtime_t time;
    ASSERT_EQ(ring.AcquireBuffer(&data, &time), B_OK);
    EXPECT_TRUE(slotHolds(data, 64, 5));
    EXPECT_EQ(time, 5);
    ring.ReleaseBuffer();
    EXPECT_EQ(ring.BuffersInUse(), 4);
    EXPECT_EQ(ring.MaxBuffersUsed(), 4);

    RingBuffer tiny(8, 2);
    EXPECT_EQ(tiny.Write("ab", 1), B_OK);
    EXPECT_EQ(tiny.Write("cd", 2), B_OK);
    EXPECT_EQ(tiny.Write("ef", 3), B_BUSY);
}

TEST(RingBuffer, RebaseKeepsTheSlotsInUse) {
    TestRing ring(4, 64);
    const int32 start = RingBuffer::kRebaseThreshold - 1;
    ring.SetCountsForTesting(start, start);
    ASSERT_EQ(ring.Write(filled(64, 1).data(), 1), B_OK);
    ASSERT_EQ(ring.Write(filled(64, 2).data(), 2), B_OK);
    ASSERT_EQ(ring.Write(filled(64, 3).data(), 3), B_OK);
    EXPECT_EQ(ring.BuffersInUse(), 3);

    void* data;
    bigtime_t time;
    ASSERT_EQ(ring.AcquireBuffer(&data, &time), B_OK);
    EXPECT_EQ(time, 1);
    ring.ReleaseBuffer();
    EXPECT_EQ(ring.WriteCountForTesting(), 3);
    EXPECT_EQ(ring.ReadCountForTesting(), 1);
    EXPECT_EQ(ring.BuffersInUse(), 2);
}

TEST(RingBuffer, DeletingTheRingWakesABlockedReader) {
    auto ring = std::make_unique<RingBuffer>(4, 64);
    std::atomic<bool> waiting{false};
    status_t result = B_OK;
    std::thread reader([&, raw = ring.get()] {
        void* data;
        bigtime_t time;
        waiting = true;
        result = raw->AcquireBuffer(&data, &time);
    });
    while (!waiting)
        std::this_thread::yield();
    // Give the reader time to block on the ring's semaphore.
    std::this_thread::sleep_for(100ms);
    ring.reset();
    reader.join();
    EXPECT_EQ(result, B_BAD_SEM_ID);
}

// A producer that waits while Count() slots are in use loses nothing; the reader sees every
// slot whole and in order.
TEST(RingBuffer, ProducerAndReaderMoveEverySlotInOrder) {
    constexpr int32 kSlots = 100000;
    constexpr int32 kCount = 8;
    constexpr uint32 kSize = 256;
    RingBuffer ring(kCount, kSize);
    ASSERT_EQ(ring.InitCheck(), B_OK);

    std::thread producer([&] {
        std::vector<int32> slot(kSize / sizeof(int32));
        for (int32 i = 0; i < kSlots; i++) {
            int32 inUse;
            while ((inUse = ring.BuffersInUse()) >= kCount)
                std::this_thread::yield();
            ASSERT_GE(inUse, 0);
            std::fill(slot.begin(), slot.end(), i);
            ASSERT_EQ(ring.Write(slot.data(), bigtime_t(i) * 40000), B_OK);
        }
    });

    int32 mismatches = 0;
    for (int32 i = 0; i < kSlots; i++) {
        void* data;
        bigtime_t time;
        ASSERT_EQ(ring.AcquireBuffer(&data, &time), B_OK);
        const int32* values = static_cast<const int32*>(data);
        for (uint32 j = 0; j < kSize / sizeof(int32); j++)
            mismatches += values[j] != i;
        mismatches += time != bigtime_t(i) * 40000;
        ring.ReleaseBuffer();
    }
    producer.join();
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(ring.BuffersInUse(), 0);
    EXPECT_LE(ring.MaxBuffersUsed(), kCount);
}

}  // namespace
