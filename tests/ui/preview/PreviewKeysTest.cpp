// The preview windows' keys and mouse as a desktop user expects them: F11, Esc and a
// double-click for full screen, the pointer out of the way over the full-screen picture,
// Ctrl+Q from any window, and an audio window wide enough for its title.

#include <gtest/gtest.h>

#include <QScreen>
#include <QTest>

#include "app/records/TavroSettings.h"
#include "support/MessageQueue.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/main/WindowMessages.h"
#include "ui/preview/AudioWindow.h"
#include "ui/preview/PreviewView.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"

namespace {

class PreviewKeysTest : public testing::Test {
protected:
    void TearDown() override { delete fWindow.data(); }

    VideoWindow* OpenActive() {
        fWindow = new VideoWindow(Rect{40, 50, 359, 289}, "Tavro - Video In", &fEngine);
        fWindow->SetQuitTarget(&fQuitTarget);
        fWindow->show();
        fWindow->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(fWindow));
        return fWindow;
    }

    // What the window posted to its quit target, apart from its 'nviw'.
    std::vector<uint32> Posted() {
        std::vector<uint32> codes;
        Message message;
        while (fQuitTarget.NextMessage(&message, 0) == B_OK) {
            if (message.what != kMsgNewVideoWindow && message.what != kMsgNewAudioWindow)
                codes.push_back(message.what);
        }
        return codes;
    }

    QApplication* fApplication = testApplication();
    Tavro fEngine{noDevices()};
    MessageQueue fQuitTarget;
    QPointer<VideoWindow> fWindow;
};

}  // namespace

TEST_F(PreviewKeysTest, F11TogglesFullScreenAndEscLeavesIt) {
    OpenActive();
    QTest::keyClick(fWindow, Qt::Key_Escape);
    EXPECT_FALSE(fWindow->IsFullScreen());  // nothing to leave
    QTest::keyClick(fWindow, Qt::Key_F11);
    EXPECT_TRUE(fWindow->IsFullScreen());
    QTest::keyClick(fWindow, Qt::Key_F11);
    EXPECT_FALSE(fWindow->IsFullScreen());
    EXPECT_EQ(fWindow->geometry(), QRect(40, 50, 320, 240));
    QTest::keyClick(fWindow, Qt::Key_F11);
    QTest::keyClick(fWindow, Qt::Key_Escape);
    EXPECT_FALSE(fWindow->IsFullScreen());
    EXPECT_EQ(fWindow->geometry(), QRect(40, 50, 320, 240));
}

TEST_F(PreviewKeysTest, ADoubleClickTogglesFullScreenAndASingleClickOnlyLeavesIt) {
    OpenActive();
    QTest::mouseDClick(fWindow->View(), Qt::LeftButton);
    EXPECT_TRUE(fWindow->IsFullScreen());
    // Past the time a single click waits for its second half: still full screen.
    QTest::qWait(QApplication::doubleClickInterval() + 100);
    EXPECT_TRUE(fWindow->IsFullScreen());
    QTest::mouseDClick(fWindow->View(), Qt::LeftButton);
    EXPECT_FALSE(fWindow->IsFullScreen());
    QTest::qWait(QApplication::doubleClickInterval() + 100);
    EXPECT_FALSE(fWindow->IsFullScreen());
}

TEST_F(PreviewKeysTest, ThePointerHidesWhileItRestsOverTheFullScreenPicture) {
    OpenActive();
    VideoView* view = fWindow->View();
    QTest::mouseMove(view, QPoint(10, 10));
    QTest::qWait(VideoWindow::kPointerRest_ms + 300);
    EXPECT_NE(view->cursor().shape(), Qt::BlankCursor);  // not in a window

    fWindow->SetFullScreen(true);
    QTest::mouseMove(view, QPoint(20, 20));
    EXPECT_NE(view->cursor().shape(), Qt::BlankCursor);
    EXPECT_TRUE(waitUntil([&] { return view->cursor().shape() == Qt::BlankCursor; },
                          VideoWindow::kPointerRest_ms + 2000));
    QTest::mouseMove(view, QPoint(30, 30));
    EXPECT_NE(view->cursor().shape(), Qt::BlankCursor);
    fWindow->SetFullScreen(true);
    QTest::keyClick(fWindow, Qt::Key_Escape);
    EXPECT_NE(view->cursor().shape(), Qt::BlankCursor);
}

TEST_F(PreviewKeysTest, CtrlQInEitherPreviewAsksTheMainWindowToQuit) {
    OpenActive();
    QTest::keyClick(fWindow, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(Posted(), std::vector<uint32>{B_QUIT_REQUESTED});

    auto* audio = new AudioWindow(gSettings.audioFrame, "Tavro - Audio In", &fEngine);
    audio->SetQuitTarget(&fQuitTarget);
    audio->show();
    audio->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(audio));
    QTest::keyClick(audio, Qt::Key_Q, Qt::ControlModifier);
    delete audio;
    EXPECT_EQ(Posted(), (std::vector<uint32>{B_QUIT_REQUESTED, kMsgAudioWindowClosed}));
}

TEST_F(PreviewKeysTest, TheAudioWindowIsWideEnoughForItsTitle) {
    const Rect narrow{150, 100, 354, 142};  // the first start's frame
    AudioWindow audio(narrow, "Tavro - Audio In", &fEngine);
    audio.show();
    EXPECT_GE(audio.width(), titleWidth(&audio));
    QFont bold = audio.font();
    bold.setBold(true);
    EXPECT_GT(audio.width(), QFontMetrics(bold).horizontalAdvance("Tavro - Audio In") + 100);
}

TEST_F(PreviewKeysTest, AFrameStoredOffTheScreenOpensOnIt) {
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    fWindow = new VideoWindow(Rect{2000, 1500, 2319, 1739}, "Tavro - Video In", &fEngine);
    fWindow->show();
    EXPECT_TRUE(screen.contains(fWindow->geometry())) << fWindow->geometry().x();
    EXPECT_EQ(fWindow->size(), QSize(320, 240));
    // Grown for a larger picture near the screen's corner: pushed back onto it.
    fWindow->move(screen.right() - 330, screen.bottom() - 250);
    fWindow->PictureSizeChanged(640, 480);
    EXPECT_EQ(fWindow->size(), QSize(640, 480));
    EXPECT_TRUE(screen.contains(fWindow->geometry()));
}
