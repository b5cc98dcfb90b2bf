// Inputs that stop delivering during a recording: the fake Bt848 unplugged, and an ALSA
// capture stream whose reads fail. The recording stops through the engine's stop message
// with the input named, and the file reads back whole up to that point.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "app/records/MessageCodes.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"
#include "tests/engine/EngineTestSupport.h"
#include "tests/media/capture/FailingAlsa.h"
#include "tests/media/capture/FakeDevices.h"

namespace {

constexpr bigtime_t kStopWait = 10000000;

class InputLoss : public RecordingFixture {
protected:
    // Applies the format, makes the file and starts recording into it; nullptr on failure.
    std::unique_ptr<TavroFile> Start(Tavro& engine) {
        engine.SetFormat(&format);
        engine.SetStopTarget(&stopTarget);
        auto file = std::make_unique<TavroFile>(path.c_str(), &format, &engine);
        if (file->status != B_OK || file->file->CommitHeader() != B_OK ||
            engine.SetVideoTrack(file->videoTrack) != B_OK ||
            engine.SetAudioTrack(file->audioTrack) != B_OK)
            return nullptr;
        return engine.Start() == B_OK ? std::move(file) : nullptr;
    }

    // Waits for the engine's stop message; what = 0 when none came.
    Message WaitForStop() {
        Message message;
        if (stopTarget.NextMessage(&message, kStopWait) != B_OK)
            message.what = 0;
        return message;
    }

    static bool WaitFor(const std::function<bool()>& condition, bigtime_t timeout = kStopWait) {
        const bigtime_t end = system_time() + timeout;
        while (!condition() && system_time() < end)
            snooze(10000);
        return condition();
    }

    // The report beside the file; removed.
    std::string readReport() {
        const std::string name = path + ".log";
        std::ifstream file(name);
        std::stringstream text;
        text << file.rdbuf();
        std::remove(name.c_str());
        return text.str();
    }

    MessageQueue stopTarget;
};

// The card goes away while idle (the recording must not start into nothing) or mid-recording.
TEST_F(InputLoss, AVanishedCardStopsTheRecordingWithItsName) {
    struct Case {
        const char* name;
        bool beforeStart;
    };
    for (const Case& test : {Case{"before the start", true}, Case{"while recording", false}}) {
        SCOPED_TRACE(test.name);
        alerts.clear();
        resetErrorAlertForTesting();
        std::remove(path.c_str());
        FakeBt848 card;
        TavroOptions options;
        options.roster.audioInput = MediaRoster::kTestToneID;
        Tavro engine(options, std::make_unique<CardBackend>(&card));
        ASSERT_TRUE(engine.VideoConnected());
        const std::string cardName = engine.Roster()->DefaultVideoInput()->name;

        if (test.beforeStart) {
            card.VanishAfter(0);
            ASSERT_TRUE(WaitFor([&] { return engine.VideoInputNode()->StreamStatus() != B_OK; }));
        }
        std::unique_ptr<TavroFile> file = Start(engine);
        ASSERT_NE(file, nullptr);
        if (!test.beforeStart) {
            ASSERT_TRUE(WaitFor([&] { return engine.WrittenVideoFrames() >= 10; }));
            card.VanishAfter(5);
        }
        const bigtime_t asked = system_time();
        Message stop = WaitForStop();
        ASSERT_EQ(stop.what, kMsgStop);
        EXPECT_EQ(stop.GetInt32("status", B_OK), B_DEV_NOT_READY);
        const std::string text = stop.GetString("error", "");
        EXPECT_NE(text.find("video input \"" + cardName + "\" (/dev/video0)"), std::string::npos)
            << text;
        // The node layer tells at once; a recording running on would take its whole duration.
        EXPECT_LT(system_time() - asked, 5000000);
        EXPECT_TRUE(OnlyAlert(text.c_str(), B_DEV_NOT_READY));
        std::string why;
        EXPECT_EQ(engine.RecordingError(&why), B_DEV_NOT_READY);
        EXPECT_EQ(why, text);

        ASSERT_EQ(engine.Stop(), B_OK);
        const int64 written = engine.WrittenVideoFrames();  // with what Stop drained
        ASSERT_EQ(file->Close(), B_OK);
        engine.SetStopTarget(nullptr);
        // The report beside the file tells the same, with its time.
        const std::string report = readReport();
        EXPECT_NE(report.find("Error: "), std::string::npos) << report;
        EXPECT_NE(report.find(text + " [No such device]"), std::string::npos) << report;
        if (test.beforeStart)
            continue;
        // Everything the writer took is in the file and decodes.
        MovieSummary movie = readMovie(path);
        ASSERT_EQ(movie.openError, 0);
        ASSERT_NE(movie.Video(), nullptr);
        EXPECT_GE(written, 10);
        EXPECT_EQ(movie.Video()->frames, written);
        EXPECT_EQ(movie.Video()->decodeErrors, 0);
        ASSERT_NE(movie.Audio(), nullptr);
        EXPECT_EQ(movie.Audio()->decodeErrors, 0);
    }
}

TEST_F(InputLoss, AnAlsaStreamThatFailsStopsTheRecordingWithItsName) {
    const std::string fifo = temporaryPath("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // Writes into a FIFO with no reader raise SIGPIPE before they fail with EPIPE.
    auto* oldPipeHandler = std::signal(SIGPIPE, SIG_IGN);
    {
        FifoReader reader(fifo);
        ASSERT_TRUE(reader.IsOpen());
        FakeBt848 card;
        Tavro engine(TavroOptions{}, std::make_unique<AlsaFifoBackend>(&card, fifo));
        ASSERT_TRUE(engine.VideoConnected());
        ASSERT_TRUE(engine.AudioConnected()) << (alerts.empty() ? "" : alerts.front().text);
        std::unique_ptr<TavroFile> file = Start(engine);
        ASSERT_NE(file, nullptr);
        ASSERT_TRUE(WaitFor([&] { return engine.WrittenVideoFrames() >= 10; }));
        reader.Unplug();
        Message stop = WaitForStop();
        EXPECT_EQ(stop.what, kMsgStop);
        EXPECT_NE(stop.GetInt32("status", B_OK), B_OK);
        const std::string text = stop.GetString("error", "");
        EXPECT_NE(text.find("audio input \"Failing capture\" (tavrofail)"), std::string::npos)
            << text;
        // Raised before the stop was posted; none before it (the alerts are the engine
        // threads' until the stop has come).
        EXPECT_TRUE(OnlyAlert(text.c_str(), stop.GetInt32("status", B_OK)));
        EXPECT_EQ(engine.Stop(), B_OK);
        EXPECT_EQ(file->Close(), B_OK);
        engine.SetStopTarget(nullptr);
        MovieSummary movie = readMovie(path);
        EXPECT_EQ(movie.openError, 0);
        ASSERT_NE(movie.Video(), nullptr);
        EXPECT_GE(movie.Video()->frames, 10);
        EXPECT_EQ(movie.Video()->decodeErrors, 0);
        ASSERT_NE(movie.Audio(), nullptr);
        EXPECT_EQ(movie.Audio()->decodeErrors, 0);
    }
    std::signal(SIGPIPE, oldPipeHandler);
    std::remove(fifo.c_str());
}

}  // namespace
