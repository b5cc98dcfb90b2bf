// The level meter's histogram and how it is drawn.

#include <gtest/gtest.h>

#include <QTest>
#include <vector>

#include "tests/ui/UiTestSupport.h"
#include "ui/preview/AudioView.h"

namespace {

constexpr int32 kLast = AudioView::kBinCount - 1;

class AudioViewTest : public testing::Test {
protected:
    void Receive(std::vector<int16> samples) {
        fView.AudioBlockReceived(samples.data(), samples.size());
        fView.Pulse();
    }

    QApplication* fApplication = testApplication();  // before the widget
    AudioView fView;
};

TEST_F(AudioViewTest, FullScaleLandsInTheLastBinAndSilenceInTheFirst) {
    Receive({-32768, 0});
    EXPECT_EQ(fView.LeftBin(kLast), 0x10u);
    EXPECT_EQ(fView.RightBin(0), 0x100000u);
    EXPECT_EQ(fView.LeftBin(0), 0u);

    // The same block counts at every pulse until the next arrives.
    fView.Pulse();
    EXPECT_EQ(fView.LeftBin(kLast), 0x20u);

    // Silence: bin 0 stays lit; the last bin is never decayed, the others halve per pulse.
    Receive({0, 32767});
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
    const int32 half = (kLast * 16384) >> 15, quarter = (kLast * 8192) >> 15;
    EXPECT_EQ(fView.LeftBin(half), 0xFFu);
    EXPECT_EQ(fView.RightBin(half), 0xFF0000u);

    AudioView odd, mono;
    odd.AudioBlockReceived(std::vector<int16>{32767, 8192, 8192}.data(), 3);
    odd.Pulse();
    EXPECT_EQ(odd.LeftBin(kLast - 1), 0u);
    EXPECT_EQ(odd.LeftBin(quarter), 0x10u);
    EXPECT_EQ(odd.RightBin(quarter), 0x100000u);

    // Mono input counts every other sample, on the left only.
    mono.SetChannelCount(1);
    mono.AudioBlockReceived(std::vector<int16>{8192, 32767, 8192, 32767}.data(), 4);
    mono.Pulse();
    EXPECT_EQ(mono.LeftBin(quarter), 0x20u);
    EXPECT_EQ(mono.LeftBin(kLast - 1), 0u);
    for (int32 bin = 0; bin <= kLast; bin++)
        ASSERT_EQ(mono.RightBin(bin), 0u);
}

TEST_F(AudioViewTest, StripsStayBlackUntilABlockArrives) {
    fView.resize(205, 43);
    fView.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&fView));
    for (int i = 0; i < 3; i++)
        fView.Pulse();
    const QImage idle = painted(&fView);
    for (int y = 0; y < idle.height(); y++)
        for (int x = 0; x < idle.width(); x++)
            ASSERT_EQ(idle.pixel(x, y), qRgb(0, 0, 0)) << x << "," << y;

    // Full scale on both channels, saturated: the left strip's end glows blue, the right's red,
    // each over its own half, with black between them.
    Receive(std::vector<int16>(32, -32768));
    const QImage shown = painted(&fView);
    const int x = shown.width() - 3;
    for (int y = 0; y < shown.height(); y++) {
        const QRgb expected = y < 2 || y > 40 ? qRgb(0, 0, 0)
                              : y <= 19       ? qRgb(0, 0, 255)
                              : y <= 22       ? qRgb(0, 0, 0)
                                              : qRgb(255, 0, 0);
        ASSERT_EQ(shown.pixel(x, y), expected) << y;
    }
    EXPECT_EQ(shown.pixel(2, 10), qRgb(0, 0, 0));  // bin 0 is empty
}

}  // namespace
