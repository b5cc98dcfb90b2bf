// The real program on an X display of its own: on the built-in test inputs the video window
// shows the moving test picture at 100 % (its burnt-in frame counter advances between two
// screenshots) and the audio window shows the tone's level. The screenshots are kept in the
// test's working directory as preview-video-1.png, preview-video-2.png, preview-audio.png.

#include <gtest/gtest.h>

#include "app/records/TavroSettings.h"
#include "media/testsignal/TestPicture.h"
#include "tests/ui/XvfbSession.h"

namespace {

// The burnt-in frame counter of a screenshot of the whole picture; -1 when unreadable.
int64 counterOf(const QImage& picture) {
    int64 frame = -1;
    if (picture.isNull() ||
        TestPicture::ReadCounter(picture.constBits(), picture.width(), picture.height(),
                                 picture.bytesPerLine(), &frame) != B_OK)
        return -1;
    return frame;
}

TEST(PreviewScreenshotTest, ProgramShowsTheMovingPictureAndTheLevels) {
    XvfbSession display;
    ASSERT_TRUE(display.Start("1280x1024x24"));
    // Both previews, the video window at 100 % of the format's picture.
    const FormatSetting* format = gSettings.formats[size_t(gSettings.lastFormat)].get();
    const int width = format->videoWidth, height = format->videoHeight;
    gSettings.showVideo = gSettings.showAudio = true;
    gSettings.videoFrame = Rect{400, 100, float(400 + width - 1), float(100 + height - 1)};
    gSettings.audioFrame = Rect{40, 600, 243, 642};
    ASSERT_EQ(gSettings.Save(), B_OK);

    Child program({TAVRO_PROGRAM, "--video-input=test-picture", "--audio-input=test-tone"});
    ASSERT_TRUE(program.Started());
    const std::string video = display.FindWindow("Tavro - Video In", 30);
    ASSERT_FALSE(video.empty()) << "no video window";
    const std::string audio = display.FindWindow("Tavro - Audio In", 10);
    ASSERT_FALSE(audio.empty()) << "no audio window";

    // The scale shortcuts reach the window: 200 %, then back to 100 %.
    display.Focus(video);
    display.Keys("ctrl+2");
    EXPECT_TRUE(eventually([&] { return display.GeometryOf(video).width() == width * 2; }, 10s));
    display.Keys("ctrl+1");
    ASSERT_TRUE(eventually([&] { return display.GeometryOf(video).width() == width; }, 10s));
    ASSERT_EQ(display.GeometryOf(video).height(), height);

    // The first picture drawn at the new size, however long a loaded machine takes for it.
    QImage first;
    int64 firstFrame = -1;
    EXPECT_TRUE(eventually(
        [&] {
            first = display.Screenshot(video, "preview-video-1.png");
            firstFrame = counterOf(first);
            return firstFrame >= 0;
        },
        10s));
    ASSERT_GE(firstFrame, 0);
    // A later frame within 10 s, however loaded the machine.
    QImage second;
    EXPECT_TRUE(eventually(
        [&] {
            second = display.Screenshot(video, "preview-video-2.png");
            return counterOf(second) > firstFrame;
        },
        10s));
    EXPECT_NE(first, second);

    // The tone lights both strips: blue on the left channel's, red on the right channel's.
    int blue = 0, red = 0;
    EXPECT_TRUE(eventually(
        [&] {
            const QImage levels = display.Screenshot(audio, "preview-audio.png");
            blue = red = 0;
            for (int y = 0; y < levels.height(); y++)
                for (int x = 0; x < levels.width(); x++) {
                    const QRgb pixel = levels.pixel(x, y);
                    blue += qBlue(pixel) > 0x20 && qRed(pixel) == 0 && qGreen(pixel) == 0;
                    red += qRed(pixel) > 0x20 && qBlue(pixel) == 0 && qGreen(pixel) == 0;
                }
            return blue > 10 && red > 10;
        },
        10s))
        << blue << " blue, " << red << " red pixels";
    EXPECT_EQ(program.Wait(), Child::kRunning) << "the program ended early";
}

}  // namespace
