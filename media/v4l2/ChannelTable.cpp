#include "media/v4l2/ChannelTable.h"

#include <cstdlib>

namespace {

// Frequencies are written in kHz and converted, so that the plans read like their published
// tables (a picture carrier of 471.25 MHz is 471250).
uint32 units(uint32 kHz) {
    return kHz * 16 / 1000;
}

// Channels `first`..`last` named prefix + number, `spacing` kHz apart from `start`.
void addRun(std::vector<TvChannel>* channels, const char* prefix, int first, int last,
            uint32 startKHz, uint32 spacingKHz) {
    for (int number = first; number <= last; number++) {
        std::string name = prefix;
        if (name == "S" && number < 10)
            name += "0";
        name += std::to_string(number);
        channels->push_back({name, units(startKHz + uint32(number - first) * spacingKHz)});
    }
}

std::vector<TvChannel> europeWest() {
    std::vector<TvChannel> channels;
    addRun(&channels, "E", 2, 4, 48250, 7000);
    addRun(&channels, "S", 1, 3, 69250, 7000);
    addRun(&channels, "SE", 1, 10, 105250, 7000);
    addRun(&channels, "E", 5, 12, 175250, 7000);
    addRun(&channels, "SE", 11, 20, 231250, 7000);
    addRun(&channels, "S", 21, 41, 303250, 8000);
    addRun(&channels, "", 21, 69, 471250, 8000);
    return channels;
}

std::vector<TvChannel> usBroadcast() {
    std::vector<TvChannel> channels;
    addRun(&channels, "", 2, 4, 55250, 6000);
    addRun(&channels, "", 5, 6, 77250, 6000);
    addRun(&channels, "", 7, 13, 175250, 6000);
    addRun(&channels, "", 14, 83, 471250, 6000);
    return channels;
}

std::vector<TvChannel> usCable() {
    std::vector<TvChannel> channels;
    addRun(&channels, "", 1, 1, 73250, 6000);
    addRun(&channels, "", 2, 4, 55250, 6000);
    addRun(&channels, "", 5, 6, 77250, 6000);
    addRun(&channels, "", 7, 13, 175250, 6000);
    addRun(&channels, "", 14, 22, 121250, 6000);
    addRun(&channels, "", 23, 94, 217250, 6000);
    addRun(&channels, "", 95, 99, 91250, 6000);
    addRun(&channels, "", 100, 125, 649250, 6000);
    addRun(&channels, "T", 7, 14, 7000, 6000);
    return channels;
}

}  // namespace

// The tables are built once, on first use, and never change.
const ChannelTable* ChannelTable::Find(const std::string& name) {
    static const ChannelTable kTables[] = {
        ChannelTable("europe-west", europeWest()),
        ChannelTable("us-bcast", usBroadcast()),
        ChannelTable("us-cable", usCable()),
    };
    for (const ChannelTable& table : kTables) {
        if (table.Name() == name)
            return &table;
    }
    return nullptr;
}

const ChannelTable& ChannelTable::ForLines(uint32 frameLines) {
    return *Find(frameLines == 525 ? "us-bcast" : "europe-west");
}

std::vector<std::string> ChannelTable::Names() {
    return {"europe-west", "us-bcast", "us-cable"};
}

int32 ChannelTable::Nearest(uint32 frequency) const {
    int32 best = -1;
    uint32 bestDistance = UINT32_MAX;
    for (size_t i = 0; i < fChannels.size(); i++) {
        uint32 distance = uint32(std::abs(int64(fChannels[i].frequency) - int64(frequency)));
        if (distance < bestDistance) {
            best = int32(i);
            bestDistance = distance;
        }
    }
    return best;
}
