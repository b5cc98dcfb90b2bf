#include "engine/RecordPath.h"

#include <algorithm>

#include "support/Clock.h"
#include "support/Status.h"

void RecordPath::SetRecording(bool recording) {
    if (recording) {
        fRecordedFrames.store(0);
        fRingFullDrops.store(0);
        fRelativeTime.store(0);
        fFirstRelativeTime.store(0);
        fFirst.store(true);
        fRecording.store(true);
    } else {
        fRecording.store(false);
        fStopRequested.store(true);
    }
}

void RecordPath::SetRing(RingBuffer* ring, VideoConverter* converter) {
    std::lock_guard lock(fRingLock);
    fRing = ring;
    fConverter = converter;
}

int64 RecordPath::Dropped(int64 expected) const {
    return std::max<int64>(0, expected - fRecordedFrames.load());
}

void RecordPath::Write(MediaBuffer* buffer, bigtime_t relative) {
    if (buffer->SizeAvailable() <
        (fConverter != nullptr ? fConverter->FrameBytes() : fRing->Size()))
        return;
    // Slots in use count the one the writer holds until it releases it, so below Count() the
    // next slot is free: RingBuffer::Write itself would overwrite it.
    while (fRing->BuffersInUse() >= fRing->Count()) {
        if (!fWaitForRing.load() || !fRecording.load()) {
            fRingFullDrops.fetch_add(1);
            return;
        }
        snooze(1000);
    }
    status_t status;
    if (fConverter != nullptr) {
        const uint8* data = static_cast<const uint8*>(buffer->Data());
        status = fRing->Write(
            [this, data](void* slot) {
                fConverter->ConvertPacked(data, static_cast<uint8*>(slot));
            },
            relative);
    } else {
        status = fRing->Write(buffer->Data(), relative);
    }
    if (status == B_OK)
        fRecordedFrames.fetch_add(1);
}

void RecordPath::SetInputStoppedHandler(InputStoppedHandler handler) {
    std::lock_guard lock(fHandlerLock);
    fInputStopped = std::move(handler);
}

void RecordPath::SetStoppedNotice(std::string notice) {
    std::lock_guard lock(fNoticeLock);
    fStoppedNotice = std::move(notice);
}

std::string RecordPath::StoppedNotice() const {
    std::lock_guard lock(fNoticeLock);
    return fStoppedNotice;
}

std::string RecordPath::StopNotice() const {
    std::lock_guard lock(fNoticeLock);
    return fStopNotice;
}

void RecordPath::InputStopped(const std::string& input, status_t status) {
    if (status == B_OK)
        return;
    {
        std::lock_guard lock(fNoticeLock);
        const std::string& which =
            fStoppedNotice.empty() ? "The input \"" + input + "\" has stopped." : fStoppedNotice;
        fStopNotice = which + "\n" + statusText(status);
    }
    if (!fRecording.load())
        return;
    std::lock_guard lock(fHandlerLock);
    if (fInputStopped)
        fInputStopped(input, status);
}
