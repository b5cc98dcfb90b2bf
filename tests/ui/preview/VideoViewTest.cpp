// The pictures the video view shows: captured colour spaces drawn as the preview converts
// them, scaling to the view, and the hand-off from the node's thread.

#include <gtest/gtest.h>

#include <QTest>
#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

#include "engine/VideoConversion.h"
#include "support/Clock.h"
#include "tests/ui/preview/PreviewTestSupport.h"
#include "ui/preview/VideoView.h"

namespace {

constexpr uint32 kWidth = 16;
constexpr uint32 kHeight = 8;

struct Bgr {
    int blue, green, red;
    bool operator==(const Bgr&) const = default;
};

void PrintTo(const Bgr& c, std::ostream* out) {
    *out << "(b " << c.blue << ", g " << c.green << ", r " << c.red << ")";
}

Bgr pixelAt(const QImage& image, int x, int y) {
    QRgb rgb = image.pixel(x, y);
    return {qBlue(rgb), qGreen(rgb), qRed(rgb)};
}

// The preview's YCbCr conversion of one pixel, written out from its definition.
Bgr fromYCbCr(int y, int cb, int cr) {
    auto clamp = [](double value) { return std::clamp(int(std::trunc(value)), 0, 255); };
    return {clamp(1.164 * (y - 16) + 2.017 * (cb - 128)),
            clamp(1.164 * (y - 16) - 0.813 * (cr - 128) - 0.392 * (cb - 128)),
            clamp(1.164 * (y - 16) + 1.596 * (cr - 128))};
}

class VideoViewTest : public testing::Test {
protected:
    void SetUp() override {
        testApplication();
        fView.resize(kWidth, kHeight);
        fView.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&fView));
    }

    // Hands the frame over as the node does and lets the view draw it.
    QImage Show(const void* data, uint32 bytesPerRow, color_space space) {
        VideoFrame frame;
        frame.data = data;
        frame.bytesPerRow = bytesPerRow;
        frame.width = kWidth;
        frame.height = kHeight;
        frame.space = space;
        EXPECT_TRUE(fView.PresentFrame(frame, 20000));
        QCoreApplication::processEvents();
        return painted(&fView);
    }

    // Made before the widget, which needs it.
    QApplication* fApplication = testApplication();
    VideoView fView;
};

TEST_F(VideoViewTest, Rgb24AndGray8AreDrawnAsCaptured) {
    EXPECT_TRUE(fView.CanDraw(B_RGB24));
    EXPECT_TRUE(fView.CanDraw(B_GRAY8));
    EXPECT_TRUE(fView.CanDraw(B_RGB32));

    // Rows padded beyond the pixels: the padding must not be taken for pixels.
    const uint32 rgbRow = kWidth * 3 + 5;
    std::vector<uint8> rgb(rgbRow * kHeight, 0xEE);
    for (uint32 y = 0; y < kHeight; y++)
        for (uint32 x = 0; x < kWidth; x++) {
            uint8* pixel = &rgb[y * rgbRow + x * 3];
            pixel[0] = uint8(x * 15), pixel[1] = uint8(y * 30), pixel[2] = uint8(255 - x - y);
        }
    QImage shown = Show(rgb.data(), rgbRow, B_RGB24);
    for (uint32 y = 0; y < kHeight; y++)
        for (uint32 x = 0; x < kWidth; x++)
            ASSERT_EQ(pixelAt(shown, x, y), (Bgr{int(x * 15), int(y * 30), int(255 - x - y)}))
                << x << "," << y;

    const uint32 grayRow = kWidth + 3;
    std::vector<uint8> gray(grayRow * kHeight, 0x11);
    for (uint32 y = 0; y < kHeight; y++)
        for (uint32 x = 0; x < kWidth; x++)
            gray[y * grayRow + x] = uint8(x * 16 + y);
    shown = Show(gray.data(), grayRow, B_GRAY8);
    for (uint32 y = 0; y < kHeight; y++)
        for (uint32 x = 0; x < kWidth; x++) {
            const int value = int(x * 16 + y);
            ASSERT_EQ(pixelAt(shown, x, y), (Bgr{value, value, value})) << x << "," << y;
        }
}

TEST_F(VideoViewTest, YCbCr422IsConvertedByThePreviewRule) {
    // Not drawable as it is: the node converts it to RGB32 before handing it over.
    EXPECT_FALSE(fView.CanDraw(B_YCbCr422));
    EXPECT_FALSE(fView.CanDraw(B_YCbCr411));

    // Per pair of pixels Y0 Cb Y1 Cr, with values that clamp at both ends.
    const uint8 samples[][4] = {{16, 128, 235, 128}, {0, 0, 255, 255},    {81, 90, 145, 240},
                                {41, 240, 210, 110}, {255, 16, 60, 16},   {128, 200, 20, 50},
                                {235, 128, 16, 128}, {100, 128, 100, 128}};
    const uint32 sourceRow = kWidth * 2;
    std::vector<uint8> source(sourceRow * kHeight);
    for (uint32 y = 0; y < kHeight; y++)
        for (uint32 pair = 0; pair < kWidth / 2; pair++)
            std::copy_n(samples[(y + pair) % 8], 4, &source[y * sourceRow + pair * 4]);

    std::vector<uint8> converted(kWidth * 4 * kHeight);
    ASSERT_EQ(convertToRGB32(source.data(), sourceRow, B_YCbCr422, kWidth, kHeight,
                             converted.data(), kWidth * 4),
              B_OK);
    const QImage shown = Show(converted.data(), kWidth * 4, B_RGB32);
    for (uint32 y = 0; y < kHeight; y++)
        for (uint32 pair = 0; pair < kWidth / 2; pair++) {
            const uint8* s = samples[(y + pair) % 8];
            ASSERT_EQ(pixelAt(shown, pair * 2, y), fromYCbCr(s[0], s[1], s[3]));
            ASSERT_EQ(pixelAt(shown, pair * 2 + 1, y), fromYCbCr(s[2], s[1], s[3]));
        }
}

TEST_F(VideoViewTest, PictureIsScaledToTheView) {
    std::vector<uint32> rgb32(kWidth * kHeight);
    for (uint32 i = 0; i < rgb32.size(); i++)
        rgb32[i] = 0xFF000000 | (i * 0x010305);
    Show(rgb32.data(), kWidth * 4, B_RGB32);
    fView.resize(kWidth * 2, kHeight * 2);
    const QImage shown = painted(&fView);
    for (uint32 y = 0; y < kHeight; y++)
        for (uint32 x = 0; x < kWidth; x++)
            for (int corner = 0; corner < 4; corner++)
                ASSERT_EQ(shown.pixel(x * 2 + corner % 2, y * 2 + corner / 2),
                          rgb32[y * kWidth + x]);
}

TEST_F(VideoViewTest, BusyWindowDropsFramesWithoutHoldingTheNode) {
    PaintCounter paints(&fView);
    std::vector<uint32> frames[3];
    for (int i = 0; i < 3; i++)
        frames[i].assign(kWidth * kHeight, 0xFF000000 | (0x40 << (8 * i)));

    // The GUI thread takes no events meanwhile: each frame replaces the one waiting.
    bigtime_t longest = 0;
    std::thread node([&] {
        for (auto& pixels : frames) {
            VideoFrame frame{pixels.data(), kWidth * 4, kWidth, kHeight, B_RGB32, 0};
            bigtime_t start = system_time();
            EXPECT_TRUE(fView.PresentFrame(frame, 20000));
            longest = std::max(longest, system_time() - start);
        }
    });
    node.join();
    // The hand-off copies and returns; no frame waits for the window.
    EXPECT_LT(longest, 1000000);

    drain();
    EXPECT_EQ(paints.count, 1);
    EXPECT_EQ(painted(&fView).pixel(3, 3), frames[2][0]);
}

TEST_F(VideoViewTest, RefusesFramesItCannotTake) {
    std::vector<uint8> pixels(kWidth * 4 * kHeight);
    VideoFrame yuv{pixels.data(), kWidth * 2, kWidth, kHeight, B_YCbCr422, 0};
    EXPECT_FALSE(fView.PresentFrame(yuv, 0));
    VideoFrame shortRows{pixels.data(), kWidth * 4 - 1, kWidth, kHeight, B_RGB32, 0};
    EXPECT_FALSE(fView.PresentFrame(shortRows, 0));
    VideoFrame noData{nullptr, kWidth * 4, kWidth, kHeight, B_RGB32, 0};
    EXPECT_FALSE(fView.PresentFrame(noData, 0));
}

TEST_F(VideoViewTest, DisabledViewShowsTheNoticeInsteadOfThePicture) {
    std::vector<uint32> white(kWidth * kHeight, 0xFFFFFFFF);
    Show(white.data(), kWidth * 4, B_RGB32);
    fView.resize(320, 60);
    fView.SetEnabled(false);
    QCoreApplication::processEvents();
    const QImage shown = painted(&fView);
    const QRgb panel = fView.palette().color(QPalette::Window).rgb();
    int dark = 0, background = 0;
    for (int y = 0; y < shown.height(); y++)
        for (int x = 0; x < shown.width(); x++) {
            dark += qGray(shown.pixel(x, y)) < 80;
            background += shown.pixel(x, y) == panel;
        }
    EXPECT_GT(dark, 20);  // the text
    EXPECT_GT(background, shown.width() * shown.height() / 2);
    EXPECT_EQ(shown.pixel(0, 0), panel);
}

}  // namespace
