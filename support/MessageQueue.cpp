#include "support/MessageQueue.h"

#include <chrono>

status_t MessageQueue::PostMessage(const Message& message) {
    // Notified under the lock: a waiter may destroy the queue as soon as NextMessage returns,
    // so the poster must be done with it by then.
    std::lock_guard<std::mutex> lock(fLock);
    fMessages.push_back(message);
    fArrived.notify_one();
    return B_OK;
}

status_t MessageQueue::NextMessage(Message* message, bigtime_t timeout) {
    auto arrived = [this] { return !fMessages.empty(); };
    std::unique_lock<std::mutex> lock(fLock);
    // steady_clock counts nanoseconds: a time-out too long for it (INT64_MAX) waits for ever.
    constexpr bigtime_t kForever = std::chrono::steady_clock::duration::max().count() / 2000;
    if (timeout >= kForever)
        fArrived.wait(lock, arrived);
    else if (!fArrived.wait_for(lock, std::chrono::microseconds(timeout), arrived))
        return B_TIMED_OUT;
    *message = std::move(fMessages.front());
    fMessages.pop_front();
    return B_OK;
}

int32 MessageQueue::CountMessages() const {
    std::lock_guard<std::mutex> lock(fLock);
    return int32(fMessages.size());
}
