// Recordings on the built-in test signal in real time, measured with the sync meter: sound at
// any rate and channel count at true speed, both streams on one clock through a stall of the
// audio input, a writer held back until its ring overflows; and the frames and sound in a file
// counted against the clock.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <thread>

#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "engine/VideoConsumer.h"
#include "media/file/SyncMeter.h"
#include "media/testsignal/TestToneProducer.h"
#include "support/Clock.h"
#include "tests/engine/EngineRecordingFixture.h"
#include "tests/engine/EngineTestSupport.h"

namespace {

class RecordingTiming : public RecordingFixture {
protected:
    void SetUp() override {
        RecordingFixture::SetUp();
        format.videoWidth = 320;
        format.videoHeight = 240;
    }

    // Records `seconds` of the paced test signal in `format`, calling `during(elapsed µs)`
    // every 10 ms, and stops the way the main window does.
    template <typename During>
    void Record(double seconds, During during) {
        engine = std::make_unique<Tavro>(testSignal(true));
        ASSERT_TRUE(engine->VideoConnected());
        ASSERT_TRUE(engine->AudioConnected());
        engine->SetFormat(&format);
        engine->GetAudioFormat(&connectedAudio);
        auto file = std::make_unique<TavroFile>(path.c_str(), &format, engine.get());
        ASSERT_EQ(file->status, B_OK);
        ASSERT_EQ(file->file->CommitHeader(), B_OK);
        ASSERT_EQ(engine->SetVideoTrack(file->videoTrack), B_OK);
        ASSERT_EQ(engine->SetAudioTrack(file->audioTrack), B_OK);
        engine->SetStatusView(&rings);
        const bigtime_t start = system_time();
        ASSERT_EQ(engine->Start(), B_OK);
        for (bigtime_t now = start; now - start < bigtime_t(seconds * 1e6); now = system_time()) {
            during(now - start);
            snooze(10000);
        }
        ASSERT_EQ(engine->Stop(), B_OK);
        videoCounter = engine->VideoFramesCounter();
        droppedVideo = engine->DroppedVideoFrames();
        droppedAudio = engine->DroppedAudioFrames();
        ringFull = engine->VideoRingFullDrops();
        audioRingFull = engine->AudioRingFullDrops();
        engine->SetStatusView(nullptr);
        file.reset();  // closes the file
        movie = readMovie(path);
        ASSERT_EQ(MeasureSync(path.c_str(), &sync), B_OK);
    }
    void Record(double seconds) {
        Record(seconds, [](bigtime_t) {});
    }
    // One buffer of the connected sound, and a millisecond for rounding.
    double BufferSeconds() const {
        const media_raw_audio_format& audio = connectedAudio.raw_audio;
        return double(audio.buffer_size / (audio.channel_count * 2)) / audio.frame_rate + 0.001;
    }

    // 20 ms; on a machine so busy that the test picture lost frames before they reached the
    // node, the video node's drift rule lets a frame lie up to 60 ms early (it catches up only
    // from 60 ms on), so the sound may then lie that much later.
    double syncLimitMs() const { return sync.framesMissing > ringFull ? 60.0 : 20.0; }

    std::unique_ptr<Tavro> engine;
    RingWatcher rings;
    media_format connectedAudio;
    MovieSummary movie;
    SyncReport sync;
    int64 videoCounter = 0;
    int64 droppedVideo = 0;
    int64 droppedAudio = 0;
    int64 ringFull = 0;
    int64 audioRingFull = 0;
};

struct AudioShape {
    int32 rate;
    int32 channels;
};

class AnyAudioFormat : public RecordingTiming, public testing::WithParamInterface<AudioShape> {};

// The input is connected at the format's rate and channel count, so the sound lasts as long
// as the picture and stays with it.
TEST_P(AnyAudioFormat, RecordsAtTrueSpeedAndInSync) {
    format.audioFrameRate = GetParam().rate;
    format.audioChannels = uint8(GetParam().channels);
    Record(3.5);
    ASSERT_TRUE(alerts.empty()) << alerts.front().text;
    EXPECT_EQ(connectedAudio.raw_audio.frame_rate, float(GetParam().rate));
    EXPECT_EQ(connectedAudio.raw_audio.channel_count, uint32(GetParam().channels));

    ASSERT_NE(movie.Video(), nullptr);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Audio()->sampleRate, GetParam().rate);
    EXPECT_EQ(movie.Audio()->channels, GetParam().channels);
    EXPECT_NEAR(movie.Video()->endSeconds, 3.5, 0.2);
    // Within one frame and one buffer of each other: the last frame ends a frame period
    // after its start, the last buffer at the end of its period.
    EXPECT_NEAR(movie.Audio()->endSeconds, movie.Video()->endSeconds, 0.04 + BufferSeconds());

    EXPECT_TRUE(sync.measured) << FormatSyncReport(sync);
    EXPECT_LE(std::fabs(sync.firstOffsetMs), syncLimitMs()) << FormatSyncReport(sync);
    EXPECT_LE(std::fabs(sync.lastOffsetMs), syncLimitMs()) << FormatSyncReport(sync);
    EXPECT_EQ(sync.framesMissing, droppedVideo) << FormatSyncReport(sync);
}

INSTANTIATE_TEST_SUITE_P(RatesAndChannels, AnyAudioFormat,
                         testing::Values(AudioShape{48000, 2}, AudioShape{48000, 1},
                                         AudioShape{32000, 2}, AudioShape{32000, 1},
                                         AudioShape{22050, 2}, AudioShape{22050, 1},
                                         AudioShape{8000, 2}, AudioShape{8000, 1}),
                         [](const testing::TestParamInfo<AudioShape>& test) {
                             return std::to_string(test.param.rate) +
                                    (test.param.channels == 1 ? "Mono" : "Stereo");
                         });

struct Container {
    const char* fileFormat;
    const char* extension;
    const char* audioEncoder = "aac";
};

class BFrameEncoder : public RecordingTiming, public testing::WithParamInterface<Container> {};

// libx264 reorders frames (B-frames) and its packets start before time 0; AAC primes its
// encoder. Each picture still comes at its own time, a period after the one before, and the
// sound stays with it in every container that holds them. AVI cannot say the reordering delay
// and gets no B-frames (its sound is raw here: AVI cannot say AAC's priming either).
TEST_P(BFrameEncoder, WritesEachPictureAtItsTimeWithTheSoundInSync) {
    format.SetFileFormat(GetParam().fileFormat);
    format.SetVideoEncoder("libx264");
    format.SetAudioEncoder(GetParam().audioEncoder);
    path = temporaryPath(GetParam().extension);
    Record(3.5);
    ASSERT_TRUE(alerts.empty()) << alerts.front().text;
    ASSERT_NE(movie.Video(), nullptr);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Video()->codec, "h264");
    EXPECT_EQ(movie.Video()->decodeErrors + movie.Audio()->decodeErrors, 0);
    EXPECT_EQ(movie.Video()->timeFaults, 0);
    EXPECT_TRUE(sync.measured) << FormatSyncReport(sync);
    EXPECT_LE(std::fabs(sync.firstOffsetMs), syncLimitMs()) << FormatSyncReport(sync);
    EXPECT_LE(std::fabs(sync.lastOffsetMs), syncLimitMs()) << FormatSyncReport(sync);
}

INSTANTIATE_TEST_SUITE_P(Containers, BFrameEncoder,
                         testing::Values(Container{"mp4", "mp4"}, Container{"mov", "mov"},
                                         Container{"matroska", "mkv"}, Container{"mpegts", "ts"},
                                         Container{"avi", "avi", "raw-audio"}),
                         [](const testing::TestParamInfo<Container>& test) {
                             return std::string(test.param.extension);
                         });

struct Capture {
    const char* fileFormat;
    const char* extension;
    const char* encoder;
};

class YCbCrCapture : public RecordingTiming, public testing::WithParamInterface<Capture> {};

// Captured in YCbCr 4:2:2, the encoders take the picture without a detour through RGB: every
// frame reads back whole with its counter in order, and the sound stays with it.
TEST_P(YCbCrCapture, RecordsTheTestPictureWholeAndInSync) {
    format.colorSpace = B_YCbCr422;
    format.SetFileFormat(GetParam().fileFormat);
    format.SetVideoEncoder(GetParam().encoder);
    path = temporaryPath(GetParam().extension);
    Record(3.5);
    ASSERT_TRUE(alerts.empty()) << alerts.front().text;
    media_format video;
    engine->GetVideoFormat(&video);
    EXPECT_EQ(video.raw_video.display.format, B_YCbCr422);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
    EXPECT_EQ(sync.unreadable, 0) << FormatSyncReport(sync);
    EXPECT_EQ(sync.framesRepeated, 0) << FormatSyncReport(sync);
    EXPECT_EQ(sync.framesMissing, droppedVideo) << FormatSyncReport(sync);
    EXPECT_TRUE(sync.measured) << FormatSyncReport(sync);
    EXPECT_LE(std::fabs(sync.firstOffsetMs), syncLimitMs()) << FormatSyncReport(sync);
    EXPECT_LE(std::fabs(sync.lastOffsetMs), syncLimitMs()) << FormatSyncReport(sync);
}

INSTANTIATE_TEST_SUITE_P(Encoders, YCbCrCapture,
                         testing::Values(Capture{"avi", "avi", "mpeg4"},
                                         Capture{"matroska", "mkv", "libx264"},
                                         Capture{"avi", "avi", "raw-video"}),
                         [](const testing::TestParamInfo<Capture>& test) {
                             return std::string(test.param.encoder == std::string("raw-video")
                                                    ? "raw"
                                                    : test.param.encoder);
                         });

// Half a second in which the audio input delivers nothing (its periods lost, as in an
// overrun): the sound after it stays in place, the gap is silence.
TEST_F(RecordingTiming, AnAudioStallLeavesTheSoundInPlace) {
    bool stalled = false;
    Record(4.5, [&](bigtime_t elapsed) {
        if (!stalled && elapsed >= 1500000) {
            auto* tone = dynamic_cast<TestToneProducer*>(engine->AudioInputNode());
            ASSERT_NE(tone, nullptr);
            tone->InjectStall(500000);
            stalled = true;
        }
    });
    ASSERT_TRUE(alerts.empty()) << alerts.front().text;
    // Every flash has its click near it: none lies half a second off.
    int64 paired = 0;
    for (const SyncSecond& second : sync.seconds)
        paired += second.hasOffset ? 1 : 0;
    // (The click of the second the stall falls in may be among the periods lost.)
    EXPECT_GE(paired, 3) << FormatSyncReport(sync);
    EXPECT_LE(sync.maxAbsOffsetMs, syncLimitMs()) << FormatSyncReport(sync);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_NEAR(movie.Audio()->endSeconds, movie.Video()->endSeconds, 0.04 + BufferSeconds());
}

// Both writers held off the file for 2.5 s: the video ring (1.6 s) overflows, the audio ring
// does not. No frame is overwritten while queued: each frame in the file is a whole one in
// counter order, the frames missing are those counted as dropped, and the sound stays in sync.
TEST_F(RecordingTiming, AWriterThatFallsBehindDropsWholeFramesAndCountsThem) {
    format.SetFileFormat("matroska");
    path = temporaryPath("mkv");
    std::thread holder;
    Record(6, [&](bigtime_t elapsed) {
        if (!holder.joinable() && elapsed >= 1000000) {
            ASSERT_EQ(engine->MediaWriteLock().Acquire(), B_OK);
            holder = std::thread([this] {
                snooze(2500000);
                engine->MediaWriteLock().Release();
            });
        }
    });
    holder.join();
    ASSERT_TRUE(alerts.empty()) << alerts.front().text;
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_GT(ringFull, 0);
    EXPECT_GT(droppedVideo, 0);
    EXPECT_EQ(droppedAudio, 0);
    EXPECT_EQ(audioRingFull, 0);
    // What should have come, from the first frame to the last, less what the file holds.
    EXPECT_EQ(droppedVideo, videoCounter + 1 - movie.Video()->frames);
    EXPECT_EQ(sync.unreadable, 0) << FormatSyncReport(sync);
    EXPECT_EQ(sync.framesRepeated, 0) << FormatSyncReport(sync);
    EXPECT_EQ(sync.framesMissing, droppedVideo) << FormatSyncReport(sync);
    EXPECT_TRUE(sync.measured) << FormatSyncReport(sync);
    EXPECT_LE(sync.maxAbsOffsetMs, syncLimitMs()) << FormatSyncReport(sync);
}

TEST_F(EngineRecording, FourSecondsInTheDefaultFormatMatchTheClock) {
    Tavro engine(testSignal(true));
    ASSERT_TRUE(engine.VideoConnected());
    ASSERT_TRUE(engine.AudioConnected());
    media_format connected;
    engine.GetAudioFormat(&connected);
    const int64 bufferFrames = int64(connected.raw_audio.buffer_size / 4);
    auto soundSpan = [&] {
        return engine.AudioConsumerNode()->ExpectedBuffers() * bufferFrames * 1000000 / 44100;
    };
    // Four seconds, and then until the picture has caught up with the clock: a machine busy
    // elsewhere holds the test signal up, and what it holds up at the end would otherwise be
    // neither in the file nor counted as dropped. A picture whose times fall behind the clock
    // never catches up, and the frame count below fails. The sound is stopped once it has
    // reached the picture's end, for the same reason (at most 5 s later).
    beforeSoundStops = [&] {
        const bigtime_t until = system_time() + 5000000;
        while (soundSpan() < videoStopped - started - 20000 && system_time() < until)
            snooze(10000);
    };
    Record(engine, [&] {
        const bigtime_t elapsed = system_time() - started;
        return elapsed >= 4000000 && (engine.VideoFramesCounter() + 1) * 40000 >= elapsed - 80000;
    });
    ASSERT_TRUE(alerts.empty()) << alerts.front().text;

    MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.openError, 0);
    const StreamSummary* video = movie.Video();
    ASSERT_NE(video, nullptr);
    EXPECT_EQ(video->width, 384);
    EXPECT_EQ(video->height, 288);
    // 25 frames a second for as long as the picture was recorded, written or counted as
    // dropped (the drift rule drops what a busy machine delivered late; a full ring refuses
    // frames).
    const double frames = double(video->frames + droppedVideo);
    EXPECT_GE(frames, double(stopped - started) / 40000 - 2);
    EXPECT_LE(frames, double(videoStopped - startCalled) / 40000 + 2);
    EXPECT_EQ(video->decodeErrors, 0);
    // Every frame the node put into the ring reached the file.
    EXPECT_EQ(video->frames, recordedVideo);
    EXPECT_LE(ringFullVideo, droppedVideo);
    // The counter runs from the first frame's time; the first frame comes on top.
    EXPECT_EQ(droppedVideo, std::max<int64>(0, videoCounter + 1 - recordedVideo));

    const StreamSummary* audio = movie.Audio();
    ASSERT_NE(audio, nullptr);
    EXPECT_EQ(audio->sampleRate, 44100);
    EXPECT_EQ(audio->channels, 2);
    // The sound runs from the first picture to the end of the last buffer: within a frame
    // and two buffers of the picture's length, plus what the sound went on recording after
    // the picture had stopped.
    const double soundAfterPicture = double(audioStopped - stopped) / 1000000;
    const double twoBuffers = 2.0 * double(bufferFrames) / 44100;
    EXPECT_GE(double(audio->samples) / 44100, video->endSeconds - 0.04 - twoBuffers);
    EXPECT_LE(double(audio->samples) / 44100,
              video->endSeconds + 0.04 + twoBuffers + soundAfterPicture);
    // Every buffer the node recorded was written (the part of them captured before the first
    // picture is left out of the file by design: how much depends on how long a busy machine
    // held the picture up, so the file's length is checked against the picture's above).
    Figures sound;
    const std::string report = TakeReport();
    ASSERT_TRUE(ReadFigures(report, "Sound buffers", "buffers", &sound)) << report;
    EXPECT_EQ(sound.written, recordedAudio) << report;
    EXPECT_EQ(sound.written + sound.dropped, sound.expected) << report;
}

// Skip frames 2 records every second frame and declares half the rate; a 44,100 Hz stereo
// input into a 22,050 Hz mono track writes half the frames.
TEST_F(EngineRecording, SkipFramesAndAReducedAudioTrackWriteHalfTheFrames) {
    Tavro engine(testSignal(false));
    format.frameDivisor = 2;
    format.audioFrameRate = 22050;
    format.audioChannels = 1;
    media_format input;
    engine.GetAudioFormat(&input);
    ASSERT_EQ(input.raw_audio.frame_rate, 44100.0f);
    ASSERT_EQ(input.raw_audio.channel_count, 2u);
    Record(engine, [&] {
        return engine.VideoConsumerNode()->RecordedFrames() >= 30 &&
               engine.AudioConsumerNode()->RecordedFrames() >= 50;
    });
    EXPECT_EQ(engine.VideoConsumerNode()->SkipFrames(), 2);
    MovieSummary movie = readMovie(path);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->frames, recordedVideo);
    // Frames of 80 ms each: half the input's 25 per second.
    EXPECT_NEAR(movie.Video()->endSeconds / double(recordedVideo), 0.08, 0.005);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Audio()->sampleRate, 22050);
    EXPECT_EQ(movie.Audio()->channels, 1);
    EXPECT_EQ(movie.Audio()->samples, recordedAudio * int64(input.raw_audio.buffer_size / 4 / 2));

    // The report beside the file: what was recorded, as the file holds it.
    const std::string report = TakeReport();
    for (const std::string& expected :
         {"File: " + path + "\n", std::string("Format: test\n"), std::string("Container: avi\n"),
          std::string("Video: raw-video, 384x288 B_RGB32, 12.500 frames/s\n"),
          std::string("Audio: raw-audio, 22050 Hz, 1 channel\n"),
          std::string("Video input: Test Picture (test-picture)\n"),
          "Video frames written: " + std::to_string(movie.Video()->frames) + "\n",
          std::string("Errors: none\n")})
        EXPECT_NE(report.find(expected), std::string::npos) << expected << "in\n" << report;
    EXPECT_NE(report.find("Started: "), std::string::npos) << report;
    EXPECT_NE(report.find("Stopped: "), std::string::npos) << report;
    // Every buffer the node recorded was written (none left, none failed).
    Figures sound;
    ASSERT_TRUE(ReadFigures(report, "Sound buffers", "buffers", &sound)) << report;
    EXPECT_EQ(sound.written, recordedAudio);
    EXPECT_EQ(sound.written + sound.dropped, sound.expected) << report;
}

}  // namespace
