#pragma once
// Channel names from the station lists of the established Linux TV viewers, for a user who
// has no korvant presets but has set up one of those:
//   1. tvtime: $HOME/.tvtime/stationlist.xml (<station name=".." channel=".." active="1"/>);
//   2. xawtv: $HOME/.xawtv (a "[Name]" section per station with "channel = E5").
// The first list that gives at least one station the tuner knows is used. A station is
// mapped to the tuner by its channel name ("E5", "S21", "21"), matched against the items of
// the tuner's channel table without regard to case; stations given only by a frequency, or
// on a channel the table lacks, are left out. Both files are other programs' data: the
// parsers take any text and never fail, they only find fewer stations.

#include <string>
#include <vector>

#include "app/records/ChannelPresets.h"

struct Station {
    std::string name;
    std::string channel;  // the channel's name in its frequency table

    friend bool operator==(const Station&, const Station&) = default;
};

// The active stations of a tvtime station list, in file order.
std::vector<Station> ParseTvtimeStations(const std::string& text);
// The stations of an xawtv configuration, in file order.
std::vector<Station> ParseXawtvStations(const std::string& text);
// Each station whose channel is one of `channelNames` (the tuner's items, in order) as a
// preset on that item's index.
std::vector<ChannelPreset> MapStations(const std::vector<Station>& stations,
                                       const std::vector<std::string>& channelNames);

// The station list files under `home`, in the order they are tried.
std::vector<std::string> StationListPaths(const std::string& home);
// The presets of the first list under `home` that maps at least one station; `*path` names
// it. B_ENTRY_NOT_FOUND when none does.
status_t ReadStationLists(const std::string& home, const std::vector<std::string>& channelNames,
                          std::vector<ChannelPreset>* presets, std::string* path);
