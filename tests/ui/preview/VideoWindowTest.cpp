// The video window's scales, full-screen mode, menu and closing report.

#include <gtest/gtest.h>

#include <QMenu>
#include <QScreen>
#include <QTest>

#include "app/TavroSettings.h"
#include "support/MessageQueue.h"
#include "tests/ui/preview/PreviewTestSupport.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"

namespace {

class VideoWindowTest : public testing::Test {
protected:
    void SetUp() override { testApplication(); }

    static Rect ScreenFrame() {
        QRect screen = QGuiApplication::primaryScreen()->geometry();
        return Rect{float(screen.left()), float(screen.top()), float(screen.right()),
                    float(screen.bottom())};
    }

    // Posts like the menus and shortcuts do, and lets the window take it.
    static void PostResize(VideoWindow* window, float scale) {
        Message message(kMsgResize);
        message.AddFloat("resize", scale);
        window->PostMessage(message);
        QCoreApplication::processEvents();
    }

    Tavro fEngine{noDevices()};  // a 320 x 240 picture
};

TEST_F(VideoWindowTest, ScalesThePictureSize) {
    auto* window = new VideoWindow(Rect{40, 50, 359, 289}, "Tavro - Video In", &fEngine);
    window->show();
    EXPECT_EQ(window->geometry(), QRect(40, 50, 320, 240));

    PostResize(window, 2.0f);
    EXPECT_EQ(window->size(), QSize(640, 480));
    EXPECT_EQ(window->View()->size(), QSize(640, 480));
    EXPECT_EQ(window->Scale(), 2.0f);

    PostResize(window, 0.5f);
    EXPECT_EQ(window->size(), QSize(160, 120));

    // Without "resize" nothing changes.
    window->PostMessage(kMsgResize);
    QCoreApplication::processEvents();
    EXPECT_EQ(window->size(), QSize(160, 120));

    // A new picture size keeps the scale.
    window->PictureSizeChanged(720, 576);
    EXPECT_EQ(window->size(), QSize(360, 288));
    delete window;
}

TEST_F(VideoWindowTest, ScreenFrameStartsFullScreenAndLeavesAtPictureSize) {
    auto* window = new VideoWindow(ScreenFrame(), "Tavro - Video In", &fEngine);
    window->show();
    EXPECT_TRUE(window->IsFullScreen());
    EXPECT_EQ(window->Frame(), ScreenFrame());

    window->SetFullScreen(false);
    EXPECT_FALSE(window->IsFullScreen());
    EXPECT_EQ(window->geometry(), QRect(100, 100, 320, 240));
    delete window;
}

TEST_F(VideoWindowTest, ScaleChosenInFullScreenLeavesItAtTheNewSize) {
    auto* window = new VideoWindow(ScreenFrame(), "Tavro - Video In", &fEngine);
    window->show();
    PostResize(window, 2.0f);
    EXPECT_FALSE(window->IsFullScreen());
    EXPECT_EQ(window->geometry(), QRect(100, 100, 640, 480));
    delete window;
}

TEST_F(VideoWindowTest, ZoomOnlyEntersFullScreenAndAClickLeavesIt) {
    auto* window = new VideoWindow(Rect{40, 50, 359, 289}, "Tavro - Video In", &fEngine);
    window->show();
    window->Zoom();
    window->Zoom();
    EXPECT_TRUE(window->IsFullScreen());
    EXPECT_EQ(window->Frame(), ScreenFrame());

    QTest::mouseClick(window->View(), Qt::LeftButton);
    EXPECT_FALSE(window->IsFullScreen());
    EXPECT_EQ(window->geometry(), QRect(40, 50, 320, 240));

    // The title bar's maximise control is the zoom control.
    window->setWindowState(Qt::WindowMaximized);
    QCoreApplication::processEvents();
    EXPECT_TRUE(window->IsFullScreen());
    EXPECT_FALSE(window->windowState() & Qt::WindowMaximized);

    window->PostMessage(kMsgFullScreen);
    QCoreApplication::processEvents();
    EXPECT_FALSE(window->IsFullScreen());
    EXPECT_EQ(window->geometry(), QRect(40, 50, 320, 240));
    delete window;
}

TEST_F(VideoWindowTest, SecondaryClickOffersTheScalesAndFullScreen) {
    auto* window = new VideoWindow(Rect{40, 50, 359, 289}, "Tavro - Video In", &fEngine);
    window->show();
    QTest::mouseClick(window->View(), Qt::RightButton);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu->title(), "VideoView menu");
    QStringList labels;
    for (QAction* item : menu->actions())
        labels << (item->isSeparator() ? "-" : item->text() + " " + item->shortcut().toString());
    EXPECT_EQ(labels, QStringList({"50% scale Ctrl+0", "100% scale Ctrl+1", "200% scale Ctrl+2",
                                   "-", "Full screen Ctrl+F"}));

    menu->actions().at(2)->trigger();
    menu->close();
    QCoreApplication::processEvents();
    EXPECT_EQ(window->size(), QSize(640, 480));
    delete window;
}

TEST_F(VideoWindowTest, ClosingStoresTheFrameAndTellsTheQuitTarget) {
    MessageQueue quitTarget;
    auto* window = new VideoWindow(Rect{40, 50, 359, 289}, "Tavro - Video In", &fEngine);
    window->show();
    window->SetQuitTarget(&quitTarget);
    Message message;
    ASSERT_EQ(quitTarget.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgNewVideoWindow);

    window->setGeometry(70, 80, 320, 240);
    window->close();  // deletes itself
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    ASSERT_EQ(quitTarget.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgVideoWindowClosed);
    EXPECT_EQ(gSettings.videoFrame, (Rect{70, 80, 389, 319}));
}

}  // namespace
