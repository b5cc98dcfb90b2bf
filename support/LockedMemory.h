#pragma once
// One mmap'ed, pre-faulted region that real-time threads copy into without page faults,
// locked into RAM when RLIMIT_MEMLOCK allows. A refused lock is not an error (the memory is
// still pre-faulted); a failed map is. Blocks are handed out front to back and all given back
// together when the region is destroyed.

#include <cstddef>

#include "support/Status.h"

class LockedMemory {
public:
    explicit LockedMemory(size_t size);
    ~LockedMemory();
    LockedMemory(const LockedMemory&) = delete;
    LockedMemory& operator=(const LockedMemory&) = delete;

    // B_OK, or the error of the failed map (B_NO_MEMORY, B_BAD_VALUE for a size of 0).
    status_t InitCheck() const { return fStatus; }
    bool IsLocked() const { return fLocked; }
    size_t Size() const { return fSize; }

    // The next `size` bytes of the region, kAlignment-aligned; nullptr when it is used up.
    // A region for n blocks of s bytes needs n * BlockSpan(s) bytes.
    void* Allocate(size_t size);
    static constexpr size_t kAlignment = 64;
    static constexpr size_t BlockSpan(size_t size) {
        return (size + kAlignment - 1) & ~(kAlignment - 1);
    }
    // Bytes not yet handed out.
    size_t Available() const { return fSize - fUsed; }

private:
    void* fBase = nullptr;
    size_t fSize = 0;
    size_t fMapped = 0;
    size_t fUsed = 0;
    bool fLocked = false;
    status_t fStatus = B_NO_INIT;
};
