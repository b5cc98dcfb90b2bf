#include "engine/RingBuffer.h"

#include <cstring>
#include <new>

RingBuffer::RingBuffer(int32 count, uint32 size) : fCount(count), fSize(size) {
    if (count <= 0 || size == 0) {
        fInitStatus = B_BAD_VALUE;
        return;
    }
    fTimes.reset(new (std::nothrow) bigtime_t[count]());
    fSlots.reset(new (std::nothrow) void*[count]());
    if (!fTimes || !fSlots) {
        fInitStatus = B_NO_MEMORY;
        return;
    }

    fPool = std::make_unique<LockedMemory>(size_t(count) * LockedMemory::BlockSpan(size));
    fInitStatus = fPool->InitCheck();
    if (fInitStatus < B_OK)
        return;

    for (int32 i = count - 1; i >= 0; i--) {
        fSlots[i] = fPool->Allocate(size);
        if (fSlots[i] == nullptr) {
            fInitStatus = B_NO_MEMORY;
            return;
        }
    }

    fRingLock = std::make_unique<Semaphore>(0, "ring buffer lock");
    fVariablesLock = std::make_unique<Semaphore>(1, "ring buffer variables lock");
}

RingBuffer::~RingBuffer() {
    // Deleting the ring lock wakes a waiting reader with B_BAD_SEM_ID. The semaphores are
    // deleted before the objects go, so the reader, which is inside Acquire, is done with
    // this ring's fields (it took the semaphore's own lock after reading them) before any is
    // changed.
    if (fVariablesLock)
        fVariablesLock->Delete();
    if (fRingLock)
        fRingLock->Delete();
    fVariablesLock.reset();
    fRingLock.reset();
}

void RingBuffer::RaiseMaxUsed(int32 inUse) {
    int32 max = fMaxUsed.load(std::memory_order_relaxed);
    while (inUse > max && !fMaxUsed.compare_exchange_weak(max, inUse, std::memory_order_relaxed))
        ;
}

status_t RingBuffer::Write(const void* data, bigtime_t time) {
    return Write([this, data](void* slot) { std::memcpy(slot, data, fSize); }, time);
}

status_t RingBuffer::Write(const std::function<void(void* slot)>& fill, bigtime_t time) {
    if (!fVariablesLock || fVariablesLock->Acquire() != B_OK)
        return B_ERROR;
    int32 inUse = fWriteCount.load() - fReadCount.load(std::memory_order_acquire);
    fVariablesLock->Release();

    RaiseMaxUsed(inUse);
    if (inUse < 0)
        return B_ERROR;
    // Against the slot size in bytes, not the slot count: see RingBuffer.h.
    if (uint32(inUse) >= fSize)
        return B_BUSY;

    int32 slot = fWriteCount.fetch_add(1) % fCount;
    fill(fSlots[slot]);
    fTimes[slot] = time;
    // Only now, with the copy and the time in place, may the reader take the slot.
    fRingLock->Release();
    return B_OK;
}

status_t RingBuffer::AcquireBuffer(void** data, bigtime_t* time) {
    if (!fRingLock)
        return B_NO_INIT;
    status_t status = fRingLock->Acquire();
    if (status != B_OK)
        return status;
    int32 slot = fReadCount.load(std::memory_order_relaxed) % fCount;
    *data = fSlots[slot];
    *time = fTimes[slot];
    return B_OK;
}

status_t RingBuffer::AcquireBuffer(void** data, bigtime_t* time, bigtime_t timeout) {
    if (!fRingLock)
        return B_NO_INIT;
    status_t status = fRingLock->AcquireEtc(1, Timeout::Relative, timeout);
    if (status != B_OK)
        return status;
    int32 slot = fReadCount.load(std::memory_order_relaxed) % fCount;
    *data = fSlots[slot];
    *time = fTimes[slot];
    return B_OK;
}

void RingBuffer::ReleaseBuffer() {
    if (!fVariablesLock)
        return;
    // Keeps both counters far from overflow; their difference, the slots in use, is kept.
    // Both go down by whole turns of the ring, so that each counter still names the slot it
    // named (a producer between its fetch_add and its copy keeps its slot too).
    if (fWriteCount.load() > kRebaseThreshold && fVariablesLock->Acquire() == B_OK) {
        const int32 read = fReadCount.load(std::memory_order_relaxed);
        const int32 turns = read - read % fCount;
        fWriteCount.fetch_sub(turns);
        fReadCount.store(read - turns, std::memory_order_relaxed);
        fVariablesLock->Release();
    }
    // Only this thread writes the read count, so a load and a store are enough; the store
    // publishes that the reader is done with the slot.
    fReadCount.store(fReadCount.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

int32 RingBuffer::BuffersInUse() {
    if (!fVariablesLock || fVariablesLock->Acquire() != B_OK)
        return -1;
    int32 inUse = fWriteCount.load() - fReadCount.load(std::memory_order_acquire);
    fVariablesLock->Release();
    RaiseMaxUsed(inUse);
    return inUse;
}

void RingBuffer::SetCountsForTesting(int32 writeCount, int32 readCount) {
    fWriteCount.store(writeCount);
    fReadCount.store(readCount);
}
