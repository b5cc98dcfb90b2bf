// The timer pane driven as a user drives it, in the real main window over a real scheduler:
// Add at a known clock, typing into the time fields, the repeat and date menus, Remove, and
// the window's handling of an entry's notifications.

#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>

#include "scheduler/EventItem.h"
#include "scheduler/Scheduler.h"
#include "tests/scheduler/ZoneForTest.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/timer/EventItemDelegate.h"
#include "ui/timer/TimerView.h"

namespace {

class TimerViewTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        gSettings.showTimer = true;
        gSettings.SetFileName(fPath.c_str());
        MakeWindow();
        fView = fWindow->GetTimerView();
        ASSERT_NE(fView, nullptr);
        fView->SetClock([this] { return fNow; });
    }

    // Add, as pressed at the clock `now`; the new entry.
    EventItem* AddAt(time_t now) {
        fNow = now;
        QTest::mouseClick(Child<QPushButton>("addButton"), Qt::LeftButton);
        drain();
        return fView->SelectedItem();
    }

    // Types `text` into a field and confirms it with Return.
    void Type(const char* field, const char* text) {
        auto* edit = Child<QLineEdit>(field);
        edit->clear();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
        drain();
    }

    // Chooses the item labelled `label` of a menu field.
    void Choose(const char* field, const char* label) {
        auto* button = Child<QPushButton>(field);
        for (QAction* item : button->menu()->actions()) {
            if (item->text() == label) {
                item->trigger();
                drain();
                return;
            }
        }
        ADD_FAILURE() << "no " << label << " in " << field;
    }

    QString Marked(const char* field) {
        for (QAction* item : Child<QPushButton>(field)->menu()->actions()) {
            if (item->isChecked())
                return item->text();
        }
        return {};
    }

    ZoneForTest fZone{"Europe/Berlin"};
    time_t fNow = ZoneForTest::Local(2026, 11, 23, 20, 10);
    TimerView* fView = nullptr;
    // Names no file: a timed recording would take it as it is.
    const std::string fPath = std::string(std::getenv("XDG_CONFIG_HOME")) + "/timed.avi";
};

TEST_F(TimerViewTest, AddStartsAtTheNextHalfHourOneHourAhead) {
    EventItem* item = AddAt(ZoneForTest::Local(2026, 11, 23, 20, 10));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 11, 23, 21, 0));
    EXPECT_EQ(item->Duration(), 3600);
    EXPECT_EQ(item->RepeatMode(), kModeToday);
    EXPECT_EQ(item->GetEvent()->RepeatTime(), 0);
    EXPECT_EQ(item->FileName(), fPath);
    EXPECT_EQ(item->ChannelName(), "Channel 0");
    EXPECT_EQ(item->Format(), fWindow->CurrentFormat());

    EXPECT_EQ(Child<QLineEdit>("startTime")->text(), "21:00");
    EXPECT_EQ(Child<QLineEdit>("stopTime")->text(), "22:00");
    EXPECT_EQ(Child<QLineEdit>("duration")->text(), "1h 0m");
    EXPECT_EQ(Marked("repeatMode"), "today");
    EXPECT_TRUE(Child<QPushButton>("removeButton")->isEnabled());
    ASSERT_EQ(fWindow->GetScheduler()->CountEvents(), 1);
    EXPECT_EQ(fWindow->GetScheduler()->EventAt(0), item->GetEvent());
    EXPECT_EQ(Child<QListWidget>("eventList")->count(), 1);
}

TEST_F(TimerViewTest, DurationTextsAndTheirSeconds) {
    struct Case {
        const char* typed;
        int32 seconds;
    };
    // Each from the entry's 3600 s; a number without its unit is dropped.
    const Case cases[] = {
        {"1h 45m", 6300},    {"90", 3600}, {"2hx", 7200}, {"1h45m", 6300},
        {"  30m 15s", 1815}, {"", 3600},   {"h", 3600},   {"5m 90", 300},
    };
    for (const Case& c : cases) {
        EventItem* item = AddAt(fNow);
        Type("duration", c.typed);
        EXPECT_EQ(item->Duration(), c.seconds) << '"' << c.typed << '"';
        EXPECT_EQ(item->GetEvent()->Duration(), c.seconds) << '"' << c.typed << '"';
    }
}

TEST_F(TimerViewTest, StartAndStopTimesEditTheEntry) {
    EventItem* item = AddAt(fNow);
    Type("startTime", "23:00");
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 11, 23, 23, 0));
    EXPECT_EQ(Child<QLineEdit>("stopTime")->text(), "0:00");

    // Stop before the start: not taken for the next day.
    Type("stopTime", "1:30");
    EXPECT_EQ(item->Duration(), 3600);
    Type("stopTime", "23:40:30");
    EXPECT_EQ(item->Duration(), 40 * 60 + 30);
    EXPECT_EQ(Child<QLineEdit>("duration")->text(), "0h 40m 30s");

    // A single number, or no clock time, changes nothing.
    for (const char* typed : {"7", "25:00", "news"}) {
        Type("startTime", typed);
        EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 11, 23, 23, 0)) << typed;
    }
    EXPECT_EQ(item->GetEvent()->Time(), item->StartTime());
}

TEST_F(TimerViewTest, RepeatModeSetsTheRuleAndTheDateControls) {
    EventItem* item = AddAt(fNow);
    struct Case {
        const char* mode;
        int32 repeatTime;
        int32 repeats;
        bool day, month, weekday;
    };
    const Case cases[] = {
        {"weekly", 604800, -1, false, false, true}, {"single", 0, 0, true, true, false},
        {"monthly", -1, -1, true, false, false},    {"daily", 86400, -1, false, false, false},
        {"today", 0, 0, false, false, false},
    };
    for (const Case& c : cases) {
        Choose("repeatMode", c.mode);
        EXPECT_EQ(item->GetEvent()->RepeatTime(), c.repeatTime) << c.mode;
        EXPECT_EQ(item->GetEvent()->Repeats(), c.repeats) << c.mode;
        EXPECT_EQ(Child<QLineEdit>("day")->isEnabled(), c.day) << c.mode;
        EXPECT_EQ(Child<QPushButton>("month")->isEnabled(), c.month) << c.mode;
        EXPECT_EQ(Child<QPushButton>("weekday")->isEnabled(), c.weekday) << c.mode;
        EXPECT_EQ(Child<QPushButton>("repeatMode")->text(), c.mode);
    }
}

TEST_F(TimerViewTest, DateControlsShowAndMoveTheStart) {
    // Monday 23 November 2026.
    EventItem* item = AddAt(fNow);
    EXPECT_EQ(Child<QLineEdit>("day")->text(), "23");
    EXPECT_EQ(Marked("month"), "November");
    EXPECT_EQ(Marked("weekday"), "Monday");

    Choose("repeatMode", "single");
    Type("day", "28");
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 11, 28, 21, 0));
    EXPECT_EQ(Marked("weekday"), "Saturday");
    Choose("month", "December");
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 12, 28, 21, 0));
    EXPECT_EQ(Marked("weekday"), "Monday");
    // A day that is no number, or 0, leaves the start.
    Type("day", "x");
    Type("day", "0");
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 12, 28, 21, 0));
    // A single entry in a month already past this year moves to the next year.
    Choose("month", "March");
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2027, 3, 28, 21, 0));
}

TEST_F(TimerViewTest, PassedTodayEntryMovesToTomorrow) {
    EventItem* item = AddAt(ZoneForTest::Local(2026, 11, 23, 10, 0));
    ASSERT_EQ(item->StartTime(), ZoneForTest::Local(2026, 11, 23, 11, 0));
    // Past its end: shown again, it is tomorrow's.
    fNow = ZoneForTest::Local(2026, 11, 23, 12, 30);
    fView->SetTimerEvent(item);
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 11, 24, 11, 0));
    EXPECT_EQ(Child<QLineEdit>("day")->text(), "24");
    // Across the end of a month, today is the clock's month too.
    fNow = ZoneForTest::Local(2026, 12, 1, 8, 0);
    fView->SetTimerEvent(item);
    EXPECT_EQ(item->StartTime(), ZoneForTest::Local(2026, 12, 1, 11, 0));
}

TEST_F(TimerViewTest, RemoveTakesTheEventOutOfTheScheduler) {
    AddAt(fNow);
    EventItem* second = AddAt(fNow + 7200);
    ASSERT_EQ(fWindow->GetScheduler()->CountEvents(), 2);
    Event* kept = fView->ItemAt(0)->GetEvent();

    QTest::mouseClick(Child<QPushButton>("removeButton"), Qt::LeftButton);
    drain();
    EXPECT_FALSE(fView->Contains(second));
    EXPECT_EQ(fView->SelectedItem(), nullptr);
    ASSERT_EQ(fWindow->GetScheduler()->CountEvents(), 1);
    EXPECT_EQ(fWindow->GetScheduler()->EventAt(0), kept);
    EXPECT_EQ(Child<QListWidget>("eventList")->count(), 1);
    EXPECT_FALSE(Child<QPushButton>("removeButton")->isEnabled());
    EXPECT_FALSE(Child<QLineEdit>("startTime")->isEnabled());

    // Choosing the one left shows it.
    Child<QListWidget>("eventList")->setCurrentRow(0);
    drain();
    EXPECT_EQ(fView->SelectedItem(), fView->ItemAt(0));
    EXPECT_TRUE(Child<QLineEdit>("startTime")->isEnabled());
}

TEST_F(TimerViewTest, WindowControlsFollowIntoTheSelectedEntry) {
    EventItem* item = AddAt(fNow);
    fWindow->SetChannel(7, nullptr);
    EXPECT_EQ(item->Channel(), 7);
    EXPECT_EQ(item->ChannelName(), "Channel 7");
    auto* fileName = Child<QLineEdit>("fileName");
    fileName->setText("/tmp/evening.mkv");
    Post(Message(kMsgFileName));
    EXPECT_EQ(item->FileName(), "/tmp/evening.mkv");
    Message chosen(kMsgFormat);
    chosen.AddInt32("index", 2);
    Post(chosen);
    EXPECT_EQ(item->Format(), gSettings.formats[2].get());
    // The format goes away: the entry keeps no pointer to it, and takes the one the window
    // chooses instead.
    Post(Message(kMsgRemoveFormat));
    ASSERT_EQ(gSettings.formats.size(), 2u);
    EXPECT_EQ(item->Format(), fWindow->CurrentFormat());
    EXPECT_EQ(item->Format(), gSettings.formats[1].get());
}

TEST_F(TimerViewTest, RunningEntryIsDisabledAndPaintedAsRecording) {
    EventItem* item = AddAt(fNow);
    item->SetChannel(4, "Arte");
    auto* list = Child<QListWidget>("eventList");
    list->clearSelection();
    list->setCurrentRow(-1);
    drain();
    const QRect row = list->visualItemRect(list->item(0));
    // Left of every text, under the heading band.
    const QPoint background(row.left() + 2, row.top() + 28);
    EXPECT_EQ(painted(list->viewport()).pixelColor(background),
              EventItemDelegate::kEnabledColor.ToQColor());

    fWindow->handled.clear();
    Message started = item->GetEvent()->Notification(kEventStarted);
    Post(started);
    EXPECT_FALSE(item->IsEnabled());
    const QImage recording = painted(list->viewport());
    EXPECT_EQ(recording.pixelColor(background), EventItemDelegate::kRecordingColor.ToQColor());
    // "RECORDING" in half-transparent white over the red.
    int overlay = 0;
    for (int x = row.left(); x < row.right(); x++) {
        for (int y = row.top(); y < row.bottom(); y++) {
            // White at half opacity over (200, 80, 80), rounded either way.
            const QColor pixel = recording.pixelColor(x, y);
            overlay += std::abs(pixel.red() - 227) <= 2 && std::abs(pixel.green() - 167) <= 2 &&
                       std::abs(pixel.blue() - 167) <= 2;
        }
    }
    EXPECT_GT(overlay, 50);

    // The window asked to record the entry's channel into its file.
    const Message* request = nullptr;
    for (const Message& message : fWindow->handled) {
        if (message.what == kMsgRecord)
            request = &message;
    }
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->GetInt32("channel", -1), 4);
    EXPECT_EQ(request->GetString("fileName", ""), fPath);

    Post(item->GetEvent()->Notification(kEventStopped));
    EXPECT_TRUE(item->IsEnabled());
}

TEST_F(TimerViewTest, NotificationOfARemovedEntryIsNotRead) {
    EventItem* item = AddAt(fNow);
    const Message started = item->GetEvent()->Notification(kEventStopped);
    QTest::mouseClick(Child<QPushButton>("removeButton"), Qt::LeftButton);
    drain();
    fWindow->handled.clear();
    Post(started);
    // A bare stop, without the gone entry's fields.
    ASSERT_FALSE(fWindow->handled.empty());
    EXPECT_EQ(fWindow->handled.back().what, kMsgStop);
    EXPECT_FALSE(fWindow->handled.back().HasName("fileName"));
}

}  // namespace
