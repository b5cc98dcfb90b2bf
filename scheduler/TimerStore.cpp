#include "scheduler/TimerStore.h"

#include <algorithm>

#include "app/records/FormatSetting.h"

namespace {

// Moves a repeating entry past the runs that ended by `now`; false when it has no run left
// that ends after `now`.
bool skipEndedRuns(EventItem* item, time_t now) {
    Event* event = item->GetEvent();
    const int64 duration = event->Duration();
    if (int64(event->Time()) + duration > now)
        return true;
    if (!event->CanRepeat())
        return false;
    if (event->RepeatTime() > 0) {
        // Straight to the first run that ends after now, counting down the runs taken.
        const int64 repeatTime = event->RepeatTime();
        const int64 ended = (int64(now) - event->Time() - duration) / repeatTime + 1;
        if (event->Repeats() > 0 && ended > event->Repeats())
            return false;
        event->SetTime(int32(event->Time() + ended * repeatTime));
        if (event->Repeats() > 0)
            event->SetRepeats(int32(event->Repeats() - ended));
    } else {
        // The monthly and yearly rules step from now.
        bool changed = false;
        event->CalculateRepeat(now, &changed);
        if (!changed)
            return false;
    }
    item->SyncFromEvent();
    return int64(event->Time()) + duration > now;
}

}  // namespace

std::string describeTimer(const EventItem& item) {
    // The row's clock texts are right-aligned to two hour digits; a line needs no padding.
    auto trimmed = [](const std::string& text) {
        return text.substr(std::min(text.find_first_not_of(' '), text.size()));
    };
    std::string line =
        item.DateText() + " " + trimmed(item.StartText()) + "-" + trimmed(item.StopText());
    if (item.RepeatWord()[0] != '\0')
        line += std::string(" ") + item.RepeatWord();
    line += ", " + item.ChannelName() + ", " + item.FileName();
    if (item.Format() != nullptr)
        line += std::string(" (") + item.Format()->Text() + ")";
    return line;
}

RestoredTimers restoreTimers(const std::vector<Message>& archives, const FormatList& formats,
                             time_t now) {
    RestoredTimers restored;
    for (const Message& archive : archives) {
        std::unique_ptr<EventItem> item = EventItem::Instantiate(archive, formats);
        if (item == nullptr) {
            restored.damaged++;
            continue;
        }
        const int64 start = item->StartTime();
        const int64 end = start + item->Duration();
        if (end <= now) {
            restored.missed.push_back(describeTimer(*item));
            if (!skipEndedRuns(item.get(), now))
                continue;
        }
        if (item->StartTime() <= now && now < int64(item->StartTime()) + item->Duration())
            restored.inProgress.push_back(item.get());
        restored.items.push_back(std::move(item));
    }
    return restored;
}

std::vector<Message> archiveTimers(const std::vector<const EventItem*>& items) {
    std::vector<Message> archives;
    for (const EventItem* item : items) {
        Message archive;
        if (item->Archive(&archive) == B_OK)
            archives.push_back(std::move(archive));
    }
    return archives;
}
