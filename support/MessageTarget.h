#pragma once
// Anything that accepts posted messages: a window (the message is queued onto the GUI thread
// and ends in its MessageReceived), the headless recorder's loop, or a test's collector.
// Threads other than the GUI thread only ever post; they never call into a window directly.

#include "support/Message.h"

class MessageTarget {
public:
    virtual ~MessageTarget() = default;

    // Queues a copy of `message` and returns at once; never blocks on the receiver.
    // B_OK, or an error when the target no longer takes messages.
    virtual status_t PostMessage(const Message& message) = 0;
    status_t PostMessage(uint32 what) { return PostMessage(Message(what)); }
};
