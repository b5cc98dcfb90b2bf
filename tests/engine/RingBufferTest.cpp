#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
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

// Writes a slot of `value` bytes stamped `value`.
status_t write(RingBuffer& ring, uint8 value) {
    return ring.Write(std::vector<uint8>(ring.Size(), value).data(), value);
}

// Takes the next slot and releases it: its time, after checking that every byte is the time.
bigtime_t take(RingBuffer& ring) {
    void* data = nullptr;
    bigtime_t time = -1;
    EXPECT_EQ(ring.AcquireBuffer(&data, &time), B_OK);
    const std::vector<uint8> slot(static_cast<uint8*>(data),
                                  static_cast<uint8*>(data) + ring.Size());
    EXPECT_EQ(slot, std::vector<uint8>(ring.Size(), uint8(time)));
    ring.ReleaseBuffer();
    return time;
}

TEST(RingBuffer, AFailedConstructionReportsItAndNeverBlocks) {
    for (auto [count, size] : {std::pair<int32, uint32>{4, 0}, {0, 64}, {-1, 64}}) {
        RingBuffer ring(count, size);
        EXPECT_EQ(ring.InitCheck(), B_BAD_VALUE);
        EXPECT_EQ(ring.Write(std::vector<uint8>(64).data(), 1), B_ERROR);
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
    std::atomic<bigtime_t> taken{-1};
    std::thread reader([&] { taken = take(ring); });
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(taken, -1);
    ASSERT_EQ(write(ring, 71), B_OK);
    reader.join();
    EXPECT_EQ(taken, 71);
    EXPECT_EQ(ring.BuffersInUse(), 0);
}

// A writer more than Count() slots ahead overwrites the oldest unread slot; it is refused only
// when the slots in use reach the slot size in bytes.
TEST(RingBuffer, AWriterAheadOverwritesAndTheHighWaterMarkFollows) {
    RingBuffer ring(4, 64);
    for (uint8 i = 1; i <= 5; i++)
        EXPECT_EQ(write(ring, i), B_OK);
    EXPECT_EQ(ring.MaxBuffersUsed(), 4);  // Write measures before it adds
    EXPECT_EQ(ring.BuffersInUse(), 5);
    EXPECT_EQ(ring.MaxBuffersUsed(), 5);
    ring.ResetMaxBuffers();
    EXPECT_EQ(ring.MaxBuffersUsed(), 0);
    EXPECT_EQ(take(ring), 5);  // slot 0, written twice
    EXPECT_EQ(ring.BuffersInUse(), 4);
    EXPECT_EQ(ring.MaxBuffersUsed(), 4);

    RingBuffer tiny(8, 2);
    EXPECT_EQ(tiny.Write("ab", 1), B_OK);
    EXPECT_EQ(tiny.Write("cd", 2), B_OK);
    EXPECT_EQ(tiny.Write("ef", 3), B_BUSY);
}

// The counters are rebased while slots are in use, from a read count that is not a multiple
// of the slot count: every slot still comes out in order, and writing goes on where it was.
TEST(RingBuffer, RebaseKeepsTheSlotsInUse) {
    TestRing ring(4, 64);
    const int32 start = RingBuffer::kRebaseThreshold - 1;
    ASSERT_NE(start % 4, 0);
    ring.SetCountsForTesting(start, start);
    for (uint8 i = 1; i <= 3; i++)
        ASSERT_EQ(write(ring, i), B_OK);
    EXPECT_EQ(ring.BuffersInUse(), 3);
    EXPECT_EQ(take(ring), 1);
    EXPECT_LT(ring.WriteCountForTesting(), 8);
    EXPECT_EQ(ring.WriteCountForTesting() - ring.ReadCountForTesting(), 2);
    ASSERT_EQ(write(ring, 4), B_OK);
    for (uint8 i = 2; i <= 4; i++)
        EXPECT_EQ(take(ring), i);
    EXPECT_EQ(ring.BuffersInUse(), 0);
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
