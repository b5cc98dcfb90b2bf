#include "engine/RecordPath.h"

#include <algorithm>

#include "support/Clock.h"

void RecordPath::SetRecording(bool recording) {
    if (recording) {
        fRecordedFrames.store(0);
        fRelativeTime.store(0);
        fRecording.store(true);
    } else {
        fRecording.store(false);
        fStopRequested.store(true);
    }
}

void RecordPath::SetRing(RingBuffer* ring) {
    std::lock_guard lock(fRingLock);
    fRing = ring;
}

int64 RecordPath::Dropped(int64 expected) const {
    return std::max<int64>(0, expected - fRecordedFrames.load());
}

void RecordPath::Write(MediaBuffer* buffer, bigtime_t relative) {
    while (fWaitForRing.load() && fRecording.load() && fRing->BuffersInUse() >= fRing->Count())
        snooze(1000);
    if (buffer->SizeAvailable() >= fRing->Size() && fRing->Write(buffer->Data(), relative) == B_OK)
        fRecordedFrames.fetch_add(1);
}
