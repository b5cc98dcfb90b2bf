// The pane switch: a click counts only when released within 3 pixels, it toggles between 0 and
// 1 and posts its message; the three drawing states and the focus mark.

#include <gtest/gtest.h>

#include <QTest>
#include <algorithm>

#include "support/MessageQueue.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/widgets/PaneSwitch.h"

namespace {

class PaneSwitchTest : public testing::Test {
protected:
    void SetUp() override {
        fSwitch.resize(16, 16);
        fSwitch.SetMessage(Message(fourcc("pswi")));
        fSwitch.SetTarget(&fQueue);
    }

    // Presses in the middle and releases `dx` pixels right of the switch's right edge.
    void ClickReleasingAt(int dx) {
        QTest::mousePress(&fSwitch, Qt::LeftButton, {}, QPoint(8, 8));
        const QPoint release(fSwitch.width() - 1 + dx, 8);
        QMouseEvent moved(QEvent::MouseMove, release, fSwitch.mapToGlobal(release), Qt::NoButton,
                          Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&fSwitch, &moved);
        QTest::mouseRelease(&fSwitch, Qt::LeftButton, {}, release);
    }

    bool Contains(const QColor& colour) {
        const QImage image = painted(&fSwitch);
        const auto* pixels = reinterpret_cast<const QRgb*>(image.constBits());
        return std::count(pixels, pixels + image.width() * image.height(), colour.rgb()) > 0;
    }

    QApplication* fApplication = testApplication();  // before any widget
    PaneSwitch fSwitch{"switch"};
    MessageQueue fQueue;
};

TEST_F(PaneSwitchTest, OnlyAReleaseWithinThreePixelsTogglesAndInvokes) {
    // The owner opens its pane at 2; a click closes it again.
    const struct {
        int32 value;
        int dx;
        int32 after;
    } cases[] = {{0, 4, 0}, {0, 2, 1}, {PaneSwitch::kOpen, 0, 0}, {PaneSwitch::kOpen, 3, 0}};
    for (const auto& c : cases) {
        fSwitch.SetValue(c.value);
        ClickReleasingAt(c.dx);
        EXPECT_EQ(fSwitch.Value(), c.after) << c.value << " released at " << c.dx;
        EXPECT_FALSE(fSwitch.IsPressed());
        Message message;
        if (c.after == c.value) {
            EXPECT_EQ(fQueue.CountMessages(), 0) << c.dx;
        } else {
            ASSERT_EQ(fQueue.NextMessage(&message, 0), B_OK);
            EXPECT_EQ(message.what, fourcc("pswi"));
            EXPECT_EQ(message.GetInt32("be:value", -1), c.after);
        }
    }

    fSwitch.setEnabled(false);
    ClickReleasingAt(0);
    EXPECT_EQ(fSwitch.Value(), 0);
    EXPECT_EQ(fQueue.CountMessages(), 0);
}

TEST_F(PaneSwitchTest, EachStateHasItsColoursAndTheFocusHasItsMark) {
    const QColor black(0, 0, 0), grey(150, 150, 150), olive(100, 100, 0);
    const QImage closed = painted(&fSwitch);
    EXPECT_TRUE(Contains(black) && Contains(grey) && !Contains(olive));
    fSwitch.SetValue(PaneSwitch::kOpen);
    EXPECT_TRUE(Contains(black) && Contains(grey) && !Contains(olive));
    EXPECT_NE(painted(&fSwitch), closed);
    QTest::mousePress(&fSwitch, Qt::LeftButton, {}, QPoint(8, 8));
    EXPECT_TRUE(Contains(black) && Contains(olive) && !Contains(grey));
    QTest::mouseRelease(&fSwitch, Qt::LeftButton, {}, QPoint(40, 8));

    // The mark: a highlight line over a white one along the bottom, only with the focus.
    QWidget window;
    auto* focused = new PaneSwitch("focused", true, &window);
    focused->resize(16, 16);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    const QColor panel = focused->palette().window().color();
    focused->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(focused->hasFocus());
    QImage image = focused->grab().toImage();
    EXPECT_EQ(image.pixelColor(8, 14), focused->palette().highlight().color());
    EXPECT_EQ(image.pixelColor(8, 15), QColor(Qt::white));
    focused->clearFocus();
    image = focused->grab().toImage();
    EXPECT_EQ(image.pixelColor(8, 14), panel);
    EXPECT_EQ(image.pixelColor(8, 15), panel);
}

}  // namespace
