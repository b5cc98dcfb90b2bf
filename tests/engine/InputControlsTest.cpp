// The engine's graph and input controls over an in-process Bt848 card (the V4L2 boundary is
// the only fake) and a sound output whose mixer switch the test chooses.

#include <gtest/gtest.h>

#include <linux/videodev2.h>

#include <chrono>
#include <thread>

#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/VideoConsumer.h"
#include "engine/VideoConversion.h"
#include "support/Clock.h"
#include "tests/engine/EngineTestSupport.h"
#include "tests/media/capture/FakeDevices.h"

namespace {

// A preview host whose one window takes every frame and draws RGB32 (and YCbCr422 when
// asked to).
class Preview : public PreviewHost, public VideoFrameSink {
public:
    explicit Preview(bool drawsYCbCr) : fDrawsYCbCr(drawsYCbCr) {}
    VideoFrameSink* OpenVideoWindow(const Rect&) override { return this; }
    void CloseVideoWindow() override {}
    AudioBlockSink* OpenAudioWindow(const Rect&) override { return nullptr; }
    void CloseAudioWindow() override {}
    void ResizeVideoWindow(int32 width, int32 height) override { resized = {width, height}; }

    bool CanDraw(color_space space) const override {
        return space == B_RGB32 || (fDrawsYCbCr && space == B_YCbCr422);
    }
    bool PresentFrame(const VideoFrame& frame, bigtime_t) override {
        std::lock_guard lock(fLock);
        last = frame;
        const auto* data = static_cast<const uint8*>(frame.data);
        pixels.assign(data, data + size_t(frame.bytesPerRow) * frame.height);
        frames++;
        return true;
    }
    void SetEnabled(bool) override {}
    void InputStopped(const std::string&) override {}
    int Frames() {
        std::lock_guard lock(fLock);
        return frames;
    }

    std::pair<int32, int32> resized{0, 0};
    std::mutex fLock;  // guards the frame fields
    VideoFrame last;
    std::vector<uint8> pixels;
    int frames = 0;

private:
    bool fDrawsYCbCr;
};

class InputControls : public AlertFixture {
protected:
    // The card, the built-in tone and a sound output with or without its "Line" switch.
    std::unique_ptr<Tavro> MakeEngine(bool muteSwitch = true) {
        TavroOptions options;
        options.roster.audioInput = MediaRoster::kTestToneID;
        using Mixer = CardBackend::Mixer;
        return std::make_unique<Tavro>(
            options,
            std::make_unique<CardBackend>(&card, std::vector<std::string>{},
                                          muteSwitch ? Mixer::WithSwitch : Mixer::WithoutSwitch));
    }
    // Changes the card behind the engine's back, as another program would.
    template <typename T>
    void ChangeCard(unsigned long request, T value) {
        const int fd = card.Open("/dev/video0", 2);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(card.Ioctl(fd, request, &value), B_OK);
        card.Close(fd);
    }

    FakeBt848 card;
};

TEST_F(InputControls, TheCardConnectsAndItsControlsWork) {
    auto engine = MakeEngine();
    ASSERT_TRUE(engine->VideoConnected()) << (alerts.empty() ? "" : alerts.front().text);
    EXPECT_TRUE(engine->AudioConnected());
    EXPECT_TRUE(alerts.empty());

    // The source is clamped to the card's three inputs.
    engine->SetCurrentVideoSource(99);
    EXPECT_EQ(engine->GetCurrentVideoSource(), 2);
    EXPECT_EQ(card.Input(), 2u);
    engine->SetCurrentVideoSource(-5);
    EXPECT_EQ(engine->GetCurrentVideoSource(), 0);

    ASSERT_EQ(engine->SetChannel(5), B_OK);
    EXPECT_EQ(engine->Channel(), 5);
    const uint32 tuned = card.Frequency();
    EXPECT_NE(tuned, 0u);
    // The tuned channel again writes nothing: a frequency changed behind the engine's back
    // stays.
    v4l2_frequency frequency{};
    frequency.type = V4L2_TUNER_ANALOG_TV;
    frequency.frequency = tuned + 16;
    ChangeCard(VIDIOC_S_FREQUENCY, frequency);
    ASSERT_EQ(engine->SetChannel(5), B_OK);
    EXPECT_EQ(card.Frequency(), tuned + 16);
    ASSERT_EQ(engine->SetChannel(6), B_OK);
    EXPECT_NE(card.Frequency(), tuned + 16);

    // Look-ups by id and kind.
    EXPECT_NE(engine->GetContinuousVideoParameter(kBt848Brightness), nullptr);
    EXPECT_EQ(engine->GetContinuousVideoParameter(kChannelParameterID), nullptr);
    EXPECT_EQ(engine->GetVideoParameter(12345), nullptr);
    EXPECT_TRUE(alerts.empty());
}

TEST_F(InputControls, MuteFollowsTheLineSwitchAndWithoutOneIsAlwaysReportedOn) {
    {
        auto engine = MakeEngine(true);
        EXPECT_EQ(engine->SetMute(true), B_OK);
        EXPECT_FALSE(engine->IsMuted());  // readable, so "not muted", whatever it says
    }
    auto engine = MakeEngine(false);
    EXPECT_EQ(engine->SetMute(true), B_ERROR);
    EXPECT_TRUE(engine->IsMuted());
}

TEST_F(InputControls, APalMCardConnectsInAnotherStandardAndIsSetBack) {
    ChangeCard(VIDIOC_S_STD, v4l2_std_id(V4L2_STD_PAL_M));
    testing::internal::CaptureStdout();
    auto engine = MakeEngine();
    const std::string printed = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(engine->VideoConnected());
    EXPECT_NE(printed.find("reset PAL-M format\n"), std::string::npos);
    EXPECT_EQ(engine->GetCurrentVideoFormat(), 4);
    EXPECT_EQ(card.Standard(), V4L2_STD_PAL_M);
}

TEST_F(InputControls, ACardOfferingOnlyGrayConnectsInGrayAfterTheOtherSpaces) {
    card.OfferOnly({V4L2_PIX_FMT_GREY});
    Preview preview(false);
    auto engine = MakeEngine();
    ASSERT_TRUE(engine->VideoConnected());
    EXPECT_TRUE(alerts.empty());
    media_format format;
    engine->GetVideoFormat(&format);
    EXPECT_EQ(format.raw_video.display.format, B_GRAY8);
    // The colour spaces the card lacks were refused before they reached it.
    EXPECT_EQ(card.FormatRequests(), std::vector<uint32>{V4L2_PIX_FMT_GREY});

    // The preview cannot draw gray: it gets the frames converted to RGB32.
    engine->SetPreviewHost(&preview);
    engine->ShowVideo(true, Rect{0, 0, 100, 100});
    EXPECT_TRUE(engine->VideoConsumerNode()->HasConversionBitmap());
    const bigtime_t end = system_time() + 3000000;
    while (preview.Frames() < 3 && system_time() < end)
        snooze(10000);
    ASSERT_GE(preview.Frames(), 3);
    engine->ShowVideo(false, Rect{});
    std::lock_guard lock(preview.fLock);
    EXPECT_EQ(preview.last.space, B_RGB32);
    // The card fills a frame with its sequence byte; gray becomes equal B, G and R.
    const uint8* pixel = preview.pixels.data() + preview.last.bytesPerRow * 10 + 40;
    EXPECT_EQ(pixel[0], pixel[1]);
    EXPECT_EQ(pixel[1], pixel[2]);
}

// Webcams stamp the start of the exposure, a whole frame before the frame is there; the
// preview, which skips frames more than 20 ms late, must still show them.
TEST_F(InputControls, ACardStampingTheStartOfExposureIsPreviewed) {
    card.StampStartOfExposure(true);
    Preview preview(false);
    auto engine = MakeEngine();
    ASSERT_TRUE(engine->VideoConnected());
    engine->SetPreviewHost(&preview);
    engine->ShowVideo(true, Rect{0, 0, 100, 100});
    const bigtime_t end = system_time() + 3000000;
    while (preview.Frames() < 10 && system_time() < end)
        snooze(10000);
    engine->ShowVideo(false, Rect{});
    EXPECT_GE(preview.Frames(), 10);
    std::lock_guard lock(preview.fLock);
    EXPECT_LE(preview.last.startTime, system_time());
}

TEST_F(InputControls, GeometryChangesReconnectOrWaitForTheHold) {
    Preview preview(true);
    auto engine = MakeEngine();
    engine->SetPreviewHost(&preview);
    engine->ShowVideo(true, Rect{});
    ASSERT_EQ(engine->SetVideoSize(384, 288), B_OK);
    EXPECT_EQ(preview.resized, (std::pair<int32, int32>{384, 288}));
    media_format format;
    engine->GetVideoFormat(&format);
    EXPECT_EQ(format.raw_video.display.line_width, 384u);

    engine->SetHoldChanges(true);
    EXPECT_EQ(engine->SetColorSpace(B_YCbCr422), B_ERROR);
    EXPECT_EQ(engine->SetVideoSize(384, 288), B_OK);  // unchanged: nothing to do
    EXPECT_TRUE(engine->ReconnectPending());
    engine->GetVideoFormat(&format);
    EXPECT_EQ(format.raw_video.display.format, B_RGB32);
    engine->SetHoldChanges(false);
    EXPECT_FALSE(engine->ReconnectPending());
    engine->GetVideoFormat(&format);
    EXPECT_EQ(format.raw_video.display.format, B_YCbCr422);
    // A preview that draws YCbCr422 gets it as it is.
    EXPECT_FALSE(engine->VideoConsumerNode()->HasConversionBitmap());

    EXPECT_EQ(engine->SetVideoPlayRate(3), B_OK);
    EXPECT_EQ(engine->VideoConsumerNode()->SkipFrames(), 3);
    engine->ShowVideo(false, Rect{});
}

TEST_F(InputControls, WithoutBuiltInInputsAMissingCardAlertsOnce) {
    TavroOptions options;
    options.roster.builtInInputs = false;
    options.roster.audioInput = "none-such";
    Tavro engine(options, std::make_unique<CardBackend>(nullptr));
    EXPECT_FALSE(engine.VideoConnected());
    EXPECT_TRUE(OnlyAlert("Can't find video input", B_ENTRY_NOT_FOUND));
    EXPECT_EQ(engine.VideoFramesCounter(), 0);
    EXPECT_EQ(engine.DroppedVideoFrames(), 0);
}

TEST_F(InputControls, ANamedCardThatIsNotThereIsAlertedByNameAndNotReplaced) {
    TavroOptions options;
    options.roster.videoInput = "/dev/video5";
    options.roster.audioInput = MediaRoster::kTestToneID;
    Tavro engine(options, std::make_unique<CardBackend>(&card));
    EXPECT_FALSE(engine.VideoConnected()) << "neither the card nor the test picture stands in";
    EXPECT_EQ(engine.VideoInputNode(), nullptr);
    EXPECT_TRUE(
        OnlyAlert("The chosen video input \"/dev/video5\" is not there (see tavro "
                  "--list-devices)",
                  B_ENTRY_NOT_FOUND))
        << (alerts.empty() ? "no alert" : alerts[0].text);
    EXPECT_TRUE(engine.AudioConnected());
}

TEST_F(InputControls, SelectInputsSwitchesWithoutARestart) {
    TavroOptions options;
    options.roster.videoInput = MediaRoster::kTestPictureID;
    options.roster.audioInput = MediaRoster::kTestToneID;
    Tavro engine(options, std::make_unique<CardBackend>(&card));
    ASSERT_TRUE(engine.VideoConnected());
    std::unique_ptr<ParameterWeb> before = engine.GetVideoInputParameters();
    ASSERT_NE(before, nullptr);

    ASSERT_EQ(engine.SelectInputs("/dev/video0", MediaRoster::kTestToneID), B_OK);
    EXPECT_TRUE(engine.VideoConnected());
    EXPECT_TRUE(engine.AudioConnected());
    // The nodes start a little ahead.
    for (int i = 0; i < 200 && !card.IsStreaming(); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(card.IsStreaming()) << "the card now feeds the graph";
    EXPECT_TRUE(before->OwnerGone()) << "the test picture's web is inert";
    int32 value = 0;
    size_t size = sizeof(value);
    EXPECT_EQ(before->ParameterAt(0)->GetValue(&value, &size, nullptr), B_NO_INIT);
    ASSERT_EQ(engine.SetChannel(4), B_OK);
    EXPECT_NE(card.Frequency(), 0u);

    // Back to the built-in picture: the card is closed.
    ASSERT_EQ(engine.SelectInputs(MediaRoster::kTestPictureID, ""), B_OK);
    EXPECT_FALSE(card.IsStreaming());
    EXPECT_EQ(card.OpenDescriptors(), 0);
    EXPECT_TRUE(alerts.empty());
}

}  // namespace

// The preview's colour conversions, pixel by pixel; the fourth byte of each pixel (0xEE) is
// left as it is.
TEST(VideoConversion, ConvertsEachColourSpaceByItsRule) {
    constexpr uint8 X = 0xEE;
    const struct {
        color_space space;
        std::vector<uint8> source;
        uint32 width;
        std::vector<uint8> expected;  // the first pixels
    } cases[] = {
        // clang-format off
        {B_RGB24, {1, 2, 3, 4, 5, 6}, 2, {1, 2, 3, X, 4, 5, 6, X}},
        {B_GRAY8, {7, 200}, 2, {7, 7, 7, X, 200, 200, 200, X}},
        // Y0 Cb Y1 Cr: white-ish (1.164 * 219 = 254.9, truncated) and black; then Y 41, Cb
        // 240, Cr 110: B = 29.1 + 225.9 = 255.0, G = 29.1 + 14.6 - 43.9 -> 0 (truncated -0.2),
        // R = 29.1 - 28.7 = 0.4 -> 0.
        {B_YCbCr422, {235, 128, 16, 128, 41, 240, 41, 110}, 4,
         {254, 254, 254, X, 0, 0, 0, X, 255, 0, 0, X, 255, 0, 0, X}},
        // Pixel n = 8: n - 1 odd: B 10, G 20, R 30, advance 2; n = 7: B 30, G 40, R 40.
        {B_YCbCr411, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120}, 8,
         {10, 20, 30, X, 30, 40, 40, X}},
        // clang-format on
    };
    for (const auto& c : cases) {
        std::vector<uint8> out(c.width * 4, X);
        ASSERT_EQ(convertToRGB32(c.source.data(), uint32(c.source.size()), c.space, c.width, 1,
                                 out.data(), c.width * 4),
                  B_OK);
        EXPECT_EQ(std::vector<uint8>(out.begin(), out.begin() + c.expected.size()), c.expected)
            << colorSpaceName(c.space);
    }
    uint8 out[8];
    EXPECT_EQ(convertToRGB32(out, 2, B_RGB16, 1, 1, out, 4), B_BAD_VALUE);
    EXPECT_EQ(convertToRGB32(out, 1, B_GRAY8, 2, 1, out, 8), B_BAD_VALUE);  // row too short
}
