// Inputs that stop delivering, as the user sees them: the fake Bt848 unplugged and an ALSA
// capture whose reads fail. The preview windows say which input stopped instead of showing a
// still picture or levels that no longer move, and Record then says why it cannot start
// instead of making a file that would stay empty.

#include <sys/stat.h>

#include <QLineEdit>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "app/records/ErrorAlert.h"
#include "tests/media/capture/FailingAlsa.h"
#include "tests/ui/WindowTestFixture.h"
#include "tests/ui/preview/ShowsNotice.h"
#include "ui/preview/AudioView.h"
#include "ui/preview/AudioWindow.h"
#include "ui/preview/PreviewWindowHost.h"
#include "ui/preview/VideoView.h"
#include "ui/preview/VideoWindow.h"

namespace {

class InputLossWindowTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        resetErrorAlertForTesting();
        SetErrorAlertPresenter([this](const std::string& text, bool) { fAlerts.push_back(text); });
        fOldPipeHandler = std::signal(SIGPIPE, SIG_IGN);
        fFifo = std::string(std::getenv("XDG_CONFIG_HOME")) + "/capture.fifo";
        ASSERT_EQ(mkfifo(fFifo.c_str(), 0600), 0);
    }
    void TearDown() override {
        WindowTest::TearDown();
        if (fDevices != nullptr)
            fDevices->SetPreviewHost(nullptr);
        fHost.reset();
        fDevices.reset();
        fReader.reset();
        std::remove(fFifo.c_str());
        std::signal(SIGPIPE, fOldPipeHandler);
        SetErrorAlertPresenter(nullptr);
    }

    // The engine over the card and the ALSA stream, with both preview windows open and live.
    void OpenPreviews() {
        fReader = std::make_unique<FifoReader>(fFifo);
        ASSERT_TRUE(fReader->IsOpen());
        fDevices = std::make_unique<Tavro>(TavroOptions{},
                                           std::make_unique<AlsaFifoBackend>(&fCard, fFifo));
        ASSERT_TRUE(fDevices->VideoConnected());
        ASSERT_TRUE(fDevices->AudioConnected());
        fHost = std::make_unique<PreviewWindowHost>(fDevices.get());
        fDevices->SetPreviewHost(fHost.get());
        fDevices->ShowVideo(true, Rect{0, 0, 383, 287});
        fDevices->ShowAudio(true, Rect{0, 320, 299, 379});
        ASSERT_NE(fHost->CurrentVideoWindow(), nullptr);
        ASSERT_NE(fHost->CurrentAudioWindow(), nullptr);
        ASSERT_TRUE(waitUntil([this] { return Video()->ShownFrameTime() != 0; }, 5000));
    }
    VideoView* Video() { return fHost->CurrentVideoWindow()->View(); }
    AudioView* Audio() { return fHost->CurrentAudioWindow()->View(); }

    std::string fFifo;
    FakeBt848 fCard;
    std::unique_ptr<FifoReader> fReader;
    std::unique_ptr<Tavro> fDevices;
    std::unique_ptr<PreviewWindowHost> fHost;
    std::vector<std::string> fAlerts;
    void (*fOldPipeHandler)(int) = SIG_DFL;
};

TEST_F(InputLossWindowTest, AVanishedCardIsNamedInItsPreviewAndRecordSaysWhyItCannotStart) {
    OpenPreviews();
    const std::string cardName = fDevices->Roster()->DefaultVideoInput()->name;
    fCard.VanishAfter(0);
    ASSERT_TRUE(waitUntil([this] { return !Video()->StoppedNotice().isEmpty(); }, 5000));
    const std::string notice = Video()->StoppedNotice().toStdString();
    EXPECT_EQ(notice, "The video input \"" + cardName + "\" (/dev/video0) has stopped.\n" +
                          statusText(B_DEV_NOT_READY));
    EXPECT_TRUE(Audio()->StoppedNotice().isEmpty());
    drain();
    EXPECT_TRUE(showsNotice(Video()));

    // Closed and opened again, the window still says it.
    fDevices->ShowVideo(false, Rect{});
    fDevices->ShowVideo(true, Rect{0, 0, 383, 287});
    ASSERT_TRUE(waitUntil([this] { return !Video()->StoppedNotice().isEmpty(); }, 1000));

    // Record makes no file and names the input in the alert and the status area.
    MakeWindow(fDevices.get());
    const std::string path = std::string(std::getenv("XDG_CONFIG_HOME")) + "/gone.avi";
    Message record(kMsgRecord);
    record.AddString("fileName", path);
    Post(record);
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_FALSE(std::filesystem::exists(path));
    const std::string firstLine = notice.substr(0, notice.find('\n'));
    ASSERT_EQ(fAlerts.size(), 1u);
    EXPECT_NE(fAlerts[0].find(firstLine), std::string::npos) << fAlerts[0];
    EXPECT_TRUE(fWindow->LastError().contains(QString::fromStdString(firstLine)))
        << fWindow->LastError().toStdString();
    EXPECT_TRUE(Child<QPushButton>("recordButton")->isEnabled());
}

TEST_F(InputLossWindowTest,
       AFailedSoundInputIsNamedInTheLevelMeterAndOnlyStopsRecordingsWithSound) {
    OpenPreviews();
    fReader->Unplug();
    ASSERT_TRUE(waitUntil([this] { return !Audio()->StoppedNotice().isEmpty(); }, 5000));
    EXPECT_TRUE(Audio()->StoppedNotice().startsWith(
        "The audio input \"Failing capture\" (tavrofail) has stopped.\n"))
        << Audio()->StoppedNotice().toStdString();
    EXPECT_TRUE(Video()->StoppedNotice().isEmpty());
    drain();
    EXPECT_TRUE(showsNotice(Audio()));

    MakeWindow(fDevices.get());
    const std::string path = std::string(std::getenv("XDG_CONFIG_HOME")) + "/silent.avi";
    Message record(kMsgRecord);
    record.AddString("fileName", path);
    Post(record);
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(fWindow->LastError().contains("\"Failing capture\" (tavrofail) has stopped."));

    // A format without sound does not need the input that failed.
    fWindow->CurrentFormat()->audioEncoder.clear();
    Post(record);
    EXPECT_TRUE(fDevices->IsRecording());
    ASSERT_TRUE(waitUntil([this] { return fDevices->WrittenVideoFrames() >= 5; }, 5000));
    Post(Message(kMsgStop));
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_TRUE(std::filesystem::exists(path));
}

}  // namespace
