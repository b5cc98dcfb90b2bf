// The desktop program's start-up: the application's identity, the engine set to the last
// format before the main window opens at its saved frame; and the error alert's message boxes.
// Quitting is seen in the end-to-end test.

#include <gtest/gtest.h>

#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include <thread>

#include "app/records/ErrorAlert.h"
#include "app/records/TavroSettings.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/TavroApplication.h"
#include "ui/main/TavroWindow.h"

namespace {

class TavroApplicationTest : public testing::Test {
protected:
    void SetUp() override {
        gSettings.formats.clear();
        gSettings.formats.push_back(std::make_unique<FormatSetting>("Large"));
        gSettings.formats.push_back(std::make_unique<FormatSetting>("Small"));
        gSettings.formats[1]->videoWidth = 352;
        gSettings.formats[1]->videoHeight = 240;
        gSettings.lastFormat = 1;
        gSettings.tavroFrame = Rect{30, 40, 469, 500};
        gSettings.showTimer = gSettings.showTVControls = false;
        resetErrorAlertForTesting();
        fApplication = std::make_unique<TavroApplication>(fArgc, fArgv, noDevices());
    }

    void TearDown() override {
        fApplication.reset();
        resetErrorAlertForTesting();
    }

    // A stop alert with the text and its one "Ok" button, as every error alert is shown.
    static void ExpectAlert(QMessageBox* box, const char* text) {
        ASSERT_NE(box, nullptr);
        EXPECT_TRUE(box->text().startsWith(QString("An error has occured:\n\n") + text + "\n["))
            << box->text().toStdString();
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
    EXPECT_EQ(window->CurrentFormat(), gSettings.formats[1].get());
}

TEST_F(TavroApplicationTest, AlertNeverWaitsButHoldsTheWindowsUntilOk) {
    // On the window thread the box is open (modal to the windows) when ErrorAlert returns:
    // no loop of its own runs inside the caller.
    ErrorAlert("no picture", B_ERROR);
    auto* modal = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    ExpectAlert(modal, "no picture");
    ASSERT_NE(modal, nullptr);
    EXPECT_TRUE(modal->isVisible());
    modal->close();

    // From another thread the alert is shown later, without waiting.
    resetErrorAlertForTesting();
    std::thread([] { ErrorAlert("disk full", B_DEVICE_FULL); }).join();
    QMessageBox* box = nullptr;
    ASSERT_TRUE(waitUntil(
        [&box] {
            for (QWidget* widget : QApplication::topLevelWidgets())
                if (auto* shown = qobject_cast<QMessageBox*>(widget); shown && shown->isVisible())
                    box = shown;
            return box != nullptr;
        },
        2000));
    ExpectAlert(box, "disk full");
    box->close();
}

}  // namespace
