#pragma once
// A main window over a real engine for the window tests, with known settings, and a window
// that records the messages it handles and opens test stand-ins for the format editor.

#include <gtest/gtest.h>

#include <QPushButton>
#include <QTest>

#include <memory>
#include <string>
#include <vector>

#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "tests/ui/UiTestSupport.h"
#include "ui/Looper.h"
#include "ui/main/TavroWindow.h"
#include "ui/main/WindowMessages.h"

// A secondary window that keeps what is posted to it.
class TestChildWindow : public QWidget, public Looper {
public:
    TestChildWindow() : Looper(this) { setAttribute(Qt::WA_DeleteOnClose); }
    void MessageReceived(Message* message) override { received.push_back(*message); }
    std::vector<Message> received;
};

class TestTavroWindow : public TavroWindow {
public:
    using TavroWindow::TavroWindow;
    ~TestTavroWindow() override { delete formatWindow.data(); }

    void MessageReceived(Message* message) override {
        handled.push_back(*message);
        TavroWindow::MessageReceived(message);
    }
    std::vector<Message> handled;
    int formatWindowsMade = 0;
    QPointer<TestChildWindow> formatWindow;  // the last one made
    bool realFormatWindow = false;           // the editor itself instead of a stand-in

protected:
    QWidget* CreateFormatWindow(FormatSetting* format) override {
        formatWindowsMade++;
        if (realFormatWindow)
            return TavroWindow::CreateFormatWindow(format);
        return formatWindow = new TestChildWindow;
    }
};

class WindowTest : public testing::Test {
protected:
    void SetUp() override {
        testApplication();
        SetFormats({"Alpha", "Beta", "Gamma"}, 1);
        gSettings.showTimer = gSettings.showTVControls = gSettings.timer = false;
        gSettings.showVideo = gSettings.showAudio = false;
        gSettings.SetFileName("/tmp/tavro-window-test.avi");
        gSettings.tavroFrame = Rect{40, 50, 459, 600};
    }

    void TearDown() override {
        delete fWindow;
        drain();
        SetFormats({}, 0);
    }

    // Replaces the settings' formats with new ones of these names (defaults otherwise).
    static void SetFormats(std::initializer_list<const char*> names, int32 last) {
        gSettings.formats.clear();
        for (const char* name : names)
            gSettings.formats.push_back(std::make_unique<FormatSetting>(name));
        gSettings.lastFormat = last;
    }

    TestTavroWindow* MakeWindow(Tavro* engine = nullptr) {
        delete fWindow;
        fWindow = new TestTavroWindow(gSettings.tavroFrame, "Tavro",
                                      engine != nullptr ? engine : fEngine.get());
        fWindow->show();
        drain();
        return fWindow;
    }

    template <typename T>
    T* Child(const char* name) {
        T* child = fWindow->findChild<T*>(name);
        EXPECT_NE(child, nullptr) << name;
        return child;
    }

    // Posts to the window and lets it handle what follows.
    void Post(const Message& message) {
        fWindow->PostMessage(message);
        drain();
    }

    std::unique_ptr<Tavro> fEngine = std::make_unique<Tavro>(noDevices());
    TestTavroWindow* fWindow = nullptr;
};
