#pragma once
// A fixed set of MediaBuffers that circulate between a producer and a consumer.
//
// Two ways to fill a group:
// - BufferGroup(size, count) allocates page-aligned memory for each buffer and owns it (a
//   producer's own buffers: ALSA periods, MMAP copies, the test signal).
// - BufferGroup() plus AddBuffer(data, size) wraps memory the caller owns (a consumer's own
//   bitmaps, which a V4L2 producer hands to the driver as USERPTR). That memory must outlive
//   the group, and the group must not be destroyed while a buffer is out (see
//   WaitForAllBuffers).
//
// Thread safety: every method may be called from any thread; one mutex guards the free list
// and each buffer's in-use mark. RequestBuffer blocks only as long as its time-out says.

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "media/node/MediaBuffer.h"
#include "support/Status.h"

// A time-out that never ends.
constexpr bigtime_t B_INFINITE_TIMEOUT = INT64_MAX;

class BufferGroup {
public:
    BufferGroup();
    // `count` buffers of `size` bytes each; InitCheck() says whether the memory was had.
    BufferGroup(size_t size, int32 count);
    ~BufferGroup();
    BufferGroup(const BufferGroup&) = delete;
    BufferGroup& operator=(const BufferGroup&) = delete;

    status_t InitCheck() const { return fStatus; }

    // Adds a buffer over `size` bytes at `data`, which the caller keeps owning. The new buffer
    // is free. B_BAD_VALUE for null data or a size of 0.
    status_t AddBuffer(void* data, size_t size, MediaBuffer** buffer = nullptr);

    // Takes a free buffer of at least `size` bytes, waiting up to `timeout` µs (relative; 0
    // does not wait, B_INFINITE_TIMEOUT waits for ever). B_WOULD_BLOCK / B_TIMED_OUT when none
    // came in time; B_MEDIA_BAD_BUFFER when no buffer of the group is big enough.
    status_t RequestBuffer(size_t size, bigtime_t timeout, MediaBuffer** buffer);

    int32 CountBuffers() const;
    // The buffer made at `index` (in the order they were made), free or not; nullptr if none.
    MediaBuffer* BufferAt(int32 index) const;
    // The group's buffer with that id, or nullptr.
    MediaBuffer* FindBuffer(int32 id) const;
    // Buffers free right now.
    int32 CountFree() const;

    // Waits up to `timeout` µs until every buffer has been recycled. B_TIMED_OUT otherwise.
    status_t WaitForAllBuffers(bigtime_t timeout) const;

private:
    friend class MediaBuffer;
    void Reclaim(MediaBuffer* buffer);

    status_t fStatus = B_OK;
    mutable std::mutex fLock;  // guards fBuffers (the vector), fFree and every fInUse
    mutable std::condition_variable fChanged;
    std::vector<std::unique_ptr<MediaBuffer>> fBuffers;
    std::deque<MediaBuffer*> fFree;
    std::vector<void*> fOwnedMemory;  // pages this group allocated; freed with the group
};
