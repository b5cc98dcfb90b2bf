// The level meter's histogram and how it is drawn.

#include <gtest/gtest.h>

#include <QTest>
#include <vector>

#include "tests/ui/preview/PreviewTestSupport.h"
#include "ui/preview/AudioView.h"

namespace {

constexpr int32 kLast = AudioView::kBinCount - 1;

class AudioViewTest : public testing::Test {
protected:
    void SetUp() override { testApplication(); }

    void Receive(std::vector<int16> samples) {
        fView.AudioBlockReceived(samples.data(), samples.size());
    }

    // Made before the widget, which needs it.
    QApplication* fApplication = testApplication();
    AudioView fView;
};

TEST_F(AudioViewTest, FullScaleLandsInTheLastBinAndSilenceInTheFirst) {
    Receive({-32768, 0});
    fView.Pulse();
    EXPECT_EQ(fView.LeftBin(kLast), 0x10u);
    EXPECT_EQ(fView.RightBin(0), 0x100000u);
    EXPECT_EQ(fView.LeftBin(0), 0u);

    // The same block counts at every pulse until the next arrives.
    fView.Pulse();
    EXPECT_EQ(fView.LeftBin(kLast), 0x20u);

    // Silence: bin 0 stays lit; the last bin is never decayed, the others halve per pulse.
    Receive({0, 32767});
    fView.Pulse();
    fView.Pulse();
    EXPECT_EQ(fView.LeftBin(0), 0x18u);  // 0x10 halved, plus 0x10
    EXPECT_EQ(fView.LeftBin(kLast), 0x20u);
    EXPECT_EQ(fView.RightBin(kLast - 1), 0x180000u);  // 32767 falls one short of the last bin
    EXPECT_EQ(fView.RightBin(0), 0x060000u);          // 0x180000 halved twice
    EXPECT_EQ(fView.RightBin(kLast), 0u);
}

TEST_F(AudioViewTest, SixteenHitsSaturateAndOddBlocksSkipTheFirstValue) {
    std::vector<int16> block;
    for (int i = 0; i < 16; i++)
        block.insert(block.end(), {16384, -16384});
    Receive(block);
    fView.Pulse();
    const int32 bin = (kLast * 16384) >> 15;
    EXPECT_EQ(fView.LeftBin(bin), 0xFFu);
    EXPECT_EQ(fView.RightBin(bin), 0xFF0000u);

    AudioView fresh;
    std::vector<int16> odd = {32767, 8192, 8192};
    fresh.AudioBlockReceived(odd.data(), odd.size());
    fresh.Pulse();
    EXPECT_EQ(fresh.LeftBin(kLast - 1), 0u);
    EXPECT_EQ(fresh.LeftBin((kLast * 8192) >> 15), 0x10u);
    EXPECT_EQ(fresh.RightBin((kLast * 8192) >> 15), 0x100000u);
}

TEST_F(AudioViewTest, MonoCountsEveryOtherSampleOnTheLeftOnly) {
    fView.SetChannelCount(1);
    Receive({8192, 32767, 8192, 32767});
    fView.Pulse();
    EXPECT_EQ(fView.LeftBin((kLast * 8192) >> 15), 0x20u);
    EXPECT_EQ(fView.LeftBin(kLast - 1), 0u);
    for (int32 bin = 0; bin <= kLast; bin++)
        ASSERT_EQ(fView.RightBin(bin), 0u);
}

TEST_F(AudioViewTest, StripsStayBlackUntilABlockArrives) {
    fView.resize(205, 43);
    fView.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&fView));
    for (int i = 0; i < 3; i++)
        fView.Pulse();
    for (int32 bin = 0; bin <= kLast; bin++)
        ASSERT_EQ(fView.LeftBin(bin) | fView.RightBin(bin), 0u);
    const QImage idle = painted(&fView);
    for (int y = 0; y < idle.height(); y++)
        for (int x = 0; x < idle.width(); x++)
            ASSERT_EQ(idle.pixel(x, y), qRgb(0, 0, 0)) << x << "," << y;

    // Full scale on both channels, saturated: the left strip's end glows blue, the right's red,
    // each over its own half, with black between them.
    std::vector<int16> loud(32, -32768);
    Receive(loud);
    fView.Pulse();
    const QImage shown = painted(&fView);
    const int x = shown.width() - 3;
    for (int y = 2; y <= 19; y++)
        ASSERT_EQ(shown.pixel(x, y), qRgb(0, 0, 255)) << y;
    for (int y = 20; y <= 22; y++)
        ASSERT_EQ(shown.pixel(x, y), qRgb(0, 0, 0)) << y;
    for (int y = 23; y <= 40; y++)
        ASSERT_EQ(shown.pixel(x, y), qRgb(255, 0, 0)) << y;
    EXPECT_EQ(shown.pixel(2, 10), qRgb(0, 0, 0));  // bin 0 is empty
    EXPECT_EQ(shown.pixel(x, 41), qRgb(0, 0, 0));
}

TEST_F(AudioViewTest, DisabledViewShowsTheNotice) {
    fView.resize(300, 43);
    fView.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&fView));
    fView.SetEnabled(false);
    QCoreApplication::processEvents();
    const QImage shown = painted(&fView);
    const QRgb panel = fView.palette().color(QPalette::Window).rgb();
    int dark = 0;
    for (int y = 0; y < shown.height(); y++)
        for (int x = 0; x < shown.width(); x++)
            dark += qGray(shown.pixel(x, y)) < 80;
    EXPECT_GT(dark, 20);  // the text
    EXPECT_EQ(shown.pixel(0, 0), panel);
    EXPECT_EQ(shown.pixel(shown.width() - 1, shown.height() - 1), panel);
}

}  // namespace
