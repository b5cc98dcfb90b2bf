// Timers across a restart: an entry's stored form and how the stored list is sorted out
// against the clock at start (upcoming, in progress, missed, damaged), and where a timed
// recording's file goes.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/records/FormatSetting.h"
#include "app/records/TavroSettings.h"
#include "scheduler/EventItem.h"
#include "scheduler/TimedRecordingPath.h"
#include "scheduler/TimerStore.h"
#include "tests/scheduler/SchedulerTestSupport.h"
#include "tests/scheduler/ZoneForTest.h"

namespace {

constexpr int32 kHour = 3600;

Message archiveOf(int32 start, int32 duration, int32 mode, const char* path = "/tmp/t.mkv",
                  const FormatSetting* format = nullptr) {
    EventItem item(std::make_unique<Message>(kMsgTimerEvent));
    item.SetStartTime(start);
    item.SetDuration(duration);
    item.SetRepeatMode(mode);
    item.SetFileName(path);
    item.SetChannel(6, nullptr);
    item.SetFormat(const_cast<FormatSetting*>(format));
    Message archive;
    EXPECT_EQ(item.Archive(&archive), B_OK);
    return archive;
}

TEST(TimerStoreTest, EntrySurvivesTheSettingsFile) {
    FormatList formats;
    formats.push_back(std::make_unique<FormatSetting>("Other"));
    formats.push_back(std::make_unique<FormatSetting>("News"));
    FormatSetting& news = *formats[1];
    const int32 start = 1795435200;
    Message archive = archiveOf(start, 2 * kHour, kModeWeekly, "/video/news-%Y.mkv", &news);

    // Through the whole settings file and back, after the design's own fields.
    TavroSettings settings;
    settings.timers = {archive, archive};
    ASSERT_EQ(settings.Save(), B_OK);
    TavroSettings loaded;
    ASSERT_EQ(loaded.timers.size(), 2u);
    // The older fields keep their places: the timers come last.
    Message saved;
    settings.SaveTo(&saved);
    std::string last;
    type_code type;
    int32 count = 0;
    ASSERT_EQ(saved.GetInfo(saved.CountNames() - 1, &last, &type, &count), B_OK);
    EXPECT_EQ(last, "timedRecording");
    EXPECT_EQ(count, 2);

    std::unique_ptr<EventItem> item = EventItem::Instantiate(loaded.timers[1], formats);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->StartTime(), start);
    EXPECT_EQ(item->Duration(), 2 * kHour);
    EXPECT_EQ(item->RepeatMode(), kModeWeekly);
    EXPECT_EQ(item->GetEvent()->RepeatTime(), 604800);
    EXPECT_EQ(item->GetEvent()->Repeats(), kRepeatForever);
    EXPECT_EQ(item->FileName(), "/video/news-%Y.mkv");
    EXPECT_EQ(item->Channel(), 6);
    EXPECT_EQ(item->ChannelName(), "Channel 6");
    EXPECT_EQ(item->Format(), &news);
    EXPECT_FALSE(item->StartText().empty());
    // Its notifications name the new entry.
    void* named = nullptr;
    ASSERT_EQ(item->GetEvent()->Notification(kEventStarted).FindPointer("eventItem", &named), B_OK);
    EXPECT_EQ(named, item.get());
    settings.timers.clear();
}

TEST(TimerStoreTest, DamagedEntriesAreSkipped) {
    const int32 now = 1795435200;
    Message good = archiveOf(now + kHour, kHour, kModeSingle);
    Message noClass = good;
    noClass.RemoveName("class");
    Message noTime = good;
    noTime.RemoveName("time");
    Message wrongType = good;
    wrongType.RemoveName("time");
    wrongType.AddString("time", "tonight");
    Message negative = good;
    negative.ReplaceInt32("duration", -5);
    // A format that is gone: the entry stays, without a format.
    Message goneFormat = archiveOf(now + kHour, kHour, kModeSingle);
    goneFormat.AddString("format", "Deleted");

    RestoredTimers restored =
        restoreTimers({noClass, good, noTime, wrongType, negative, goneFormat}, {}, now);
    EXPECT_EQ(restored.damaged, 4);
    ASSERT_EQ(restored.items.size(), 2u);
    EXPECT_EQ(restored.items[0]->StartTime(), now + kHour);
    EXPECT_EQ(restored.items[1]->Format(), nullptr);
    EXPECT_TRUE(restored.missed.empty());
    EXPECT_TRUE(restored.inProgress.empty());
}

TEST(TimerStoreTest, ClockSortsTheStoredEntries) {
    ZoneForTest zone("UTC");
    const int32 now = 1795435200;
    struct Case {
        const char* what;
        int32 start;
        int32 duration;
        int32 mode;
        bool kept, inProgress, missed;
        int32 startAfter;  // the kept entry's start
    };
    const Case cases[] = {
        {"upcoming", now + 60, kHour, kModeSingle, true, false, false, now + 60},
        {"half way", now - 1800, kHour, kModeSingle, true, true, false, now - 1800},
        {"ended", now - 2 * kHour, kHour, kModeToday, false, false, true, 0},
        {"ends now", now - kHour, kHour, kModeSingle, false, false, true, 0},
        {"daily, days ago", now - 3 * 86400 - 600, 300, kModeDaily, true, false, true,
         now + 86400 - 600},
        {"daily, in today's run", now - 3 * 86400 - 600, kHour, kModeDaily, true, true, true,
         now - 600},
        {"weekly, running", now - 60, kHour, kModeWeekly, true, true, false, now - 60},
    };
    for (const Case& c : cases) {
        RestoredTimers restored = restoreTimers({archiveOf(c.start, c.duration, c.mode)}, {}, now);
        ASSERT_EQ(restored.items.size(), c.kept ? 1u : 0u) << c.what;
        EXPECT_EQ(restored.inProgress.size(), c.inProgress ? 1u : 0u) << c.what;
        EXPECT_EQ(restored.missed.size(), c.missed ? 1u : 0u) << c.what;
        if (c.kept) {
            EXPECT_EQ(restored.items[0]->StartTime(), c.startAfter) << c.what;
            EXPECT_EQ(restored.items[0]->GetEvent()->Time(), c.startAfter) << c.what;
        }
        if (c.missed) {
            EXPECT_NE(restored.missed[0].find("/tmp/t.mkv"), std::string::npos) << c.what;
        }
    }
}

TEST(TimerStoreTest, MissedRepeatingEntryIsReportedOnce) {
    const int32 now = 1795435200;
    RestoredTimers first = restoreTimers({archiveOf(now - 86400 - 60, 30, kModeDaily)}, {}, now);
    ASSERT_EQ(first.missed.size(), 1u);
    ASSERT_EQ(first.items.size(), 1u);
    // Stored again as it is now, and read at the next start.
    const Message again = archiveTimers({first.items[0].get()})[0];
    RestoredTimers second = restoreTimers({again}, {}, now + 5);
    EXPECT_TRUE(second.missed.empty());
    EXPECT_EQ(second.items.size(), 1u);
}

class TimedPathTest : public testing::Test {
protected:
    void SetUp() override {
        fDirectory = std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "timed";
        std::filesystem::create_directories(fDirectory);
    }
    void TearDown() override { std::filesystem::remove_all(fDirectory); }
    void Touch(const std::string& name) { std::ofstream(fDirectory / name) << "earlier"; }
    std::string In(const std::string& name) { return (fDirectory / name).string(); }

    ZoneForTest fZone{"UTC"};
    const time_t fWhen = 1795435200;  // 2026-11-23 12:00 UTC
    std::filesystem::path fDirectory;
};

TEST_F(TimedPathTest, PatternsAreExpandedAndExistingFilesKept) {
    EXPECT_EQ(timedRecordingPath(In("news-%Y-%m-%d.mkv"), fWhen), In("news-2026-11-23.mkv"));
    Touch("news-2026-11-23.mkv");
    EXPECT_EQ(timedRecordingPath(In("news-%Y-%m-%d.mkv"), fWhen), In("news-2026-11-23 (2).mkv"));
    Touch("news-2026-11-23 (2).mkv");
    EXPECT_EQ(timedRecordingPath(In("news-%Y-%m-%d.mkv"), fWhen), In("news-2026-11-23 (3).mkv"));

    struct Case {
        const char* pattern;
        const char* existing;
        const char* chosen;
    };
    const Case cases[] = {
        {"plain.avi", nullptr, "plain.avi"},
        {"plain.avi", "plain.avi", "plain (2).avi"},
        {"noextension", "noextension", "noextension (2)"},
        {".hidden", ".hidden", ".hidden (2)"},
        {"at-%H%M.mp4", nullptr, "at-1200.mp4"},
        {"100%%.avi", nullptr, "100%.avi"},
    };
    for (const Case& c : cases) {
        if (c.existing != nullptr)
            Touch(c.existing);
        EXPECT_EQ(timedRecordingPath(In(c.pattern), fWhen), In(c.chosen)) << c.pattern;
    }
    // The earlier files are as they were.
    std::ifstream kept(In("news-2026-11-23.mkv"));
    std::string content;
    kept >> content;
    EXPECT_EQ(content, "earlier");
}

TEST_F(TimedPathTest, PathThatCannotBeLookedAtIsAnError) {
    // A link to itself: every look at the name fails, whoever looks.
    std::filesystem::create_symlink(fDirectory / "loop", fDirectory / "loop");
    int error = B_OK;
    EXPECT_EQ(timedRecordingPath(In("loop/x-%Y.avi"), fWhen, &error), "");
    EXPECT_EQ(error, -ELOOP);
}

}  // namespace
