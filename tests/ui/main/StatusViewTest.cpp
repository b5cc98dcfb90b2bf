// The status panel: the elapsed time as it has always been computed, the counters, and the
// ring fill bars with their peak marks.

#include <gtest/gtest.h>

#include <QTest>
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tests/ui/preview/PreviewTestSupport.h"
#include "ui/main/BufferView.h"
#include "ui/main/StatusView.h"
#include "ui/widgets/FlickerFreeStringView.h"

namespace {

// Sets the process's local zone for a while (POSIX zone strings count westwards).
class LocalZone {
public:
    explicit LocalZone(const char* name) {
        if (const char* zone = std::getenv("TZ"))
            fSaved = zone, fHadZone = true;
        setenv("TZ", name, 1);
        tzset();
    }
    ~LocalZone() {
        if (fHadZone)
            setenv("TZ", fSaved.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    std::string fSaved;
    bool fHadZone = false;
};

QString textOf(QWidget* parent, const char* name) {
    return parent->findChild<FlickerFreeStringView*>(name)->text();
}

TEST(StatusViewTest, ShowsElapsedTimeAndCountersOnlyWhileRunning) {
    testApplication();
    // One hour ahead of UTC, the zone the count is converted in, and two others: the user's
    // zone does not change the clock.
    for (const char* name : {"UTC-1", "UTC0", "EST5EDT"}) {
        LocalZone zone(name);
        EXPECT_EQ(StatusView::ElapsedText(0), "00:00:00") << name;
        EXPECT_EQ(StatusView::ElapsedText(3725), "01:02:05") << name;
    }
    LocalZone zone("UTC-1");

    Tavro engine(noDevices());
    StatusView status(&engine);
    EXPECT_FALSE(status.IsRunning());
    status.Pulse(5000);
    EXPECT_EQ(textOf(&status, "elapsed"), "00:00:00");
    EXPECT_EQ(textOf(&status, "videoCounter"), "-");

    status.Start(1000);
    status.Pulse(1000);
    EXPECT_EQ(textOf(&status, "elapsed"), "00:00:00");
    status.Pulse(1000 + 3725);
    EXPECT_EQ(textOf(&status, "elapsed"), "01:02:05");
    EXPECT_EQ(textOf(&status, "videoCounter"), "0 frames (0)");
    EXPECT_EQ(textOf(&status, "audioCounter"), "0 buffers (0)");

    // Stopped, the texts keep their last values.
    status.Stop();
    status.Pulse(1000 + 7200);
    EXPECT_EQ(textOf(&status, "elapsed"), "01:02:05");
}

class BufferViewTest : public testing::Test {
protected:
    void SetUp() override {
        testApplication();
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
    static void Drain(RingBuffer* ring) {
        void* data;
        bigtime_t time;
        while (ring->BuffersInUse() > 0) {
            ASSERT_EQ(ring->AcquireBuffer(&data, &time), B_OK);
            ring->ReleaseBuffer();
        }
    }

    // The bar's middle row.
    std::vector<QRgb> Row() {
        QImage image = painted(&fBar);
        std::vector<QRgb> row;
        for (int x = 1; x < image.width() - 1; x++)
            row.push_back(image.pixel(x, 3));
        return row;
    }
    static int Count(const std::vector<QRgb>& row, QRgb color) {
        return int(std::count(row.begin(), row.end(), color));
    }

    // Made before the widget, which needs it.
    QApplication* fApplication = testApplication();
    BufferView fBar;
};

TEST_F(BufferViewTest, UnusedRingStaysGreyAndIsNotRedrawn) {
    const QRgb grey = qRgb(80, 80, 80);
    EXPECT_EQ(Count(Row(), grey), 100);  // no ring at all

    RingBuffer ring(40, 4096);
    ASSERT_EQ(ring.InitCheck(), B_OK);
    fBar.SetBuffer(&ring);
    QCoreApplication::processEvents();
    PaintCounter paints(&fBar);
    for (int i = 0; i < 5; i++)
        fBar.Pulse();
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, 0);
    EXPECT_EQ(Count(Row(), grey), 100);
}

TEST_F(BufferViewTest, PeakMarkTurnsRedAboveEightyFivePercent) {
    const QRgb red = qRgb(200, 0, 0), white = qRgb(255, 255, 255);
    RingBuffer high(100, 4096), low(100, 4096);
    Fill(&high, 86);
    Fill(&low, 80);

    fBar.SetBuffer(&high);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.PeakFill(), 0.86f);
    std::vector<QRgb> row = Row();
    EXPECT_EQ(Count(row, red), 2);
    EXPECT_EQ(Count(row, white), 0);

    fBar.SetBuffer(&low);
    EXPECT_EQ(fBar.PeakFill(), 0.0f);
    fBar.Pulse();
    row = Row();
    EXPECT_EQ(Count(row, red), 0);
    EXPECT_EQ(Count(row, white), 2);
    // The mark sits at the end of the bar; grey beyond it.
    const auto mark = std::find(row.begin(), row.end(), white) - row.begin();
    EXPECT_NEAR(double(mark), 0.8 * 100, 2);
    EXPECT_EQ(row.back(), qRgb(80, 80, 80));
}

TEST_F(BufferViewTest, DrainingRingFallsByATenthPerPulse) {
    RingBuffer ring(40, 4096);
    fBar.SetBuffer(&ring);
    Fill(&ring, 40);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 1.0f);
    // Full: red at the high end of the colour rule, edges apart.
    const std::vector<QRgb> full = Row();
    EXPECT_EQ(full[50], qRgb(227, 100, 0));

    Drain(&ring);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 0.9f);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 0.81f);
    EXPECT_FLOAT_EQ(fBar.PeakFill(), 1.0f);

    // The bar is drawn shorter, the peak mark stays at the far end.
    const std::vector<QRgb> draining = Row();
    EXPECT_EQ(draining[90], qRgb(80, 80, 80));
    EXPECT_EQ(Count(draining, qRgb(200, 0, 0)), 2);

    // Filling above the shown level again follows at once.
    Fill(&ring, 36);
    fBar.Pulse();
    EXPECT_FLOAT_EQ(fBar.ShownFill(), 0.9f);
}

}  // namespace
