#include "media/node/MediaProducer.h"

#include <chrono>
#include <cstdio>

#include "media/node/MediaConnection.h"
#include "media/node/MediaConsumer.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "support/Message.h"
#include "support/MessageTarget.h"
#include "support/Thread.h"

MediaProducer::MediaProducer(std::string name, media_type type)
    : MediaNode(std::move(name)), fType(type) {
    fOutput.node = this;
    fOutput.source = {this, 0};
    fOutput.format.type = type;
    fOutput.name = Name();
}

MediaProducer::~MediaProducer() {
    Quit();
}

status_t MediaProducer::GetNextOutput(int32* cookie, media_output* output) const {
    if (cookie == nullptr || output == nullptr)
        return B_BAD_VALUE;
    if (*cookie != 0)
        return B_BAD_INDEX;
    *output = Output();
    (*cookie)++;
    return B_OK;
}

bool MediaProducer::IsConnected() const {
    std::lock_guard lock(fStateLock);
    return !fOutput.destination.IsNull();
}

media_output MediaProducer::Output() const {
    std::lock_guard lock(fStateLock);
    return fOutput;
}

status_t MediaProducer::Start(bigtime_t when) {
    {
        std::lock_guard lock(fStateLock);
        if (fQuit)
            return B_NOT_ALLOWED;
    }
    // A start after a stop (or after a stream error) begins a fresh capture thread.
    JoinCapture();
    {
        std::lock_guard lock(fWaitLock);
        fStartTime = when;
        fStopTime = INT64_MAX;
    }
    fStreamStatus.store(B_OK);
    SetRunState(RunState::Started);
    UpdateCapture();
    return B_OK;
}

status_t MediaProducer::Stop(bigtime_t when, bool synchronous) {
    if (State() != RunState::Started)
        return B_OK;
    if (synchronous || when <= system_time()) {
        SetRunState(RunState::Stopped);
        JoinCapture();
        return B_OK;
    }
    // The capture thread ends itself at `when`; the next Start or Quit joins it.
    {
        std::lock_guard lock(fWaitLock);
        fStopTime = when;
    }
    fWake.notify_all();
    return B_OK;
}

void MediaProducer::Quit() {
    SetRunState(RunState::Stopped);
    JoinCapture();
    media_output output = Output();
    if (!output.destination.IsNull())
        Disconnect(output.source, output.destination);
    std::lock_guard lock(fStateLock);
    fQuit = true;
}

status_t MediaProducer::GetLatency(bigtime_t* latency) {
    *latency = 0;
    return B_OK;
}

status_t MediaProducer::GetInitialLatency(bigtime_t* latency) {
    *latency = 0;
    return B_OK;
}

status_t MediaProducer::ProposeShortAudio(media_format* format) {
    if (format->type == B_MEDIA_UNKNOWN_TYPE || format->type == B_MEDIA_NO_TYPE)
        format->type = B_MEDIA_RAW_AUDIO;
    if (format->type != B_MEDIA_RAW_AUDIO)
        return B_MEDIA_BAD_FORMAT;
    media_raw_audio_format& audio = format->raw_audio;
    if (audio.format == 0)
        audio.format = media_raw_audio_format::B_AUDIO_SHORT;
    if (audio.format != media_raw_audio_format::B_AUDIO_SHORT)
        return B_MEDIA_BAD_FORMAT;
    if (audio.byte_order == 0)
        audio.byte_order = B_MEDIA_LITTLE_ENDIAN;
    if (audio.byte_order != B_MEDIA_LITTLE_ENDIAN)
        return B_MEDIA_BAD_FORMAT;
    return B_OK;
}

void MediaProducer::SetNotificationTarget(MessageTarget* target) {
    fTarget.store(target);
}

void MediaProducer::Connected(const media_format&) {}

void MediaProducer::Disconnected() {}

void MediaProducer::BufferGroupChanged(BufferGroup*) {}

status_t MediaProducer::SendBuffer(MediaBuffer* buffer) {
    MediaConsumer* consumer;
    {
        std::lock_guard lock(fStateLock);
        consumer = fOutput.destination.consumer;
    }
    if (consumer == nullptr) {
        buffer->Recycle();
        return B_MEDIA_NOT_CONNECTED;
    }
    return consumer->EnqueueBuffer(buffer, this);
}

bool MediaProducer::WaitUntil(bigtime_t when) {
    std::unique_lock lock(fWaitLock);
    while (!fStopRequested.load()) {
        const bigtime_t now = system_time();
        if (now >= when)
            return true;
        if (now >= fStopTime)
            return false;
        const bigtime_t until = std::min(when, fStopTime);
        fWake.wait_for(lock, std::chrono::microseconds(until - now));
    }
    return false;
}

bigtime_t MediaProducer::StartTime() {
    std::lock_guard lock(fWaitLock);
    return fStartTime;
}

status_t MediaProducer::ChangeFormat(const media_format& format) {
    media_output output = Output();
    if (output.destination.IsNull())
        return B_MEDIA_NOT_CONNECTED;
    static std::atomic<int32> sChangeTag{1};
    status_t status = output.destination.consumer->FormatChanged(output.source, output.destination,
                                                                 sChangeTag.fetch_add(1), format);
    if (status == B_OK) {
        std::lock_guard lock(fStateLock);
        fOutput.format = format;
    }
    return status;
}

void MediaProducer::UpdateCapture() {
    if (fThread.joinable() || State() != RunState::Started || !IsConnected() ||
        fStreamStatus.load() != B_OK)
        return;
    fStopRequested.store(false);
    std::string name = Name().substr(0, 7) + " capture";
    fThread = spawnThread(name.c_str(), [this] { CaptureLoop(); });
}

void MediaProducer::JoinCapture() {
    if (!fThread.joinable())
        return;
    {
        std::lock_guard lock(fWaitLock);
        fStopRequested.store(true);
    }
    fWake.notify_all();
    fThread.join();
    fStopRequested.store(false);
}

void MediaProducer::CaptureLoop() {
    const int priority = fPriority.load();
    if (priority > 0)
        requestRealtimePriority(priority);

    bigtime_t startTime;
    {
        std::lock_guard lock(fWaitLock);
        startTime = fStartTime;
    }
    if (!WaitUntil(startTime))
        return;
    status_t status = StartCapture();
    bool stopTimeReached = false;
    if (status == B_OK) {
        while (!fStopRequested.load()) {
            {
                std::lock_guard lock(fWaitLock);
                stopTimeReached = system_time() >= fStopTime;
            }
            if (stopTimeReached)
                break;
            status = CaptureNext();
            if (status == B_TIMED_OUT)
                status = B_OK;
            if (status != B_OK)
                break;
        }
        StopCapture();
    }
    if (stopTimeReached)
        SetRunState(RunState::Stopped);
    if (status != B_OK)
        EndStream(status);
}

void MediaProducer::EndStream(status_t status) {
    fStreamStatus.store(status);
    logWarning("%s: stream ended: %s\n", Name().c_str(), statusText(status).c_str());
    MediaConsumer* consumer;
    {
        std::lock_guard lock(fStateLock);
        consumer = fOutput.destination.consumer;
    }
    if (consumer != nullptr)
        consumer->EnqueueDataStatus(status, system_time(), this);
    if (MessageTarget* target = fTarget.load()) {
        Message message(kMsgStreamEnded);
        message.AddInt32("status", status);
        message.AddString("node", Name().c_str());
        target->PostMessage(message);
    }
}
