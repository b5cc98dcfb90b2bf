#include "media/node/MediaConsumer.h"

#include <chrono>

#include "media/node/MediaConnection.h"
#include "support/Clock.h"
#include "support/Thread.h"

MediaConsumer::MediaConsumer(std::string name, media_type type)
    : MediaNode(std::move(name)), fType(type) {}

MediaConsumer::~MediaConsumer() {
    Quit();
}

status_t MediaConsumer::Run() {
    std::lock_guard lock(fLock);
    if (fQuit)
        return B_NOT_ALLOWED;
    if (fRunning)
        return B_OK;
    fRunning = true;
    std::string name = Name().substr(0, 8) + " events";
    fThread = spawnThread(name.c_str(), [this] { EventLoop(); });
    fThreadID = fThread.get_id();
    return B_OK;
}

void MediaConsumer::Quit() {
    // Copies: Disconnect removes each entry from fConnections.
    const auto connections = fConnections;
    for (const auto& [source, destination] : connections)
        Disconnect(source, destination);

    std::multimap<bigtime_t, media_timed_event> left;
    {
        std::lock_guard lock(fLock);
        fQuit = true;
        left.swap(fQueue);
    }
    fChanged.notify_all();
    if (fThread.joinable()) {
        if (OnEventThread())
            fThread.detach();  // a hook quit its own node: the loop ends after this event
        else
            fThread.join();
    }
    for (auto& [time, event] : left) {
        if (event.buffer != nullptr)
            event.buffer->Recycle();
    }
    SetRunState(RunState::Stopped);
}

status_t MediaConsumer::Start(bigtime_t when) {
    std::lock_guard lock(fLock);
    if (fQuit)
        return B_NOT_ALLOWED;
    media_timed_event event;
    event.event_time = when;
    event.type = B_START;
    fQueue.emplace(when, event);
    fChanged.notify_all();
    return B_OK;
}

status_t MediaConsumer::Stop(bigtime_t when, bool synchronous) {
    if (OnEventThread()) {
        // Handled here and then: the loop cannot wait for itself.
        media_timed_event event;
        event.event_time = when;
        event.type = B_STOP;
        SetRunState(RunState::Stopped);
        HandleEvent(&event, system_time() - when);
        return B_OK;
    }
    std::unique_lock lock(fLock);
    if (fQuit)
        return B_NOT_ALLOWED;
    media_timed_event event;
    event.event_time = when;
    event.type = B_STOP;
    fQueue.emplace(when, event);
    const int64 ticket = ++fStopsQueued;
    fChanged.notify_all();
    if (synchronous) {
        // Stops are handled in time order, not queue order; a later-queued earlier stop may
        // be handled first, which only ends the wait sooner.
        fChanged.wait(lock, [&] { return fQuit || !fRunning || fStopsHandled >= ticket; });
    }
    return B_OK;
}

status_t MediaConsumer::EnqueueBuffer(MediaBuffer* buffer, MediaProducer* producer) {
    {
        std::lock_guard lock(fLock);
        if (!fQuit) {
            media_timed_event event;
            event.event_time = buffer->Header()->start_time;
            event.type = B_HANDLE_BUFFER;
            event.buffer = buffer;
            event.producer = producer;
            fQueue.emplace(event.event_time, event);
            fChanged.notify_all();
            return B_OK;
        }
    }
    buffer->Recycle();
    return B_NOT_ALLOWED;
}

status_t MediaConsumer::EnqueueDataStatus(status_t status, bigtime_t when,
                                          MediaProducer* producer) {
    std::lock_guard lock(fLock);
    if (fQuit)
        return B_NOT_ALLOWED;
    media_timed_event event;
    event.event_time = when;
    event.type = B_DATA_STATUS;
    event.data = status;
    event.producer = producer;
    fQueue.emplace(when, event);
    fChanged.notify_all();
    return B_OK;
}

void MediaConsumer::DropBuffersFrom(MediaProducer* producer) {
    std::vector<MediaBuffer*> dropped;
    {
        std::unique_lock lock(fLock);
        for (auto it = fQueue.begin(); it != fQueue.end();) {
            if (it->second.producer == producer && it->second.buffer != nullptr) {
                dropped.push_back(it->second.buffer);
                it = fQueue.erase(it);
            } else {
                ++it;
            }
        }
        if (!OnEventThread())
            fChanged.wait(lock, [&] { return fHandling != producer; });
    }
    for (MediaBuffer* buffer : dropped)
        buffer->Recycle();
}

void MediaConsumer::DisposeInputCookie(int32) {}

status_t MediaConsumer::FormatChanged(const media_source&, const media_destination&, int32,
                                      const media_format&) {
    return B_OK;
}

status_t MediaConsumer::GetLatencyFor(const media_destination&, bigtime_t* latency) {
    *latency = 0;
    return B_OK;
}

void MediaConsumer::HandleEvent(const media_timed_event* event, bigtime_t) {
    switch (event->type) {
        case B_HANDLE_BUFFER:
            BufferReceived(event->buffer);
            break;
        case B_DATA_STATUS:
            ProducerDataStatus(event->producer, event->data, event->event_time);
            break;
        default:
            break;
    }
}

void MediaConsumer::BufferReceived(MediaBuffer* buffer) {
    buffer->Recycle();
}

void MediaConsumer::ProducerDataStatus(MediaProducer*, status_t, bigtime_t) {}

void MediaConsumer::FlushEvents(int32 type) {
    std::vector<MediaBuffer*> dropped;
    {
        std::lock_guard lock(fLock);
        for (auto it = fQueue.begin(); it != fQueue.end();) {
            if (it->second.type == type) {
                if (it->second.buffer != nullptr)
                    dropped.push_back(it->second.buffer);
                it = fQueue.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (MediaBuffer* buffer : dropped)
        buffer->Recycle();
}

int32 MediaConsumer::CountQueuedEvents() const {
    std::lock_guard lock(fLock);
    return int32(fQueue.size());
}

bool MediaConsumer::OnEventThread() const {
    return std::this_thread::get_id() == fThreadID;
}

void MediaConsumer::EventLoop() {
    const int priority = fPriority.load();
    if (priority > 0)
        requestRealtimePriority(priority);

    std::unique_lock lock(fLock);
    while (!fQuit) {
        if (fQueue.empty()) {
            fChanged.wait(lock);
            continue;
        }
        auto first = fQueue.begin();
        const int32 type = first->second.type;
        const bigtime_t now = system_time();
        const bigtime_t due =
            type == B_START || type == B_STOP ? first->first - fEventLatency.load() : now;
        if (due > now) {
            // Woken early by a new (maybe earlier) event or by Quit: look again.
            fChanged.wait_for(lock, std::chrono::microseconds(due - now));
            continue;
        }
        media_timed_event event = first->second;
        fQueue.erase(first);
        fHandling = event.producer;
        if (event.type == B_START)
            SetRunState(RunState::Started);
        else if (event.type == B_STOP)
            SetRunState(RunState::Stopped);
        lock.unlock();

        HandleEvent(&event, system_time() - event.event_time);

        lock.lock();
        fHandling = nullptr;
        if (event.type == B_STOP)
            fStopsHandled++;
        fChanged.notify_all();
    }
    fRunning = false;
    fChanged.notify_all();
}
