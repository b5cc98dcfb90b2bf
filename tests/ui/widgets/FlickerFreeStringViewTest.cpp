// The flicker-free text: it repaints only on a change, and what it draws.

#include <gtest/gtest.h>

#include <QTest>

#include "tests/ui/UiTestSupport.h"
#include "ui/widgets/FlickerFreeStringView.h"

namespace {

void showAndWait(QWidget* widget) {
    widget->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(widget));
    QCoreApplication::processEvents();
}

// A colour that differs in alpha alone is a different colour.
TEST(FlickerFreeStringViewTest, SameColourTwiceRepaintsOnce) {
    testApplication();
    FlickerFreeStringView view("00:00:00");
    showAndWait(&view);
    PaintCounter paints(&view);
    for (auto [color, count] : {std::pair{rgb_color{10, 20, 30, 255}, 1},
                                {rgb_color{10, 20, 30, 255}, 1},
                                {rgb_color{10, 20, 30, 128}, 2}}) {
        view.SetLowColor(color);
        QCoreApplication::processEvents();
        EXPECT_EQ(paints.count, count);
    }
    view.SetViewColor(rgb_color{1, 1, 1, 255});
    view.SetViewColor(rgb_color{1, 1, 1, 255});
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 3);
    // The clock is set every pulse; only a new second repaints.
    for (const char* text : {"00:00:00", "00:00:01", "00:00:01"})
        view.setText(text);
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 4);
}

TEST(FlickerFreeStringViewTest, DrawsTheTextOverTheParentsColour) {
    testApplication();
    QWidget parent;
    QPalette palette = parent.palette();
    palette.setColor(QPalette::Window, QColor(200, 210, 220));
    palette.setColor(QPalette::WindowText, Qt::black);
    parent.setPalette(palette);
    parent.resize(200, 40);
    auto* view = new FlickerFreeStringView("", &parent);
    view->setGeometry(0, 0, 120, 20);
    showAndWait(&parent);

    // Without text: the background alone.
    const QRgb background = qRgb(200, 210, 220);
    const QImage blank = painted(view);
    for (int y = 0; y < blank.height(); y++)
        for (int x = 0; x < blank.width(); x++)
            ASSERT_EQ(blank.pixel(x, y), background);
    EXPECT_EQ(view->LowColor(), (rgb_color{200, 210, 220, 255}));

    // Left-aligned text starts two pixels in and is drawn in the text colour.
    view->setText("00:00:00");
    const QImage shown = painted(view);
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
    EXPECT_EQ(shown.pixel(shown.width() - 1, 0), background);
}

}  // namespace
