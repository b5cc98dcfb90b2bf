// Recording through the main window over the real engine on the built-in test inputs: Record
// and Stop, timed events from the scheduler, the refusals, and the output file name from the
// save panel and from drops.

#include <QAction>
#include <QApplication>
#include <QDropEvent>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QSlider>
#include <QUrl>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "app/records/ErrorAlert.h"
#include "app/records/FormatSetting.h"
#include "media/file/EncoderParameters.h"
#include "scheduler/Event.h"
#include "scheduler/Scheduler.h"
#include "support/Clock.h"
#include "tests/ui/RecordedMovie.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/format/FormatWindow.h"
#include "ui/main/ErrorAlertPresenter.h"
#include "ui/widgets/MenuField.h"
#include "ui/widgets/ParameterView.h"
#include "ui/widgets/QualitySlider.h"

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
    }

    // A window over an engine that captures the built-in test picture and tone.
    void MakeRecordingWindow() {
        TavroOptions options;
        options.roster.videoInput = MediaRoster::kTestPictureID;
        options.roster.audioInput = MediaRoster::kTestToneID;
        fDevices = std::make_unique<Tavro>(options);
        MakeWindow(fDevices.get());
    }

    // Lets the recording under way write a second of pictures, however busy the machine: a
    // fixed wait gives a loaded machine less than the files are checked for.
    void RecordASecond() {
        ASSERT_TRUE(waitUntil([this] { return fDevices->WrittenVideoFrames() >= 25; }, 20000));
    }

    // In the test program's own settings directory, removed at its exit.
    static std::string NewPath() {
        static int count = 0;
        return std::getenv("XDG_CONFIG_HOME") + ("/clip-" + std::to_string(count++) + ".avi");
    }
    QPushButton* StopButton() { return Child<QPushButton>("stopButton"); }
    QPushButton* RecordButton() { return Child<QPushButton>("recordButton"); }
    QLineEdit* FileNameField() { return Child<QLineEdit>("fileName"); }
    static Message Record(const std::string& path) {
        Message record(kMsgRecord);
        record.AddString("fileName", path);
        return record;
    }

    std::unique_ptr<Tavro> fDevices;
    std::vector<std::string> fAlerts;
};

TEST_F(RecordingTest, RecordIsRefusedWhileRecordingAndATimedStartTakesOverIntoItsOwnFile) {
    MakeRecordingWindow();
    const std::string first = NewPath(), second = NewPath();
    // Typed but never confirmed: the settings keep their name, the recording takes the text.
    FileNameField()->setText(QString::fromStdString(first));
    Post(Message(kMsgRecord));
    ASSERT_TRUE(fDevices->IsRecording()) << (fAlerts.empty() ? "" : fAlerts[0]);
    EXPECT_TRUE(StopButton()->isEnabled());
    EXPECT_FALSE(RecordButton()->isEnabled());
    EXPECT_EQ(fWindow->focusWidget(), StopButton());
    RecordASecond();

    // A second manual Record (posted twice, say) neither restarts nor opens another file.
    Post(Record(second));
    EXPECT_TRUE(fDevices->IsRecording());
    EXPECT_FALSE(std::filesystem::exists(second));
    waitUntil([] { return false; }, 500);

    // A timed start onto the very file being written goes beside it.
    Message timed = Record(first);
    timed.AddBool("timed", true);
    Post(timed);
    ASSERT_TRUE(fDevices->IsRecording());
    RecordASecond();
    QTest::mouseClick(StopButton(), Qt::LeftButton);
    drain();
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_FALSE(StopButton()->isEnabled());
    EXPECT_TRUE(RecordButton()->isEnabled());
    expectRecorded(first, 1.5);
    expectRecorded(std::filesystem::path(first).replace_extension().string() + "-2.avi", 1.0);
    EXPECT_TRUE(fAlerts.empty()) << fAlerts[0];
}

TEST_F(RecordingTest, RecordAsksBeforeReplacingAFile) {
    MakeRecordingWindow();
    const std::string path = NewPath();
    std::ofstream(path) << "an earlier recording";
    auto question = [this] { return fWindow->findChild<QMessageBox*>("replaceFileQuestion"); };
    auto answer = [&question](const char* label) {
        for (QAbstractButton* button : question()->buttons()) {
            if (button->text() == label)
                QTest::mouseClick(button, Qt::LeftButton);
        }
    };

    Post(Record(path));
    ASSERT_NE(question(), nullptr);
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_TRUE(question()->text().contains("already exists"));
    // While it is open, another Record waits for the answer.
    Post(Record(path));
    EXPECT_EQ(fWindow->findChildren<QMessageBox*>("replaceFileQuestion").size(), 1);
    answer("Cancel");
    drain();
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_EQ(std::filesystem::file_size(path), 20u);

    Post(Record(path));
    ASSERT_NE(question(), nullptr);
    answer("Replace");
    drain();
    ASSERT_TRUE(fDevices->IsRecording());
    RecordASecond();
    Post(Message(kMsgStop));
    expectRecorded(path, 1.0);
}

TEST_F(RecordingTest, AFileThatCannotGoOnStopsTheRecordingAndTheStatusAreaKeepsWhy) {
    MakeRecordingWindow();
    const std::string path = NewPath();
    Post(Record(path));
    ASSERT_TRUE(fDevices->IsRecording());
    RecordASecond();
    // What the writer threads do when the disk reports errors: the video writer fails twice
    // before the stop arrives, the audio writer once with another error.
    std::thread writer([this] {
        fDevices->StopOnError("Video file may be corrupt.", B_IO_ERROR);
        fDevices->StopOnError("Video file may be corrupt.", B_IO_ERROR);
    });
    writer.join();
    std::thread audioWriter(
        [this] { fDevices->StopOnError("Video file may be corrupt.", B_DEVICE_FULL); });
    audioWriter.join();
    ASSERT_TRUE(waitUntil([this] { return !fDevices->IsRecording(); }, 3000));
    drain();
    EXPECT_FALSE(StopButton()->isEnabled());
    EXPECT_TRUE(RecordButton()->isEnabled());
    ASSERT_EQ(fAlerts.size(), 1u);
    EXPECT_NE(fAlerts[0].find("Video file may be corrupt."), std::string::npos);
    EXPECT_TRUE(fWindow->LastError().contains("Video file may be corrupt. [Input/output error]"))
        << fWindow->LastError().toStdString();
    expectRecorded(path, 1.0);
    // The report beside the file lists each kind of error once, with its times.
    std::ifstream reportFile(path + ".log");
    std::stringstream report;
    report << reportFile.rdbuf();
    const size_t firstError = report.str().find("Error: ");
    ASSERT_NE(firstError, std::string::npos) << report.str();
    const std::string errors = report.str().substr(firstError);
    EXPECT_NE(errors.find("Video file may be corrupt. [Input/output error] (2 times, the last at "),
              std::string::npos)
        << report.str();
    EXPECT_NE(errors.find("\nError: "), std::string::npos) << report.str();
    EXPECT_NE(errors.find("Video file may be corrupt. [" + statusText(B_DEVICE_FULL) + "]\n"),
              std::string::npos)
        << report.str();

    // A later failure after the one-shot alert has been used still shows in the status area.
    Post(Record("/no-such-directory/clip.avi"));
    EXPECT_EQ(fAlerts.size(), 1u);
    EXPECT_TRUE(fWindow->LastError().contains("/no-such-directory/clip.avi"));
}

// A format deleted while a recording writes in it lasts until the file is closed: the report
// beside the file still names it.
TEST_F(RecordingTest, AFormatDeletedWhileRecordingLastsUntilTheFileIsClosed) {
    // Longer than a short string's own buffer, so the name lives on the heap.
    gSettings.FormatAt(1)->SetName("Beta, deleted while recording");
    MakeRecordingWindow();
    const std::string path = NewPath();
    Post(Record(path));
    ASSERT_TRUE(fDevices->IsRecording());
    RecordASecond();
    Post(Message(kMsgRemoveFormat));
    EXPECT_EQ(gSettings.formats.size(), 2u);
    QTest::mouseClick(StopButton(), Qt::LeftButton);
    drain();
    expectRecorded(path, 1.0);
    std::ifstream reportFile(path + ".log");
    std::stringstream report;
    report << reportFile.rdbuf();
    EXPECT_NE(report.str().find("Format: Beta, deleted while recording\n"), std::string::npos)
        << report.str();
}

TEST_F(RecordingTest, ATimedRecordArrivingWhileAnAlertIsOpenStartsOnce) {
    MakeRecordingWindow();
    // The real alert box: opened, never a loop of its own.
    installErrorAlertPresenter();
    Post(Record("/no-such-directory/clip.avi"));
    QMessageBox* shown = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == "errorAlert" && widget->isVisible())
            shown = qobject_cast<QMessageBox*>(widget);
    }
    ASSERT_NE(shown, nullptr);

    const std::string path = NewPath();
    Message timed = Record(path);
    timed.AddBool("timed", true);
    Post(timed);
    ASSERT_TRUE(fDevices->IsRecording());
    EXPECT_TRUE(shown->isVisible());
    RecordASecond();
    Post(timed);
    ASSERT_TRUE(fDevices->IsRecording());
    RecordASecond();
    Post(Message(kMsgStop));
    EXPECT_FALSE(fDevices->IsRecording());
    // The second timed start took over into a file of its own; no file was opened twice.
    expectRecorded(path, 1.0);
    expectRecorded(std::filesystem::path(path).replace_extension().string() + "-2.avi", 1.0);
    shown->close();
    removeErrorAlertPresenter();
}

TEST_F(RecordingTest, DueTimedEventRecordsAndStopsThroughTheWindow) {
    gSettings.timer = true;
    MakeRecordingWindow();
    const std::string path = NewPath();
    FileNameField()->setText(QString::fromStdString(path));

    auto event = std::make_unique<Event>("news", std::make_unique<Message>(kMsgTimerEvent));
    event->SetTime(real_time_clock() + 1);
    event->SetDuration(2);
    ASSERT_EQ(fWindow->GetScheduler()->AddEvent(event.release()), B_OK);
    ASSERT_TRUE(waitUntil([this] { return fDevices->IsRecording(); }, 5000));
    ASSERT_TRUE(waitUntil([this] { return !fDevices->IsRecording(); }, 6000));
    drain();
    expectRecorded(path, 2.0);

    // "status" 0 became a bare 'recd', "status" 1 a bare 'stop'.
    std::vector<std::string> sequence;
    for (const Message& message : fWindow->handled) {
        if (message.what == kMsgTimerEvent)
            sequence.push_back("tmev " + std::to_string(message.GetInt32("status", -1)));
        else if (message.what == kMsgRecord || message.what == kMsgStop)
            sequence.push_back((message.what == kMsgRecord ? "recd " : "stop ") +
                               std::to_string(message.CountNames()));
    }
    // The start is marked "timed": it may take over a running recording.
    EXPECT_EQ(sequence, (std::vector<std::string>{"tmev 0", "recd 1", "tmev 1", "stop 0"}));
}

TEST_F(RecordingTest, RefusedRecordingLeavesTheWindowIdle) {
    MakeWindow();
    // Stop when idle leaves the button as it is.
    StopButton()->setEnabled(true);
    Post(Message(kMsgStop));
    EXPECT_TRUE(StopButton()->isEnabled());
    StopButton()->setEnabled(false);

    Post(Record("/no-such-directory/clip.avi"));
    ASSERT_EQ(fAlerts.size(), 1u);
    EXPECT_NE(fAlerts[0].find("Could not create entry"), std::string::npos);
    EXPECT_FALSE(fEngine->IsRecording());
    EXPECT_FALSE(StopButton()->isEnabled());

    fWindow->CurrentFormat()->videoEncoder.clear();
    Post(Message(kMsgRecord));
    auto* alert = fWindow->findChild<QMessageBox*>("incompleteSettingsAlert");
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->icon(), QMessageBox::Warning);
    EXPECT_EQ(alert->text(),
              "The encoder and file format settings are not complete.\n"
              "Please complete these settings to be able to start recording.");
    ASSERT_EQ(alert->buttons().size(), 1);
    EXPECT_EQ(alert->buttons()[0]->text(), "Ok");
    EXPECT_FALSE(StopButton()->isEnabled());
    EXPECT_EQ(fAlerts.size(), 1u);
    alert->close();
}

TEST_F(RecordingTest, OutputFileComesFromTheSavePanelOrADrop) {
    MakeWindow();
    Message reply(B_SAVE_REQUESTED);
    reply.AddString("directory", "/tmp");
    reply.AddString("name", "clip");
    Post(reply);
    EXPECT_EQ(gSettings.fileName, "/tmp/clip");
    EXPECT_EQ(FileNameField()->text(), "/tmp/clip");

    // The real panel opens in the field's directory and answers with the same message.
    Post(Message(kMsgSelectFileName));
    auto* panel = Child<QFileDialog>("savePanel");
    ASSERT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->directory().absolutePath(), "/tmp");
    auto* name = panel->findChild<QLineEdit*>("fileNameEdit");  // typed, as a user does
    ASSERT_NE(name, nullptr);
    name->setText("other clip.mkv");
    static_cast<QDialog*>(panel)->accept();  // as the panel's Save button does
    drain();
    EXPECT_EQ(gSettings.fileName, "/tmp/other clip.mkv");
    EXPECT_FALSE(panel->isVisible());

    const std::string path = NewPath();
    std::ofstream(path) << "x";
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(path))});
    const QPoint where = fWindow->rect().center();
    QDragEnterEvent enter(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(fWindow, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(fWindow, &drop);
    drain();
    EXPECT_EQ(gSettings.fileName, path);
    EXPECT_EQ(FileNameField()->text().toStdString(), path);
}

TEST_F(RecordingTest, ChosenTimerEntryShowsItsFileAndFormat) {
    MakeWindow();
    gSettings.formats[2]->videoWidth = 720;
    fWindow->ShowTimerEvent("/tmp/news.avi", gSettings.formats[2].get());
    EXPECT_EQ(FileNameField()->text(), "/tmp/news.avi");
    // The settings' name changes only when the field is confirmed.
    EXPECT_EQ(gSettings.fileName, "/tmp/tavro-window-test.avi");
    EXPECT_EQ(fWindow->CurrentFormat(), gSettings.formats[2].get());
    EXPECT_EQ(gSettings.lastFormat, 2);
    EXPECT_EQ(Child<QPushButton>("formatField")->text(), "Gamma");
    EXPECT_EQ(fEngine->VideoWidth(), 720);
}

// The way a user makes a format: "New Format..." opens the editor on a new format; Matroska,
// x264 and AAC at 720 x 576 and 60 %; a keyframe every 10 frames in the video encoder's
// parameters; the window closed; three seconds recorded. A new tavro reading the settings saved
// to disk records the same.
TEST_F(RecordingTest, FormatMadeInTheEditorRecordsWithItsEncoderParameters) {
    MakeRecordingWindow();
    fWindow->realFormatWindow = true;
    Post(Message(kMsgAddFormat));
    FormatWindow* editor = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets())
        editor = editor != nullptr ? editor : qobject_cast<FormatWindow*>(widget);
    ASSERT_NE(editor, nullptr);
    FormatSetting* format = editor->Format();
    ASSERT_NE(format, nullptr);
    EXPECT_STREQ(format->Text(), "unnamed format");

    auto choose = [editor](const char* field, const QString& label) {
        for (QAction* item : editor->findChild<MenuField*>(field)->Items()) {
            if (item->text() == label || item->text().startsWith(label + " ")) {
                item->trigger();
                drain();
                return;
            }
        }
        ADD_FAILURE() << field << ": no " << label.toStdString();
    };
    choose("fileFormatField", "Matroska");
    choose("videoEncoderField", "libx264");
    choose("audioEncoderField", "AAC");
    for (QAction* item : editor->findChild<QMenu*>("sizeMenu")->actions()) {
        if (item->text() == "720 x 576")
            item->trigger();
    }
    editor->findChild<QualitySlider*>()->findChild<QSlider*>()->setValue(60);
    drain();

    editor->findChild<QPushButton*>("videoEncoderParameters")->click();
    drain();
    ASSERT_NE(editor->VideoEncoderWindow(), nullptr);
    auto* view = editor->VideoEncoderWindow()->findChild<ParameterView*>();
    auto* gop =
        qobject_cast<QSlider*>(view->ControlFor(EncoderParameters::IdFor("AVCodecContext", "g")));
    ASSERT_NE(gop, nullptr);
    gop->setValue(1 + 10);  // x264's own default at the left end, then one position per frame
    editor->VideoEncoderWindow()->close();
    drain();
    editor->close();
    drain();
    EXPECT_EQ(format->fileFormat, "matroska");
    EXPECT_EQ(format->videoEncoder, "libx264");
    EXPECT_EQ(format->audioEncoder, "aac");
    EXPECT_EQ(format->videoWidth, 720);
    EXPECT_FLOAT_EQ(format->videoQuality, 0.6f);

    const std::string path = std::getenv("XDG_CONFIG_HOME") + std::string("/edited.mkv");
    Post(Record(path));
    ASSERT_TRUE(fDevices->IsRecording()) << (fAlerts.empty() ? "" : fAlerts[0]);
    waitUntil([] { return false; }, 3000);
    QTest::mouseClick(StopButton(), Qt::LeftButton);
    drain();
    ASSERT_FALSE(fDevices->IsRecording());

    const MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.openError, 0);
    const StreamSummary* video = movie.Video();
    const StreamSummary* audio = movie.Audio();
    ASSERT_NE(video, nullptr);
    ASSERT_NE(audio, nullptr);
    EXPECT_EQ(video->codec, "h264");
    EXPECT_EQ(video->width, 720);
    EXPECT_EQ(video->height, 576);
    EXPECT_EQ(audio->codec, "aac");
    EXPECT_EQ(video->decodeErrors + audio->decodeErrors, 0);
    // x264 alone puts a keyframe every 250 frames: this many says the interval took effect.
    EXPECT_GT(video->frames, 20);
    EXPECT_GE(video->keyFrames, video->frames / 10);
    EXPECT_EQ(ffmpegDecodeErrors(path), "");

    // A restart: the settings saved to disk as at the program's exit, and a new tavro that
    // reads them records with the format, found by its name, keyframe interval and all.
    ASSERT_EQ(gSettings.Save(), B_OK);
    const std::string again = std::getenv("XDG_CONFIG_HOME") + std::string("/again.mkv");
    const std::string command = std::string("'") + TAVRO_BINARY + "' --quiet --record '" + again +
                                "' --duration 2 --format 'unnamed format'" +
                                " --video-input=test-picture --audio-input=test-tone 2>&1";
    std::string said;
    FILE* child = popen(command.c_str(), "r");
    ASSERT_NE(child, nullptr);
    for (int c; (c = std::fgetc(child)) != EOF;)
        said += char(c);
    EXPECT_EQ(pclose(child), 0) << said;
    const MovieSummary restarted = readMovie(again);
    ASSERT_EQ(restarted.openError, 0) << said;
    ASSERT_NE(restarted.Video(), nullptr);
    ASSERT_NE(restarted.Audio(), nullptr);
    EXPECT_EQ(restarted.Video()->codec, "h264");
    EXPECT_EQ(restarted.Video()->width, 720);
    EXPECT_EQ(restarted.Video()->height, 576);
    EXPECT_EQ(restarted.Audio()->codec, "aac");
    EXPECT_GT(restarted.Video()->frames, 10);
    EXPECT_GE(restarted.Video()->keyFrames, restarted.Video()->frames / 10);
    EXPECT_EQ(ffmpegDecodeErrors(again), "");
    EXPECT_TRUE(fAlerts.empty()) << fAlerts[0];
}

}  // namespace
