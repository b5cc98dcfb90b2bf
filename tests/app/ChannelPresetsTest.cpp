// korvant's channel presets: what is taken from a 'Pref' message, and how the attribute on
// the preferences file is read (a real extended attribute on a real file).

#include <gtest/gtest.h>

#include <sys/xattr.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "app/records/ChannelPresets.h"
#include "support/Message.h"

namespace {

using Presets = std::vector<ChannelPreset>;

std::vector<uint8> flatten(const Message& message) {
    std::vector<uint8> flat;
    EXPECT_EQ(message.Flatten(&flat), B_OK);
    return flat;
}

// A 'Pref' message with "n"/"c" pairs, and a field of korvant's own that is not a preset.
Message presetsMessage(std::initializer_list<std::pair<const char*, int32>> entries,
                       uint32 what = kKorvantPresetsWhat) {
    Message message(what);
    for (const auto& [name, channel] : entries) {
        message.AddString("n", name);
        message.AddInt32("c", channel);
    }
    message.AddInt32("volume", 7);  // other fields are ignored
    return message;
}

Presets parse(const std::vector<uint8>& bytes, status_t expected = B_OK) {
    Presets presets{{"left over", 1}};
    EXPECT_EQ(ParseKorvantPresets(bytes.data(), bytes.size(), &presets), expected);
    return presets;
}

TEST(ChannelPresets, TakesNamedNonNegativeChannelsInIndexOrderUpToIndex37) {
    struct Case {
        const char* what;
        Message message;
        Presets expected;
    };
    Message many(kKorvantPresetsWhat);
    for (int32 i = 0; i < 40; i++) {
        many.AddString("n", "P" + std::to_string(i));
        many.AddInt32("c", i);
    }
    Presets first38;
    for (int32 i = 0; i < 38; i++)
        first38.push_back({"P" + std::to_string(i), i});
    Message namesOnly(kKorvantPresetsWhat);
    namesOnly.AddString("n", "A");
    namesOnly.AddString("n", "B");
    namesOnly.AddInt32("c", 4);

    Case cases[] = {
        {"pairs in order",
         presetsMessage({{"ARD", 5}, {"ZDF", 7}, {"Arte", 40}}),
         {{"ARD", 5}, {"ZDF", 7}, {"Arte", 40}}},
        {"negative channels skipped, zero kept",
         presetsMessage({{"A", -1}, {"B", 0}, {"C", -9}}),
         {{"B", 0}}},
        {"same channel twice", presetsMessage({{"A", 3}, {"B", 3}}), {{"A", 3}, {"B", 3}}},
        {"unused presets in between are gaps, not the end",
         presetsMessage({{"One", 10}, {"Two", 11}, {"", -1}, {"", -1}, {"", -1}, {"Six", 15}}),
         {{"One", 10}, {"Two", 11}, {"Six", 15}}},
        {"an empty name is a name", presetsMessage({{"", 2}}), {{"", 2}}},
        {"index 38 and beyond never read", std::move(many), first38},
        {"a name without a channel is skipped", std::move(namesOnly), {{"A", 4}}},
        {"no presets at all", Message(kKorvantPresetsWhat), {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(parse(flatten(c.message)), c.expected) << c.what;
}

TEST(ChannelPresets, WrongFieldTypesAreGapsNotErrors) {
    Message message(kKorvantPresetsWhat);
    message.AddInt32("n", 1);  // "n" must be strings
    message.AddInt32("c", 1);
    EXPECT_EQ(parse(flatten(message)), Presets{});
    Message floats(kKorvantPresetsWhat);
    floats.AddString("n", "A");
    floats.AddFloat("c", 2.0f);
    EXPECT_EQ(parse(flatten(floats)), Presets{});
}

TEST(ChannelPresets, AnythingButAFlattenedPrefMessageIsAnError) {
    std::vector<uint8> good = flatten(presetsMessage({{"A", 1}}));
    std::vector<uint8> truncated(good.begin(), good.end() - 3);
    struct Case {
        const char* what;
        std::vector<uint8> bytes;
    } cases[] = {
        {"empty", {}},
        {"other what", flatten(presetsMessage({{"A", 1}}, fourcc("Pre?")))},
        {"truncated", truncated},
        {"text", {'h', 'e', 'l', 'l', 'o'}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(parse(c.bytes, B_ERROR), Presets{}) << c.what << ": left empty";
}

class PresetsFile : public testing::Test {
protected:
    void SetUp() override {
        path = std::string(std::getenv("XDG_CONFIG_HOME")) + "/presets-test.preferences";
        std::ofstream(path) << "korvant's own data, which is not read";
    }
    void TearDown() override { std::remove(path.c_str()); }
    // false (and the test is skipped) where the file system has no user attributes.
    bool SetAttribute(const std::vector<uint8>& bytes) {
        if (setxattr(path.c_str(), kKorvantPresetsAttribute, bytes.data(), bytes.size(), 0) == 0)
            return true;
        return errno != ENOTSUP && errno != EOPNOTSUPP;
    }
    std::string path;
};

TEST_F(PresetsFile, ReadsTheAttributeNotTheData) {
    if (!SetAttribute(flatten(presetsMessage({{"ARD", 5}, {"ZDF", 7}}))))
        GTEST_SKIP() << "this file system keeps no user extended attributes";
    Presets presets;
    ASSERT_EQ(ReadKorvantPresets(path, &presets), B_OK);
    EXPECT_EQ(presets, (Presets{{"ARD", 5}, {"ZDF", 7}}));
}

TEST_F(PresetsFile, MissingFileMissingAttributeAndDamagedAttributeEachSayWhy) {
    Presets presets;
    EXPECT_EQ(ReadKorvantPresets(path + ".absent", &presets), B_ENTRY_NOT_FOUND)
        << "the open error";
    EXPECT_EQ(ReadKorvantPresets(path, &presets), B_ENTRY_NOT_FOUND) << "no attribute";
    if (!SetAttribute({'P', 'r', 'e', 'f'}))
        GTEST_SKIP() << "this file system keeps no user extended attributes";
    EXPECT_EQ(ReadKorvantPresets(path, &presets), B_ERROR);
    EXPECT_TRUE(presets.empty());
}

TEST(ChannelPresets, ThePreferencesFileIsInTheSettingsDirectory) {
    std::string path;
    ASSERT_EQ(KorvantPreferencesPath(&path), B_OK);
    EXPECT_EQ(path, std::string(std::getenv("XDG_CONFIG_HOME")) + "/korvant.preferences");
}

}  // namespace
