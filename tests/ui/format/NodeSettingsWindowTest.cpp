// The node settings window on its own (size, kept position, the frame written back, the quit
// code) and as the main window opens it for the inputs ("Video Input…", "Audio Input…").

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QScreen>
#include <QTest>

#include "support/MessageQueue.h"
#include "tests/media/capture/FakeDevices.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/format/NodeSettingsWindow.h"
#include "ui/main/InputSettingsView.h"
#include "ui/widgets/ParameterView.h"

namespace {

QWidget* fixedView(int width, int height) {
    auto* view = new QWidget;
    view->setFixedSize(width, height);
    return view;
}

class NodeSettingsWindowTest : public testing::Test {
protected:
    void SetUp() override { testApplication(); }
};

TEST_F(NodeSettingsWindowTest, TakesTheViewsSizeAndOnlyThePositionOfTheKeptFrame) {
    Rect frame{120, 140, 130, 150};
    QPointer<NodeSettingsWindow> window =
        new NodeSettingsWindow(&frame, "Settings", fixedView(300, 200));
    drain();
    EXPECT_TRUE(window->isVisible()) << "it shows at once";
    EXPECT_EQ(window->windowTitle(), "Settings");
    EXPECT_EQ(window->size(), QSize(300, 200));
    EXPECT_EQ(window->geometry().topLeft(), QPoint(120, 140));

    window->SetView(fixedView(180, 90));
    drain();
    EXPECT_EQ(window->size(), QSize(180, 90)) << "a new view brings its own size";
    delete window.data();

    // Kept on a screen that is gone: it comes back whole on this one.
    Rect gone{9000, 7000, 9010, 7010};
    window = new NodeSettingsWindow(&gone, "Settings", fixedView(300, 200));
    drain();
    const QRect screen = window->screen()->availableGeometry();
    EXPECT_TRUE(screen.contains(window->geometry()))
        << "at " << window->geometry().x() << "," << window->geometry().y();
    delete window.data();
}

TEST_F(NodeSettingsWindowTest, GoingWritesTheLastFrameBackAndThenPostsTheQuitCode) {
    Rect frame{100, 100, 110, 110};
    MessageQueue opener;
    auto* window = new NodeSettingsWindow(&frame, "Settings", fixedView(200, 100));
    window->SetQuitTarget(&opener, fourcc("vscl"));
    drain();
    Message message;
    EXPECT_NE(opener.NextMessage(&message, 0), B_OK) << "nothing is posted before it goes";
    window->setGeometry(QRect(QPoint(260, 230), window->size()));
    drain();
    window->close();  // deletes it
    drain();
    EXPECT_EQ(frame.left, 260);
    EXPECT_EQ(frame.top, 230);
    EXPECT_EQ(frame.right - frame.left + 1, 200);
    ASSERT_EQ(opener.NextMessage(&message, 0), B_OK);
    EXPECT_EQ(message.what, fourcc("vscl"));

    // No frame to keep, no target: nothing to write or post.
    delete new NodeSettingsWindow(nullptr, "Settings", fixedView(10, 10));
}

// The main window over the fake card, the built-in tone and a mixer.
class InputSettingsWindows : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        TavroOptions options;
        options.roster.audioInput = MediaRoster::kTestToneID;
        fEngine = std::make_unique<Tavro>(options, std::make_unique<CardBackend>(&card));
    }
    // The engine streams from the card: it goes first.
    void TearDown() override {
        WindowTest::TearDown();
        fEngine.reset();
    }
    NodeSettingsWindow* Open(uint32 what) {
        const int before = OpenCount();
        Post(Message(what));
        EXPECT_LE(OpenCount(), before + 1);
        return Windows().empty() ? nullptr : Windows().back();
    }
    static std::vector<NodeSettingsWindow*> Windows() {
        std::vector<NodeSettingsWindow*> windows;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* window = qobject_cast<NodeSettingsWindow*>(widget))
                windows.push_back(window);
        }
        return windows;
    }
    static int OpenCount() { return int(Windows().size()); }

    FakeBt848 card;
};

// The card's parameter view inside an input settings window.
ParameterView* parametersOf(NodeSettingsWindow* window) {
    auto* view = qobject_cast<InputSettingsView*>(window->View());
    return view != nullptr ? view->Parameters() : nullptr;
}

QStringList itemsOf(const QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); i++)
        items << combo->itemText(i);
    return items;
}

TEST_F(InputSettingsWindows, VideoInputOpensTheCardsControlsOnceAndRemembersWhereItWas) {
    gSettings.videoSettingsFrame = Rect{70, 80, 75, 85};
    MakeWindow();
    NodeSettingsWindow* window = Open(fourcc("vset"));
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Video Input Settings");
    EXPECT_EQ(window->geometry().topLeft(), QPoint(70, 80));
    ParameterView* view = parametersOf(window);
    ASSERT_NE(view, nullptr);
    auto* source = qobject_cast<QComboBox*>(view->ControlFor(kVideoSourceParameterID));
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(source->itemText(0), "Television");

    Open(fourcc("vset"));
    EXPECT_EQ(OpenCount(), 1) << "the open window is activated, not a second one made";

    window->setGeometry(QRect(QPoint(300, 110), window->size()));
    drain();
    window->close();
    drain();
    EXPECT_EQ(OpenCount(), 0);
    EXPECT_EQ(std::count_if(fWindow->handled.begin(), fWindow->handled.end(),
                            [](const Message& m) { return m.what == fourcc("vscl"); }),
              1);
    EXPECT_EQ(gSettings.videoSettingsFrame.left, 300);

    window = Open(fourcc("vset"));
    ASSERT_NE(window, nullptr) << "closed, it opens again";
    EXPECT_EQ(window->geometry().topLeft(), QPoint(300, 110));
    window->close();
    drain();
}

TEST_F(InputSettingsWindows, ChoosingTheSourceInTheWindowSwitchesTheCard) {
    MakeWindow();
    NodeSettingsWindow* window = Open(fourcc("vset"));
    ASSERT_NE(window, nullptr);
    auto* source =
        qobject_cast<QComboBox*>(parametersOf(window)->ControlFor(kVideoSourceParameterID));
    ASSERT_NE(source, nullptr);
    source->activated(1);
    EXPECT_EQ(fEngine->GetCurrentVideoSource(), 1);
    EXPECT_EQ(card.Input(), 1u);
    fEngine->SetCurrentVideoSource(2);  // elsewhere
    EXPECT_TRUE(waitUntil([&] { return source->currentIndex() == 2; },
                          4 * ParameterView::kRefreshMilliseconds));
    window->close();
    drain();
}

TEST_F(InputSettingsWindows, AnInputWithoutControlsStillOffersItsDevices) {
    MakeWindow();
    NodeSettingsWindow* window = Open(fourcc("aset"));  // the built-in tone has no controls
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Audio Input Settings");
    auto* view = qobject_cast<InputSettingsView*>(window->View());
    EXPECT_EQ(view->Parameters(), nullptr);
    EXPECT_EQ(itemsOf(view->DeviceMenu()), QStringList{"Test Tone (built in)"});
    EXPECT_FALSE(view->findChild<QLabel*>("noControls")->isHidden());
    window->close();
    drain();
}

TEST_F(InputSettingsWindows, ChoosingADeviceSwitchesAtOnceAndIsKeptInTheSettings) {
    gSettings.videoInput.clear();
    MakeWindow();
    NodeSettingsWindow* window = Open(fourcc("vset"));
    ASSERT_NE(window, nullptr);
    auto* view = qobject_cast<InputSettingsView*>(window->View());
    QComboBox* devices = view->DeviceMenu();
    ASSERT_EQ(devices->count(), 2);
    EXPECT_EQ(devices->itemData(0).toString(), "/dev/video0");
    EXPECT_EQ(devices->itemText(1), "Test Picture (built in)");
    EXPECT_EQ(devices->currentIndex(), 0);
    ASSERT_TRUE(waitUntil([&] { return card.IsStreaming(); }, 2000));

    devices->activated(1);
    drain();
    EXPECT_EQ(gSettings.videoInput, "test-picture");
    EXPECT_FALSE(card.IsStreaming()) << "the card has been let go";
    EXPECT_TRUE(fEngine->VideoConnected());
    ASSERT_NE(view->Parameters(), nullptr);
    auto* channel = qobject_cast<QComboBox*>(view->Parameters()->ControlFor(kChannelParameterID));
    ASSERT_NE(channel, nullptr) << "the test picture's own controls";
    EXPECT_EQ(channel->itemText(0), "Test 1");
    EXPECT_TRUE(view->StatusLine()->isHidden());

    // Switched elsewhere: the window follows with the card's controls.
    ASSERT_EQ(fEngine->SelectInputs("/dev/video0", MediaRoster::kTestToneID), B_OK);
    EXPECT_TRUE(waitUntil(
        [&] {
            auto* input = view->Parameters() != nullptr
                              ? qobject_cast<QComboBox*>(
                                    view->Parameters()->ControlFor(kVideoSourceParameterID))
                              : nullptr;
            return input != nullptr && input->itemText(0) == "Television";
        },
        4 * ParameterView::kRefreshMilliseconds));
    EXPECT_EQ(devices->currentIndex(), 0);
    window->close();
    drain();
}

TEST_F(InputSettingsWindows, ANamedDeviceThatIsNotThereIsShownAsMissing) {
    TavroOptions options;
    options.roster.videoInput = "/dev/video7";
    options.roster.audioInput = MediaRoster::kTestToneID;
    fEngine = std::make_unique<Tavro>(options, std::make_unique<CardBackend>(&card));
    EXPECT_FALSE(fEngine->VideoConnected()) << "no stand-in";
    MakeWindow();
    NodeSettingsWindow* window = Open(fourcc("vset"));
    ASSERT_NE(window, nullptr);
    auto* view = qobject_cast<InputSettingsView*>(window->View());
    EXPECT_EQ(view->DeviceMenu()->currentText(), "/dev/video7 (not there)");
    EXPECT_FALSE(view->StatusLine()->isHidden());
    EXPECT_TRUE(view->StatusLine()->text().contains("/dev/video7"));
    EXPECT_EQ(view->Parameters(), nullptr);
    EXPECT_TRUE(view->findChild<QLabel*>("noControls")->isHidden()) << "no device, no remark";

    view->DeviceMenu()->activated(0);  // the card, which is there
    drain();
    EXPECT_TRUE(fEngine->VideoConnected());
    EXPECT_TRUE(view->StatusLine()->isHidden());
    window->close();
    drain();
}

}  // namespace
