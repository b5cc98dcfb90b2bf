// The video window's scales, full-screen mode, menu and closing report.

#include <gtest/gtest.h>

#include <QMenu>
#include <QPointer>
#include <QScreen>
#include <QTest>

#include "app/records/TavroSettings.h"
#include "support/MessageQueue.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"

namespace {

class VideoWindowTest : public testing::Test {
protected:
    void TearDown() override { delete fWindow.data(); }

    static Rect ScreenFrame() {
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        return Rect{float(screen.left()), float(screen.top()), float(screen.right()),
                    float(screen.bottom())};
    }

    VideoWindow* Open(const Rect& frame) {
        delete fWindow.data();
        fWindow = new VideoWindow(frame, "Tavro - Video In", &fEngine);
        fWindow->show();
        return fWindow;
    }

    // Posts as the menus and shortcuts do, and lets the window take it.
    void Post(uint32 what, float scale = 0) {
        Message message(what);
        if (scale > 0)
            message.AddFloat("resize", scale);
        fWindow->PostMessage(message);
        QCoreApplication::processEvents();
    }

    QApplication* fApplication = testApplication();
    Tavro fEngine{noDevices()};  // a 320 x 240 picture
    QPointer<VideoWindow> fWindow;
};

TEST_F(VideoWindowTest, ScalesThePictureSize) {
    Open(Rect{40, 50, 359, 289});
    EXPECT_EQ(fWindow->geometry(), QRect(40, 50, 320, 240));
    Post(kMsgResize, 2.0f);
    EXPECT_EQ(fWindow->size(), QSize(640, 480));
    Post(kMsgResize, 0.5f);
    EXPECT_EQ(fWindow->size(), QSize(160, 120));
    Post(kMsgResize);  // without "resize"
    EXPECT_EQ(fWindow->size(), QSize(160, 120));
    // A new picture size keeps the scale.
    fWindow->PictureSizeChanged(720, 576);
    EXPECT_EQ(fWindow->size(), QSize(360, 288));
}

TEST_F(VideoWindowTest, FullScreenIsEnteredAndLeftAtThePictureSize) {
    // Made with the screen's frame: full screen, leaving it 100 points from the corner, at the
    // picture's size or at the scale chosen in it.
    Open(ScreenFrame());
    EXPECT_TRUE(fWindow->IsFullScreen());
    EXPECT_EQ(fWindow->Frame(), ScreenFrame());
    fWindow->SetFullScreen(false);
    EXPECT_EQ(fWindow->geometry(), QRect(100, 100, 320, 240));
    Open(ScreenFrame());
    Post(kMsgResize, 2.0f);
    EXPECT_FALSE(fWindow->IsFullScreen());
    EXPECT_EQ(fWindow->geometry(), QRect(100, 100, 640, 480));

    // The zoom only enters it, a primary click leaves it; the title bar's maximise control is
    // the zoom control.
    Open(Rect{40, 50, 359, 289});
    fWindow->Zoom();
    fWindow->Zoom();
    EXPECT_TRUE(fWindow->IsFullScreen());
    EXPECT_EQ(fWindow->Frame(), ScreenFrame());
    // Once no second click can follow.
    QTest::mouseClick(fWindow->View(), Qt::LeftButton);
    EXPECT_TRUE(waitUntil([&] { return !fWindow->IsFullScreen(); },
                          QApplication::doubleClickInterval() + 2000));
    EXPECT_EQ(fWindow->geometry(), QRect(40, 50, 320, 240));
    fWindow->setWindowState(Qt::WindowMaximized);
    QCoreApplication::processEvents();
    EXPECT_TRUE(fWindow->IsFullScreen());
    EXPECT_FALSE(fWindow->windowState() & Qt::WindowMaximized);
    Post(kMsgFullScreen);  // 'full' leaves it too
    EXPECT_FALSE(fWindow->IsFullScreen());
    EXPECT_EQ(fWindow->geometry(), QRect(40, 50, 320, 240));
}

TEST_F(VideoWindowTest, SecondaryClickOffersTheScalesAndFullScreen) {
    Open(Rect{40, 50, 359, 289});
    QTest::mouseClick(fWindow->View(), Qt::RightButton);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    // The items of the main window's "Video Size" menu.
    EXPECT_EQ(menu->title(), "VideoView menu");
    ASSERT_EQ(menu->actions().size(), 5);
    EXPECT_EQ(menu->actions().at(2)->text(), "200% scale");
    menu->actions().at(2)->trigger();
    menu->close();
    QCoreApplication::processEvents();
    EXPECT_EQ(fWindow->size(), QSize(640, 480));
}

TEST_F(VideoWindowTest, ClosingStoresTheFrameAndTellsTheQuitTarget) {
    MessageQueue quitTarget;
    Open(Rect{40, 50, 359, 289})->SetQuitTarget(&quitTarget);
    Message message;
    ASSERT_EQ(quitTarget.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgNewVideoWindow);

    fWindow->setGeometry(70, 80, 320, 240);
    fWindow->close();  // deletes itself
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(fWindow.isNull());
    ASSERT_EQ(quitTarget.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kMsgVideoWindowClosed);
    EXPECT_EQ(gSettings.videoFrame, (Rect{70, 80, 389, 319}));
}

}  // namespace
