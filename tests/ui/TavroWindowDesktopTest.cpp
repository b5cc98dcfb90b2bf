// The main window on a desktop: where a recording lands, the title while it runs, and closing
// it during a recording.

#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/ui/WindowTestFixture.h"
#include "ui/Frames.h"
#include "ui/main/RecordingFolder.h"

namespace {

namespace fs = std::filesystem;

class DesktopTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        // The videos folder the desktop names, inside the test's own settings directory.
        fConfig = std::getenv("XDG_CONFIG_HOME");
        fVideos = fs::path(fConfig) / "My Videos";
        fs::create_directories(fVideos);
        std::ofstream(fs::path(fConfig) / "user-dirs.dirs")
            << "# written by xdg-user-dirs-update\nXDG_VIDEOS_DIR=\"" << fVideos.string() << "\"\n";
    }

    void TearDown() override {
        if (fWindow != nullptr && fDevices != nullptr && fDevices->IsRecording())
            fWindow->Stop();
        WindowTest::TearDown();
        fDevices.reset();
        fs::remove(fs::path(fConfig) / "user-dirs.dirs");
        fs::remove_all(fVideos);
    }

    void MakeRecordingWindow() {
        TavroOptions options;
        options.roster.videoInput = MediaRoster::kTestPictureID;
        options.roster.audioInput = MediaRoster::kTestToneID;
        fDevices = std::make_unique<Tavro>(options);
        MakeWindow(fDevices.get());
    }

    void Record(const std::string& name) {
        Message record(kMsgRecord);
        record.AddString("fileName", name);
        Post(record);
    }

    std::string fConfig;
    fs::path fVideos;
    std::unique_ptr<Tavro> fDevices;
};

}  // namespace

TEST_F(DesktopTest, RelativeNamesLandInTheVideosFolderElseAtHome) {
    EXPECT_EQ(videosFolder(), fVideos.string());
    struct Case {
        std::string name;
        std::string path;
    } cases[] = {
        {"video.avi", (fVideos / "video.avi").string()},
        {"news/today.mkv", (fVideos / "news/today.mkv").string()},
        {"./a/../b.avi", (fVideos / "b.avi").string()},
        {"/tmp/elsewhere.avi", "/tmp/elsewhere.avi"},
        {"", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(recordingPath(c.name), c.path) << c.name;

    // A videos folder that the desktop names but that is not there: the home folder.
    fs::remove_all(fVideos);
    EXPECT_EQ(recordingPath("video.avi"),
              (fs::path(QDir::homePath().toStdString()) / "video.avi").string());
    fs::create_directories(fVideos);
}

TEST_F(DesktopTest, TheTitleAndTheStatusShowTheRunningRecordingAndItsFullPath) {
    MakeRecordingWindow();
    EXPECT_EQ(fWindow->windowTitle(), "Tavro");
    Record("tonight.avi");
    ASSERT_TRUE(fDevices->IsRecording());
    EXPECT_TRUE(fs::exists(fVideos / "tonight.avi"));
    // The settings keep the name as it was given.
    EXPECT_EQ(gSettings.fileName, "/tmp/tavro-window-test.avi");

    auto* file = Child<QLabel>("fileName");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->toolTip().toStdString(), (fVideos / "tonight.avi").string());
    EXPECT_FALSE(file->text().isEmpty());
    // The label shows all of it or elides its middle; it never runs past its width.
    EXPECT_LE(file->fontMetrics().horizontalAdvance(file->text()), file->width());

    // A second or more (a busy machine may let the title skip a second).
    const QString recording = QString::fromUtf8("Tavro — Recording 00:00:");
    EXPECT_TRUE(waitUntil(
        [&] {
            const QString title = fWindow->windowTitle();
            return title.startsWith(recording) && title != recording + "00";
        },
        3000))
        << fWindow->windowTitle().toStdString();
    fWindow->Stop();
    EXPECT_EQ(fWindow->windowTitle(), "Tavro");
}

TEST_F(DesktopTest, ClosingDuringARecordingAsksFirst) {
    MakeRecordingWindow();
    Record("asked.avi");
    ASSERT_TRUE(fDevices->IsRecording());
    QPointer<TestTavroWindow> window(fWindow);

    // "Keep Recording": the window and the recording stay.
    fWindow->close();
    drain();
    auto* question = fWindow->findChild<QMessageBox*>("stopQuestion");
    ASSERT_NE(question, nullptr);
    EXPECT_TRUE(question->isVisible());
    EXPECT_EQ(question->text(), "A recording is running. Stop it and quit?");
    question->reject();
    drain();
    ASSERT_FALSE(window.isNull());
    EXPECT_TRUE(fWindow->isVisible());
    EXPECT_TRUE(fDevices->IsRecording());

    // Asked again, once: a second close while the question is open does not stack another.
    fWindow->close();
    fWindow->close();
    drain();
    EXPECT_EQ(fWindow->findChildren<QMessageBox*>("stopQuestion").size(), 1);
    fWindow->findChild<QMessageBox*>("stopQuestion")->accept();
    drain();
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_TRUE(waitUntil([&] { return window.isNull(); }, 2000));
    fWindow = nullptr;
    EXPECT_GT(fs::file_size(fVideos / "asked.avi"), 0u);
}

TEST_F(DesktopTest, CountersStayWholeAtTheNarrowestWindow) {
    MakeWindow();
    fWindow->resize(fWindow->minimumWidth(), fWindow->height());
    drain();
    for (auto [name, text] : {std::pair{"videoCounter", "12345678 frames (0)"},
                              std::pair{"audioCounter", "12345678 buffers (1234)"}}) {
        auto* counter = Child<QLabel>(name);
        counter->setText(text);
        EXPECT_LE(counter->fontMetrics().horizontalAdvance(text) + 2, counter->width()) << name;
    }
}

TEST_F(DesktopTest, AKeyboardStopHandsTheFocusToRecordNotToTheFileName) {
    MakeRecordingWindow();
    fWindow->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(fWindow));
    auto* field = Child<QLineEdit>("fileName");
    const QString name = field->text();
    Record("stopped.avi");
    auto* stop = Child<QPushButton>("stopButton");
    ASSERT_EQ(QApplication::focusWidget(), stop);
    QTest::keyClick(stop, Qt::Key_Space);
    drain();
    EXPECT_FALSE(fDevices->IsRecording());
    EXPECT_EQ(QApplication::focusWidget(), Child<QPushButton>("recordButton"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_X);
    EXPECT_EQ(field->text(), name);
}

TEST(Frames, AStoredFrameLandsOnAScreenThatExists) {
    const std::vector<QRect> screens = {QRect(0, 0, 1280, 1024), QRect(1280, 0, 1920, 1080)};
    struct Case {
        QRect stored, placed;
    } cases[] = {
        {QRect(100, 100, 400, 300), QRect(100, 100, 400, 300)},    // on the first screen
        {QRect(1500, 200, 400, 300), QRect(1500, 200, 400, 300)},  // on the second
        {QRect(4000, 1500, 400, 300), QRect(60, 60, 400, 300)},    // on a screen now gone
        {QRect(-900, -50, 400, 300), QRect(60, 60, 400, 300)},
        {QRect(1000, 900, 400, 300), QRect(880, 724, 400, 300)},   // hanging over the edge
        {QRect(100, 100, 1500, 1200), QRect(0, 0, 1500, 1200)},    // larger than its screen
        {QRect(3000, 900, 400, 300), QRect(2800, 780, 400, 300)},  // over the second's edge
    };
    for (const Case& c : cases)
        EXPECT_EQ(keptOnScreen(c.stored, screens), c.placed) << c.stored.x() << "," << c.stored.y();
    EXPECT_EQ(keptOnScreen(QRect(5, 5, 10, 10), {}), QRect(5, 5, 10, 10));
}

TEST(Frames, TheFirstStartPutsThePreviewsBesideTheMainWindow) {
    const QRect screen(0, 0, 1280, 1024), main(60, 60, 361, 451);
    const QRect stored(250, 180, 384, 288);
    // Right of it; the second one below the first; left of it when the right has no room.
    EXPECT_EQ(besideMainWindow(main, stored.size(), 0, screen, stored), QRect(451, 60, 384, 288));
    EXPECT_EQ(besideMainWindow(main, QSize(205, 43), 328, screen, stored),
              QRect(451, 388, 205, 43));
    const QRect rightSide(860, 60, 361, 451);
    EXPECT_EQ(besideMainWindow(rightSide, stored.size(), 0, screen, stored),
              QRect(446, 60, 384, 288));
    // No room on either side: where the settings put it.
    EXPECT_EQ(besideMainWindow(main, stored.size(), 0, QRect(0, 0, 800, 600), stored), stored);
}

TEST_F(DesktopTest, TheFormatDescriptionShowsFourWholeLinesForTheLongestNames) {
    FormatSetting* format = gSettings.formats[1].get();
    format->SetFileFormat("matroska");
    format->SetVideoEncoder("libx264");
    format->SetAudioEncoder("aac");
    MakeWindow();
    auto* description = Child<QTextEdit>("description");
    for (int width : {fWindow->minimumWidth(), fWindow->minimumWidth() + 400}) {
        fWindow->resize(width, fWindow->height());
        drain();
        const QStringList lines = description->toPlainText().split('\n');
        ASSERT_EQ(lines.size(), 4) << description->toPlainText().toStdString();
        const QFontMetrics metrics(description->font());
        const int tab = int(description->tabStopDistance());
        for (const QString& line : lines) {
            const QString text = QString(line).remove('\t');
            const int indent = int(line.size() - text.size()) * tab;
            EXPECT_LE(indent + metrics.horizontalAdvance(text), description->viewport()->width())
                << line.toStdString();
        }
        // All four fit in the box's height.
        EXPECT_LE(description->document()->size().height(), description->viewport()->height());
        // The full text stays at hand.
        EXPECT_TRUE(description->toolTip().contains("AAC (Advanced Audio Coding)"));
    }
    // Wide enough, nothing is elided.
    EXPECT_TRUE(description->toPlainText().contains("AAC (Advanced Audio Coding), 44.1kHz stereo"))
        << description->toPlainText().toStdString();
}

TEST_F(DesktopTest, TheStatusTextsShowExactlyTheBoxBehindThem) {
    MakeWindow();
    const QImage window = fWindow->grab().toImage();
    auto* counter = Child<QLabel>("videoCounter");
    auto* status = counter->parentWidget();
    // Beside the text and between the two columns: the same pixels.
    const QPoint inLabel = counter->mapTo(fWindow, QPoint(counter->width() - 3, 2));
    const QPoint between = status->mapTo(fWindow, QPoint(status->width() / 2, counter->y() + 2));
    EXPECT_EQ(QColor(window.pixel(inLabel)).name().toStdString(),
              QColor(window.pixel(between)).name().toStdString());
    auto* elapsed = Child<QLabel>("elapsed");
    const QPoint inElapsed = elapsed->mapTo(fWindow, QPoint(elapsed->width() - 3, 2));
    EXPECT_EQ(QColor(window.pixel(inElapsed)).name().toStdString(),
              QColor(window.pixel(between)).name().toStdString());
}
