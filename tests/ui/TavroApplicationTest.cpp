// The desktop program's start-up and end: the application's identity, the engine set to the
// last format before the main window opens at its saved frame, Ctrl+Q through the window, and
// the error alert's message boxes.

#include <gtest/gtest.h>

#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <thread>

#include "app/ErrorAlert.h"
#include "app/TavroApplication.h"
#include "app/TavroSettings.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/main/TavroWindow.h"

namespace {

class TavroApplicationTest : public testing::Test {
protected:
    void SetUp() override {
        for (FormatSetting* format : gSettings.formats)
            delete format;
        gSettings.formats = {new FormatSetting("Large"), new FormatSetting("Small")};
        gSettings.formats[1]->videoWidth = 352;
        gSettings.formats[1]->videoHeight = 240;
        gSettings.lastFormat = 1;
        gSettings.tavroFrame = Rect{30, 40, 469, 500};
        gSettings.showTimer = false;
        gSettings.showTVControls = false;
        resetErrorAlertForTesting();

        TavroOptions options;
        options.useRoster = false;
        fApplication = std::make_unique<TavroApplication>(fArgc, fArgv, options);
    }

    void TearDown() override {
        fApplication.reset();
        resetErrorAlertForTesting();
    }

    // The visible message box whose text contains `text`; null when there is none.
    static QMessageBox* FindBox(const char* text) {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(widget);
            if (box != nullptr && box->isVisible() && box->text().contains(text))
                return box;
        }
        return nullptr;
    }

    static void ExpectStopAlert(QMessageBox* box) {
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->icon(), QMessageBox::Critical);
        ASSERT_EQ(box->buttons().size(), 1);
        EXPECT_EQ(box->buttons()[0]->text(), "Ok");
    }

    int fArgc = 1;
    char fName[6] = "tavro";
    char* fArgv[2] = {fName, nullptr};
    std::unique_ptr<TavroApplication> fApplication;
};

TEST_F(TavroApplicationTest, StartsTheEngineOnTheLastFormatAndTheMainWindow) {
    EXPECT_EQ(QCoreApplication::organizationName(), "zelk");
    EXPECT_EQ(QCoreApplication::applicationName(), "Tavro");
    EXPECT_EQ(QGuiApplication::desktopFileName(), "zelk.Tavro");

    EXPECT_EQ(fApplication->Engine()->VideoWidth(), 352);
    EXPECT_EQ(fApplication->Engine()->VideoHeight(), 240);
    TavroWindow* window = fApplication->MainWindow();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->windowTitle(), "Tavro");
    EXPECT_EQ(window->geometry().topLeft(), QPoint(30, 40));
    EXPECT_EQ(window->CurrentFormat(), gSettings.formats[1]);
}

TEST_F(TavroApplicationTest, CtrlQQuitsAndStoresTheWindowFrame) {
    TavroWindow* window = fApplication->MainWindow();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    window->setGeometry(50, 60, 480, window->height());
    QTimer::singleShot(0, window,
                       [window] { QTest::keyClick(window, Qt::Key_Q, Qt::ControlModifier); });
    // Ends when the window has asked the application to quit.
    EXPECT_EQ(fApplication->exec(), 0);
    EXPECT_EQ(gSettings.tavroFrame.left, 50);
    EXPECT_EQ(gSettings.tavroFrame.top, 60);
    EXPECT_EQ(gSettings.tavroFrame.right, 529);
}

TEST_F(TavroApplicationTest, AlertOfAnotherThreadIsShownWithoutWaiting) {
    std::thread failing([] { ErrorAlert("disk full", B_DEVICE_FULL); });
    failing.join();
    ASSERT_TRUE(waitUntil([] { return FindBox("disk full") != nullptr; }, 2000));
    QMessageBox* box = FindBox("disk full");
    ExpectStopAlert(box);
    EXPECT_TRUE(box->text().startsWith("An error has occured:\n\ndisk full\n["));
    box->close();
}

TEST_F(TavroApplicationTest, AlertOfTheWindowThreadWaitsForOk) {
    bool seen = false;
    QTimer::singleShot(50, [&seen] {
        QWidget* modal = QApplication::activeModalWidget();
        auto* box = qobject_cast<QMessageBox*>(modal);
        seen = box != nullptr && box->text().contains("no picture");
        ExpectStopAlert(box);
        if (box != nullptr && box->buttons().size() == 1)
            box->buttons()[0]->click();
        else if (modal != nullptr)
            modal->close();
    });
    ErrorAlert("no picture", B_ERROR);
    EXPECT_TRUE(seen);
}

}  // namespace
