#pragma once
// Broadcast and cable channel plans: channel names with their picture carrier frequencies,
// in the 62.5 kHz units V4L2 tuners take. A tuner's channel parameter lists one table.

#include <string>
#include <vector>

#include "support/Types.h"

struct TvChannel {
    std::string name;  // "E5", "S21", "21", ...
    uint32 frequency;  // picture carrier in 62.5 kHz units (MHz * 16)
};

class ChannelTable {
public:
    // "europe-west", "us-bcast" or "us-cable"; nullptr for an unknown name.
    static const ChannelTable* Find(const std::string& name);
    // The table a standard implies when no setting names one: us-bcast for the 525-line
    // standards, europe-west for the 625-line ones.
    static const ChannelTable& ForLines(uint32 frameLines);
    static std::vector<std::string> Names();

    const std::string& Name() const { return fName; }
    const std::vector<TvChannel>& Channels() const { return fChannels; }
    // The index of the channel whose frequency is nearest to `frequency`; -1 for an empty
    // table.
    int32 Nearest(uint32 frequency) const;

private:
    ChannelTable(std::string name, std::vector<TvChannel> channels)
        : fName(std::move(name)), fChannels(std::move(channels)) {}

    std::string fName;
    std::vector<TvChannel> fChannels;
};
