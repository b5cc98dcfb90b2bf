#include "scheduler/Event.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "support/Clock.h"
#include "support/Log.h"
#include "support/Semaphore.h"
#include "support/Thread.h"

Event::Event(const char* name, std::unique_ptr<Message> message)
    : fName(name ? name : ""), fMessage(std::move(message)), fTime(real_time_clock()) {}

namespace {

std::unique_ptr<Message> archivedMessage(const Message& archive) {
    auto message = std::make_unique<Message>();
    if (archive.FindMessage("msg", message.get()) != B_OK)
        return nullptr;
    return message;
}

}  // namespace

Event::Event(const Message& archive) : Event(nullptr, archivedMessage(archive)) {
    fName = archive.GetString("name", "");
    fTime = archive.GetInt32("time", Time());
    fDuration = archive.GetInt32("duration", 0);
    // Repeats first: a repeat time of 0 clears them, as it does when set by hand.
    SetRepeats(archive.GetInt32("repeats", 0));
    SetRepeatTime(archive.GetInt32("repeat time", 0));
}

Event::Event(Event* other)
    : fName(other->Name()),
      fMessage(other->fMessage ? std::make_unique<Message>(*other->fMessage) : nullptr),
      fDuration(other->Duration()),
      fRepeatTime(other->RepeatTime()),
      fRepeats(other->Repeats()) {
    bool changed = false;
    fTime = int32(other->NextOccurance(&changed));
}

Event::~Event() {
    EndRun();
}

std::unique_ptr<Event> Event::Instantiate(const Message* archive) {
    if (archive == nullptr)
        return nullptr;
    // An archive names every class it was made by; any of them may be "Event".
    const char* className = nullptr;
    for (int32 i = 0; archive->FindString("class", i, &className) == B_OK; i++) {
        if (std::strcmp(className, "Event") == 0)
            return std::make_unique<Event>(*archive);
    }
    return nullptr;
}

status_t Event::Archive(Message* archive) const {
    if (archive == nullptr)
        return B_BAD_VALUE;
    status_t status = archive->AddString("class", "Event");
    if (status == B_OK)
        status = archive->AddString("name", fName);
    if (status == B_OK && fMessage)
        status = archive->AddMessage("msg", *fMessage);
    if (status == B_OK)
        status = archive->AddInt32("time", Time());
    if (status == B_OK)
        status = archive->AddInt32("duration", Duration());
    if (status == B_OK)
        status = archive->AddInt32("repeat time", RepeatTime());
    if (status == B_OK)
        status = archive->AddInt32("repeats", Repeats());
    if (status != B_OK)
        logOutput("event not successfully archived!\n");
    return status;
}

status_t Event::Trigger(MessageTarget* target) {
    EndRun();
    if (fMessage == nullptr)
        target = nullptr;  // nothing to post

    // Held until "status" 0 is posted. The stopper takes it before it posts "status" 1, so the
    // stop never overtakes the start, even when the end has already passed.
    std::lock_guard<std::mutex> lock(fStopperLock);
    fStopper = std::make_shared<Semaphore>(0, "Event Stopper");

    // Without a positive duration nothing ends the event, so no stopper thread is needed; the
    // semaphore stays and the event reports itself running.
    if (Duration() > 0) {
        // Taken now rather than by the stopper: the executor may move a repeating event's
        // start on right after this call, and this run ends after the start it was fired for.
        const bigtime_t clockOffset = system_time() - real_time_clock_usecs();
        const bigtime_t end = (bigtime_t(Time()) + Duration()) * 1000000 + clockOffset;
        Message stopped = target != nullptr ? Notification(kEventStopped) : Message();
        try {
            fStopperThread = spawnThread("Event Stopper", [this, stopper = fStopper, end, target,
                                                           stopped = std::move(stopped)] {
                RunStopper(stopper, end, target, stopped);
            });
        } catch (const std::system_error&) {
            fStopper.reset();
            return B_NO_MORE_THREADS;
        }
    }

    if (target != nullptr)
        target->PostMessage(Notification(kEventStarted));
    return B_OK;
}

void Event::RunStopper(const std::shared_ptr<Semaphore>& stopper, bigtime_t end,
                       MessageTarget* target, const Message& stopped) {
    // A release only wakes the wait; the run ends when the end passes (B_TIMED_OUT) or the
    // semaphore is deleted (B_BAD_SEM_ID). Either way exactly one "status" 1 is posted, also
    // when the end had already passed before the wait began.
    status_t status;
    do {
        status =
            end <= system_time() ? B_TIMED_OUT : stopper->AcquireEtc(1, Timeout::Absolute, end);
    } while (status == B_OK);

    {
        std::lock_guard<std::mutex> lock(fStopperLock);
        if (fStopper == stopper)
            fStopper.reset();
    }
    stopper->Delete();
    if (target != nullptr)
        target->PostMessage(stopped);
}

void Event::EndRun() {
    std::shared_ptr<Semaphore> stopper;
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(fStopperLock);
        stopper = std::move(fStopper);
        thread = std::move(fStopperThread);
    }
    if (stopper)
        stopper->Delete();
    if (thread.joinable())
        thread.join();
}

bool Event::IsRunning() const {
    std::lock_guard<std::mutex> lock(fStopperLock);
    return fStopper != nullptr;
}

time_t Event::NextOccurance(bool* changed) {
    bool ignored = false;
    if (changed == nullptr)
        changed = &ignored;
    const time_t now = real_time_clock();
    if (RepeatTime() == 0)
        return Time();

    int64 skipped = 0;
    if (RepeatTime() > 0 && Repeats() != 0 && Time() < now) {
        // All steps but the last at once: the same result as taking them one by one, without
        // billions of rounds for a start long past and a repeat time of a few seconds. They
        // end before now, so they cannot overflow.
        const int64 repeatTime = RepeatTime();
        skipped = (int64(now) - Time() + repeatTime - 1) / repeatTime - 1;
        if (Repeats() > 0)
            skipped = std::min<int64>(skipped, Repeats() - 1);
        fTime = int32(Time() + skipped * repeatTime);
        if (Repeats() > 0)
            fRepeats = int32(Repeats() - skipped);
    }
    while (Repeats() != 0 && Time() < now) {
        CalculateRepeat(now, changed);
        // A rule that cannot move the start (an unknown repeat time, the end of the 32-bit
        // calendar) would otherwise loop for ever.
        if (!*changed)
            break;
    }
    if (skipped > 0)
        *changed = true;
    return Time();
}

void Event::CalculateRepeat(time_t now, bool* changed) {
    if (Repeats() == 0) {
        *changed = false;
        return;
    }
    const int32 oldTime = Time();
    const int32 repeatTime = RepeatTime();
    int64 newTime = oldTime;
    if (repeatTime == kRepeatMonthly || repeatTime == kRepeatYearly) {
        // The time of day comes from `now`, not from the old start: the new start is one
        // month or year after the moment of this calculation.
        tm local{};
        if (localtime_r(&now, &local) != nullptr) {
            if (repeatTime == kRepeatMonthly)
                local.tm_mon += 1;
            else
                local.tm_year += 1;
            // Keep the wall-clock time of day on whichever side of a daylight-saving change
            // the new date falls.
            local.tm_isdst = -1;
            const time_t moved = mktime(&local);
            if (moved != time_t(-1))
                newTime = moved;
        }
    } else if (repeatTime > 0) {
        newTime = int64(oldTime) + repeatTime;
    }
    // Starts are signed 32-bit calendar seconds; a step past their end does not happen.
    if (newTime > INT32_MAX || newTime < INT32_MIN)
        newTime = oldTime;

    if (newTime == oldTime) {
        *changed = false;
        return;
    }
    fTime = int32(newTime);
    *changed = true;
    if (Repeats() > 0)
        fRepeats.fetch_sub(1, std::memory_order_relaxed);
}

bool Event::CanRepeat() const {
    const int32 repeatTime = RepeatTime();
    return Repeats() != 0 &&
           (repeatTime > 0 || repeatTime == kRepeatMonthly || repeatTime == kRepeatYearly);
}

Message Event::Notification(int32 status) const {
    Message notification = fMessage ? *fMessage : Message();
    // The fields are this event's to set, whatever the message carried before.
    notification.RemoveName("event");
    notification.RemoveName("status");
    notification.AddPointer("event", this);
    notification.AddInt32("status", status);
    return notification;
}

void Event::SetName(const char* name) {
    fName = name ? name : "";
}

void Event::SetTime(int32 time) {
    fTime = time;
}

void Event::SetDuration(int32 seconds) {
    fDuration = seconds;
}

void Event::SetRepeatTime(int32 repeatTime) {
    fRepeatTime = repeatTime;
    if (repeatTime == 0)
        fRepeats = 0;
}

void Event::SetRepeats(int32 repeats) {
    fRepeats = repeats < kRepeatForever ? kRepeatForever : repeats;
}
