// Station lists of other TV viewers: what is taken from tvtime's and xawtv's files, how the
// stations map onto the tuner's channel table, and which file wins.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "app/records/StationLists.h"

namespace {

using Stations = std::vector<Station>;
using Presets = std::vector<ChannelPreset>;

TEST(StationLists, TvtimeActiveStationsInFileOrder) {
    struct Case {
        const char* what;
        const char* text;
        Stations expected;
    } cases[] = {
        {"a list",
         R"(<?xml version="1.0"?>
<stationlist xmlns="http://tvtime.sourceforge.net/DTD/">
  <list norm="PAL" frequencies="Europe">
    <station name="Das Erste" active="1" position="1" band="VHF E2-E12" channel="E5" finetune="0"/>
    <station name="ZDF" active="0" position="2" band="UHF" channel="33"/>
    <station position="3" channel="S21" name='Arte &amp; Co'/>
  </list>
</stationlist>)",
         {{"Das Erste", "E5"}, {"Arte & Co", "S21"}}},
        {"attribute names are whole words",
         R"(<station channelname="x" name="A" xname="B" channel = "E7" />)",
         {{"A", "E7"}}},
        {"no name or no channel", R"(<station name="A"/><station channel="E5"/>)", {}},
        {"cut off in a tag",
         R"(<station name="A" channel="E5"/><station name="B" chan)",
         {{"A", "E5"}}},
        {"not xml at all", "\x01\x02<<<>>>\"", {}},
        {"numeric entities",
         R"(<station name="R&#38;B &#9731;" channel="E9"/>)",
         {{"R&B &#9731;", "E9"}}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ParseTvtimeStations(c.text), c.expected) << c.what;
}

TEST(StationLists, XawtvSectionsWithAChannelAreStations) {
    const char* text = R"([global]
freqtab = europe-west
fullscreen = 768 x 576

# a comment
[ARD]
channel = E5
fine = 0

[ Custom ]
freq = 503.25

[zdf]
key = F2
CHANNEL=33
[launch]
channel = E7
)";
    EXPECT_EQ(ParseXawtvStations(text), (Stations{{"ARD", "E5"}, {"zdf", "33"}}));
    EXPECT_EQ(ParseXawtvStations("[A\nchannel = E5\n"), Stations{}) << "a broken header";
    EXPECT_EQ(ParseXawtvStations(""), Stations{});
}

TEST(StationLists, StationsMapOntoTheTunersChannelsByName) {
    const std::vector<std::string> tuner = {"E2", "E3", "E4", "E5", "S21", "21", "33"};
    const Stations stations = {
        {"One", "e5"}, {"Two", "99"}, {"Three", "S21"}, {"Four", "21"}, {"Five", "E5"}};
    EXPECT_EQ(MapStations(stations, tuner),
              (Presets{{"One", 3}, {"Three", 4}, {"Four", 5}, {"Five", 3}}));
    EXPECT_EQ(MapStations(stations, {}), Presets{});
}

class StationListFiles : public testing::Test {
protected:
    void SetUp() override {
        home = std::string(std::getenv("XDG_CONFIG_HOME")) + "/home";
        std::filesystem::create_directories(home + "/.tvtime");
    }
    void TearDown() override { std::filesystem::remove_all(home); }
    void Write(const std::string& name, const std::string& text) {
        std::ofstream(home + "/" + name) << text;
    }
    std::string home;
    const std::vector<std::string> tuner = {"E5", "E6", "E7"};
};

TEST_F(StationListFiles, TvtimeFirstThenXawtvThenNothing) {
    Presets presets;
    std::string path;
    EXPECT_EQ(ReadStationLists(home, tuner, &presets, &path), B_ENTRY_NOT_FOUND);

    Write(".xawtv", "[Xaw]\nchannel = E6\n");
    ASSERT_EQ(ReadStationLists(home, tuner, &presets, &path), B_OK);
    EXPECT_EQ(presets, (Presets{{"Xaw", 1}}));
    EXPECT_EQ(path, home + "/.xawtv");

    Write(".tvtime/stationlist.xml", R"(<station name="Tv" channel="E99"/>)");
    ASSERT_EQ(ReadStationLists(home, tuner, &presets, &path), B_OK);
    EXPECT_EQ(path, home + "/.xawtv") << "a list with no channel the tuner knows is passed over";

    Write(".tvtime/stationlist.xml", R"(<station name="Tv" channel="E7"/>)");
    ASSERT_EQ(ReadStationLists(home, tuner, &presets, &path), B_OK);
    EXPECT_EQ(presets, (Presets{{"Tv", 2}}));
    EXPECT_EQ(path, home + "/.tvtime/stationlist.xml");
    EXPECT_EQ(StationListPaths(home),
              (std::vector<std::string>{home + "/.tvtime/stationlist.xml", home + "/.xawtv"}));
}

}  // namespace
