// The main window's frame: its menus, its body, the panes, the timer switch, the format editor
// it opens and what it stores when it quits.

#include <QCheckBox>
#include <QMenuBar>
#include <QTextEdit>

#include <algorithm>
#include <functional>

#include "scheduler/Scheduler.h"
#include "support/MessageQueue.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/widgets/PaneSwitch.h"

namespace {

using TavroWindowTest = WindowTest;
using Items = std::vector<std::string>;

// "label|shortcut", "-" for a separator, ">" before a sub-menu's title.
Items describe(const QWidget* menu) {
    Items items;
    for (const QAction* item : menu->actions()) {
        std::string text =
            item->isSeparator() ? "-" : (item->menu() ? ">" : "") + item->text().toStdString();
        if (!item->shortcut().isEmpty())
            text += "|" + item->shortcut().toString().toStdString();
        items.push_back(text + (item->isEnabled() ? "" : " (disabled)"));
    }
    return items;
}

QMenu* menuOf(const QWidget* menu, int index) {
    return menu->actions()[index]->menu();
}

TEST_F(TavroWindowTest, MenusHaveTheirLabelsShortcutsAndOrder) {
    MakeWindow();
    const QMenuBar* bar = fWindow->menuBar();
    EXPECT_EQ(describe(bar), (Items{">File", ">View", ">Settings"}));
    EXPECT_EQ(describe(menuOf(bar, 0)), (Items{"About…", "-", "Quit|Ctrl+Q"}));
    EXPECT_EQ(describe(menuOf(bar, 1)),
              (Items{"Video Input Window", ">Video Size", "-", "Audio Input Window"}));
    EXPECT_EQ(describe(menuOf(menuOf(bar, 1), 1)),
              (Items{"50% scale|Ctrl+0", "100% scale|Ctrl+1", "200% scale|Ctrl+2", "-",
                     "Full screen|Ctrl+F"}));
    EXPECT_EQ(describe(menuOf(bar, 2)), (Items{"General… (disabled)", "Formats…", "Video Profiles…",
                                               "-", "Video Input…", "Audio Input…"}));
}

TEST_F(TavroWindowTest, VideoSizeItemsPostTheScaleToTheVideoWindowWhileThereIsOne) {
    gSettings.showVideo = true;
    MakeWindow();
    MessageQueue videoWindow;
    fWindow->SetVideoSizeTarget(&videoWindow);
    QMenu* view = menuOf(fWindow->menuBar(), 1);
    menuOf(view, 1)->actions()[1]->trigger();
    menuOf(view, 1)->actions()[4]->trigger();
    Message message;
    ASSERT_EQ(videoWindow.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgResize);
    EXPECT_EQ(message.GetFloat("resize", 0), 1.0f);
    ASSERT_EQ(videoWindow.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgFullScreen);

    // "Video Input Window" while it is marked closes the preview: the items lose their target.
    Post(Message(kMsgShowVideo));
    EXPECT_FALSE(gSettings.showVideo);
    EXPECT_FALSE(view->actions()[0]->isChecked());
    menuOf(view, 1)->actions()[0]->trigger();
    EXPECT_EQ(videoWindow.CountMessages(), 0);
}

TEST_F(TavroWindowTest, BodyHoldsItsControlsTopToBottom) {
    MakeWindow();
    // The stored width, or the narrowest the status counters allow.
    EXPECT_EQ(fWindow->geometry(),
              QRect(40, 50, std::max(420, fWindow->minimumWidth()), fWindow->height()));
    EXPECT_FALSE(Child<QCheckBox>("timerEnabled")->isChecked());
    EXPECT_TRUE(Child<QTextEdit>("description")->isReadOnly());
    EXPECT_TRUE(Child<QPushButton>("recordButton")->isEnabled());
    EXPECT_FALSE(Child<QPushButton>("stopButton")->isEnabled());

    auto middle = [this](const char* name) {
        QWidget* widget = Child<QWidget>(name);
        return widget->mapTo(fWindow, QPoint(0, widget->height() / 2)).y();
    };
    std::vector<int> rows;
    for (const char* name : {"fileName", "formatBox", "tvSwitch", "timerSwitch", "recordButton"})
        rows.push_back(middle(name));
    EXPECT_EQ(std::adjacent_find(rows.begin(), rows.end(), std::greater_equal<>()), rows.end());
    EXPECT_EQ(middle("timerEnabled"), middle("timerSwitch"));
    EXPECT_EQ(middle("stopButton"), middle("recordButton"));
}

TEST_F(TavroWindowTest, PanesStartAsStoredOpenAndCloseInPlaceAndAreStoredOnQuit) {
    gSettings.showTimer = true;
    MakeWindow();
    auto* tvPane = Child<QWidget>("tvPane");
    auto* timerPane = Child<QWidget>("timerPane");
    auto* timerSwitch = Child<PaneSwitch>("timerSwitch");
    EXPECT_TRUE(tvPane->isHidden());
    EXPECT_FALSE(timerPane->isHidden());
    EXPECT_EQ(timerSwitch->Value(), PaneSwitch::kOpen);
    Post(Message(kMsgTimerPane));
    EXPECT_TRUE(timerPane->isHidden());
    EXPECT_EQ(timerSwitch->Value(), PaneSwitch::kClosed);

    // The TV pane has its controls; the timer pane something to show.
    timerPane->setMinimumHeight(120);
    const int tv = tvPane->sizeHint().expandedTo(tvPane->minimumSize()).height();
    ASSERT_GT(tv, 20);
    constexpr int gap = TavroWindow::kPaneGap;
    // The timer pane holds the timer list and its controls: at least the 120 given.
    const int timerHeight = timerPane->sizeHint().expandedTo(timerPane->minimumSize()).height();
    ASSERT_GE(timerHeight, 120);
    const int closedHeight = fWindow->height();
    auto recordTop = [this] {
        return Child<QWidget>("recordButton")->mapTo(fWindow, QPoint()).y();
    };
    const int closedRecordTop = recordTop();
    Post(Message(kMsgTVPane));
    EXPECT_FALSE(tvPane->isHidden());
    EXPECT_EQ(Child<PaneSwitch>("tvSwitch")->Value(), PaneSwitch::kOpen);
    EXPECT_EQ(fWindow->height(), closedHeight + tv + gap);
    EXPECT_EQ(recordTop(), closedRecordTop + tv + gap);
    Post(Message(kMsgTimerPane));
    EXPECT_EQ(timerSwitch->Value(), PaneSwitch::kOpen);
    EXPECT_EQ(fWindow->height(), closedHeight + tv + timerHeight + 2 * gap);
    Post(Message(kMsgTimerPane));
    EXPECT_EQ(fWindow->height(), closedHeight + tv + gap);
    EXPECT_EQ(recordTop(), closedRecordTop + tv + gap);

    EXPECT_TRUE(fWindow->QuitRequested());
    EXPECT_TRUE(gSettings.showTVControls);
    EXPECT_FALSE(gSettings.showTimer);
}

TEST_F(TavroWindowTest, TimerEnabledRunsTheScheduler) {
    gSettings.timer = true;
    MakeWindow();
    Scheduler* scheduler = fWindow->GetScheduler();
    ASSERT_NE(scheduler, nullptr);
    EXPECT_TRUE(scheduler->IsRunning());

    // Without "be:value" the message changes nothing.
    Post(Message(kMsgTimerEnabled));
    EXPECT_TRUE(gSettings.timer);
    EXPECT_TRUE(scheduler->IsRunning());

    QTest::mouseClick(Child<QCheckBox>("timerEnabled"), Qt::LeftButton);
    drain();
    EXPECT_FALSE(gSettings.timer);
    EXPECT_FALSE(scheduler->IsRunning());

    Message enable(kMsgTimerEnabled);
    enable.AddInt32("be:value", 1);
    Post(enable);
    EXPECT_TRUE(gSettings.timer);
    EXPECT_TRUE(scheduler->IsRunning());
    EXPECT_TRUE(Child<QCheckBox>("timerEnabled")->isChecked());
}

TEST_F(TavroWindowTest, FormatEditorIsOpenedOnceAndThenActivated) {
    MakeWindow();
    Post(Message(kMsgFormatSettings));
    ASSERT_EQ(fWindow->formatWindowsMade, 1);
    TestChildWindow* editor = fWindow->formatWindow;
    EXPECT_TRUE(editor->isVisible());

    // Open and without "index": only activated.
    Post(Message(kMsgFormatSettings));
    EXPECT_EQ(fWindow->formatWindowsMade, 1);
    EXPECT_TRUE(editor->received.empty());

    Message select(kMsgFormatSettings);
    select.AddInt32("index", 2);
    Post(select);
    ASSERT_EQ(editor->received.size(), 1u);
    EXPECT_EQ(editor->received[0].what, kMsgFormatSelected);
    EXPECT_EQ(editor->received[0].GetInt32("index", -1), 2);

    // Closed: the next request makes a new one.
    editor->close();
    fWindow->PostMessage(kMsgFormatWindowClosed);
    Post(Message(kMsgFormatSettings));
    EXPECT_EQ(fWindow->formatWindowsMade, 2);
}

}  // namespace
