// The pane switch: a click counts only when released within 3 pixels, it toggles between 0 and
// 1 and posts its message; the three drawing states.

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>

#include "support/MessageQueue.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/widgets/PaneSwitch.h"

namespace {

constexpr uint32 kSwitched = fourcc("pswi");

class PaneSwitchTest : public testing::Test {
protected:
    void SetUp() override {
        fSwitch.resize(16, 16);
        fSwitch.SetMessage(Message(kSwitched));
        fSwitch.SetTarget(&fQueue);
    }

    // Presses in the middle and releases `dx` pixels right of the switch's right edge.
    void ClickReleasingAt(int dx) {
        QTest::mousePress(&fSwitch, Qt::LeftButton, {}, QPoint(8, 8));
        QPoint release(fSwitch.width() - 1 + dx, 8);
        QMouseEvent moved(QEvent::MouseMove, release, fSwitch.mapToGlobal(release), Qt::NoButton,
                          Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&fSwitch, &moved);
        QTest::mouseRelease(&fSwitch, Qt::LeftButton, {}, release);
    }

    bool Contains(const QImage& image, const QColor& colour) {
        for (int y = 0; y < image.height(); y++) {
            for (int x = 0; x < image.width(); x++) {
                if (image.pixelColor(x, y) == colour)
                    return true;
            }
        }
        return false;
    }

    QApplication* fApplication = testApplication();  // before any widget
    PaneSwitch fSwitch{"switch"};
    MessageQueue fQueue;
};

TEST_F(PaneSwitchTest, ReleaseBeyondTheSlopDoesNothing) {
    ClickReleasingAt(4);
    EXPECT_EQ(fSwitch.Value(), 0);
    EXPECT_FALSE(fSwitch.IsPressed());
    EXPECT_EQ(fQueue.CountMessages(), 0);
}

TEST_F(PaneSwitchTest, ReleaseWithinTheSlopTogglesAndInvokes) {
    ClickReleasingAt(2);
    EXPECT_EQ(fSwitch.Value(), 1);
    Message message;
    ASSERT_EQ(fQueue.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, kSwitched);
    EXPECT_EQ(message.GetInt32("be:value", -1), 1);

    // The owner opens its pane at 2; the next click closes it.
    fSwitch.SetValue(PaneSwitch::kOpen);
    ClickReleasingAt(0);
    EXPECT_EQ(fSwitch.Value(), 0);
    ASSERT_EQ(fQueue.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.GetInt32("be:value", -1), 0);
}

TEST_F(PaneSwitchTest, DisabledSwitchIgnoresTheMouse) {
    fSwitch.setEnabled(false);
    QTest::mousePress(&fSwitch, Qt::LeftButton, {}, QPoint(8, 8));
    EXPECT_FALSE(fSwitch.IsPressed());
    QTest::mouseRelease(&fSwitch, Qt::LeftButton, {}, QPoint(8, 8));
    EXPECT_EQ(fSwitch.Value(), 0);
    EXPECT_EQ(fQueue.CountMessages(), 0);
}

TEST_F(PaneSwitchTest, EachStateHasItsColours) {
    const QColor black(0, 0, 0), grey(150, 150, 150), olive(100, 100, 0);
    QImage closed = fSwitch.grab().toImage();
    EXPECT_TRUE(Contains(closed, black));
    EXPECT_TRUE(Contains(closed, grey));
    EXPECT_FALSE(Contains(closed, olive));

    fSwitch.SetValue(PaneSwitch::kOpen);
    QImage open = fSwitch.grab().toImage();
    EXPECT_TRUE(Contains(open, grey));
    EXPECT_NE(open, closed);

    QTest::mousePress(&fSwitch, Qt::LeftButton, {}, QPoint(8, 8));
    QImage pressed = fSwitch.grab().toImage();
    EXPECT_TRUE(Contains(pressed, olive));
    EXPECT_FALSE(Contains(pressed, grey));
    QTest::mouseRelease(&fSwitch, Qt::LeftButton, {}, QPoint(40, 8));
}

TEST_F(PaneSwitchTest, FocusMarkShowsOnlyWithTheKeyboardFocus) {
    QWidget window;
    PaneSwitch* focused = new PaneSwitch("focused", true, &window);
    focused->resize(16, 16);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QColor mark = focused->palette().highlight().color();
    int markRow = focused->height() - 2;

    focused->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(focused->hasFocus());
    QImage image = focused->grab().toImage();
    EXPECT_EQ(image.pixelColor(8, markRow), mark);
    EXPECT_EQ(image.pixelColor(8, focused->height() - 1), QColor(Qt::white));

    focused->clearFocus();
    image = focused->grab().toImage();
    EXPECT_EQ(image.pixelColor(8, markRow), focused->palette().window().color());
    EXPECT_EQ(image.pixelColor(8, focused->height() - 1), focused->palette().window().color());
}

}  // namespace
