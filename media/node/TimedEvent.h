#pragma once
// An event in a consumer's queue, delivered on the consumer's event thread in time order
// (equal times in the order they were queued).

#include "media/node/MediaBuffer.h"
#include "support/Status.h"

class MediaProducer;

enum : int32 {
    B_START = 1,      // the node starts at event_time
    B_STOP,           // the node stops at event_time
    B_HANDLE_BUFFER,  // `buffer` arrived; event_time is its start time
    B_DATA_STATUS,    // the producer's stream ended with `data` at event_time
};

struct media_timed_event {
    bigtime_t event_time = 0;
    int32 type = 0;
    // B_HANDLE_BUFFER: the buffer, which whoever handles the event must recycle.
    MediaBuffer* buffer = nullptr;
    // B_DATA_STATUS: the producer's status.
    status_t data = B_OK;
    // B_HANDLE_BUFFER and B_DATA_STATUS: the producer that sent it.
    MediaProducer* producer = nullptr;
};
