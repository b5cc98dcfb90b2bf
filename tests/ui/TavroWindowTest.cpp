// The main window's frame: its menus, its body, the panes, the timer switch, the secondary
// windows it opens and what it stores when it quits.

#include <QCheckBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>

#include <string>

#include "app/MessageCodes.h"
#include "scheduler/Scheduler.h"
#include "support/MessageQueue.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/main/WindowMessages.h"
#include "ui/widgets/PaneSwitch.h"

namespace {

using TavroWindowTest = WindowTest;

// "label|shortcut", "-" for a separator, ">" before a sub-menu's title.
std::vector<std::string> describe(const QMenu* menu) {
    std::vector<std::string> items;
    for (const QAction* item : menu->actions()) {
        if (item->isSeparator()) {
            items.push_back("-");
            continue;
        }
        std::string text = (item->menu() != nullptr ? ">" : "") + item->text().toStdString();
        if (!item->shortcut().isEmpty())
            text += "|" + item->shortcut().toString().toStdString();
        if (!item->isEnabled())
            text += " (disabled)";
        items.push_back(text);
    }
    return items;
}

const QMenu* menuNamed(const QMenuBar* bar, const char* title) {
    for (const QAction* item : bar->actions()) {
        if (item->text() == title)
            return item->menu();
    }
    return nullptr;
}

TEST_F(TavroWindowTest, MenusHaveTheirLabelsShortcutsAndOrder) {
    MakeWindow();
    const QMenuBar* bar = fWindow->menuBar();
    std::vector<std::string> titles;
    for (const QAction* item : bar->actions())
        titles.push_back(item->text().toStdString());
    EXPECT_EQ(titles, (std::vector<std::string>{"File", "View", "Settings"}));

    EXPECT_EQ(describe(menuNamed(bar, "File")),
              (std::vector<std::string>{"About…", "-", "Quit|Ctrl+Q"}));
    const QMenu* view = menuNamed(bar, "View");
    EXPECT_EQ(describe(view), (std::vector<std::string>{"Video Input Window", ">Video Size", "-",
                                                        "Audio Input Window"}));
    EXPECT_EQ(describe(view->actions()[1]->menu()),
              (std::vector<std::string>{"50% scale|Ctrl+0", "100% scale|Ctrl+1",
                                        "200% scale|Ctrl+2", "-", "Full screen|Ctrl+F"}));
    EXPECT_EQ(describe(menuNamed(bar, "Settings")),
              (std::vector<std::string>{"General… (disabled)", "Formats…", "Video Profiles…", "-",
                                        "Video Input…", "Audio Input…"}));
}

TEST_F(TavroWindowTest, VideoSizeItemsPostTheScaleToTheVideoWindowWhileThereIsOne) {
    MakeWindow();
    MessageQueue videoWindow;
    fWindow->SetVideoSizeTarget(&videoWindow);
    const QMenu* sizes = menuNamed(fWindow->menuBar(), "View")->actions()[1]->menu();
    sizes->actions()[1]->trigger();
    sizes->actions()[4]->trigger();
    Message message;
    ASSERT_EQ(videoWindow.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgResize);
    EXPECT_EQ(message.GetFloat("resize", 0), 1.0f);
    ASSERT_EQ(videoWindow.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgFullScreen);

    // Choosing "Video Input Window" while it is marked closes the preview: the items are left
    // without a target.
    gSettings.showVideo = true;
    delete fWindow;
    MakeWindow();
    fWindow->SetVideoSizeTarget(&videoWindow);
    fWindow->PostMessage(kMsgShowVideo);
    drain();
    EXPECT_FALSE(gSettings.showVideo);
    EXPECT_FALSE(menuNamed(fWindow->menuBar(), "View")->actions()[0]->isChecked());
    menuNamed(fWindow->menuBar(), "View")->actions()[1]->menu()->actions()[0]->trigger();
    EXPECT_EQ(videoWindow.CountMessages(), 0);
}

TEST_F(TavroWindowTest, BodyHoldsItsControlsTopToBottom) {
    MakeWindow();
    EXPECT_EQ(fWindow->windowTitle(), "Tavro");
    EXPECT_EQ(fWindow->geometry().topLeft(), QPoint(40, 50));
    EXPECT_EQ(fWindow->geometry().width(), 420);

    auto* fileName = Child<QLineEdit>("fileName");
    EXPECT_EQ(fileName->text().toStdString(), gSettings.fileName);
    EXPECT_EQ(Child<QPushButton>("fileButton")->text(), "…");
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "Beta");
    EXPECT_EQ(Child<QPushButton>("editButton")->text(), "Edit…");
    auto* description = Child<QTextEdit>("description");
    EXPECT_TRUE(description->isReadOnly());
    EXPECT_EQ(description->font().pointSize(), 9);
    auto* timerEnabled = Child<QCheckBox>("timerEnabled");
    EXPECT_EQ(timerEnabled->text(), "Timer enabled");
    EXPECT_FALSE(timerEnabled->isChecked());
    auto* record = Child<QPushButton>("recordButton");
    auto* stop = Child<QPushButton>("stopButton");
    EXPECT_EQ(record->text(), "Record");
    EXPECT_EQ(stop->text(), "Stop");
    EXPECT_TRUE(record->isEnabled());
    EXPECT_FALSE(stop->isEnabled());

    auto top = [this](QWidget* widget) { return widget->mapTo(fWindow, QPoint(0, 0)).y(); };
    EXPECT_LT(top(fileName), top(Child<QGroupBox>("formatBox")));
    EXPECT_LT(top(Child<QGroupBox>("formatBox")), top(Child<PaneSwitch>("tvSwitch")));
    EXPECT_LT(top(Child<PaneSwitch>("tvSwitch")), top(Child<PaneSwitch>("timerSwitch")));
    EXPECT_EQ(
        top(Child<PaneSwitch>("timerSwitch")) + Child<PaneSwitch>("timerSwitch")->height() / 2,
        top(timerEnabled) + timerEnabled->height() / 2);
    EXPECT_LT(top(timerEnabled), top(record));
    EXPECT_EQ(top(record), top(stop));
}

TEST_F(TavroWindowTest, PanesOpenAndCloseInPlace) {
    MakeWindow();
    auto* tvPane = Child<QWidget>("tvPane");
    auto* tvSwitch = Child<PaneSwitch>("tvSwitch");
    auto* timerPane = Child<QWidget>("timerPane");
    auto* timerSwitch = Child<PaneSwitch>("timerSwitch");
    auto* record = Child<QPushButton>("recordButton");
    EXPECT_TRUE(tvPane->isHidden());
    EXPECT_TRUE(timerPane->isHidden());
    // Something to show, as the panes' own views will be.
    tvPane->setMinimumHeight(40);
    timerPane->setMinimumHeight(120);
    int closedHeight = fWindow->height();
    int recordTop = record->mapTo(fWindow, QPoint(0, 0)).y();

    fWindow->PostMessage(kMsgTVPane);
    drain();
    EXPECT_FALSE(tvPane->isHidden());
    EXPECT_EQ(tvSwitch->Value(), PaneSwitch::kOpen);
    EXPECT_EQ(fWindow->height(), closedHeight + 40 + TavroWindow::kPaneGap);
    EXPECT_EQ(record->mapTo(fWindow, QPoint(0, 0)).y(), recordTop + 40 + TavroWindow::kPaneGap);

    fWindow->PostMessage(kMsgTimerPane);
    drain();
    EXPECT_EQ(timerSwitch->Value(), PaneSwitch::kOpen);
    EXPECT_EQ(fWindow->height(), closedHeight + 40 + 120 + 2 * TavroWindow::kPaneGap);

    fWindow->PostMessage(kMsgTVPane);
    fWindow->PostMessage(kMsgTimerPane);
    drain();
    EXPECT_TRUE(tvPane->isHidden());
    EXPECT_TRUE(timerPane->isHidden());
    EXPECT_EQ(tvSwitch->Value(), PaneSwitch::kClosed);
    EXPECT_EQ(timerSwitch->Value(), PaneSwitch::kClosed);
    EXPECT_EQ(fWindow->height(), closedHeight);
    EXPECT_EQ(record->mapTo(fWindow, QPoint(0, 0)).y(), recordTop);
}

TEST_F(TavroWindowTest, PanesStartAsTheSettingsSayAndQuittingStoresThem) {
    gSettings.showTimer = true;
    MakeWindow();
    EXPECT_TRUE(Child<QWidget>("tvPane")->isHidden());
    EXPECT_FALSE(Child<QWidget>("timerPane")->isHidden());
    EXPECT_EQ(Child<PaneSwitch>("timerSwitch")->Value(), PaneSwitch::kOpen);

    fWindow->PostMessage(kMsgTVPane);
    fWindow->PostMessage(kMsgTimerPane);
    drain();
    fWindow->setGeometry(70, 80, 500, fWindow->height());
    drain();
    EXPECT_TRUE(fWindow->QuitRequested());
    EXPECT_TRUE(gSettings.showTVControls);
    EXPECT_FALSE(gSettings.showTimer);
    QRect frame = fWindow->geometry();
    EXPECT_EQ(gSettings.tavroFrame, (Rect{float(frame.left()), float(frame.top()),
                                          float(frame.right()), float(frame.bottom())}));
    EXPECT_EQ(gSettings.tavroFrame.left, 70);
    EXPECT_EQ(gSettings.tavroFrame.right, 569);
}

TEST_F(TavroWindowTest, TimerEnabledRunsTheScheduler) {
    gSettings.timer = true;
    MakeWindow();
    Scheduler* scheduler = fWindow->GetScheduler();
    ASSERT_NE(scheduler, nullptr);
    EXPECT_TRUE(scheduler->IsRunning());

    // Without "be:value" the message changes nothing.
    fWindow->PostMessage(kMsgTimerEnabled);
    drain();
    EXPECT_TRUE(gSettings.timer);
    EXPECT_TRUE(scheduler->IsRunning());

    QTest::mouseClick(Child<QCheckBox>("timerEnabled"), Qt::LeftButton);
    drain();
    EXPECT_FALSE(gSettings.timer);
    EXPECT_FALSE(scheduler->IsRunning());

    Message enable(kMsgTimerEnabled);
    enable.AddInt32("be:value", 1);
    fWindow->PostMessage(enable);
    drain();
    EXPECT_TRUE(gSettings.timer);
    EXPECT_TRUE(scheduler->IsRunning());
    EXPECT_TRUE(Child<QCheckBox>("timerEnabled")->isChecked());
}

TEST_F(TavroWindowTest, FormatEditorIsOpenedOnceAndThenActivated) {
    MakeWindow();
    fWindow->PostMessage(kMsgFormatSettings);
    drain();
    ASSERT_EQ(fWindow->formatWindowsMade, 1);
    TestChildWindow* editor = fWindow->lastFormatWindow;
    EXPECT_TRUE(editor->isVisible());

    // Open and without "index": only activated.
    fWindow->PostMessage(kMsgFormatSettings);
    drain();
    EXPECT_EQ(fWindow->formatWindowsMade, 1);
    EXPECT_TRUE(editor->received.empty());

    Message select(kMsgFormatSettings);
    select.AddInt32("index", 2);
    fWindow->PostMessage(select);
    drain();
    ASSERT_EQ(editor->received.size(), 1u);
    EXPECT_EQ(editor->received[0].what, kMsgFormatSelected);
    EXPECT_EQ(editor->received[0].GetInt32("index", -1), 2);

    // Closed: the next request makes a new one.
    editor->close();
    fWindow->PostMessage(kMsgFormatWindowClosed);
    fWindow->PostMessage(kMsgFormatSettings);
    drain();
    EXPECT_EQ(fWindow->formatWindowsMade, 2);
    delete fWindow->lastFormatWindow;
}

}  // namespace
