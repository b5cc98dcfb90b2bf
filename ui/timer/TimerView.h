#pragma once
// The timer pane of the main window: the list of timed recordings (EventItems) with "Add" and
// "Remove", and the controls that edit the selected entry in place: start, stop, duration,
// repeat mode and date. Each entry's event lives in the main window's Scheduler; the pane adds
// and removes it there and edits it under the scheduler's lock.
//
// Times are local: what the user types and sees follows the zone and its daylight saving.
// The pane's controls post their messages to the pane; MessageReceived holds what each does.

#include <QWidget>

#include <ctime>
#include <functional>
#include <memory>
#include <vector>

#include "ui/Looper.h"

class EventItem;
class FormatSetting;
class QCheckBox;
class QLineEdit;
class QListWidget;
class QMenu;
class QPushButton;
class TavroWindow;

constexpr uint32 kMsgEventSelected = fourcc("evsl");
constexpr uint32 kMsgAddEvent = fourcc("adev");
constexpr uint32 kMsgRemoveEvent = fourcc("rmev");
constexpr uint32 kMsgStartTime = fourcc("sbtm");
constexpr uint32 kMsgStopTime = fourcc("setm");
constexpr uint32 kMsgDuration = fourcc("dtm ");
constexpr uint32 kMsgRepeatMode = fourcc("rpmd");
constexpr uint32 kMsgDay = fourcc("day ");
constexpr uint32 kMsgMonth = fourcc("mon ");
constexpr uint32 kMsgWeekday = fourcc("wday");

// Marks the item at `index` of `menu` (and unmarks the marked one) unless it is marked already.
// An index outside the menu only unmarks.
void markMenuItem(QMenu* menu, int32 index);

class TimerView : public QWidget, public Looper {
    Q_OBJECT

public:
    // The calendar seconds "now" means to the pane.
    using Clock = std::function<time_t()>;

    // `window` (not owned) owns the pane and the scheduler; it must outlive the pane's use.
    explicit TimerView(TavroWindow* window, QWidget* parent = nullptr);
    ~TimerView() override;

    void MessageReceived(Message* message) override;

    // Shows `item` in the controls and makes it the selected one; the main window shows its
    // file and format.
    void SetTimerEvent(EventItem* item);
    void SetViewsEnabled(bool enabled);
    // Brings a "today" or "single" entry's date up to date and shows the date controls.
    void UpdateDate();
    // Enables the date controls the selected repeat mode uses.
    void UpdateRepeatMode();
    // Reads the time controls into the selected entry; true when its start or duration changed.
    bool ParseTimeControls(uint32 what);

    // What the main window's controls changed, for the selected entry (none: nothing).
    void SetChannel(int32 channel, const char* name);
    void SetFileName(const char* name);
    void SetFormat(FormatSetting* format);
    // `format` is being deleted: entries that record with it record with none.
    void FormatRemoved(const FormatSetting* format);

    // Takes an entry that was made elsewhere (restored from the settings): lists it and hands
    // its event to the scheduler.
    void AddItem(std::unique_ptr<EventItem> item);
    // Lists the stored entries (see scheduler/TimerStore.h) and shows a notice of the missed
    // ones. With `record`, entries in progress start recording at once.
    void RestoreTimers(const std::vector<Message>& archives, bool record);
    // The archives of the entries, in list order.
    std::vector<Message> ArchiveTimers() const;
    // True when `item` is one of the list's entries (a notification may outlive its entry).
    bool Contains(const EventItem* item) const;
    int32 CountItems() const { return int32(fItems.size()); }
    EventItem* ItemAt(int32 index) const;
    EventItem* SelectedItem() const { return fSelected; }
    // Repaints the row of `item` after it changed.
    void ItemChanged(const EventItem* item);

    // For tests: the clock Add and the date rules read.
    void SetClock(Clock clock) { fClock = std::move(clock); }

private:
    void AddEvent();
    void RemoveEvent();
    void SelectEvent(const Message* message);
    void TimeEdited(uint32 what);
    void RepeatModeChosen(const Message* message);
    void DayEdited();
    void MonthChosen(const Message* message);
    // Applies `edit` to the selected entry under the scheduler's lock, then wakes the scheduler
    // to read it again.
    void EditSelected(const std::function<void(EventItem*)>& edit);
    int32 RowOf(const EventItem* item) const;

    TavroWindow* const fWindow;
    Clock fClock;
    EventItem* fSelected = nullptr;
    // In list order; the list's rows point at these.
    std::vector<std::unique_ptr<EventItem>> fItems;

    QListWidget* fList = nullptr;
    QPushButton* fAddButton = nullptr;
    QPushButton* fRemoveButton = nullptr;
    QLineEdit* fStartTime = nullptr;
    QLineEdit* fStopTime = nullptr;
    QLineEdit* fDuration = nullptr;
    QPushButton* fRepeatMode = nullptr;
    QLineEdit* fDay = nullptr;
    QPushButton* fMonth = nullptr;
    QPushButton* fWeekday = nullptr;
    QCheckBox* fShutdown = nullptr;
};
