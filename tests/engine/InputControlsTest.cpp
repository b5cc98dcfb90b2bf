// The engine's graph and input controls over an in-process Bt848 card (the V4L2 boundary is
// the only fake) and a sound output whose mixer switch the test chooses.

#include <gtest/gtest.h>

#include <linux/videodev2.h>

#include "app/ErrorAlert.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/VideoConsumer.h"
#include "engine/VideoConversion.h"
#include "media/alsa/MixerNode.h"
#include "media/roster/SystemDeviceBackend.h"
#include "media/v4l2/FakeBt848.h"
#include "support/Clock.h"

namespace {

class FakeSwitch : public MixerSwitch {
public:
    explicit FakeSwitch(bool present) : fPresent(present) {}
    bool HasSwitch() const override { return fPresent; }
    status_t GetMute(bool* muted) override {
        *muted = fMuted;
        return B_OK;
    }
    status_t SetMute(bool muted) override {
        fMuted = muted;
        return B_OK;
    }

private:
    bool fPresent;
    bool fMuted = false;
};

// The card as the only video device, the built-in tone as audio, and a sound output with or
// without a "Line" switch.
class CardBackend : public DeviceBackend {
public:
    CardBackend(FakeBt848* card, bool muteSwitch)
        : fVideo(card, {"/dev/video0"}), fMuteSwitch(muteSwitch) {}
    std::vector<MediaDevice> VideoInputs() override { return fVideo.VideoInputs(); }
    std::vector<MediaDevice> AudioInputs() override { return {}; }
    std::vector<MediaDevice> AudioOutputs(const std::string&) override {
        return {{DeviceKind::AudioOutput, "mixer", "Test mixer", false}};
    }
    status_t MakeInput(const MediaDevice& device, std::shared_ptr<MediaProducer>* node) override {
        return fVideo.MakeInput(device, node);
    }
    status_t MakeOutput(const MediaDevice& device, std::shared_ptr<MediaNode>* node) override {
        *node = std::make_shared<MixerNode>(device.name, std::make_unique<FakeSwitch>(fMuteSwitch));
        return B_OK;
    }

private:
    SystemDeviceBackend fVideo;
    bool fMuteSwitch;
};

// A preview that takes every frame and says which colour spaces it draws.
class FrameCollector : public VideoFrameSink {
public:
    explicit FrameCollector(bool drawsYCbCr) : fDrawsYCbCr(drawsYCbCr) {}
    bool CanDraw(color_space space) const override {
        return space == B_RGB32 || (fDrawsYCbCr && space == B_YCbCr422);
    }
    bool PresentFrame(const VideoFrame& frame, bigtime_t) override {
        std::lock_guard lock(fLock);
        last = frame;
        pixels.assign(
            static_cast<const uint8*>(frame.data),
            static_cast<const uint8*>(frame.data) + size_t(frame.bytesPerRow) * frame.height);
        frames++;
        return true;
    }
    void SetEnabled(bool) override {}
    int Frames() {
        std::lock_guard lock(fLock);
        return frames;
    }

    std::mutex fLock;
    VideoFrame last;
    std::vector<uint8> pixels;
    int frames = 0;

private:
    bool fDrawsYCbCr;
};

class Host : public PreviewHost {
public:
    explicit Host(VideoFrameSink* sink) : fSink(sink) {}
    VideoFrameSink* OpenVideoWindow(const Rect&) override { return fSink; }
    void CloseVideoWindow() override {}
    AudioBlockSink* OpenAudioWindow(const Rect&) override { return nullptr; }
    void CloseAudioWindow() override {}
    void ResizeVideoWindow(int32 width, int32 height) override { resized = {width, height}; }
    std::pair<int32, int32> resized{0, 0};

private:
    VideoFrameSink* fSink;
};

class InputControls : public testing::Test {
protected:
    void SetUp() override {
        resetErrorAlertForTesting();
        SetErrorAlertPresenter([this](const std::string& text, bool) { alerts.push_back(text); });
    }
    void TearDown() override {
        SetErrorAlertPresenter({});
        resetErrorAlertForTesting();
    }
    std::unique_ptr<Tavro> MakeEngine(bool muteSwitch = true) {
        TavroOptions options;
        options.roster.audioInput = MediaRoster::kTestToneID;
        return std::make_unique<Tavro>(options, std::make_unique<CardBackend>(&card, muteSwitch));
    }
    // Selects a standard on the card as another program would have left it.
    void SetCardStandard(v4l2_std_id id) {
        int fd = card.Open("/dev/video0", 2);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(card.Ioctl(fd, VIDIOC_S_STD, &id), B_OK);
        card.Close(fd);
    }

    FakeBt848 card;
    std::vector<std::string> alerts;
};

TEST_F(InputControls, TheCardConnectsAndItsControlsWork) {
    auto engine = MakeEngine();
    ASSERT_TRUE(engine->VideoConnected()) << (alerts.empty() ? "" : alerts.front());
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
    int fd = card.Open("/dev/video0", 2);
    v4l2_frequency frequency{};
    frequency.type = V4L2_TUNER_ANALOG_TV;
    frequency.frequency = tuned + 16;
    ASSERT_EQ(card.Ioctl(fd, VIDIOC_S_FREQUENCY, &frequency), B_OK);
    card.Close(fd);
    ASSERT_EQ(engine->SetChannel(5), B_OK);
    EXPECT_EQ(card.Frequency(), tuned + 16);
    ASSERT_EQ(engine->SetChannel(6), B_OK);
    EXPECT_NE(card.Frequency(), tuned + 16);

    MediaParameter* brightness = engine->GetContinuousVideoParameter(kBt848Brightness);
    ASSERT_NE(brightness, nullptr);
    EXPECT_EQ(engine->GetContinuousVideoParameter(kChannelParameterID), nullptr);
    EXPECT_EQ(engine->GetVideoParameter(12345), nullptr);
    EXPECT_EQ(GetNodeParameter(nullptr, kBt848Brightness), nullptr);
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
    SetCardStandard(V4L2_STD_PAL_M);
    testing::internal::CaptureStdout();
    auto engine = MakeEngine();
    const std::string printed = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(engine->VideoConnected());
    EXPECT_NE(printed.find("reset PAL-M format\n"), std::string::npos);
    EXPECT_EQ(engine->GetCurrentVideoFormat(), 4);
    EXPECT_EQ(card.Standard(), V4L2_STD_PAL_M);
}

TEST_F(InputControls, ACardOfferingOnlyGrayConnectsInGray) {
    card.OfferOnly({V4L2_PIX_FMT_GREY});
    FrameCollector preview(false);
    Host host(&preview);
    auto engine = MakeEngine();
    ASSERT_TRUE(engine->VideoConnected());
    EXPECT_TRUE(alerts.empty());
    media_format format;
    engine->GetVideoFormat(&format);
    EXPECT_EQ(format.raw_video.display.format, B_GRAY8);

    // The preview cannot draw gray: it gets the frames converted to RGB32.
    engine->SetPreviewHost(&host);
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

TEST_F(InputControls, GeometryChangesReconnectOrWaitForTheHold) {
    FrameCollector preview(true);
    Host host(&preview);
    auto engine = MakeEngine();
    engine->SetPreviewHost(&host);
    engine->ShowVideo(true, Rect{});
    ASSERT_EQ(engine->SetVideoSize(384, 288), B_OK);
    EXPECT_EQ(host.resized, (std::pair<int32, int32>{384, 288}));
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
    class NoVideo : public CardBackend {
    public:
        using CardBackend::CardBackend;
        std::vector<MediaDevice> VideoInputs() override { return {}; }
    };
    Tavro engine(options, std::make_unique<NoVideo>(&card, true));
    EXPECT_FALSE(engine.VideoConnected());
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_NE(alerts[0].find("Can't find video input"), std::string::npos);
    EXPECT_EQ(engine.VideoFramesCounter(), 0);
    EXPECT_EQ(engine.DroppedVideoFrames(), 0);
}

}  // namespace

// The preview's colour conversions, pixel by pixel.
TEST(VideoConversion, ConvertsEachColourSpaceByItsRule) {
    uint8 out[4 * 4];
    std::fill(std::begin(out), std::end(out), 0xEE);

    const uint8 rgb24[] = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(convertToRGB32(rgb24, 6, B_RGB24, 2, 1, out, 8), B_OK);
    EXPECT_EQ(std::vector<uint8>(out, out + 8), (std::vector<uint8>{1, 2, 3, 0xEE, 4, 5, 6, 0xEE}));

    const uint8 gray[] = {7, 200};
    ASSERT_EQ(convertToRGB32(gray, 2, B_GRAY8, 2, 1, out, 8), B_OK);
    EXPECT_EQ(std::vector<uint8>(out, out + 8),
              (std::vector<uint8>{7, 7, 7, 0xEE, 200, 200, 200, 0xEE}));

    // Y0 Cb Y1 Cr: white-ish, then a saturated blue that clamps.
    const uint8 yuv[] = {235, 128, 16, 128, 41, 240, 41, 110};
    ASSERT_EQ(convertToRGB32(yuv, 8, B_YCbCr422, 4, 1, out, 16), B_OK);
    EXPECT_EQ(out[0], 254);  // 1.164 * 219 = 254.9, truncated
    EXPECT_EQ(out[1], 254);
    EXPECT_EQ(out[2], 254);
    EXPECT_EQ(out[4], 0);  // Y 16: black
    // Y 41, Cb 240, Cr 110: B = 29.1 + 225.9 = 255.0 -> 255, G = 29.1 + 14.6 - 43.9 -> 0
    // (truncated -0.2), R = 29.1 - 28.7 = 0.4 -> 0.
    EXPECT_EQ(out[8], 255);
    EXPECT_EQ(out[9], 0);
    EXPECT_EQ(out[10], 0);

    // 411: B, G from the walk; R from the byte after G on every other pixel.
    const uint8 y411[12] = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
    uint8 wide[8 * 4] = {};
    ASSERT_EQ(convertToRGB32(y411, 12, B_YCbCr411, 8, 1, wide, 32), B_OK);
    // n = 8: n - 1 odd: B 10, G 20, R 30, advance 2; n = 7: B 30, G 40, R 40, advance 1.
    EXPECT_EQ(std::vector<uint8>(wide, wide + 3), (std::vector<uint8>{10, 20, 30}));
    EXPECT_EQ(std::vector<uint8>(wide + 4, wide + 7), (std::vector<uint8>{30, 40, 40}));

    EXPECT_EQ(convertToRGB32(gray, 2, B_RGB16, 1, 1, out, 4), B_BAD_VALUE);
    EXPECT_EQ(convertToRGB32(gray, 1, B_GRAY8, 2, 1, out, 8), B_BAD_VALUE);  // row too short
}
