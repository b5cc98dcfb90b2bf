// The whole program on an X display of its own: the tavro binary starts on the built-in test
// picture and tone, the keyboard opens both panes and presses Record and, 3 s later, Stop,
// Ctrl+Q quits. The recorded file must hold about 3 s of picture and sound, and the settings
// file the window's frame and open panes. A screenshot of the window during the recording is
// saved beside the test program (TAVRO_SCREENSHOT).

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "app/records/TavroSettings.h"
#include "support/Message.h"
#include "tests/ui/RecordedMovie.h"
#include "tests/ui/XvfbSession.h"

namespace {

std::string readText(const std::string& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

TEST(EndToEndTest, RecordsThroughTheWindowAndKeepsItsState) {
    XvfbSession display;
    ASSERT_TRUE(display.Start("1024x768x24"));
    // The settings directory is this test program's own temporary one, removed at its exit.
    const std::string directory = std::getenv("XDG_CONFIG_HOME");
    const std::string output = directory + "/clip.avi";
    std::string settingsPath;
    ASSERT_EQ(gSettings.GetPath(&settingsPath), B_OK);
    gSettings.SetFileName(output.c_str());
    gSettings.tavroFrame = Rect{100, 100, 699, 400};
    // Panes closed, and only the main window, so that the keyboard stays with it.
    gSettings.showTimer = gSettings.showTVControls = gSettings.timer = false;
    gSettings.showVideo = gSettings.showAudio = false;
    ASSERT_EQ(gSettings.Save(), B_OK);

    Child tavro({TAVRO_BINARY, "--video-input=test-picture", "--audio-input=test-tone"});
    ASSERT_TRUE(tavro.Started());
    const std::string window = display.FindWindow("Tavro", 30);
    ASSERT_FALSE(window.empty());
    std::this_thread::sleep_for(1s);
    display.Focus(window);

    // The file name field has the focus. Tab 5 times reaches the timer pane's switch; back
    // once, the TV pane's. Back 4 times more is the file name field again, and once more
    // wraps to the last control that takes the focus: Record (Stop is still disabled).
    const int closedHeight = display.GeometryOf(window).height();
    display.Keys("Tab Tab Tab Tab Tab space shift+Tab space");
    // The window grows by the opened pane once it has resized itself on the screen.
    int openHeight = closedHeight;
    eventually(
        [&] {
            openHeight = display.GeometryOf(window).height();
            return openHeight >= closedHeight + 16;
        },
        5s);
    display.Keys("shift+Tab shift+Tab shift+Tab shift+Tab shift+Tab space");
    const auto started = std::chrono::steady_clock::now();
    ASSERT_TRUE(eventually(
        [&] {
            std::error_code error;
            return std::filesystem::file_size(output, error) > 0 && !error;
        },
        10s));
    EXPECT_FALSE(display.Screenshot(window, TAVRO_SCREENSHOT).isNull());
    std::printf("Screenshot of the main window: %s\n", TAVRO_SCREENSHOT);
    std::this_thread::sleep_until(started + 3s);

    // Record handed the focus to Stop: space stops.
    display.Keys("space");
    display.Keys("ctrl+q");
    EXPECT_EQ(tavro.Wait(20s), 0);

    // 3 s between the key presses.
    expectRecorded(output, 3.0);

    Message saved;
    const std::string bytes = readText(settingsPath);
    ASSERT_EQ(saved.Unflatten(bytes.data(), bytes.size()), B_OK);
    Rect frame;
    ASSERT_EQ(saved.FindRect("tavroFrame", &frame), B_OK);
    EXPECT_EQ(frame.left, 100);
    EXPECT_EQ(frame.right, 699);
    // Both panes were opened through the window: each grew it by its height and the gap,
    // and it moved up as far as it had to to stay on the 768 lines of the screen.
    EXPECT_GE(openHeight, closedHeight + 16);
    EXPECT_EQ(frame.top, std::min(100, 768 - openHeight));
    EXPECT_EQ(frame.bottom - frame.top + 1, openHeight);
    EXPECT_TRUE(saved.GetBool("showTimer", false));
    EXPECT_TRUE(saved.GetBool("showTVControls", false));
    EXPECT_EQ(saved.GetString("fileName", ""), output);
}

}  // namespace
