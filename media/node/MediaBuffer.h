#pragma once
// One block of media memory travelling from a producer to a consumer, with its header.
//
// Ownership: a buffer belongs to exactly one BufferGroup for its whole life; the group owns the
// MediaBuffer object (and, for a group that allocated it, the memory). A producer takes a
// buffer out of a group (BufferGroup::RequestBuffer), fills data and header, and sends it; the
// consumer that receives it hands it back with Recycle() when it is done with it. Between
// those two moments exactly one party uses it, so a buffer has no lock of its own.
//
// Buffer ids are unique in the process (not only in the group), so a consumer can tell its
// own buffers from a producer's by id alone.

#include <cstddef>

#include "media/MediaFormat.h"
#include "support/Types.h"

class BufferGroup;

// Header flags.
enum : uint32 {
    B_MEDIA_KEY_FRAME = 0x1,
    // The producer copied the frame into this buffer (it did not capture into it directly).
    B_MEDIA_BUFFER_COPIED = 0x2,
};

struct media_header {
    media_type type = B_MEDIA_UNKNOWN_TYPE;
    int32 buffer = -1;         // the id of the buffer this header belongs to
    size_t size_used = 0;      // bytes of valid data from the buffer's start
    bigtime_t start_time = 0;  // CLOCK_MONOTONIC µs of the first sample or the frame's capture
    int64 sequence = 0;        // frame number (video) or index of the first frame (audio),
                               // counted from the start of the stream; gaps show lost data
    uint32 flags = 0;
    // Raw video only: the bytes one row takes in this buffer (the layout the data has).
    uint32 bytes_per_row = 0;
};

class MediaBuffer {
public:
    MediaBuffer(const MediaBuffer&) = delete;
    MediaBuffer& operator=(const MediaBuffer&) = delete;

    int32 ID() const { return fID; }
    void* Data() const { return fData; }
    // Capacity in bytes.
    size_t SizeAvailable() const { return fSize; }
    size_t SizeUsed() const { return fHeader.size_used; }
    media_header* Header() { return &fHeader; }
    const media_header* Header() const { return &fHeader; }
    BufferGroup* Group() const { return fGroup; }

    // Gives the buffer back to its group, where a producer can request it again. The caller
    // must not touch the buffer afterwards. Recycling a buffer that is already free is a
    // programming error; it is ignored (and printed) rather than corrupting the group.
    void Recycle();

private:
    friend class BufferGroup;
    MediaBuffer(BufferGroup* group, void* data, size_t size);

    BufferGroup* fGroup;
    void* fData;
    size_t fSize;
    int32 fID;
    media_header fHeader;
    bool fInUse = false;  // guarded by the group's lock
};
