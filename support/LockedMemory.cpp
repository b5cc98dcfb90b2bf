#include "support/LockedMemory.h"

#include <sys/mman.h>

#include <unistd.h>

#include <cerrno>

LockedMemory::LockedMemory(size_t size) : fSize(size) {
    if (size == 0) {
        fStatus = B_BAD_VALUE;
        return;
    }
    long pageSize = sysconf(_SC_PAGESIZE);
    fMapped = (size + pageSize - 1) / pageSize * pageSize;
    // MAP_POPULATE pre-faults every page so the first copy into a slot does not page-fault
    // on the capture thread.
    void* base = mmap(nullptr, fMapped, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (base == MAP_FAILED) {
        fStatus = -errno;
        fSize = fMapped = 0;
        return;
    }
    fBase = base;
    fLocked = mlock(fBase, fMapped) == 0;
    fStatus = B_OK;
}

LockedMemory::~LockedMemory() {
    if (fBase == nullptr)
        return;
    if (fLocked)
        munlock(fBase, fMapped);
    munmap(fBase, fMapped);
}

void* LockedMemory::Allocate(size_t size) {
    if (fBase == nullptr)
        return nullptr;
    size_t start = BlockSpan(fUsed);
    if (start > fSize || size > fSize - start)
        return nullptr;
    fUsed = start + size;
    return static_cast<char*>(fBase) + start;
}
