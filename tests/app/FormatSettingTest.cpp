#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "app/records/FormatSetting.h"

namespace {

using Bytes = std::vector<uint8>;

// A web of four encoder parameters: id 10 holds 4 bytes, id 11 cannot be read, id 12 is larger
// than a snapshot takes, id 13 (in a nested group) holds "ok".
class TestWeb : public Controllable {
public:
    ParameterWeb web{this};
    std::map<int32, Bytes> values{{10, {1, 2, 3, 4}}, {12, Bytes(129, 'x')}, {13, {'o', 'k'}}};

    TestWeb() {
        ParameterGroup* group = web.MakeGroup("Encoder");
        group->MakeDiscreteParameter(10, "Mode", B_GENERIC);
        group->MakeContinuousParameter(11, "Gain", B_GAIN, "dB", 0, 1, 0.1f);
        group->MakeTextParameter(12, "Comment", B_GENERIC, 200);
        group->MakeGroup("Advanced")->MakeTextParameter(13, "Tag", B_GENERIC, 8);
    }
    status_t GetParameterValue(int32 id, bigtime_t*, void* value, size_t* size) override {
        auto found = values.find(id);
        if (found == values.end())
            return B_BAD_VALUE;
        bool fits = found->second.size() <= *size;
        *size = found->second.size();
        if (fits)
            std::memcpy(value, found->second.data(), found->second.size());
        return fits ? B_OK : B_NO_MEMORY;
    }
    status_t SetParameterValue(int32, bigtime_t, const void*, size_t) override { return B_OK; }
};

Bytes flatten(const FormatSetting& format) {
    Bytes bytes(format.FlattenedSize());
    EXPECT_EQ(format.Flatten(bytes.data(), ssize_t(bytes.size())), B_OK);
    return bytes;
}

TEST(FormatSetting, StandardFormatFlattensToTheDocumentedBytes) {
    FormatSetting format("Standard Format");
    Bytes expected;
    for (const char* text : {"Standard Format", "avi", "raw-video", "raw-audio"})
        expected.insert(expected.end(), text, text + std::strlen(text) + 1);
    const uint8 fixed[] = {
        0x00, 0x00, 0x01, 0x80,  // width 384
        0x00, 0x00, 0x01, 0x20,  // height 288
        0x00, 0x00, 0x00, 0x08,  // B_RGB32
        0x00, 0x00, 0x00, 0x00,  // video quality 0.0
        0x00, 0x00, 0x00, 0x00,  // audio quality 0.0
        0x00, 0x00, 0xAC, 0x44,  // 44100 Hz
        0x02,                    // channels
        0x00, 0x00, 0x00, 0x00,  // no video parameters
        0x00, 0x00, 0x00, 0x00,  // no audio parameters
    };
    expected.insert(expected.end(), fixed, fixed + sizeof(fixed));
    EXPECT_EQ(format.FlattenedSize(), ssize_t(expected.size()));
    EXPECT_EQ(flatten(format), expected);

    Bytes shortBuffer(expected.size() - 1, 0xAB);
    EXPECT_EQ(format.Flatten(shortBuffer.data(), ssize_t(shortBuffer.size())), B_ERROR);
    EXPECT_EQ(shortBuffer, Bytes(shortBuffer.size(), 0xAB));
}

TEST(Parameter, SnapshotsTheWholeWebInReverseOrder) {
    TestWeb web;
    ParameterList list;
    updateParameters(&list, &web.web);
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list[0].id, 13);
    EXPECT_EQ(list[0].data, (Bytes{'o', 'k'}));
    // Too large and unreadable values leave empty snapshots that keep their place.
    for (const Parameter& empty : {list[1], list[2]})
        EXPECT_TRUE(empty.id == 0 && empty.data.empty());
    EXPECT_EQ(list[3].id, 10);
    EXPECT_EQ(list[3].data, (Bytes{1, 2, 3, 4}));

    updateParameters(&list, nullptr);
    EXPECT_TRUE(list.empty());
}

TEST(FormatSetting, EmptySnapshotsAreNeitherCountedNorWritten) {
    TestWeb web;
    FormatSetting format("P");
    ssize_t bare = format.FlattenedSize();
    format.SetVideoParameters(&web.web);
    EXPECT_EQ(format.FlattenedSize(), bare + (8 + 2) + (8 + 4));

    Bytes bytes = flatten(format);
    const uint8 records[] = {
        0, 0, 0, 4, 0, 0, 0, 10, 1,   2,   3, 4,  // size, id, value of id 10
        0, 0, 0, 2, 0, 0, 0, 13, 'o', 'k',        // then id 13
        0, 0, 0, 0,                               // end of the video list
        0, 0, 0, 0,                               // the audio list is empty
    };
    ASSERT_EQ(bytes.size(), size_t(bare) - 8 + sizeof(records));
    EXPECT_EQ(Bytes(bytes.end() - sizeof(records), bytes.end()),
              Bytes(records, records + sizeof(records)));
}

TEST(FormatSetting, RoundTripKeepsFieldsAndReversesParameterLists) {
    TestWeb web;
    FormatSetting format("Archive");
    format.SetFileFormat("matroska");
    format.SetAudioEncoder("flac");
    format.videoHeight = 576;
    format.colorSpace = B_YCbCr422;
    format.frameDivisor = 2;
    format.videoQuality = 0.75f;
    format.audioQuality = -0.5f;
    format.audioChannels = 1;
    format.SetAudioParameters(&web.web);
    Bytes bytes = flatten(format);

    FormatSetting copy(nullptr);
    ASSERT_EQ(copy.Unflatten(kFormatSettingType, bytes.data(), ssize_t(bytes.size())), B_OK);
    EXPECT_EQ(copy.name, "Archive");
    EXPECT_EQ(copy.fileFormat, "matroska");
    EXPECT_EQ(copy.audioEncoder, "flac");
    EXPECT_EQ(copy.videoHeight, 576);
    EXPECT_EQ(copy.colorSpace, B_YCbCr422);
    EXPECT_EQ(copy.frameDivisor, 1);  // not stored
    EXPECT_EQ(copy.videoQuality, 0.75f);
    EXPECT_EQ(copy.audioQuality, -0.5f);
    EXPECT_EQ(copy.audioChannels, 1);
    EXPECT_TRUE(copy.videoParameters.empty());
    ASSERT_EQ(copy.audioParameters.size(), 2u);
    EXPECT_EQ(copy.audioParameters[0].id, 10);
    EXPECT_EQ(copy.audioParameters[0].data, (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(copy.audioParameters[1].id, 13);
}

TEST(FormatSetting, FailedUnflattenLeavesTheObjectAsItWas) {
    TestWeb web;
    FormatSetting source("Source");
    source.SetAudioParameters(&web.web);
    Bytes good = flatten(source);
    FormatSetting target("Target");
    target.SetVideoParameters(&web.web);
    const Bytes before = flatten(target);

    EXPECT_EQ(target.Unflatten(fourcc("Tfmx"), good.data(), ssize_t(good.size())), B_ERROR);
    // Each cut-short copy lies in a buffer of exactly its size, so a sanitizer build sees any
    // read past it.
    for (size_t length = 0; length < good.size(); length++) {
        Bytes cut(good.begin(), good.begin() + length);
        EXPECT_EQ(target.Unflatten(kFormatSettingType, cut.data(), ssize_t(length)), B_BAD_DATA)
            << "length " << length;
    }
    // The audio list ends in a record of 8 + 4 bytes, one of 8 + 2, then the 4-byte 0. Give the
    // first a size past the end, then a negative one.
    Bytes damaged = good;
    for (uint8 sizeByte : {0x7F, 0xFF}) {
        damaged[good.size() - 4 - 10 - 12] = sizeByte;
        EXPECT_EQ(target.Unflatten(kFormatSettingType, damaged.data(), ssize_t(damaged.size())),
                  B_BAD_DATA);
    }
    EXPECT_EQ(flatten(target), before);

    // With the right code the old parameter lists go.
    ASSERT_EQ(target.Unflatten(kFormatSettingType, good.data(), ssize_t(good.size())), B_OK);
    EXPECT_TRUE(target.videoParameters.empty());
    EXPECT_EQ(target.audioParameters.size(), 2u);
}

TEST(FormatSetting, SortsByNameIgnoringCaseWithNullsLast) {
    FormatSetting beta("beta"), alpha("Alpha"), gamma("gamma"), unnamed(nullptr);
    std::vector<FormatSetting*> items = {&unnamed, &beta, nullptr, &alpha, &gamma};
    std::qsort(items.data(), items.size(), sizeof(FormatSetting*), FormatSetting::CompareFunc);
    EXPECT_EQ(items, (std::vector<FormatSetting*>{&alpha, &beta, &gamma, &unnamed, nullptr}));
}

}  // namespace
