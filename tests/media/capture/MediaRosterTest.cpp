// The roster: which inputs it lists and which it picks as defaults, with an in-process Bt848
// as the only "real" video device, and the nodes it hands out.

#include <gtest/gtest.h>

#include "media/roster/MediaRoster.h"
#include "media/testsignal/TestPictureProducer.h"
#include "media/testsignal/TestToneProducer.h"
#include "media/v4l2/V4L2Producer.h"
#include "tests/media/capture/FakeDevices.h"

namespace {

std::unique_ptr<DeviceBackend> backend(FakeBt848* card, std::vector<std::string> audio = {}) {
    return std::make_unique<CardBackend>(card, std::move(audio));
}

}  // namespace

TEST(MediaRoster, WithoutDevicesTheBuiltInInputsAreTheDefaults) {
    MediaRoster roster({}, backend(nullptr));
    ASSERT_NE(roster.DefaultVideoInput(), nullptr);
    EXPECT_EQ(roster.DefaultVideoInput()->id, MediaRoster::kTestPictureID);
    ASSERT_NE(roster.DefaultAudioInput(), nullptr);
    EXPECT_EQ(roster.DefaultAudioInput()->id, MediaRoster::kTestToneID);
    EXPECT_EQ(roster.DefaultAudioOutput(), nullptr);

    std::shared_ptr<MediaProducer> video, again, audio;
    ASSERT_EQ(roster.GetVideoInput(&video), B_OK);
    ASSERT_EQ(roster.GetVideoInput(&again), B_OK);
    EXPECT_EQ(video, again);
    ASSERT_EQ(roster.GetAudioInput(&audio), B_OK);
    // One frame clock for both, so the clicks fall on the flashes.
    auto* picture = dynamic_cast<TestPictureProducer*>(video.get());
    auto* tone = dynamic_cast<TestToneProducer*>(audio.get());
    ASSERT_NE(picture, nullptr);
    ASSERT_NE(tone, nullptr);
    EXPECT_EQ(picture->Clock(), tone->Clock());

    EXPECT_EQ(roster.ReleaseNode(video.get()), B_OK);
    EXPECT_EQ(roster.ReleaseNode(video.get()), B_MEDIA_BAD_NODE);
    ASSERT_EQ(roster.GetVideoInput(&again), B_OK);
    EXPECT_NE(again, video);

    std::shared_ptr<MediaNode> output;
    EXPECT_EQ(roster.GetAudioOutput(&output), B_ENTRY_NOT_FOUND);
}

TEST(MediaRoster, ARealDeviceComesFirstUnlessAnotherIsNamed) {
    FakeBt848 card;
    MediaRoster roster({}, backend(&card, {"hw:1"}));
    ASSERT_NE(roster.DefaultVideoInput(), nullptr);
    EXPECT_EQ(roster.DefaultVideoInput()->id, "/dev/video0");
    EXPECT_FALSE(roster.DefaultVideoInput()->builtIn);
    EXPECT_EQ(roster.DefaultAudioInput()->id, "hw:1");
    std::shared_ptr<MediaProducer> video;
    ASSERT_EQ(roster.GetVideoInput(&video), B_OK);
    EXPECT_NE(dynamic_cast<V4L2Producer*>(video.get()), nullptr);
    // The device's own error when it cannot be opened.
    std::shared_ptr<MediaProducer> audio;
    EXPECT_EQ(roster.GetAudioInput(&audio), B_DEV_NOT_READY);

    // Named by id or by name.
    RosterOptions options;
    options.videoInput = MediaRoster::kTestPictureID;
    options.audioInput = "Test Tone";
    MediaRoster named(options, backend(&card, {"hw:1"}));
    EXPECT_EQ(named.DefaultVideoInput()->id, MediaRoster::kTestPictureID);
    EXPECT_EQ(named.DefaultAudioInput()->id, MediaRoster::kTestToneID);
    EXPECT_EQ(named.MissingVideoInput(), "");
}

TEST(MediaRoster, ANamedDeviceThatIsNotThereIsMissingNotReplaced) {
    FakeBt848 card;
    auto idOf = [](const MediaDevice* device) { return device != nullptr ? device->id : "none"; };
    struct Case {
        const char* what;
        std::string video, audio;
        std::string defaultVideo, defaultAudio, missingVideo, missingAudio;
    } cases[] = {
        {"video missing", "/dev/video9", "", "none", "hw:1", "/dev/video9", ""},
        {"audio missing", "", "hw:7", "/dev/video0", "none", "", "hw:7"},
        {"both there", "Test Picture", "hw:1", "test-picture", "hw:1", "", ""},
        {"none named", "", "", "/dev/video0", "hw:1", "", ""},
    };
    for (const Case& c : cases) {
        RosterOptions options;
        options.videoInput = c.video;
        options.audioInput = c.audio;
        MediaRoster roster(options, backend(&card, {"hw:1"}));
        EXPECT_EQ(idOf(roster.DefaultVideoInput()), c.defaultVideo) << c.what;
        EXPECT_EQ(idOf(roster.DefaultAudioInput()), c.defaultAudio) << c.what;
        EXPECT_EQ(roster.MissingVideoInput(), c.missingVideo) << c.what;
        EXPECT_EQ(roster.MissingAudioInput(), c.missingAudio) << c.what;
        std::shared_ptr<MediaProducer> producer;
        if (!c.missingVideo.empty()) {
            EXPECT_EQ(roster.GetVideoInput(&producer), B_ENTRY_NOT_FOUND) << c.what;
        }
    }

    // Naming other inputs later: the missing one is found, the old node is let go.
    RosterOptions options;
    options.videoInput = "/dev/video9";
    MediaRoster roster(options, backend(&card, {"hw:1"}));
    roster.SetNamedInputs(MediaRoster::kTestPictureID, "");
    EXPECT_EQ(idOf(roster.DefaultVideoInput()), "test-picture");
    EXPECT_EQ(roster.MissingVideoInput(), "");
    std::shared_ptr<MediaProducer> picture, again;
    ASSERT_EQ(roster.GetVideoInput(&picture), B_OK);
    roster.SetNamedInputs("/dev/video0", "");
    ASSERT_EQ(roster.GetVideoInput(&again), B_OK);
    EXPECT_NE(again, picture);
    EXPECT_NE(dynamic_cast<V4L2Producer*>(again.get()), nullptr);
}

TEST(MediaRoster, WithoutBuiltInInputsAMachineWithoutDevicesHasNoInputs) {
    RosterOptions options;
    options.builtInInputs = false;
    MediaRoster roster(options, backend(nullptr));
    EXPECT_EQ(roster.DefaultVideoInput(), nullptr);
    EXPECT_EQ(roster.DefaultAudioInput(), nullptr);
    std::shared_ptr<MediaProducer> producer;
    EXPECT_EQ(roster.GetVideoInput(&producer), B_ENTRY_NOT_FOUND);
    EXPECT_EQ(roster.GetAudioInput(&producer), B_ENTRY_NOT_FOUND);
    EXPECT_EQ(roster.Describe(),
              "Video inputs:\n  none\nAudio inputs:\n  none\n"
              "Audio output (mute switch):\n  none\n"
              "* the default of its kind\n");
}

TEST(MediaRoster, TheListMarksTheDefaults) {
    FakeBt848 card;
    MediaRoster roster({}, backend(&card));
    const std::string text = roster.Describe();
    EXPECT_NE(text.find("* /dev/video0"), std::string::npos) << text;
    EXPECT_NE(text.find("  test-picture  Test Picture (built in)"), std::string::npos) << text;
    EXPECT_NE(text.find("* test-tone"), std::string::npos) << text;
}
