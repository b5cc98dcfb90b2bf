#pragma once
// The timer list across restarts. The settings file keeps each entry as one "timedRecording"
// archive (EventItem::Archive); at start they come back and are sorted out against the clock:
//
// - an entry whose start passed while Tavro was not running but whose end has not is "in
//   progress": its owner triggers it at once, so it records the rest of its time;
// - an entry of which a whole run fell into that time was "missed": it is reported once; a
//   repeating one moves on to its next run, one that cannot repeat is dropped after the report
//   (it could never run again, and a kept one would be reported at every start);
// - a damaged archive is skipped.

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "scheduler/EventItem.h"

struct RestoredTimers {
    // In stored order, without the dropped ones.
    std::vector<std::unique_ptr<EventItem>> items;
    // Elements of `items` to trigger at once.
    std::vector<EventItem*> inProgress;
    // One line per missed entry: its file, date, start and stop.
    std::vector<std::string> missed;
    // Archives that were not an entry.
    int32 damaged = 0;
};

RestoredTimers restoreTimers(const std::vector<Message>& archives, const FormatList& formats,
                             time_t now);

// The archives of `items`, in order, for the settings file.
std::vector<Message> archiveTimers(const std::vector<const EventItem*>& items);

// One line describing an entry: its next start and stop, repeat, channel, file and format.
std::string describeTimer(const EventItem& item);
