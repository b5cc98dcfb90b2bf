#pragma once
// The graph operations: finding free outputs and inputs, connecting a producer's output to a
// consumer's input with a negotiated format, disconnecting, and handing a consumer's buffers
// to the producer. All of them run on the control thread (one at a time).

#include <memory>

#include "media/node/BufferGroup.h"
#include "media/node/MediaConsumer.h"
#include "media/node/MediaProducer.h"

// The producer's free outputs of `type` (B_MEDIA_UNKNOWN_TYPE: any type), at most `max`.
status_t GetFreeOutputsFor(MediaProducer* producer, media_output* outputs, int32 max, int32* count,
                           media_type type = B_MEDIA_UNKNOWN_TYPE);
// The consumer's free inputs (null source) of `type`, at most `max`.
status_t GetFreeInputsFor(MediaConsumer* consumer, media_input* inputs, int32 max, int32* count,
                          media_type type = B_MEDIA_UNKNOWN_TYPE);

// Connects in this order, stopping at the first error:
//  1. the output must be free (B_MEDIA_ALREADY_CONNECTED) and both ends real
//     (B_MEDIA_BAD_SOURCE / B_MEDIA_BAD_DESTINATION);
//  2. the producer's FormatProposal fills the wildcards of `format`;
//  3. the consumer's AcceptFormat;
//  4. the producer's PrepareToConnect sets the device up and writes the real format back
//     (a size the device adjusted, bytes per row, field rate);
//  5. the consumer's Connected with that format (an error here undoes step 4).
// On success `format`, `output` and `input` describe the connection. If the producer is
// started, its capture thread begins.
status_t Connect(const media_source& source, const media_destination& destination,
                 media_format* format, media_output* output, media_input* input);

// Stops the producer's capture thread, drops the buffers of this connection still queued at
// the consumer, then calls the producer's Disconnected and the consumer's Disconnected. When
// it returns, the producer no longer touches the consumer's buffer group.
status_t Disconnect(const media_source& source, const media_destination& destination);

// The consumer hands its own buffers to the producer of a connection (nullptr takes them
// back). The producer holds a reference until the next call or the disconnect; the memory
// behind the buffers must stay valid as long.
status_t SetOutputBuffersFor(const media_source& source, const media_destination& destination,
                             std::shared_ptr<BufferGroup> group);
