// The flicker-free text: its offscreen bitmap, its colours and what it draws.

#include <gtest/gtest.h>

#include <QTest>
#include <memory>

#include "tests/ui/preview/PreviewTestSupport.h"
#include "ui/widgets/FlickerFreeStringView.h"

namespace {

class FlickerFreeStringViewTest : public testing::Test {
protected:
    void SetUp() override { testApplication(); }

    static void Show(QWidget* widget) {
        widget->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(widget));
        QCoreApplication::processEvents();
    }
};

// A colour that differs in alpha alone is a different colour.
TEST_F(FlickerFreeStringViewTest, SameColourTwiceRepaintsOnce) {
    FlickerFreeStringView view("00:00:00");
    Show(&view);
    PaintCounter paints(&view);

    view.SetLowColor(rgb_color{10, 20, 30, 255});
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 1);
    view.SetLowColor(rgb_color{10, 20, 30, 255});
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 1);
    view.SetLowColor(rgb_color{10, 20, 30, 128});
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 2);

    view.SetViewColor(rgb_color{1, 1, 1, 255});
    view.SetViewColor(rgb_color{1, 1, 1, 255});
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 3);
}

TEST_F(FlickerFreeStringViewTest, BitmapIsReusedUntilTheSizeChanges) {
    FlickerFreeStringView view("12 frames (0)");
    view.resize(120, 20);
    Show(&view);
    ASSERT_NE(view.Offscreen(), nullptr);
    const uchar* first = view.Offscreen()->Bitmap().constBits();
    EXPECT_EQ(view.Offscreen()->Bitmap().deviceIndependentSize().toSize(), QSize(120, 20));

    view.setText("13 frames (0)");
    view.repaint();
    EXPECT_EQ(view.Offscreen()->Bitmap().constBits(), first);

    view.resize(150, 24);
    view.repaint();
    EXPECT_EQ(view.Offscreen()->Bitmap().deviceIndependentSize().toSize(), QSize(150, 24));
}

TEST_F(FlickerFreeStringViewTest, DrawsTextOverTheParentsColour) {
    QWidget parent;
    QPalette palette = parent.palette();
    palette.setColor(QPalette::Window, QColor(200, 210, 220));
    palette.setColor(QPalette::WindowText, Qt::black);
    parent.setPalette(palette);
    parent.resize(200, 40);
    auto* empty = new FlickerFreeStringView("", &parent);
    empty->setGeometry(0, 0, 200, 20);
    auto* text = new FlickerFreeStringView("00:00:00", &parent);
    text->setGeometry(0, 20, 200, 20);
    Show(&parent);

    // Without text: the background alone.
    const QImage blank = painted(empty);
    for (int y = 0; y < blank.height(); y++)
        for (int x = 0; x < blank.width(); x++)
            ASSERT_EQ(blank.pixel(x, y), qRgb(200, 210, 220));
    EXPECT_EQ(empty->LowColor(), (rgb_color{200, 210, 220, 255}));

    // Left-aligned text starts two pixels in and is drawn in the text colour.
    const QImage shown = painted(text);
    int leftmost = shown.width(), dark = 0;
    for (int y = 0; y < shown.height(); y++)
        for (int x = 0; x < shown.width(); x++)
            if (qGray(shown.pixel(x, y)) < 100) {
                dark++;
                leftmost = std::min(leftmost, x);
            }
    EXPECT_GT(dark, 10);
    EXPECT_GE(leftmost, 1);
    EXPECT_LE(leftmost, 4);
    EXPECT_EQ(shown.pixel(shown.width() - 1, 0), qRgb(200, 210, 220));
}

}  // namespace
