// ALSA capture through alsa-lib's "file" plugin over a "null" slave (no sound card), and the
// mixer's mute switch as a parameter web.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "media/alsa/AlsaCapture.h"
#include "media/alsa/AlsaMixerSwitch.h"
#include "media/alsa/AlsaProducer.h"
#include "media/alsa/MixerNode.h"
#include "support/Clock.h"
#include "tests/media/capture/CollectingConsumer.h"
#include "tests/media/capture/FakeDevices.h"

namespace {

// A stereo waveform no two frames of which are alike, written to a temporary file that the
// file plugin reads as its input.
class Waveform {
public:
    explicit Waveform(size_t frames) {
        for (size_t i = 0; i < frames; i++) {
            fSamples.push_back(int16(i * 7 % 65521 - 32000));
            fSamples.push_back(int16(-(int32(i) % 30011)));
        }
        char path[] = "/tmp/tavro-alsa-XXXXXX";
        int fd = mkstemp(path);
        fPath = path;
        EXPECT_EQ(write(fd, fSamples.data(), fSamples.size() * 2), ssize_t(fSamples.size() * 2));
        close(fd);
    }
    ~Waveform() { unlink(fPath.c_str()); }

    AlsaSource Source() const {
        return {"tavrotest",
                "pcm.tavrotest { type file slave.pcm { type null } "
                "file \"/dev/null\" infile \"" +
                    fPath + "\" format raw }"};
    }
    const std::vector<int16>& Samples() const { return fSamples; }

private:
    std::vector<int16> fSamples;
    std::string fPath;
};

TEST(AlsaCaptureTest, FilePluginWaveformComesBackSampleExactInPeriods) {
    Waveform waveform(256 * 24);
    AlsaCapture capture(waveform.Source());
    ASSERT_EQ(capture.InitCheck(), B_OK);
    ASSERT_EQ(capture.Configure(48000, 2, 256), B_OK);
    EXPECT_EQ(capture.Rate(), 48000u);
    EXPECT_EQ(capture.Channels(), 2u);
    ASSERT_EQ(capture.PeriodFrames(), 256u);
    ASSERT_EQ(capture.Start(), B_OK);

    std::vector<int16> read;
    std::vector<int16> period(256 * 2);
    bigtime_t previous = 0;
    for (int i = 0; i < 24; i++) {
        size_t bytes = 0;
        bigtime_t start = 0;
        ASSERT_EQ(capture.ReadPeriod(period.data(), &bytes, &start, 1000), B_OK);
        ASSERT_EQ(bytes, capture.PeriodBytes());
        EXPECT_GT(start, previous);
        EXPECT_LE(start, system_time());
        EXPECT_GT(start, system_time() - 1000000);
        previous = start;
        read.insert(read.end(), period.begin(), period.end());
        snooze(2000);  // the plugin does not pace reads; real time has to pass between them
    }
    EXPECT_EQ(read, waveform.Samples());
    EXPECT_EQ(capture.Overruns(), 0);
}

TEST(AlsaCaptureTest, NearestRateAndChannelsAreGranted) {
    Waveform waveform(1024);
    AlsaCapture capture(waveform.Source());
    ASSERT_EQ(capture.Configure(22050, 1, 300), B_OK);
    EXPECT_EQ(capture.Rate(), 22050u);
    EXPECT_EQ(capture.Channels(), 1u);
    EXPECT_GT(capture.PeriodFrames(), 0u);
    EXPECT_EQ(capture.PeriodBytes(), capture.PeriodFrames() * 2);
}

TEST(AlsaCaptureTest, UnknownPcmAndBadConfigGiveErrors) {
    AlsaCapture missing({"tavro_no_such_pcm", ""});
    EXPECT_LT(missing.InitCheck(), 0);
    EXPECT_EQ(missing.Configure(48000, 2, 256), missing.InitCheck());
    EXPECT_EQ(missing.Start(), missing.InitCheck());

    AlsaCapture garbage({"x", "pcm.x { type "});
    EXPECT_LT(garbage.InitCheck(), 0);
    AlsaCapture undefined({"x", "pcm.y { type null }"});
    EXPECT_LT(undefined.InitCheck(), 0);

    AlsaProducer producer({"tavro_no_such_pcm", ""});
    EXPECT_LT(producer.InitCheck(), 0);
    CollectingConsumer consumer(B_MEDIA_RAW_AUDIO);
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    EXPECT_NE(connectNodes(&producer, &consumer, &format), B_OK);
}

TEST(AlsaProducerTest, DeliversTheWaveformInPeriodBuffersWithRisingTimes) {
    Waveform waveform(441 * 40);
    AlsaProducer producer(waveform.Source());
    ASSERT_EQ(producer.InitCheck(), B_OK);
    CollectingConsumer consumer(B_MEDIA_RAW_AUDIO);
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    format.raw_audio.frame_rate = 44100;
    format.raw_audio.channel_count = 2;
    format.raw_audio.buffer_size = 441 * 4;
    ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
    EXPECT_EQ(format.raw_audio.format, media_raw_audio_format::B_AUDIO_SHORT);
    EXPECT_EQ(format.raw_audio.frame_rate, 44100.0f);
    ASSERT_EQ(format.raw_audio.buffer_size, 441u * 4);

    consumer.Start(system_time());
    producer.Start(system_time());
    ASSERT_GE(consumer.WaitForBuffers(40, 5000000), 40u);
    producer.Stop(0, true);

    std::vector<ReceivedBuffer> buffers = consumer.Buffers();
    std::vector<int16> samples;
    for (size_t i = 0; i < 40; i++) {
        const ReceivedBuffer& buffer = buffers[i];
        ASSERT_EQ(buffer.header.size_used, 441u * 4);
        EXPECT_EQ(buffer.header.sequence, int64(i) * 441);
        EXPECT_EQ(buffer.header.type, B_MEDIA_RAW_AUDIO);
        if (i > 0) {
            EXPECT_GE(buffer.header.start_time, buffers[i - 1].header.start_time);
        }
        EXPECT_LE(buffer.header.start_time, buffer.arrival);
        const int16* data = reinterpret_cast<const int16*>(buffer.data.data());
        samples.insert(samples.end(), data, data + buffer.data.size() / 2);
    }
    EXPECT_EQ(samples, waveform.Samples());
    EXPECT_EQ(producer.Overruns(), 0);
}

TEST(MixerNodeTest, LineGroupHoldsAMuteSwitchThatReachesTheMixer) {
    bool muted = false;
    MixerNode node("Mixer", std::make_unique<FakeMixerSwitch>(true, &muted));
    std::unique_ptr<ParameterWeb> web = node.GetParameterWeb();
    ParameterGroup* line = web->GroupWithName("Line");
    ASSERT_NE(line, nullptr);
    ASSERT_EQ(line->CountParameters(), 1);
    MediaParameter* mute = line->ParameterAt(0);
    EXPECT_EQ(mute->Kind(), B_MUTE);
    EXPECT_EQ(mute->Type(), ParameterType::Discrete);

    int32 on = 1;
    ASSERT_EQ(mute->SetValue(&on, sizeof(on), 77), B_OK);
    EXPECT_TRUE(muted);
    int32 value = -1;
    size_t size = sizeof(value);
    bigtime_t changed = 0;
    ASSERT_EQ(mute->GetValue(&value, &size, &changed), B_OK);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(changed, 77);
    muted = false;
    ASSERT_EQ(mute->GetValue(&value, &size, nullptr), B_OK);
    EXPECT_EQ(value, 0);
    size = 2;
    EXPECT_EQ(mute->GetValue(&value, &size, nullptr), B_NO_MEMORY);
}

// An output without the switch, and a card that is not there: no "Line" group, no mute.
TEST(MixerNodeTest, WithoutASwitchThereIsNoLineGroupAndNoMute) {
    bool muted = false;
    auto missingCard = std::make_unique<AlsaMixerSwitch>("hw:97");
    EXPECT_LT(missingCard->InitCheck(), 0);
    EXPECT_FALSE(missingCard->HasSwitch());
    EXPECT_EQ(missingCard->GetMute(&muted), missingCard->InitCheck());
    EXPECT_EQ(missingCard->SetMute(true), missingCard->InitCheck());
    std::unique_ptr<MixerSwitch> switches[] = {std::make_unique<FakeMixerSwitch>(false, &muted),
                                               std::move(missingCard)};
    for (std::unique_ptr<MixerSwitch>& mixerSwitch : switches) {
        MixerNode node("Mixer", std::move(mixerSwitch));
        EXPECT_EQ(node.GetParameterWeb()->GroupWithName("Line"), nullptr);
        int32 on = 1;
        EXPECT_LT(node.SetParameterValue(kMuteParameter, 0, &on, sizeof(on)), 0);
    }
}

}  // namespace
