#include "ui/timer/TimerView.h"

#include <QActionGroup>
#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "scheduler/EventItem.h"
#include "scheduler/Scheduler.h"
#include "scheduler/TimerStore.h"
#include "support/Clock.h"
#include "ui/main/TavroWindow.h"
#include "ui/timer/EventItemDelegate.h"

namespace {

constexpr const char* kRepeatModes[] = {"today", "single", "daily", "weekly", "monthly"};
constexpr const char* kMonths[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};
// The week begins with Saturday in this menu: index 0 is Saturday.
constexpr const char* kWeekdays[] = {"Saturday",  "Sunday",   "Monday", "Tuesday",
                                     "Wednesday", "Thursday", "Friday"};

// A new entry starts at the next full or half hour one hour ahead, for an hour.
constexpr int32 kStartGrid = 1800;
constexpr int32 kStartAhead = 3600;
constexpr int32 kDefaultDuration = 3600;
// The duration text is read up to this many bytes.
constexpr size_t kDurationTextSize = 64;

// "H:MM", with ":SS" when the seconds are not zero.
QString clockText(time_t time) {
    const struct tm local = localTime(time);
    char text[32];
    if (local.tm_sec != 0)
        std::snprintf(text, sizeof(text), "%i:%02i:%02i", local.tm_hour, local.tm_min,
                      local.tm_sec);
    else
        std::snprintf(text, sizeof(text), "%i:%02i", local.tm_hour, local.tm_min);
    return text;
}

// "Hh Mm", with " SSs" when the seconds are not zero.
QString durationText(int32 seconds) {
    char text[48];
    int length = std::snprintf(text, sizeof(text), "%lih %lim", long(seconds / 3600),
                               long(seconds % 3600 / 60));
    if (seconds % 60 != 0)
        std::snprintf(text + length, sizeof(text) - size_t(length), " %02lis", long(seconds % 60));
    return text;
}

// Reads "H:MM" or "H:MM:SS" of a valid clock time; false for anything else (a single number
// among them).
bool parseClock(const QString& text, int* hour, int* minute, int* second) {
    long h = 0, m = 0, s = 0;
    if (std::sscanf(text.toUtf8().constData(), "%ld:%ld:%ld", &h, &m, &s) < 2)
        return false;
    if (h < 0 || h > 23 || m < 0 || m > 59 || s < 0 || s > 59)
        return false;
    *hour = int(h);
    *minute = int(m);
    *second = int(s);
    return true;
}

// Numbers each followed by its unit, 'h', 'm' or 's', separated by white space: "1h 45m". The
// parsing ends at anything else; a number without its unit is dropped. 0 when nothing was read
// (or the sum does not fit).
int32 parseDuration(const QString& text) {
    char copy[kDurationTextSize];
    std::strncpy(copy, text.toUtf8().constData(), sizeof(copy) - 1);
    copy[sizeof(copy) - 1] = '\0';
    int64 sum = 0;
    const char* cursor = copy;
    for (;;) {
        while (std::isspace(static_cast<unsigned char>(*cursor)))
            cursor++;
        if (!std::isdigit(static_cast<unsigned char>(*cursor)))
            break;
        char* end = nullptr;
        const long long number = std::strtoll(cursor, &end, 10);
        cursor = end;
        int64 unit;
        if (*cursor == 'h')
            unit = 3600;
        else if (*cursor == 'm')
            unit = 60;
        else if (*cursor == 's')
            unit = 1;
        else
            break;
        cursor++;
        if (number > INT32_MAX)
            return 0;
        sum += number * unit;
        if (sum > INT32_MAX)
            return 0;
    }
    return int32(sum);
}

// mktime of `local` with the zone's rule for that date deciding daylight saving.
int32 calendarSeconds(struct tm local) {
    local.tm_isdst = -1;
    return int32(mktime(&local));
}

// A button that shows the marked item of its menu, as a pop-up menu field does.
QPushButton* newMenuField(const char* objectName, const char* const* labels, int count,
                          const char* field, uint32 what, Looper* target) {
    auto* button = new QPushButton;
    button->setObjectName(objectName);
    auto* menu = new QMenu(button);
    menu->setObjectName(QString(objectName) + "Menu");
    auto* group = new QActionGroup(menu);
    group->setExclusionPolicy(QActionGroup::ExclusionPolicy::Exclusive);
    for (int index = 0; index < count; index++) {
        QAction* item = menu->addAction(labels[index]);
        item->setCheckable(true);
        group->addAction(item);
        QObject::connect(item, &QAction::triggered, button, [=] {
            button->setText(item->text());
            Message message(what);
            message.AddInt32(field, index);
            target->PostMessage(message);
        });
    }
    button->setMenu(menu);
    return button;
}

// Marks the item at `index` of the field's menu and shows its label.
void markField(QPushButton* field, int32 index) {
    markMenuItem(field->menu(), index);
    QAction* marked = field->menu()->actions().value(index, nullptr);
    field->setText(marked != nullptr ? marked->text() : QString());
}

}  // namespace

void markMenuItem(QMenu* menu, int32 index) {
    const QList<QAction*> items = menu->actions();
    QAction* wanted = index >= 0 && index < items.size() ? items[index] : nullptr;
    QAction* marked = nullptr;
    for (QAction* item : items) {
        if (item->isChecked())
            marked = item;
    }
    if (marked != nullptr && marked == wanted)
        return;
    if (marked != nullptr)
        marked->setChecked(false);
    if (wanted != nullptr)
        wanted->setChecked(true);
}

TimerView::TimerView(TavroWindow* window, QWidget* parent)
    : QWidget(parent), Looper(this), fWindow(window), fClock([] { return real_time_clock(); }) {
    setObjectName("timerView");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    auto* listRow = new QHBoxLayout;
    fList = new QListWidget;
    fList->setObjectName("eventList");
    fList->setItemDelegate(new EventItemDelegate(fList));
    fList->setSelectionMode(QAbstractItemView::SingleSelection);
    fList->setUniformItemSizes(true);
    // Three entries in view.
    fList->setFixedHeight(3 * EventItem::kHeight + 2 * fList->frameWidth());
    connect(fList, &QListWidget::currentRowChanged, this, [this](int row) {
        Message message(kMsgEventSelected);
        message.AddInt32("index", row);
        PostMessage(message);
    });
    listRow->addWidget(fList, 1);
    auto* buttons = new QVBoxLayout;
    fAddButton = new QPushButton("Add");
    fAddButton->setObjectName("addButton");
    connect(fAddButton, &QPushButton::clicked, this, [this] { PostMessage(kMsgAddEvent); });
    fRemoveButton = new QPushButton("Remove");
    fRemoveButton->setObjectName("removeButton");
    connect(fRemoveButton, &QPushButton::clicked, this, [this] { PostMessage(kMsgRemoveEvent); });
    buttons->addWidget(fAddButton);
    buttons->addWidget(fRemoveButton);
    buttons->addStretch(1);
    listRow->addLayout(buttons);
    layout->addLayout(listRow);

    auto* fields = new QGridLayout;
    auto textField = [this, fields](const char* label, const char* objectName, const char* initial,
                                    uint32 what, int row, int column) {
        auto* edit = new QLineEdit(initial);
        edit->setObjectName(objectName);
        connect(edit, &QLineEdit::editingFinished, this, [this, what] { PostMessage(what); });
        fields->addWidget(new QLabel(label), row, column);
        fields->addWidget(edit, row, column + 1);
        return edit;
    };
    fStartTime = textField("Start Time:", "startTime", "20:15", kMsgStartTime, 0, 0);
    fStopTime = textField("Stop Time:", "stopTime", "22:00", kMsgStopTime, 0, 2);
    fDuration = textField("Duration:", "duration", "1h 45m", kMsgDuration, 1, 0);
    fRepeatMode = newMenuField("repeatMode", kRepeatModes, int(std::size(kRepeatModes)),
                               "repeat mode", kMsgRepeatMode, this);
    fields->addWidget(fRepeatMode, 1, 3);
    fDay = textField("Day:", "day", "1", kMsgDay, 2, 0);
    fMonth = newMenuField("month", kMonths, int(std::size(kMonths)), "month", kMsgMonth, this);
    fields->addWidget(new QLabel("Month:"), 2, 2);
    fields->addWidget(fMonth, 2, 3);
    markField(fMonth, 0);
    fWeekday =
        newMenuField("weekday", kWeekdays, int(std::size(kWeekdays)), "weekday", kMsgWeekday, this);
    fields->addWidget(new QLabel("Weekday:"), 3, 0);
    fields->addWidget(fWeekday, 3, 1);
    layout->addLayout(fields);

    // Shown, but it does nothing: Tavro does not shut the system down.
    fShutdown = new QCheckBox("Shutdown system after recording");
    fShutdown->setObjectName("shutdown");
    fShutdown->setEnabled(false);
    layout->addWidget(fShutdown);

    SetViewsEnabled(false);
}

TimerView::~TimerView() = default;

void TimerView::MessageReceived(Message* message) {
    switch (message->what) {
        case kMsgAddEvent:
            AddEvent();
            break;
        case kMsgRemoveEvent:
            RemoveEvent();
            break;
        case kMsgEventSelected:
            SelectEvent(message);
            break;
        case kMsgStartTime:
        case kMsgStopTime:
        case kMsgDuration:
            TimeEdited(message->what);
            break;
        case kMsgRepeatMode:
            RepeatModeChosen(message);
            break;
        case kMsgDay:
            DayEdited();
            break;
        case kMsgMonth:
            MonthChosen(message);
            break;
        default:
            // 'wday' among them: the weekday is shown, not applied.
            break;
    }
}

// #pragma mark - The list

void TimerView::AddEvent() {
    auto item = std::make_unique<EventItem>(std::make_unique<Message>(kMsgTimerEvent));
    const time_t now = fClock();
    item->SetStartTime(int32(now / kStartGrid * kStartGrid + kStartAhead));
    item->SetDuration(kDefaultDuration);
    item->SetRepeatMode(kModeToday);
    item->SetFileName(gSettings.fileName.c_str());
    // Without a name from the TV pane, the entry names its channel by number.
    item->SetChannel(fWindow->Channel(),
                     fWindow->ChannelName().empty() ? nullptr : fWindow->ChannelName().c_str());
    item->SetFormat(fWindow->CurrentFormat());
    item->UpdateDescription();
    EventItem* added = item.get();
    AddItem(std::move(item));
    SetTimerEvent(added);
    SetViewsEnabled(true);
    const QSignalBlocker blocker(fList);
    fList->setCurrentRow(RowOf(added));
}

void TimerView::AddItem(std::unique_ptr<EventItem> item) {
    auto* row = new QListWidgetItem;
    row->setData(EventItemDelegate::kEventItemRole, QVariant::fromValue(quintptr(item.get())));
    fList->addItem(row);
    item->AddTo(fWindow->GetScheduler());
    fItems.push_back(std::move(item));
}

void TimerView::RestoreTimers(const std::vector<Message>& archives, bool record) {
    RestoredTimers restored = restoreTimers(archives, gSettings.formats, fClock());
    for (std::unique_ptr<EventItem>& item : restored.items) {
        const bool inProgress = std::find(restored.inProgress.begin(), restored.inProgress.end(),
                                          item.get()) != restored.inProgress.end();
        // Before the scheduler moves a repeating entry's start on: the run ends at the end of
        // the start it was stored with.
        if (inProgress && record)
            item->GetEvent()->Trigger(fWindow);
        AddItem(std::move(item));
    }
    if (restored.missed.empty())
        return;
    QString text = "These timed recordings were missed while Tavro was not running:\n";
    for (const std::string& line : restored.missed)
        text += "\n" + QString::fromStdString(line);
    auto* notice =
        new QMessageBox(QMessageBox::Information, QString(), text, QMessageBox::Ok, window());
    notice->setObjectName("missedTimersNotice");
    notice->setAttribute(Qt::WA_DeleteOnClose);
    notice->open();
}

std::vector<Message> TimerView::ArchiveTimers() const {
    std::vector<const EventItem*> items;
    for (const std::unique_ptr<EventItem>& item : fItems)
        items.push_back(item.get());
    return archiveTimers(items);
}

void TimerView::RemoveEvent() {
    const int32 row = RowOf(fSelected);
    if (row < 0)
        return;
    fSelected->RemoveFrom(fWindow->GetScheduler());
    {
        const QSignalBlocker blocker(fList);
        delete fList->takeItem(row);
        fList->setCurrentRow(-1);
        fList->clearSelection();
    }
    fSelected = nullptr;
    // Deletes the event; a running one posts its "status" 1, which names an entry that the
    // window no longer finds in the list.
    fItems.erase(fItems.begin() + row);
    SetViewsEnabled(false);
}

void TimerView::SelectEvent(const Message* message) {
    if (fItems.empty())
        return;
    int32 index;
    if (message->FindInt32("index", &index) != B_OK || ItemAt(index) == nullptr)
        return;
    SetTimerEvent(ItemAt(index));
    SetViewsEnabled(true);
}

bool TimerView::Contains(const EventItem* item) const {
    return RowOf(item) >= 0;
}

EventItem* TimerView::ItemAt(int32 index) const {
    if (index < 0 || size_t(index) >= fItems.size())
        return nullptr;
    return fItems[size_t(index)].get();
}

int32 TimerView::RowOf(const EventItem* item) const {
    if (item == nullptr)
        return -1;
    for (size_t row = 0; row < fItems.size(); row++) {
        if (fItems[row].get() == item)
            return int32(row);
    }
    return -1;
}

void TimerView::ItemChanged(const EventItem* item) {
    const int32 row = RowOf(item);
    if (row >= 0)
        fList->viewport()->update(fList->visualItemRect(fList->item(row)));
}

// #pragma mark - Editing the selected entry

void TimerView::SetTimerEvent(EventItem* item) {
    fWindow->SetTimerEvent(item);
    fSelected = item;
    const time_t start = item->StartTime();
    fStartTime->setText(clockText(start));
    fStopTime->setText(clockText(start + item->Duration()));
    fDuration->setText(durationText(item->Duration()));
    markField(fRepeatMode, item->RepeatMode());
    UpdateDate();
}

void TimerView::SetViewsEnabled(bool enabled) {
    for (QWidget* view : std::initializer_list<QWidget*>{
             fStartTime, fStopTime, fDuration, fRepeatMode, fDay, fMonth, fWeekday, fRemoveButton})
        view->setEnabled(enabled);
    // The date controls then follow the entry's repeat mode.
    if (enabled)
        UpdateRepeatMode();
}

void TimerView::UpdateRepeatMode() {
    const int32 mode = fSelected != nullptr ? fSelected->RepeatMode() : kModeToday;
    fDay->setEnabled(mode == kModeSingle || mode == kModeMonthly);
    fMonth->setEnabled(mode == kModeSingle);
    fWeekday->setEnabled(mode == kModeWeekly);
}

void TimerView::EditSelected(const std::function<void(EventItem*)>& edit) {
    Scheduler* scheduler = fWindow->GetScheduler();
    scheduler->Lock();
    edit(fSelected);
    scheduler->Unlock();
    scheduler->EventChanged();
}

bool TimerView::ParseTimeControls(uint32 what) {
    if (fSelected == nullptr)
        return false;
    const int32 oldStart = fSelected->StartTime();
    const int32 oldDuration = fSelected->Duration();
    struct tm local = localTime(oldStart);
    EditSelected([&](EventItem* item) {
        int hour, minute, second;
        if (parseClock(fStartTime->text(), &hour, &minute, &second)) {
            local.tm_hour = hour;
            local.tm_min = minute;
            local.tm_sec = second;
            item->SetStartTime(calendarSeconds(local));
        }
        if (what != kMsgDuration) {
            if (parseClock(fStopTime->text(), &hour, &minute, &second)) {
                // On the start's date; a stop before the start is not taken for the next day.
                struct tm stop = localTime(item->StartTime());
                stop.tm_hour = hour;
                stop.tm_min = minute;
                stop.tm_sec = second;
                const int32 end = calendarSeconds(stop);
                if (end >= item->StartTime())
                    item->SetDuration(end - item->StartTime());
            }
        } else {
            const int32 duration = parseDuration(fDuration->text());
            if (duration != 0)
                item->SetDuration(duration);
        }
    });
    return fSelected->StartTime() != oldStart || fSelected->Duration() != oldDuration;
}

void TimerView::TimeEdited(uint32 what) {
    if (ParseTimeControls(what)) {
        ItemChanged(fSelected);
        SetTimerEvent(fSelected);
    }
}

void TimerView::RepeatModeChosen(const Message* message) {
    int32 mode;
    if (fSelected == nullptr || message->FindInt32("repeat mode", &mode) != B_OK)
        return;
    EditSelected([mode](EventItem* item) { item->SetRepeatMode(mode); });
    UpdateRepeatMode();
    ItemChanged(fSelected);
}

void TimerView::DayEdited() {
    if (fSelected == nullptr)
        return;
    const long day = std::strtol(fDay->text().toUtf8().constData(), nullptr, 10);
    if (day > 0 && day <= 31) {
        struct tm local = localTime(fSelected->StartTime());
        local.tm_mday = int(day);
        EditSelected([&](EventItem* item) { item->SetStartTime(calendarSeconds(local)); });
    }
    UpdateDate();
}

void TimerView::MonthChosen(const Message* message) {
    int32 month;
    if (fSelected == nullptr || message->FindInt32("month", &month) != B_OK || month < 0 ||
        month > 11)
        return;
    struct tm local = localTime(fSelected->StartTime());
    local.tm_mon = month;
    EditSelected([&](EventItem* item) { item->SetStartTime(calendarSeconds(local)); });
    UpdateDate();
}

void TimerView::UpdateDate() {
    if (fSelected == nullptr)
        return;
    struct tm local = localTime(fSelected->StartTime());
    const int32 mode = fSelected->RepeatMode();
    if (mode == kModeToday || mode == kModeSingle) {
        const time_t now = fClock();
        const struct tm today = localTime(now);
        local.tm_year = today.tm_year;
        if (mode == kModeToday) {
            // Today is a day of a month: both come from the clock.
            local.tm_mon = today.tm_mon;
            local.tm_mday = today.tm_mday;
        }
        EditSelected([&](EventItem* item) {
            item->SetStartTime(calendarSeconds(local));
            if (time_t(item->StartTime()) + item->Duration() < now) {
                if (mode == kModeSingle)
                    local.tm_year++;
                else
                    local.tm_mday++;
                item->SetStartTime(calendarSeconds(local));
            }
        });
        local = localTime(fSelected->StartTime());
    }
    fDay->setText(QString::number(local.tm_mday));
    markField(fMonth, local.tm_mon);
    markField(fRepeatMode, mode);
    markField(fWeekday, (local.tm_wday + 1) % 7);
    ItemChanged(fSelected);
}

// #pragma mark - From the main window

void TimerView::SetChannel(int32 channel, const char* name) {
    if (fSelected == nullptr)
        return;
    fSelected->SetChannel(channel, name);
    ItemChanged(fSelected);
}

void TimerView::SetFileName(const char* name) {
    if (fSelected == nullptr)
        return;
    fSelected->SetFileName(name);
    ItemChanged(fSelected);
}

void TimerView::SetFormat(FormatSetting* format) {
    if (fSelected == nullptr)
        return;
    fSelected->SetFormat(format);
    ItemChanged(fSelected);
}

void TimerView::FormatRemoved(const FormatSetting* format) {
    for (const std::unique_ptr<EventItem>& item : fItems) {
        if (item->Format() == format) {
            item->SetFormat(nullptr);
            ItemChanged(item.get());
        }
    }
}
