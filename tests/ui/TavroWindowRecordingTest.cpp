// Recording through the main window over the real engine on the built-in test inputs: Record
// and Stop, timed events from the scheduler, the incomplete-settings warning, and the output
// file name from the save panel and from drops.

#include <QDropEvent>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QUrl>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "app/ErrorAlert.h"
#include "app/MessageCodes.h"
#include "scheduler/Event.h"
#include "scheduler/Scheduler.h"
#include "support/Clock.h"
#include "tests/media/file/MovieReader.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/main/WindowMessages.h"

namespace {

class RecordingTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        resetErrorAlertForTesting();
        SetErrorAlertPresenter([this](const std::string& text, bool) { fAlerts.push_back(text); });
    }

    void TearDown() override {
        WindowTest::TearDown();
        fDevices.reset();
        SetErrorAlertPresenter(nullptr);
        for (const std::string& path : fPaths)
            std::remove(path.c_str());
    }

    // A window over an engine that captures the built-in test picture and tone.
    TestTavroWindow* MakeRecordingWindow() {
        TavroOptions options;
        options.roster.videoInput = MediaRoster::kTestPictureID;
        options.roster.audioInput = MediaRoster::kTestToneID;
        fDevices = std::make_unique<Tavro>(options);
        return MakeWindow(fDevices.get());
    }

    std::string NewPath() {
        fPaths.push_back(temporaryPath(".avi"));
        return fPaths.back();
    }

    void Post(const Message& message) {
        fWindow->PostMessage(message);
        drain();
    }

    void RunFor(int milliseconds) {
        waitUntil([] { return false; }, milliseconds);
    }

    // The file holds about `seconds` of picture and sound (generous bounds: a loaded machine
    // starts and stops late).
    static void ExpectRecorded(const std::string& path, double seconds) {
        MovieSummary movie = readMovie(path);
        ASSERT_EQ(movie.openError, 0) << path;
        const StreamSummary* video = movie.Video();
        const StreamSummary* audio = movie.Audio();
        ASSERT_NE(video, nullptr);
        ASSERT_NE(audio, nullptr);
        EXPECT_EQ(video->decodeErrors, 0);
        EXPECT_EQ(video->width, 384);
        EXPECT_GT(video->frames, int64(seconds * 25 * 0.25));
        EXPECT_GT(video->endSeconds, seconds * 0.5);
        EXPECT_GT(audio->endSeconds, seconds * 0.5);
    }

    std::unique_ptr<Tavro> fDevices;
    std::vector<std::string> fAlerts;
    std::vector<std::string> fPaths;
};

TEST_F(RecordingTest, RecordWritesToTheFieldsTextUntilStop) {
    MakeRecordingWindow();
    auto* stop = Child<QPushButton>("stopButton");
    std::string path = NewPath();
    // Typed but never confirmed: the settings keep their name, the recording takes the text.
    Child<QLineEdit>("fileName")->setText(QString::fromStdString(path));

    Post(Message(kMsgRecord));
    ASSERT_TRUE(fDevices->IsRecording()) << (fAlerts.empty() ? "" : fAlerts[0]);
    EXPECT_TRUE(stop->isEnabled());
    EXPECT_EQ(fWindow->focusWidget(), stop);
    RunFor(1500);

    QTest::mouseClick(stop, Qt::LeftButton);
    drain();
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_FALSE(stop->isEnabled());
    ExpectRecorded(path, 1.5);
    EXPECT_TRUE(fAlerts.empty()) << fAlerts[0];
}

TEST_F(RecordingTest, NewRecordingTakesOverTheRunningOne) {
    MakeRecordingWindow();
    std::string first = NewPath(), second = NewPath();
    Message record(kMsgRecord);
    record.AddString("fileName", first);
    Post(record);
    RunFor(1000);
    record.ReplaceString("fileName", second);
    Post(record);
    ASSERT_TRUE(fDevices->IsRecording());
    RunFor(1000);
    Post(Message(kMsgStop));

    ExpectRecorded(first, 1.0);
    ExpectRecorded(second, 1.0);
}

TEST_F(RecordingTest, DueTimedEventRecordsAndStopsThroughTheWindow) {
    gSettings.timer = true;
    MakeRecordingWindow();
    std::string path = NewPath();
    Child<QLineEdit>("fileName")->setText(QString::fromStdString(path));

    auto event = std::make_unique<Event>("news", std::make_unique<Message>(kMsgTimerEvent));
    event->SetTime(real_time_clock() + 1);
    event->SetDuration(2);
    ASSERT_EQ(fWindow->GetScheduler()->AddEvent(event.release()), B_OK);

    ASSERT_TRUE(waitUntil([this] { return fDevices->IsRecording(); }, 5000));
    ASSERT_TRUE(waitUntil([this] { return !fDevices->IsRecording(); }, 6000));
    drain();
    ExpectRecorded(path, 2.0);

    // "status" 0 became a bare 'recd', "status" 1 a bare 'stop'.
    std::vector<std::string> sequence;
    for (const Message& message : fWindow->handled) {
        if (message.what == kMsgTimerEvent)
            sequence.push_back("tmev " + std::to_string(message.GetInt32("status", -1)));
        else if (message.what == kMsgRecord || message.what == kMsgStop)
            sequence.push_back((message.what == kMsgRecord ? "recd " : "stop ") +
                               std::to_string(message.CountNames()));
    }
    EXPECT_EQ(sequence, (std::vector<std::string>{"tmev 0", "recd 0", "tmev 1", "stop 0"}));
}

TEST_F(RecordingTest, IncompleteSettingsAreRefusedWithAWarning) {
    MakeWindow();
    std::free(fWindow->CurrentFormat()->videoEncoder);
    fWindow->CurrentFormat()->videoEncoder = nullptr;
    Post(Message(kMsgRecord));

    auto* alert = fWindow->findChild<QMessageBox*>("incompleteSettingsAlert");
    ASSERT_NE(alert, nullptr);
    EXPECT_TRUE(alert->isVisible());
    EXPECT_EQ(alert->icon(), QMessageBox::Warning);
    EXPECT_EQ(alert->text(),
              "The encoder and file format settings are not complete.\n"
              "Please complete these settings to be able to start recording.");
    ASSERT_EQ(alert->buttons().size(), 1);
    EXPECT_EQ(alert->buttons()[0]->text(), "Ok");
    EXPECT_FALSE(Child<QPushButton>("stopButton")->isEnabled());
    alert->close();
}

TEST_F(RecordingTest, FileThatCannotBeMadeLeavesTheWindowIdle) {
    MakeWindow();
    Message record(kMsgRecord);
    record.AddString("fileName", "/no-such-directory/clip.avi");
    Post(record);
    ASSERT_EQ(fAlerts.size(), 1u);
    EXPECT_NE(fAlerts[0].find("Could not create entry"), std::string::npos);
    EXPECT_FALSE(fEngine->IsRecording());
    EXPECT_FALSE(Child<QPushButton>("stopButton")->isEnabled());
}

TEST_F(RecordingTest, StopWhenIdleLeavesTheStopButtonAsItIs) {
    MakeWindow();
    auto* stop = Child<QPushButton>("stopButton");
    stop->setEnabled(true);
    Post(Message(kMsgStop));
    EXPECT_TRUE(stop->isEnabled());
}

TEST_F(RecordingTest, SavePanelChoosesTheOutputFile) {
    MakeWindow();
    Message reply(B_SAVE_REQUESTED);
    reply.AddString("directory", "/tmp");
    reply.AddString("name", "clip");
    Post(reply);
    EXPECT_STREQ(gSettings.fileName, "/tmp/clip");
    EXPECT_EQ(Child<QLineEdit>("fileName")->text(), "/tmp/clip");

    // The real panel opens in the field's directory and answers with the same message.
    Post(Message(kMsgSelectFileName));
    auto* panel = Child<QFileDialog>("savePanel");
    ASSERT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->directory().absolutePath(), "/tmp");
    // Typed into the panel's name field, as a user does.
    auto* name = panel->findChild<QLineEdit*>("fileNameEdit");
    ASSERT_NE(name, nullptr);
    name->setText("other clip.mkv");
    static_cast<QDialog*>(panel)->accept();  // as the panel's Save button does
    drain();
    EXPECT_STREQ(gSettings.fileName, "/tmp/other clip.mkv");
    EXPECT_FALSE(panel->isVisible());
}

TEST_F(RecordingTest, BrokenRepliesAreIgnored) {
    MakeWindow();
    Message noName(B_SAVE_REQUESTED);
    noName.AddString("directory", "/tmp");
    Post(noName);
    Message noDirectory(B_SAVE_REQUESTED);
    noDirectory.AddString("directory", "/no-such-directory");
    noDirectory.AddString("name", "clip");
    Post(noDirectory);
    Message gone(B_REFS_RECEIVED);
    gone.AddString("refs", "/no-such-directory/clip.avi");
    Post(gone);
    EXPECT_STREQ(gSettings.fileName, "/tmp/tavro-window-test.avi");
}

TEST_F(RecordingTest, ChosenTimerEntryShowsItsFileAndFormat) {
    MakeWindow();
    gSettings.formats[2]->videoWidth = 720;
    fWindow->ShowTimerEvent("/tmp/news.avi", gSettings.formats[2]);
    EXPECT_EQ(Child<QLineEdit>("fileName")->text(), "/tmp/news.avi");
    // The settings' name changes only when the field is confirmed.
    EXPECT_STREQ(gSettings.fileName, "/tmp/tavro-window-test.avi");
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[2]);
    EXPECT_EQ(gSettings.lastFormat, 2);
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "Gamma");
    EXPECT_EQ(fEngine->VideoWidth(), 720);
}

TEST_F(RecordingTest, DroppedFileBecomesTheOutputFile) {
    MakeWindow();
    std::string path = NewPath();
    std::ofstream(path) << "x";

    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(path))});
    QPoint where = fWindow->rect().center();
    QDragEnterEvent enter(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(fWindow, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(fWindow, &drop);
    drain();
    EXPECT_EQ(gSettings.fileName, path);
    EXPECT_EQ(Child<QLineEdit>("fileName")->text().toStdString(), path);
}

}  // namespace
