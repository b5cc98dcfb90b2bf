#pragma once
// EventItem: one entry of the timer list. It holds the Event the scheduler runs and what a
// timed recording needs besides the times: the output file, the TV channel and the recording
// format, and three ready-made texts (start, stop, date) so that drawing a row formats no time.
// The painted row is ui/timer/EventItemDelegate; this class has no widgets.
//
// The event is the item's until it is handed to a Scheduler (AddTo), which then owns it; the
// item keeps pointing at it and takes it back with RemoveFrom. Every notification of the event
// carries "eventItem" (this item) besides "event" and "status".

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "app/records/FormatSetting.h"
#include "scheduler/Event.h"
#include "support/Message.h"
class Scheduler;

// The repeat modes of an entry, as the timer pane's menu lists them.
constexpr int32 kModeToday = 0;
constexpr int32 kModeSingle = 1;
constexpr int32 kModeDaily = 2;
constexpr int32 kModeWeekly = 3;
constexpr int32 kModeMonthly = 4;

class EventItem {
public:
    // Fixed row height of an entry in the timer list, in pixels.
    static constexpr int kHeight = 40;

    // Adds "eventItem" to `message` and makes the event of it (starting now, 0 s long).
    explicit EventItem(std::unique_ptr<Message> message);
    // Deletes the event unless a scheduler owns it: remove it from the scheduler first.
    ~EventItem();
    EventItem(const EventItem&) = delete;
    EventItem& operator=(const EventItem&) = delete;

    // Hands the event to `scheduler`, or takes it back. The result is the scheduler's.
    status_t AddTo(Scheduler* scheduler);
    status_t RemoveFrom(Scheduler* scheduler);
    bool IsScheduled() const { return fOwnedEvent == nullptr; }

    // Each stores the value and, when it changed, sets it on the event and rebuilds the texts.
    void SetStartTime(int32 time);
    void SetDuration(int32 seconds);
    // Sets the event's repeat rule for the mode: none for today and single, every 86400 s,
    // every 604800 s or monthly, without end. An unknown mode leaves the repeat time alone.
    void SetRepeatMode(int32 mode);
    // A null name becomes "Channel N".
    void SetChannel(int32 channel, const char* name);
    // `format` is an element of the settings' list, not owned; null: none.
    void SetFormat(FormatSetting* format);
    void SetFileName(const char* path);
    // Rebuilds the start, stop and date texts in local time.
    void UpdateDescription();

    // A disabled entry is one whose timed recording is running; the list paints it so.
    void SetEnabled(bool enabled) { fEnabled = enabled; }
    bool IsEnabled() const { return fEnabled; }
    // The reason the last timed start of this entry failed; empty when it did not.
    void SetFailure(const std::string& text) { fFailure = text; }
    const std::string& Failure() const { return fFailure; }

    Event* GetEvent() const { return fEvent; }
    int32 StartTime() const { return fStartTime; }
    int32 Duration() const { return fDuration; }
    int32 RepeatMode() const { return fRepeatMode; }
    int32 Channel() const { return fChannel; }
    const std::string& ChannelName() const { return fChannelName; }
    FormatSetting* Format() const { return fFormat; }
    const std::string& FileName() const { return fFile; }
    // The file's last component, as the row shows it.
    std::string FileLeaf() const;
    const std::string& StartText() const { return fStartText; }
    const std::string& StopText() const { return fStopText; }
    const std::string& DateText() const { return fDateText; }
    // The word the row shows for the repeat mode: "daily", "weekly", "monthly" or "".
    const char* RepeatWord() const;

    // The entry as the settings file keeps it: the event's archive ("class", "name", "msg",
    // "time", "duration", "repeat time", "repeats"), then "path", "channel", "channel name",
    // "format" (the format's name; absent without one) and "repeat mode".
    status_t Archive(Message* archive) const;
    // An entry from Archive's form, idle and not scheduled; null when `archive` is not one (no
    // Event class, no start, a negative duration). The format is the one of `formats` with
    // the stored name; none when no format has it.
    static std::unique_ptr<EventItem> Instantiate(const Message& archive,
                                                  const FormatList& formats);

    // Takes the start, duration and repeat rule from the event again, after someone else
    // (the scheduler moving a repeating start on) changed them.
    void SyncFromEvent();

private:
    Event* fEvent;
    // Set while the item owns its event (not in a scheduler).
    std::unique_ptr<Event> fOwnedEvent;
    std::string fFile;
    FormatSetting* fFormat = nullptr;
    std::string fChannelName;
    int32 fChannel = 0;
    int32 fStartTime;
    int32 fDuration = 0;
    int32 fRepeatMode = kModeToday;
    std::string fDateText;
    std::string fStartText;
    std::string fStopText;
    bool fEnabled = true;
    std::string fFailure;
};

// Local calendar time of `time` (the user's zone, daylight saving included).
struct tm localTime(time_t time);
