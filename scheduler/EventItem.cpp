#include "scheduler/EventItem.h"

#include <cstdio>
#include <cstring>

#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "scheduler/Scheduler.h"

struct tm localTime(time_t time) {
    struct tm local {};
    localtime_r(&time, &local);
    return local;
}

namespace {

std::string clockText(time_t time) {
    const struct tm local = localTime(time);
    char text[16];
    std::snprintf(text, sizeof(text), "%2i:%02i", local.tm_hour, local.tm_min);
    return text;
}

}  // namespace

EventItem::EventItem(std::unique_ptr<Message> message) {
    message->AddPointer("eventItem", this);
    fOwnedEvent = std::make_unique<Event>(nullptr, std::move(message));
    fEvent = fOwnedEvent.get();
    fStartTime = fEvent->Time();
}

EventItem::~EventItem() = default;

status_t EventItem::AddTo(Scheduler* scheduler) {
    if (fOwnedEvent == nullptr)
        return B_BAD_VALUE;
    status_t status = scheduler->AddEvent(fOwnedEvent.get());
    if (status == B_OK)
        (void)fOwnedEvent.release();
    return status;
}

status_t EventItem::RemoveFrom(Scheduler* scheduler) {
    if (fOwnedEvent != nullptr)
        return B_BAD_VALUE;
    status_t status = scheduler->RemoveEvent(fEvent);
    if (status == B_OK)
        fOwnedEvent.reset(fEvent);
    return status;
}

void EventItem::SetStartTime(int32 time) {
    if (time == fStartTime)
        return;
    fStartTime = time;
    fEvent->SetTime(time);
    UpdateDescription();
}

void EventItem::SetDuration(int32 seconds) {
    if (seconds == fDuration)
        return;
    fDuration = seconds;
    fEvent->SetDuration(seconds);
    UpdateDescription();
}

void EventItem::SetRepeatMode(int32 mode) {
    fRepeatMode = mode;
    switch (mode) {
        case kModeToday:
        case kModeSingle:
            fEvent->SetRepeatTime(0);
            break;
        case kModeDaily:
            fEvent->SetRepeatTime(86400);
            break;
        case kModeWeekly:
            fEvent->SetRepeatTime(604800);
            break;
        case kModeMonthly:
            fEvent->SetRepeatTime(kRepeatMonthly);
            break;
        default:
            break;
    }
    fEvent->SetRepeats(mode > kModeSingle ? kRepeatForever : 0);
}

void EventItem::SetChannel(int32 channel, const char* name) {
    fChannel = channel;
    if (name != nullptr) {
        fChannelName = name;
    } else {
        char text[32];
        std::snprintf(text, sizeof(text), "Channel %li", long(channel));
        fChannelName = text;
    }
}

void EventItem::SetFormat(FormatSetting* format) {
    fFormat = format;
}

void EventItem::SetFileName(const char* path) {
    fFile = path != nullptr ? path : "";
}

void EventItem::UpdateDescription() {
    fStartText = clockText(fStartTime);
    const struct tm start = localTime(fStartTime);
    char date[64];
    if (std::strftime(date, sizeof(date), "%a, %d %b %Y", &start) == 0)
        date[0] = '\0';
    fDateText = date;
    fStopText = clockText(time_t(fStartTime) + fDuration);
}

std::string EventItem::FileLeaf() const {
    const size_t slash = fFile.find_last_of('/');
    return slash == std::string::npos ? fFile : fFile.substr(slash + 1);
}

const char* EventItem::RepeatWord() const {
    switch (fRepeatMode) {
        case kModeDaily:
            return "daily";
        case kModeWeekly:
            return "weekly";
        case kModeMonthly:
            return "monthly";
        default:
            return "";
    }
}

void EventItem::SyncFromEvent() {
    fStartTime = fEvent->Time();
    fDuration = fEvent->Duration();
    UpdateDescription();
}

status_t EventItem::Archive(Message* archive) const {
    status_t status = fEvent->Archive(archive);
    if (status == B_OK)
        status = archive->AddString("path", fFile);
    if (status == B_OK)
        status = archive->AddInt32("channel", fChannel);
    if (status == B_OK)
        status = archive->AddString("channel name", fChannelName);
    if (status == B_OK && fFormat != nullptr)
        status = archive->AddString("format", fFormat->name);
    if (status == B_OK)
        status = archive->AddInt32("repeat mode", fRepeatMode);
    return status;
}

std::unique_ptr<EventItem> EventItem::Instantiate(const Message& archive,
                                                  const FormatList& formats) {
    // Validated through the event's own rule, then read field by field into a fresh entry:
    // the stored message is not taken, so a damaged one cannot make the entry post anything
    // but a timer notification.
    std::unique_ptr<Event> stored = Event::Instantiate(&archive);
    int32 time;
    if (stored == nullptr || archive.FindInt32("time", &time) != B_OK || stored->Duration() < 0)
        return nullptr;
    auto item = std::make_unique<EventItem>(std::make_unique<Message>(kMsgTimerEvent));
    item->fEvent->SetName(stored->Name().c_str());
    item->SetStartTime(time);
    item->SetDuration(stored->Duration());
    int32 mode = archive.GetInt32("repeat mode", -1);
    if (mode < kModeToday || mode > kModeMonthly) {
        // Without a stored mode, the one whose rule the event has.
        switch (stored->RepeatTime()) {
            case 86400:
                mode = kModeDaily;
                break;
            case 604800:
                mode = kModeWeekly;
                break;
            case kRepeatMonthly:
                mode = kModeMonthly;
                break;
            default:
                mode = kModeSingle;
                break;
        }
    }
    item->SetRepeatMode(mode);
    // The rule as stored: a repeat time or count the modes do not make is kept.
    item->fEvent->SetRepeats(stored->Repeats());
    item->fEvent->SetRepeatTime(stored->RepeatTime());
    item->SetFileName(archive.GetString("path", "").c_str());
    std::string channelName;
    item->SetChannel(
        archive.GetInt32("channel", 0),
        archive.FindString("channel name", &channelName) == B_OK ? channelName.c_str() : nullptr);
    std::string formatName;
    if (archive.FindString("format", &formatName) == B_OK) {
        for (const std::unique_ptr<FormatSetting>& format : formats) {
            if (format != nullptr && formatName == format->name) {
                item->SetFormat(format.get());
                break;
            }
        }
    }
    item->UpdateDescription();
    return item;
}
