#include "media/node/MediaBuffer.h"

#include <atomic>

#include "media/node/BufferGroup.h"

namespace {
std::atomic<int32> sNextBufferID{1};
}

MediaBuffer::MediaBuffer(BufferGroup* group, void* data, size_t size)
    : fGroup(group), fData(data), fSize(size), fID(sNextBufferID.fetch_add(1)) {
    fHeader.buffer = fID;
}

void MediaBuffer::Recycle() {
    fGroup->Reclaim(this);
}
