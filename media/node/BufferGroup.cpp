#include "media/node/BufferGroup.h"

#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "support/Log.h"

namespace {

size_t pageRounded(size_t size) {
    const size_t page = size_t(sysconf(_SC_PAGESIZE));
    return (size + page - 1) / page * page;
}

}  // namespace

BufferGroup::BufferGroup() = default;

BufferGroup::BufferGroup(size_t size, int32 count) {
    if (size == 0 || count <= 0) {
        fStatus = B_BAD_VALUE;
        return;
    }
    // Page-aligned, so the same memory could go to a driver as a user pointer.
    for (int32 i = 0; i < count; i++) {
        void* memory = mmap(nullptr, pageRounded(size), PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            fStatus = B_NO_MEMORY;
            return;
        }
        fOwnedMemory.push_back(memory);
        fStatus = AddBuffer(memory, size);
        if (fStatus != B_OK)
            return;
    }
}

BufferGroup::~BufferGroup() {
    {
        std::lock_guard lock(fLock);
        if (fFree.size() != fBuffers.size())
            logWarning("BufferGroup: destroyed with %zu buffers still out\n",
                       fBuffers.size() - fFree.size());
    }
    for (size_t i = 0; i < fOwnedMemory.size(); i++)
        munmap(fOwnedMemory[i], pageRounded(fBuffers[i]->SizeAvailable()));
}

status_t BufferGroup::AddBuffer(void* data, size_t size, MediaBuffer** buffer) {
    if (data == nullptr || size == 0)
        return B_BAD_VALUE;
    std::lock_guard lock(fLock);
    fBuffers.push_back(std::unique_ptr<MediaBuffer>(new MediaBuffer(this, data, size)));
    MediaBuffer* added = fBuffers.back().get();
    fFree.push_back(added);
    if (buffer != nullptr)
        *buffer = added;
    fChanged.notify_all();
    return B_OK;
}

status_t BufferGroup::RequestBuffer(size_t size, bigtime_t timeout, MediaBuffer** buffer) {
    std::unique_lock lock(fLock);
    bool fits = false;
    for (const auto& each : fBuffers)
        fits = fits || each->SizeAvailable() >= size;
    if (!fits)
        return B_MEDIA_BAD_BUFFER;

    auto take = [&]() -> MediaBuffer* {
        for (auto it = fFree.begin(); it != fFree.end(); ++it) {
            if ((*it)->SizeAvailable() >= size) {
                MediaBuffer* found = *it;
                fFree.erase(it);
                return found;
            }
        }
        return nullptr;
    };

    MediaBuffer* found = take();
    if (found == nullptr && timeout == 0)
        return B_WOULD_BLOCK;
    if (found == nullptr) {
        const auto deadline =
            timeout == B_INFINITE_TIMEOUT
                ? std::chrono::steady_clock::time_point::max()
                : std::chrono::steady_clock::now() + std::chrono::microseconds(timeout);
        while ((found = take()) == nullptr) {
            if (fChanged.wait_until(lock, deadline) == std::cv_status::timeout) {
                found = take();
                if (found == nullptr)
                    return B_TIMED_OUT;
                break;
            }
        }
    }
    found->fInUse = true;
    found->fHeader = media_header{};
    found->fHeader.buffer = found->fID;
    *buffer = found;
    return B_OK;
}

int32 BufferGroup::CountBuffers() const {
    std::lock_guard lock(fLock);
    return int32(fBuffers.size());
}

MediaBuffer* BufferGroup::BufferAt(int32 index) const {
    std::lock_guard lock(fLock);
    if (index < 0 || size_t(index) >= fBuffers.size())
        return nullptr;
    return fBuffers[size_t(index)].get();
}

MediaBuffer* BufferGroup::FindBuffer(int32 id) const {
    std::lock_guard lock(fLock);
    for (const auto& each : fBuffers) {
        if (each->ID() == id)
            return each.get();
    }
    return nullptr;
}

int32 BufferGroup::CountFree() const {
    std::lock_guard lock(fLock);
    return int32(fFree.size());
}

status_t BufferGroup::WaitForAllBuffers(bigtime_t timeout) const {
    std::unique_lock lock(fLock);
    auto allBack = [&] { return fFree.size() == fBuffers.size(); };
    if (timeout == B_INFINITE_TIMEOUT) {
        fChanged.wait(lock, allBack);
        return B_OK;
    }
    return fChanged.wait_for(lock, std::chrono::microseconds(timeout), allBack) ? B_OK
                                                                                : B_TIMED_OUT;
}

void BufferGroup::Reclaim(MediaBuffer* buffer) {
    std::lock_guard lock(fLock);
    if (!buffer->fInUse) {
        logWarning("BufferGroup: buffer %d recycled twice\n", int(buffer->fID));
        return;
    }
    buffer->fInUse = false;
    fFree.push_back(buffer);
    fChanged.notify_all();
}
