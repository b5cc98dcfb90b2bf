// The pictures the video view shows: captured colour spaces drawn as the preview converts
// them, scaling to the view, the hand-off from the node's thread, and the notice the preview
// views show when their input is not connected.

#include <gtest/gtest.h>

#include <QTest>
#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

#include "engine/VideoConversion.h"
#include "support/Clock.h"
#include "tests/ui/UiTestSupport.h"
#include "tests/ui/preview/ShowsNotice.h"
#include "ui/preview/AudioView.h"
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
        fView.resize(kWidth, kHeight);
        fView.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&fView));
    }

    // Hands the frame over as the node does and lets the view draw it.
    QImage Show(const void* data, uint32 bytesPerRow, color_space space) {
        VideoFrame frame{data, bytesPerRow, kWidth, kHeight, space, 0};
        EXPECT_TRUE(fView.PresentFrame(frame, 20000));
        QCoreApplication::processEvents();
        return painted(&fView);
    }

    QApplication* fApplication = testApplication();  // before the widget
    VideoView fView;
};

TEST_F(VideoViewTest, CapturedColourSpacesAreShownAsThePreviewConvertsThem) {
    for (color_space space : {B_RGB24, B_GRAY8, B_YCbCr422}) {
        const uint32 pixelBytes = space == B_RGB24 ? 3 : space == B_GRAY8 ? 1 : 2;
        // Rows padded beyond the pixels: the padding must not be taken for pixels. The bytes
        // take every value, so that the conversion clamps at both ends.
        const uint32 row = kWidth * pixelBytes + (space == B_YCbCr422 ? 0 : 5);
        std::vector<uint8> source(row * kHeight);
        for (size_t i = 0; i < source.size(); i++)
            source[i] = uint8(i * 37);
        QImage shown;
        if (space == B_YCbCr422) {
            // Not drawable as it is: the node converts it to RGB32 before handing it over.
            EXPECT_FALSE(fView.CanDraw(space));
            std::vector<uint8> converted(kWidth * 4 * kHeight);
            ASSERT_EQ(convertToRGB32(source.data(), row, space, kWidth, kHeight, converted.data(),
                                     kWidth * 4),
                      B_OK);
            shown = Show(converted.data(), kWidth * 4, B_RGB32);
        } else {
            EXPECT_TRUE(fView.CanDraw(space));
            shown = Show(source.data(), row, space);
        }
        for (uint32 y = 0; y < kHeight; y++)
            for (uint32 x = 0; x < kWidth; x++) {
                const uint8* p = &source[y * row + x * pixelBytes];
                const uint8* pair = &source[y * row + x / 2 * 4];  // Y0 Cb Y1 Cr
                const Bgr expected = space == B_RGB24 ? Bgr{p[0], p[1], p[2]}
                                     : space == B_GRAY8
                                         ? Bgr{p[0], p[0], p[0]}
                                         : fromYCbCr(pair[x % 2 * 2], pair[1], pair[3]);
                const QRgb rgb = shown.pixel(x, y);
                ASSERT_EQ((Bgr{qBlue(rgb), qGreen(rgb), qRed(rgb)}), expected)
                    << space << " at " << x << "," << y;
            }
    }
}

TEST_F(VideoViewTest, PictureIsScaledToTheView) {
    std::vector<uint32> rgb32(kWidth * kHeight);
    for (uint32 i = 0; i < rgb32.size(); i++)
        rgb32[i] = 0xFF000000 | (i * 0x010305);
    Show(rgb32.data(), kWidth * 4, B_RGB32);
    fView.resize(kWidth * 2, kHeight * 2);
    const QImage shown = painted(&fView);
    for (uint32 y = 0; y < kHeight * 2; y++)
        for (uint32 x = 0; x < kWidth * 2; x++)
            ASSERT_EQ(shown.pixel(x, y), rgb32[y / 2 * kWidth + x / 2]) << x << "," << y;
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
            const bigtime_t start = system_time();
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

    // Frames it cannot take: not drawable, rows too short, no data.
    std::vector<uint8> pixels(kWidth * 4 * kHeight);
    for (const VideoFrame& frame :
         {VideoFrame{pixels.data(), kWidth * 2, kWidth, kHeight, B_YCbCr422, 0},
          VideoFrame{pixels.data(), kWidth * 4 - 1, kWidth, kHeight, B_RGB32, 0},
          VideoFrame{nullptr, kWidth * 4, kWidth, kHeight, B_RGB32, 0}})
        EXPECT_FALSE(fView.PresentFrame(frame, 0));
}

// Not connected, or connected and then stopped: the notice on the panel, not the last
// picture; a new connection brings the picture back.
TEST(PreviewViewTest, DisabledOrStoppedViewShowsTheNoticeOnThePanel) {
    testApplication();
    for (bool stopped : {false, true}) {
        SCOPED_TRACE(stopped ? "stopped" : "disabled");
        VideoView video;
        AudioView audio;
        std::vector<uint32> white(kWidth * kHeight, 0xFFFFFFFF);
        video.PresentFrame(VideoFrame{white.data(), kWidth * 4, kWidth, kHeight, B_RGB32, 0}, 0);
        for (QWidget* view : {static_cast<QWidget*>(&video), static_cast<QWidget*>(&audio)}) {
            view->resize(320, 60);
            view->show();
            ASSERT_TRUE(QTest::qWaitForWindowExposed(view));
        }
        if (stopped) {
            video.InputStopped(
                "The video input \"Card\" (/dev/video0) has stopped.\nNo such device");
            audio.InputStopped("The audio input \"Mic\" (hw:1) has stopped.\nInput/output error");
        } else {
            video.SetEnabled(false);
            audio.SetEnabled(false);
        }
        QCoreApplication::processEvents();
        for (QWidget* view : {static_cast<QWidget*>(&video), static_cast<QWidget*>(&audio)}) {
            EXPECT_TRUE(showsNotice(view));
            const QImage shown = painted(view);
            const QRgb panel = view->palette().color(QPalette::Window).rgb();
            EXPECT_EQ(shown.pixel(0, 0), panel);
            EXPECT_EQ(shown.pixel(shown.width() - 1, shown.height() - 1), panel);
        }
        // The input connected again: the stopped notice goes.
        video.SetEnabled(true);
        audio.SetEnabled(true);
        QCoreApplication::processEvents();
        EXPECT_TRUE(video.StoppedNotice().isEmpty());
        EXPECT_EQ(painted(&video).pixel(3, 3), 0xFFFFFFFF);
    }
}

}  // namespace
