// The status panel: the elapsed time as it has always been computed, the counters, and the
// ring fill bars with their peak marks.

#include <gtest/gtest.h>

#include <QTest>
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "tests/ui/UiTestSupport.h"
#include "ui/main/BufferView.h"
#include "ui/main/StatusView.h"
#include "ui/widgets/FlickerFreeStringView.h"

namespace {

void setZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

TEST(StatusViewTest, ShowsElapsedTimeAndCountersOnlyWhileRunning) {
    testApplication();
    // One hour ahead of UTC (POSIX zones count westwards), the zone the count is converted
    // in, and two others: the user's zone does not change the clock.
    for (const char* zone : {"UTC0", "EST5EDT", "UTC-1"}) {
        setZone(zone);
        EXPECT_EQ(StatusView::ElapsedText(0), "00:00:00") << zone;
        EXPECT_EQ(StatusView::ElapsedText(3725), "01:02:05") << zone;
    }

    Tavro engine(noDevices());
    StatusView status(&engine);
    auto text = [&status](const char* name) {
        return status.findChild<FlickerFreeStringView*>(name)->text();
    };
    EXPECT_FALSE(status.IsRunning());
    status.Pulse(5000);
    EXPECT_EQ(text("elapsed"), "00:00:00");
    EXPECT_EQ(text("videoCounter"), "-");

    status.Start(1000);
    status.Pulse(1000 + 3725);
    EXPECT_EQ(text("elapsed"), "01:02:05");
    EXPECT_EQ(text("videoCounter"), "0 frames (0)");
    EXPECT_EQ(text("audioCounter"), "0 buffers (0)");

    // Stopped, the texts keep their last values.
    status.Stop();
    status.Pulse(1000 + 7200);
    EXPECT_EQ(text("elapsed"), "01:02:05");
}

constexpr QRgb kGrey = qRgb(80, 80, 80), kRed = qRgb(200, 0, 0), kWhite = qRgb(255, 255, 255);

class BufferViewTest : public testing::Test {
protected:
    void SetUp() override {
        fBar.resize(102, 7);
        fBar.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&fBar));
    }

    // Fills `count` slots of `ring`.
    static void Fill(RingBuffer* ring, int count) {
        std::vector<uint8> slot(ring->Size());
        for (int i = 0; i < count; i++)
            ASSERT_EQ(ring->Write(slot.data(), i), B_OK);
    }

    // The bar's middle row, inside the frame.
    std::vector<QRgb> Row() {
        const QImage image = painted(&fBar);
        std::vector<QRgb> row;
        for (int x = 1; x < image.width() - 1; x++)
            row.push_back(image.pixel(x, 3));
        return row;
    }
    int Count(QRgb color) {
        const std::vector<QRgb> row = Row();
        return int(std::count(row.begin(), row.end(), color));
    }

    QApplication* fApplication = testApplication();  // before the widget
    BufferView fBar;
};

TEST_F(BufferViewTest, UnusedRingStaysGreyAndIsNotRedrawn) {
    EXPECT_EQ(Count(kGrey), 100);  // no ring at all
    RingBuffer ring(40, 4096);
    ASSERT_EQ(ring.InitCheck(), B_OK);
    fBar.SetBuffer(&ring);
    QCoreApplication::processEvents();
    PaintCounter paints(&fBar);
    for (int i = 0; i < 5; i++)
        fBar.Pulse();
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 0);
    EXPECT_EQ(Count(kGrey), 100);
}

TEST_F(BufferViewTest, PeakMarkTurnsRedAboveEightyFivePercent) {
    RingBuffer high(100, 4096), low(100, 4096);
    Fill(&high, 86);
    Fill(&low, 80);
    for (RingBuffer* ring : {&high, &low}) {
        fBar.SetBuffer(ring);
        fBar.Pulse();
        EXPECT_EQ(Count(kRed), ring == &high ? 2 : 0);
        EXPECT_EQ(Count(kWhite), ring == &high ? 0 : 2);
    }
    EXPECT_FLOAT_EQ(fBar.PeakFill(), 0.8f);
    // The mark sits at the end of the bar; grey beyond it.
    const std::vector<QRgb> row = Row();
    EXPECT_NEAR(double(std::find(row.begin(), row.end(), kWhite) - row.begin()), 80, 2);
    EXPECT_EQ(row.back(), kGrey);
}

TEST_F(BufferViewTest, DrainingRingFallsByATenthPerPulse) {
    RingBuffer ring(40, 4096);
    fBar.SetBuffer(&ring);
    Fill(&ring, 40);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 1.0f);
    // Full: red at the high end of the colour rule, edges apart.
    EXPECT_EQ(Row()[50], qRgb(227, 100, 0));

    void* data;
    bigtime_t time;
    while (ring.BuffersInUse() > 0) {
        ASSERT_EQ(ring.AcquireBuffer(&data, &time), B_OK);
        ring.ReleaseBuffer();
    }
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 0.9f);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 0.81f);
    EXPECT_FLOAT_EQ(fBar.PeakFill(), 1.0f);
    // The bar is drawn shorter, the peak mark stays at the far end.
    EXPECT_EQ(Row()[90], kGrey);
    EXPECT_EQ(Count(kRed), 2);

    // Filling above the shown level again follows at once.
    Fill(&ring, 36);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 0.9f);
}

}  // namespace
