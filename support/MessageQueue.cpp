#include "support/MessageQueue.h"

#include <chrono>

status_t MessageQueue::PostMessage(const Message& message) {
    {
        std::lock_guard<std::mutex> lock(fLock);
        fMessages.push_back(message);
    }
    fArrived.notify_one();
    return B_OK;
}

status_t MessageQueue::NextMessage(Message* message, bigtime_t timeout) {
    std::unique_lock<std::mutex> lock(fLock);
    if (!fArrived.wait_for(lock, std::chrono::microseconds(timeout),
                           [this] { return !fMessages.empty(); }))
        return B_TIMED_OUT;
    *message = std::move(fMessages.front());
    fMessages.pop_front();
    return B_OK;
}

int32 MessageQueue::CountMessages() const {
    std::lock_guard<std::mutex> lock(fLock);
    return int32(fMessages.size());
}
