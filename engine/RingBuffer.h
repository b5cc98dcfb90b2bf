#pragma once
// The hand-over between a capture node and its writer thread: a fixed ring of equal slots in
// locked, pre-faulted memory, each slot with the start time of the data it holds. The node's
// thread copies each buffer in with Write, which never allocates and never waits for the
// reader; the writer thread takes slots out in order with AcquireBuffer and ReleaseBuffer.
//
// One producer, one reader, plus any number of threads polling the statistics.
//
// Write refuses (B_BUSY) only when the slots in use reach the slot size in bytes, not the
// slot count. With slots of many kilobytes that never happens, so a writer that gets more than
// Count() slots ahead overwrites slots the reader has not taken yet instead of being refused.
// This keeps the capture thread from ever stalling; a producer that must not lose data waits
// while BuffersInUse() >= Count().

#include <atomic>
#include <memory>

#include <functional>
#include "support/LockedMemory.h"
#include "support/Semaphore.h"

#include "support/Types.h"

class RingBuffer {
public:
    RingBuffer(int32 count, uint32 size);
    // Wakes a reader blocked in AcquireBuffer with B_BAD_SEM_ID. The reader must not touch the
    // ring after that: stop the writer thread before deleting a ring it may still call.
    ~RingBuffer();
    RingBuffer(const RingBuffer&) = delete;
    RingBuffer& operator=(const RingBuffer&) = delete;

    // B_OK, the pool's error (B_BAD_VALUE for no slots or empty slots), or B_NO_MEMORY.
    status_t InitCheck() const { return fInitStatus; }

    // Producer: copies exactly Size() bytes from `data` (the caller must provide that many)
    // into the next slot with `time`. B_OK, B_BUSY or B_ERROR.
    status_t Write(const void* data, bigtime_t time);
    // The same, with `fill` writing the slot's Size() bytes in place of the copy (a conversion
    // straight into the slot saves copying the frame first).
    status_t Write(const std::function<void(void* slot)>& fill, bigtime_t time);
    // Reader: waits for a filled slot and hands out its memory and time; the slot stays the
    // reader's until ReleaseBuffer. On error (the ring is being deleted) do not release.
    status_t AcquireBuffer(void** data, bigtime_t* time);
    // The same, waiting at most `timeout` µs: B_TIMED_OUT (B_WOULD_BLOCK for 0) when no slot
    // was filled in time, so a reader can look at its stop flag while the producer is silent.
    status_t AcquireBuffer(void** data, bigtime_t* time, bigtime_t timeout);
    void ReleaseBuffer();

    // Slots written and not yet released; -1 when the counters cannot be read. Raises the
    // high-water mark.
    int32 BuffersInUse();
    int32 MaxBuffersUsed() const { return fMaxUsed.load(std::memory_order_relaxed); }
    void ResetMaxBuffers() { fMaxUsed.store(0, std::memory_order_relaxed); }

    int32 Count() const { return fCount; }
    uint32 Size() const { return fSize; }

    // Both counters are rebased to small values once the write count passes this.
    static constexpr int32 kRebaseThreshold = 0x0FFFFFFF;

protected:
    // For tests of the counter rebase, which would otherwise need 2^28 writes. Call only while
    // no other thread uses the ring.
    void SetCountsForTesting(int32 writeCount, int32 readCount);
    int32 WriteCountForTesting() const { return fWriteCount.load(); }
    int32 ReadCountForTesting() const { return fReadCount.load(); }

private:
    void RaiseMaxUsed(int32 inUse);

    // The number of filled slots not yet taken by the reader.
    std::unique_ptr<Semaphore> fRingLock;
    // Guards taking the difference of the two counters and rebasing them, never a copy.
    std::unique_ptr<Semaphore> fVariablesLock;
    status_t fInitStatus = B_NO_INIT;
    // Slot times: written by the producer before it releases fRingLock, read by the reader
    // after acquiring it.
    std::unique_ptr<bigtime_t[]> fTimes;
    std::unique_ptr<LockedMemory> fPool;
    std::unique_ptr<void*[]> fSlots;
    const int32 fCount;
    // Racy by design: a high-water mark for the status display.
    std::atomic<int32> fMaxUsed{0};
    const uint32 fSize;
    // Advanced by the producer only; its next slot is fWriteCount % fCount.
    std::atomic<int32> fWriteCount{0};
    // Advanced by the reader only, by a plain (not read-modify-write) increment; its store
    // releases the slot's memory to the producer. Rebased together with fWriteCount under
    // fVariablesLock.
    std::atomic<int32> fReadCount{0};
};
