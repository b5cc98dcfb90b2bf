#include "app/TimerCommands.h"

#include <strings.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/CommandLine.h"
#include "app/StopSignals.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "scheduler/EventItem.h"
#include "scheduler/Scheduler.h"
#include "scheduler/TimedRecordingPath.h"
#include "scheduler/TimerStore.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "support/MessageQueue.h"

namespace {

constexpr bigtime_t kLoopPoll = 100000;
constexpr int32 kDay = 86400;

int usage(const std::string& problem) {
    logError("%s", problem.c_str());
    return kExitUsage;
}

// "H:MM" or "H:MM:SS" of a valid clock time, as seconds after midnight.
bool parseClock(const std::string& text, int32* seconds) {
    int hour = 0, minute = 0, second = 0, length = 0;
    const int read =
        std::sscanf(text.c_str(), "%d:%d%n:%d%n", &hour, &minute, &length, &second, &length);
    if (read < 2 || size_t(length) != text.size() || hour < 0 || hour > 23 || minute < 0 ||
        minute > 59 || second < 0 || second > 59)
        return false;
    *seconds = hour * 3600 + minute * 60 + second;
    return true;
}

bool parseDate(const char* text, struct tm* date) {
    int year = 0, month = 0, day = 0, length = 0;
    if (std::sscanf(text, "%4d-%2d-%2d%n", &year, &month, &day, &length) != 3 ||
        size_t(length) != std::strlen(text) || month < 1 || month > 12 || day < 1 || day > 31 ||
        year < 1970 || year > 2037)
        return false;
    date->tm_year = year - 1900;
    date->tm_mon = month - 1;
    date->tm_mday = day;
    return true;
}

// Local calendar seconds of `date` at `seconds` after its midnight.
time_t at(struct tm date, int32 seconds) {
    date.tm_hour = seconds / 3600;
    date.tm_min = seconds / 60 % 60;
    date.tm_sec = seconds % 60;
    date.tm_isdst = -1;
    return mktime(&date);
}

FormatSetting* formatNamed(const char* name) {
    for (const std::unique_ptr<FormatSetting>& format : gSettings.formats) {
        if (strcasecmp(format->name.c_str(), name) == 0)
            return format.get();
    }
    return nullptr;
}

// The stored list as entries, damaged ones as null.
std::vector<std::unique_ptr<EventItem>> storedItems() {
    std::vector<std::unique_ptr<EventItem>> items;
    for (const Message& archive : gSettings.timers)
        items.push_back(EventItem::Instantiate(archive, gSettings.formats));
    return items;
}

// One timed recording at a time through one engine, as the main window records them.
class TimerRecorder {
public:
    explicit TimerRecorder(Tavro* engine) : fEngine(engine) {}
    ~TimerRecorder() { Stop(); }

    void Start(EventItem* item) {
        Stop();
        FormatSetting* format =
            item->Format() != nullptr ? item->Format() : gSettings.FormatAt(gSettings.lastFormat);
        int error = B_OK;
        const std::string path = timedRecordingPath(item->FileName(), real_time_clock(), &error);
        if (path.empty()) {
            Failed(item, "no free file name: " + statusText(error));
            return;
        }
        fEngine->SetFormat(format);
        fEngine->SetChannel(item->Channel());
        auto file = std::make_unique<TavroFile>(path.c_str(), format, fEngine);
        if (file->status < B_OK) {
            Failed(item, "the file could not be made: " + statusText(file->status));
            return;
        }
        status_t status = file->file->CommitHeader();
        if (status == B_OK && (fEngine->SetVideoTrack(file->videoTrack) != B_OK ||
                               fEngine->SetAudioTrack(file->audioTrack) != B_OK))
            status = B_NO_MEMORY;
        if (status == B_OK)
            status = fEngine->Start();
        if (status != B_OK) {
            fEngine->Stop();
            Failed(item, "the recording did not start: " + statusText(status));
            return;
        }
        fFile = std::move(file);
        fItem = item;
        fPath = path;
        std::printf("started: %s (%s)\n", path.c_str(), item->ChannelName().c_str());
        std::fflush(stdout);
    }

    // Stops the running recording; with `item`, only when it is that entry's.
    void Stop(const EventItem* item = nullptr) {
        if (fFile == nullptr || (item != nullptr && item != fItem))
            return;
        fEngine->Stop();
        fFile.reset();
        std::printf("stopped: %s\n", fPath.c_str());
        std::fflush(stdout);
        fItem = nullptr;
    }

private:
    void Failed(const EventItem* item, const std::string& reason) {
        logError("timed recording to %s not recorded: %s", item->FileName().c_str(),
                 reason.c_str());
    }

    Tavro* const fEngine;
    std::unique_ptr<TavroFile> fFile;
    const EventItem* fItem = nullptr;
    std::string fPath;
};

}  // namespace

int listTimers(const CommandLine&) {
    std::vector<std::unique_ptr<EventItem>> items = storedItems();
    if (items.empty())
        std::printf("No timers.\n");
    for (size_t index = 0; index < items.size(); index++) {
        EventItem* item = items[index].get();
        if (item == nullptr) {
            std::printf("%zu: (damaged entry, not run)\n", index);
            continue;
        }
        // The next run of a repeating entry.
        item->GetEvent()->NextOccurance(nullptr);
        item->SyncFromEvent();
        std::printf("%zu: %s\n", index, describeTimer(*item).c_str());
    }
    return 0;
}

int addTimer(const CommandLine& line) {
    const std::string& times = line.commandValue;
    const size_t dash = times.find('-');
    int32 start = 0, stop = 0;
    if (dash == std::string::npos || !parseClock(times.substr(0, dash), &start) ||
        !parseClock(times.substr(dash + 1), &stop))
        return usage("bad START-STOP '" + times + "': expected H:MM-H:MM, such as 20:15-22:00");
    if (line.commandOperand.empty())
        return usage("--add-timer needs a file name");
    // Relative to where the command was given, not to where --run-timers will run.
    std::error_code error;
    const std::string absolute = std::filesystem::absolute(line.commandOperand, error).string();
    const char* path = error ? line.commandOperand.c_str() : absolute.c_str();

    const time_t now = real_time_clock();
    struct tm date = localTime(now);
    const bool dateGiven = !line.date.empty();
    if (dateGiven && !parseDate(line.date.c_str(), &date))
        return usage("bad date '" + line.date + "': expected YYYY-MM-DD");
    int32 mode = kModeSingle;
    if (!line.repeat.empty()) {
        const char* const modes[] = {"once", "daily", "weekly", "monthly"};
        const int32 values[] = {kModeSingle, kModeDaily, kModeWeekly, kModeMonthly};
        mode = -1;
        for (size_t m = 0; m < std::size(modes); m++) {
            if (line.repeat == modes[m])
                mode = values[m];
        }
        if (mode < 0)
            return usage("bad repeat '" + line.repeat +
                         "': expected once, daily, weekly or monthly");
    }
    const int32 channel = line.channel >= 0 ? line.channel : 0;
    FormatSetting* format = gSettings.FormatAt(gSettings.lastFormat);
    if (!line.format.empty()) {
        format = formatNamed(line.format.c_str());
        if (format == nullptr) {
            logError("no recording format \"%s\" (see tavro --list-formats)", line.format.c_str());
            return kExitUsage;
        }
    }

    time_t startTime = at(date, start);
    if (!dateGiven && startTime <= now) {
        date.tm_mday++;
        startTime = at(date, start);
    }
    // A stop at or before the start is on the next day.
    const int32 duration = stop > start ? stop - start : stop + kDay - start;

    EventItem item(std::make_unique<Message>(kMsgTimerEvent));
    item.SetStartTime(int32(startTime));
    item.SetDuration(duration);
    item.SetRepeatMode(mode);
    item.SetFileName(path);
    item.SetChannel(channel, nullptr);
    item.SetFormat(format);
    item.UpdateDescription();
    Message archive;
    if (item.Archive(&archive) != B_OK) {
        logError("the timer could not be stored");
        return 1;
    }
    gSettings.timers.push_back(archive);
    std::printf("%zu: %s\n", gSettings.timers.size() - 1, describeTimer(item).c_str());
    return 0;
}

int removeTimer(const CommandLine& line) {
    const char* text = line.commandValue.c_str();
    char* end = nullptr;
    const long index = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || index < 0 || size_t(index) >= gSettings.timers.size())
        return usage("no timer '" + line.commandValue +
                     "': the indexes are those of --list-timers");
    gSettings.timers.erase(gSettings.timers.begin() + index);
    std::printf("Removed timer %ld.\n", index);
    return 0;
}

int runTimers(const CommandLine& line) {
    // Alerts go to the log: ErrorAlert's own way without a presenter.
    std::signal(SIGXFSZ, SIG_IGN);
    StopSignals stopSignals;

    TavroOptions engineOptions;
    engineOptions.roster = line.devices;
    Tavro engine(engineOptions);
    engine.SetRequestPresenter([](const std::string&, const std::string&, const std::string&) {});
    if (!engine.VideoConnected())
        return 1;

    MessageQueue queue;
    engine.SetStopTarget(&queue);
    int exitStatus = 0;
    {
        TimerRecorder recorder(&engine);
        RestoredTimers restored =
            restoreTimers(gSettings.timers, gSettings.formats, real_time_clock());
        for (const std::string& missed : restored.missed)
            logWarning("missed while not running: %s", missed.c_str());
        if (restored.damaged > 0)
            logWarning("%d damaged timer entries skipped", int(restored.damaged));

        Scheduler scheduler(&queue);
        std::vector<std::unique_ptr<EventItem>> items = std::move(restored.items);
        for (std::unique_ptr<EventItem>& item : items) {
            for (EventItem* running : restored.inProgress) {
                if (running == item.get())
                    item->GetEvent()->Trigger(&queue);
            }
            item->AddTo(&scheduler);
        }
        std::printf("Running %zu timers; SIGINT or SIGTERM ends.\n", items.size());
        std::fflush(stdout);
        scheduler.Start();

        auto listed = [&items](void* pointer) -> EventItem* {
            for (std::unique_ptr<EventItem>& item : items) {
                if (item.get() == pointer)
                    return item.get();
            }
            return nullptr;
        };
        while (!stopSignals.Requested()) {
            Message message;
            if (queue.NextMessage(&message, kLoopPoll) != B_OK)
                continue;
            if (message.what == kMsgStop) {
                // The engine's writer stopped (a full disk).
                recorder.Stop();
                exitStatus = 1;
                continue;
            }
            void* pointer = nullptr;
            int32 status;
            if (message.what != kMsgTimerEvent || message.FindInt32("status", &status) != B_OK ||
                message.FindPointer("eventItem", &pointer) != B_OK || listed(pointer) == nullptr)
                continue;
            EventItem* item = listed(pointer);
            if (status == kEventStarted)
                recorder.Start(item);
            else if (status == kEventStopped)
                recorder.Stop(item);
            else
                item->SyncFromEvent();
        }
        scheduler.Stop();
        recorder.Stop();

        // The starts of the repeating entries moved on: kept for the next run.
        std::vector<const EventItem*> kept;
        for (std::unique_ptr<EventItem>& item : items)
            kept.push_back(item.get());
        gSettings.timers = archiveTimers(kept);
        for (std::unique_ptr<EventItem>& item : items)
            item->RemoveFrom(&scheduler);
    }
    engine.SetStopTarget(nullptr);
    return exitStatus;
}
