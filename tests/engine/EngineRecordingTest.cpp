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
#include "tests/engine/EngineRecordingFixture.h"

namespace {

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
