// Recordings through the whole engine on the built-in test signal: real node threads, real
// writer threads, real files read back with FFmpeg.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "app/records/MessageCodes.h"
#include "engine/AudioConsumer.h"
#include "engine/PreviewSinks.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "engine/VideoConsumer.h"
#include "media/testsignal/TestPictureProducer.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"
#include "tests/engine/EngineTestSupport.h"

namespace {

class EngineRecording : public RecordingFixture {
protected:
    // Applies the format, makes the file and starts recording into it; nullptr on failure.
    std::unique_ptr<TavroFile> Start(Tavro& engine) {
        engine.SetFormat(&format);
        auto file = std::make_unique<TavroFile>(path.c_str(), &format, &engine);
        if (file->status != B_OK || file->file->CommitHeader() != B_OK ||
            engine.SetVideoTrack(file->videoTrack) != B_OK ||
            engine.SetAudioTrack(file->audioTrack) != B_OK)
            return nullptr;
        engine.SetStatusView(&rings);
        startCalled = system_time();
        return engine.Start() == B_OK ? std::move(file) : nullptr;
    }

    // Records until `until` is true (checked every 10 ms) or 20 s have passed.
    template <typename Until>
    void Record(Tavro& engine, Until until) {
        std::unique_ptr<TavroFile> file = Start(engine);
        ASSERT_NE(file, nullptr);
        // The recording's own clock: making the file takes longer on a loaded machine.
        started = system_time();
        hadAudioTrack = file->audioTrack != nullptr;
        const bigtime_t end = system_time() + 20000000;
        while (!until() && system_time() < end)
            snooze(10000);
        stopped = system_time();
        // Stop at a known point: inputs silent, rings drained, so what the nodes counted is
        // what the file must hold (Stop itself leaves slots still in a ring unwritten).
        engine.VideoInputNode()->Stop(0, true);
        videoStopped = system_time();
        if (beforeSoundStops)
            beforeSoundStops();
        engine.AudioInputNode()->Stop(0, true);
        audioStopped = system_time();
        const bigtime_t drained = system_time() + 10000000;
        while ((rings.video->BuffersInUse() > 0 ||
                (rings.audio != nullptr && rings.audio->BuffersInUse() > 0)) &&
               system_time() < drained)
            snooze(10000);
        snooze(50000);  // the writer's last WriteFrames
        recordedVideo = engine.VideoConsumerNode()->RecordedFrames();
        recordedAudio = engine.AudioConsumerNode()->RecordedFrames();
        videoCounter = engine.VideoFramesCounter();
        droppedVideo = engine.DroppedVideoFrames();
        ringFullVideo = engine.VideoRingFullDrops();
        ASSERT_EQ(engine.Stop(), B_OK);
        engine.SetStatusView(nullptr);
    }

    // The report beside the file, removed.
    std::string TakeReport() {
        std::ifstream file(path + ".log");
        std::stringstream text;
        text << file.rdbuf();
        std::remove((path + ".log").c_str());
        return text.str();
    }

    // A stream's figures in the report ("Video frames: 75 frames expected, 74 written, 1
    // dropped ..."): false when the line is not there.
    struct Figures {
        long long expected = -1, written = -1, dropped = -1;
    };
    static bool ReadFigures(const std::string& report, const std::string& key, const char* unit,
                            Figures* figures) {
        const size_t at = report.find(key + ": ");
        if (at == std::string::npos)
            return false;
        const char* text = report.c_str() + at + key.size() + 2;
        int unitAt = 0;
        if (std::sscanf(text, "%lld %n", &figures->expected, &unitAt) != 1 ||
            std::strncmp(text + unitAt, unit, std::strlen(unit)) != 0)
            return false;
        return std::sscanf(text + unitAt + std::strlen(unit), " expected, %lld written, %lld",
                           &figures->written, &figures->dropped) == 2;
    }

    RingWatcher rings;  // the status view of the recordings
    bool hadAudioTrack = false;
    // A busy machine may hold this thread up between any two steps, so each moment that
    // matters is taken on both sides: the engine started between `startCalled` and `started`,
    // the picture stopped between `stopped` and `videoStopped`, the sound by `audioStopped`.
    bigtime_t startCalled = 0;
    bigtime_t started = 0;
    bigtime_t stopped = 0;
    bigtime_t videoStopped = 0;
    bigtime_t audioStopped = 0;
    std::function<void()> beforeSoundStops;  // runs between the two inputs' Stop
    int64 recordedVideo = 0;
    int64 recordedAudio = 0;
    int64 videoCounter = 0;
    int64 droppedVideo = 0;
    int64 ringFullVideo = 0;  // frames a full ring refused (a machine too busy to write them)
};

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

// Also a recording without an audio track: no sound is recorded or written.
TEST_F(EngineRecording, MissingFramesAreCountedAndPrintedOncePerInterval) {
    Tavro engine(testSignal(false));
    // Every fifth frame is never sent.
    auto* picture = dynamic_cast<TestPictureProducer*>(engine.VideoInputNode());
    ASSERT_NE(picture, nullptr);
    picture->SetFrameGaps(5);
    format.SetAudioEncoder("");
    testing::internal::CaptureStdout();
    Record(engine, [&] { return engine.VideoConsumerNode()->RecordedFrames() >= 40; });
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::string line = "frame dropped - drift = 80000?\n";
    size_t lines = 0;
    for (size_t at = printed.find(line); at != std::string::npos; at = printed.find(line, at + 1))
        lines++;
    // Every line is for one missing frame of 40 ms: the drift is 80 ms when it is found. The
    // first gap only brings the drift to 40 ms, under the 60 ms that count; every later gap
    // gives one line.
    EXPECT_EQ(printed.find("frame dropped - drift = "), printed.find(line));
    EXPECT_GE(lines, 6u);
    // Each line raises the count of frames that should have come by one; the counter runs up
    // to the last frame's own number, one below the frames recorded without gaps. Each line
    // is one frame dropped.
    EXPECT_EQ(videoCounter, recordedVideo - 1 + int64(lines));
    EXPECT_EQ(droppedVideo, int64(lines));

    EXPECT_FALSE(hadAudioTrack);
    EXPECT_EQ(recordedAudio, 0);
    // The file keeps the holes: its frames lie at their own times.
    MovieSummary movie = readMovie(path);
    EXPECT_EQ(movie.Audio(), nullptr);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->frames, recordedVideo);

    // The report counts the missing frames among those expected: they add up to the file's.
    const std::string report = TakeReport();
    Figures video;
    ASSERT_TRUE(ReadFigures(report, "Video frames", "frames", &video)) << report;
    EXPECT_EQ(video.written, movie.Video()->frames);
    EXPECT_EQ(video.dropped, int64(lines));
    EXPECT_EQ(video.expected, video.written + video.dropped);
    EXPECT_EQ(report.find("Sound buffers: "), std::string::npos) << report;
}

TEST_F(EngineRecording, AWriterHeldBackFillsTheRing) {
    Tavro engine(testSignal(false));
    format.SetAudioEncoder("");
    bool held = false;
    int32 peak = 0;
    Record(engine, [&] {
        if (!held) {
            // Both writers wait for the media write lock while the nodes go on.
            held = engine.MediaWriteLock().Acquire() == B_OK;
            return false;
        }
        peak = rings.video->MaxBuffersUsed();
        if (peak < 30)
            return false;
        engine.MediaWriteLock().Release();
        return true;
    });
    EXPECT_GE(peak, 30);
    EXPECT_EQ(rings.video, nullptr);  // cleared by Stop
}

// A file that cannot grow (RLIMIT_FSIZE, in a child process so the limit stays there): the
// stop target gets kMsgStop, the alert is raised, writing goes on until Stop, and the file
// reads back up to the failure.
TEST_F(EngineRecording, AFullDiskStopsTheRecordingAndKeepsTheFileReadable) {
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{2 * 1024 * 1024, 2 * 1024 * 1024};
        setrlimit(RLIMIT_FSIZE, &limit);
        // In real time: pictures of 442 KB fill the 2 MB within a few frames. Unpaced, the
        // tone's periods can come so fast that the sound takes the whole file first.
        Tavro engine(testSignal(true));
        MessageQueue stopTarget;
        engine.SetStopTarget(&stopTarget);
        int code = 0;
        if (std::unique_ptr<TavroFile> file = Start(engine); file == nullptr) {
            code = 10;
        } else {
            Message message;
            if (stopTarget.NextMessage(&message, 20000000) != B_OK || message.what != kMsgStop)
                code = 11;
            // The writer goes on until Stop: more failures are counted meanwhile.
            snooze(100000);
            if (engine.DroppedVideoFrames() < 1)
                code = 12;
            engine.Stop();
        }
        if (code == 0 && (alerts.size() != 1 ||
                          alerts[0].text.find("Video file may be corrupt.") == std::string::npos))
            code = 13;
        _exit(code);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.openError, 0);
    ASSERT_NE(movie.Video(), nullptr);
    // 384x288 RGB32 frames of 442 KB: up to four fit under 2 MB beside the sound; those that
    // made it decode, all but at most the one the limit cut short.
    EXPECT_GE(movie.Video()->frames - movie.Video()->decodeErrors, 1);
    EXPECT_LE(movie.Video()->decodeErrors, 1);
}

// Also: Stop returns promptly when the inputs have fallen silent.
TEST_F(EngineRecording, AFormatChangeWhileRecordingIsRequestedAndAppliedAtStop) {
    Tavro engine(testSignal(false));
    std::vector<std::string> requests;
    engine.SetRequestPresenter(
        [&](const std::string& title, const std::string& text, const std::string& button) {
            requests.push_back(title + "|" + text + "|" + button);
        });
    std::unique_ptr<TavroFile> file = Start(engine);
    ASSERT_NE(file, nullptr);

    FormatSetting other("other");
    other.videoWidth = 320;
    other.videoHeight = 240;
    engine.SetFormat(&other);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "Tavro - Request|There is currently video capturing in progress.\n"
              "Changes of the video/audio format cannot be previewed.|Ok");
    EXPECT_TRUE(engine.ReconnectPending());
    EXPECT_EQ(engine.SetVideoSize(160, 120), B_ERROR);
    media_format live;
    engine.GetVideoFormat(&live);
    EXPECT_EQ(live.raw_video.display.line_width, 384u);  // still the recording's

    engine.VideoInputNode()->Stop(0, true);
    engine.AudioInputNode()->Stop(0, true);
    snooze(200000);
    const bigtime_t stopping = system_time();
    ASSERT_EQ(engine.Stop(), B_OK);
    EXPECT_LT(system_time() - stopping, 2000000);
    EXPECT_FALSE(engine.IsRecording());
    EXPECT_FALSE(engine.ReconnectPending());
    engine.GetVideoFormat(&live);
    EXPECT_EQ(live.raw_video.display.line_width, 160u);
    EXPECT_EQ(live.raw_video.display.line_count, 120u);
    EXPECT_EQ(engine.Bounds(), (Rect{0, 0, 159, 119}));
    EXPECT_TRUE(engine.VideoConnected());
}

}  // namespace
