// Timed recordings through the whole program on an X display of its own. The settings file
// holds one timer entry (as the timer pane stores it) that repeats every few seconds into a
// dated file name; tavro runs it twice. Each run shows "RECORDING" on its row while it records
// and leaves a file of its own: the second takes the free name beside the first.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "scheduler/EventItem.h"
#include "scheduler/TimedRecordingPath.h"
#include "support/Clock.h"
#include "tests/ui/RecordedMovie.h"
#include "tests/ui/XvfbSession.h"

namespace {

constexpr int32 kLead = 8;      // s from now to the first run
constexpr int32 kDuration = 3;  // s each run records
constexpr int32 kRepeat = 7;    // s from one run's start to the next

// Pixels of the running entry's reddish row (or of "RECORDING" in half-white over it).
int recordingPixels(const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); y++) {
        for (int x = 0; x < image.width(); x++) {
            const QColor pixel = image.pixelColor(x, y);
            count += (pixel.red() == 200 && pixel.green() == 80 && pixel.blue() == 80);
        }
    }
    return count;
}

TEST(TimerEndToEndTest, RepeatingTimerRecordsEachRunIntoAFileOfItsOwn) {
    XvfbSession display;
    ASSERT_TRUE(display.Start("1024x768x24"));
    const std::string directory = std::getenv("XDG_CONFIG_HOME");
    const std::string pattern = directory + "/clip-%Y-%m-%d.avi";
    std::string settingsPath;
    ASSERT_EQ(gSettings.GetPath(&settingsPath), B_OK);

    const int32 start = real_time_clock() + kLead;
    // Both runs fall on the first run's date unless midnight passes between them.
    const std::string first = timedRecordingPath(pattern, start);
    const std::string second = first.substr(0, first.size() - 4) + " (2).avi";
    {
        EventItem item(std::make_unique<Message>(kMsgTimerEvent));
        item.SetStartTime(start);
        item.SetDuration(kDuration);
        item.SetRepeatMode(kModeDaily);
        item.GetEvent()->SetRepeatTime(kRepeat);
        // Two runs and no third: quitting during a recording would ask first.
        item.GetEvent()->SetRepeats(1);
        item.SetFileName(pattern.c_str());
        item.SetChannel(0, nullptr);
        Message archive;
        ASSERT_EQ(item.Archive(&archive), B_OK);
        gSettings.timers = {archive};
    }
    gSettings.SetFileName((directory + "/manual.avi").c_str());
    gSettings.tavroFrame = Rect{100, 50, 599, 500};
    gSettings.showTimer = gSettings.timer = true;
    gSettings.showTVControls = gSettings.showVideo = gSettings.showAudio = false;
    ASSERT_EQ(gSettings.Save(), B_OK);
    gSettings.timers.clear();

    Child tavro({TAVRO_BINARY, "--video-input=test-picture", "--audio-input=test-tone"});
    ASSERT_TRUE(tavro.Started());
    const std::string window = display.FindWindow("Tavro", 30);
    ASSERT_FALSE(window.empty());

    auto recorded = [](const std::string& path) {
        std::error_code error;
        return std::filesystem::file_size(path, error) > 0 && !error;
    };
    ASSERT_TRUE(eventually([&] { return recorded(first); }, 30s)) << first;
    // The row shows RECORDING once the window has drawn the running entry.
    EXPECT_TRUE(eventually(
        [&] { return recordingPixels(display.Screenshot(window, TAVRO_TIMER_SCREENSHOT)) > 1000; },
        10s))
        << "no RECORDING row";
    std::printf("Screenshot during the first run: %s\n", TAVRO_TIMER_SCREENSHOT);

    ASSERT_TRUE(eventually([&] { return recorded(second); }, 30s)) << second;
    // After the second run's end the row is back to normal (a loaded machine ends it late).
    EXPECT_TRUE(eventually(
        [&] {
            return recordingPixels(
                       display.Screenshot(window, TAVRO_TIMER_SCREENSHOT ".after.png")) == 0;
        },
        std::chrono::seconds(kDuration + 15)));

    display.Focus(window);
    display.Keys("ctrl+q");
    EXPECT_EQ(tavro.Wait(20s), 0);

    expectRecorded(first, kDuration);
    expectRecorded(second, kDuration);

    // The entry is stored again at its last run, with no repetition left.
    std::ifstream file(settingsPath, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    Message saved;
    ASSERT_EQ(saved.Unflatten(bytes.data(), bytes.size()), B_OK);
    Message entry;
    ASSERT_EQ(saved.FindMessage("timedRecording", &entry), B_OK);
    EXPECT_EQ(entry.GetInt32("time", 0), start + kRepeat);
    EXPECT_EQ(entry.GetInt32("repeats", -1), 0);
    EXPECT_EQ(entry.GetString("path", ""), pattern);
}

}  // namespace
