// The TV pane over the fake Bt848 card and a mixer: the channel pop-up from korvant's presets
// in a real extended attribute, or plain numbers; what choosing a channel tunes and reports;
// the Mute check box and the mixer's switch.

#include <gtest/gtest.h>

#include <sys/xattr.h>

#include <QCheckBox>
#include <QMenu>
#include <QPushButton>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "app/records/ChannelPresets.h"
#include "media/alsa/MixerNode.h"
#include "media/v4l2/ChannelTable.h"
#include "tests/media/capture/FakeDevices.h"
#include "tests/ui/WindowTestFixture.h"
#include "ui/main/TVControlView.h"

namespace {

class TVControlViewTest : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        KorvantPreferencesPath(&fPresetsPath);
        std::remove(fPresetsPath.c_str());
        TavroOptions options;
        options.roster.audioInput = MediaRoster::kTestToneID;
        fEngine = std::make_unique<Tavro>(
            options, std::make_unique<CardBackend>(&card, std::vector<std::string>{},
                                                   CardBackend::Mixer::WithSwitch));
    }
    void TearDown() override {
        WindowTest::TearDown();
        fEngine.reset();  // it streams from the card, which goes next
        std::remove(fPresetsPath.c_str());
    }

    // Writes the presets file with these presets in its attribute; false where the file
    // system keeps no user attributes.
    bool WritePresets(std::initializer_list<std::pair<const char*, int32>> presets) {
        Message message(kKorvantPresetsWhat);
        for (const auto& [name, channel] : presets) {
            message.AddString("n", name);
            message.AddInt32("c", channel);
        }
        std::vector<uint8> flat;
        message.Flatten(&flat);
        std::ofstream(fPresetsPath) << "";
        return setxattr(fPresetsPath.c_str(), kKorvantPresetsAttribute, flat.data(), flat.size(),
                        0) == 0;
    }

    TVControlView* View() { return Child<TVControlView>("tvControlView"); }
    QStringList Items() {
        QStringList items;
        for (QAction* item : View()->ChannelMenu()->actions())
            items << item->text() + (item->isChecked() ? "*" : "");
        return items;
    }
    // The mixer's "Line" mute switch as the sound output reports it.
    int32 MixerMute() {
        std::shared_ptr<MediaNode> output;
        EXPECT_EQ(fEngine->Roster()->GetAudioOutput(&output), B_OK);
        std::unique_ptr<ParameterWeb> web = output->GetParameterWeb();
        int32 value = -1;
        size_t size = sizeof(value);
        web->ParameterWithID(kMuteParameter)->GetValue(&value, &size, nullptr);
        return value;
    }

    FakeBt848 card;
    std::string fPresetsPath;
};

TEST_F(TVControlViewTest, WithoutPresetsItOffersZeroToSixWithTheTunedChannelMarked) {
    ASSERT_EQ(fEngine->SetChannel(3), B_OK);
    MakeWindow();
    EXPECT_EQ(Items(), (QStringList{"0", "1", "2", "3*", "4", "5", "6"}));
    EXPECT_EQ(View()->ChannelField()->text(), "3");
    EXPECT_EQ(fWindow->Channel(), 3);
    EXPECT_EQ(fWindow->ChannelName(), "") << "a plain number is reported without a name";
}

TEST_F(TVControlViewTest, PresetsFromTheAttributeInIndexOrderWithGapsSkipped) {
    ASSERT_EQ(fEngine->SetChannel(7), B_OK);
    if (!WritePresets({{"ARD", 5}, {"ZDF", 7}, {"", -1}, {"", -1}, {"", -1}, {"Arte", 9}}))
        GTEST_SKIP() << "this file system keeps no user extended attributes";
    MakeWindow();
    EXPECT_EQ(Items(), (QStringList{"ARD", "ZDF*", "Arte"}));
    EXPECT_EQ(View()->ChannelField()->text(), "ZDF");
    EXPECT_EQ(fWindow->Channel(), 7);
    EXPECT_EQ(fWindow->ChannelName(), "ZDF");
}

TEST_F(TVControlViewTest, TwoPresetsOfOneChannelAreMarkedInTurnAndTheLaterStays) {
    ASSERT_EQ(fEngine->SetChannel(4), B_OK);
    if (!WritePresets({{"Local", 4}, {"Other", 2}, {"Local HD", 4}}))
        GTEST_SKIP() << "this file system keeps no user extended attributes";
    MakeWindow();
    EXPECT_EQ(Items(), (QStringList{"Local", "Other", "Local HD*"}));
    EXPECT_EQ(fWindow->ChannelName(), "Local HD");
}

TEST_F(TVControlViewTest, ADamagedAttributeFallsBackToPlainNumbers) {
    std::ofstream(fPresetsPath) << "";
    const char damaged[] = "TMsg\x01garbage";
    if (setxattr(fPresetsPath.c_str(), kKorvantPresetsAttribute, damaged, sizeof(damaged), 0) != 0)
        GTEST_SKIP() << "this file system keeps no user extended attributes";
    MakeWindow();
    EXPECT_EQ(Items().size(), 7);
}

TEST_F(TVControlViewTest, WithoutPresetsAnotherViewersStationListNamesTheChannels) {
    const std::string home = std::string(std::getenv("XDG_CONFIG_HOME")) + "/viewer-home";
    std::filesystem::create_directories(home);
    std::ofstream(home + "/.xawtv") << "[global]\nfreqtab = europe-west\n[Erste]\nchannel = E5\n"
                                       "[Nowhere]\nchannel = X99\n[Dritte]\nchannel = E8\n";
    const std::string oldHome = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    setenv("HOME", home.c_str(), 1);
    MakeWindow();
    setenv("HOME", oldHome.c_str(), 1);
    std::filesystem::remove_all(home);
    EXPECT_EQ(Items(), (QStringList{"Erste", "Dritte"}));
    View()->ChannelMenu()->actions()[1]->trigger();
    drain();
    EXPECT_EQ(card.Frequency(), 196250000 / 62500u) << "E8's picture carrier, 196.25 MHz";
    EXPECT_EQ(fWindow->ChannelName(), "Dritte");
}

TEST_F(TVControlViewTest, ChoosingAChannelTunesTheCardAndReportsTheName) {
    if (!WritePresets({{"ARD", 5}, {"ZDF", 7}}))
        GTEST_SKIP() << "this file system keeps no user extended attributes";
    MakeWindow();
    View()->ChannelMenu()->actions()[1]->trigger();
    drain();
    EXPECT_EQ(fEngine->Channel(), 7);
    EXPECT_EQ(card.Frequency(), ChannelTable::ForLines(625).Channels()[7].frequency)
        << "the card's tuner is on channel 7's carrier";
    EXPECT_EQ(fWindow->Channel(), 7);
    EXPECT_EQ(fWindow->ChannelName(), "ZDF");
    EXPECT_EQ(Items(), (QStringList{"ARD", "ZDF*"}));
    EXPECT_EQ(View()->ChannelField()->text(), "ZDF");

    // A message without "channel" is ignored; one without "index" tunes and reports no name.
    View()->PostMessage(Message(kMsgChannel));
    Message bare(kMsgChannel);
    bare.AddInt32("channel", 2);
    View()->PostMessage(bare);
    drain();
    EXPECT_EQ(fEngine->Channel(), 2);
    EXPECT_EQ(fWindow->Channel(), 2);
    EXPECT_EQ(fWindow->ChannelName(), "");
}

TEST_F(TVControlViewTest, MuteSwitchesTheMixerBothWays) {
    MakeWindow();
    QCheckBox* mute = View()->MuteCheckBox();
    EXPECT_FALSE(mute->isChecked()) << "a readable switch starts unmuted";
    EXPECT_EQ(MixerMute(), 0);
    mute->click();
    drain();
    EXPECT_EQ(MixerMute(), 1);
    mute->click();
    drain();
    EXPECT_EQ(MixerMute(), 0);
}

}  // namespace
