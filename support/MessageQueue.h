#pragma once
// A MessageTarget that queues what is posted to it for a thread that waits for the next one:
// the headless recorder's main loop, and tests that wait for notifications.

#include <condition_variable>
#include <deque>
#include <mutex>

#include "support/MessageTarget.h"

class MessageQueue : public MessageTarget {
public:
    status_t PostMessage(const Message& message) override;
    using MessageTarget::PostMessage;

    // Waits up to `timeout` microseconds for the next message; B_TIMED_OUT when none came.
    status_t NextMessage(Message* message, bigtime_t timeout);
    // The messages waiting now, without waiting.
    int32 CountMessages() const;

private:
    mutable std::mutex fLock;  // guards fMessages
    std::condition_variable fArrived;
    std::deque<Message> fMessages;
};
