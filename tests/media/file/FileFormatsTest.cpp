// The lists of file formats and encoders: the names the default recording format relies on,
// their order, and which encoders a file format offers.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "media/file/FileFormats.h"
#include "tests/media/file/MovieReader.h"
#include "tests/media/file/MovieWriter.h"

namespace {

std::vector<media_codec_info> encodersFor(const char* fileFormat, const media_format& input) {
    media_file_format format;
    EXPECT_TRUE(findFileFormat(fileFormat, &format)) << fileFormat;
    std::vector<media_codec_info> list;
    media_codec_info info;
    media_format output;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, &format, &input, &output, &info) == B_OK)
        list.push_back(info);
    return list;
}

bool contains(const std::vector<media_codec_info>& list, const char* name) {
    for (const media_codec_info& info : list) {
        if (info.short_name == name)
            return true;
    }
    return false;
}

}  // namespace

TEST(FileFormats, ListsWritableVideoContainersWithTheirCapabilities) {
    std::set<std::string> names;
    media_file_format format;
    int32 cookie = 0;
    while (get_next_file_format(&cookie, &format) == B_OK) {
        names.insert(format.short_name);
        EXPECT_TRUE(format.capabilities & media_file_format::B_WRITABLE);
        EXPECT_TRUE(format.capabilities & media_file_format::B_KNOWS_ENCODED_VIDEO);
        EXPECT_FALSE(format.pretty_name.empty());
    }
    EXPECT_EQ(get_next_file_format(&cookie, &format), B_BAD_INDEX);
    for (const char* name : {"avi", "matroska", "mp4", "mov"})
        EXPECT_TRUE(names.count(name)) << name;
    // Checksums and protocols are not files to watch; audio-only muxers take no video.
    for (const char* name : {"framemd5", "null", "rtp", "wav", "mp3"})
        EXPECT_FALSE(names.count(name)) << name;

    ASSERT_TRUE(findFileFormat("avi", &format));
    EXPECT_EQ(format.file_extension, "avi");
    EXPECT_TRUE(format.capabilities & media_file_format::B_KNOWS_RAW_VIDEO);
    EXPECT_TRUE(format.capabilities & media_file_format::B_KNOWS_RAW_AUDIO);
    ASSERT_TRUE(findFileFormat("mp4", &format));
    EXPECT_FALSE(format.capabilities & media_file_format::B_KNOWS_RAW_AUDIO);
}

TEST(FileFormats, RawEncodersKeepTheirOwnNamesAndComeAfterEncodedOnes) {
    media_format rawVideo;
    rawVideo.type = B_MEDIA_RAW_VIDEO;
    media_format anyOutput;
    std::vector<media_codec_info> video;
    media_codec_info info;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, &rawVideo, &anyOutput, &info, nullptr, nullptr) == B_OK)
        video.push_back(info);
    ASSERT_FALSE(video.empty());
    EXPECT_TRUE(contains(video, "raw-video"));
    EXPECT_FALSE(contains(video, "rawvideo"));
    EXPECT_FALSE(contains(video, "raw-audio"));
    bool seenRaw = false;
    for (const media_codec_info& each : video) {
        bool raw = each.output_type == B_MEDIA_RAW_VIDEO;
        EXPECT_FALSE(seenRaw && !raw) << each.short_name << " listed after a raw encoder";
        seenRaw |= raw;
    }

    media_format rawAudio;
    rawAudio.type = B_MEDIA_RAW_AUDIO;
    media_format rawOutput;
    rawOutput.type = B_MEDIA_RAW_AUDIO;
    media_format accepted;
    cookie = 0;
    ASSERT_EQ(get_next_encoder(&cookie, &rawAudio, &rawOutput, &info, nullptr, &accepted), B_OK);
    EXPECT_EQ(info.short_name, "raw-audio");
    EXPECT_EQ(accepted.type, B_MEDIA_RAW_AUDIO);
    EXPECT_STREQ(accepted.encoding, "raw-audio");
}

TEST(FileFormats, OffersTheEncodersEachContainerStores) {
    media_format video = rawVideoFormat(B_RGB32, 320, 240, 25);
    media_format audio = rawAudioFormat(44100, 2);

    std::vector<media_codec_info> avi = encodersFor("avi", video);
    for (const char* name : {"raw-video", "mpeg4", "mjpeg", "libx264"})
        EXPECT_TRUE(contains(avi, name)) << name;
    EXPECT_FALSE(contains(avi, "aac"));  // an audio encoder for a video input
    EXPECT_EQ(avi.back().short_name, "raw-video");

    std::vector<media_codec_info> mp4Audio = encodersFor("mp4", audio);
    EXPECT_TRUE(contains(mp4Audio, "aac"));
    EXPECT_FALSE(contains(mp4Audio, "raw-audio"));
    EXPECT_TRUE(contains(encodersFor("avi", audio), "raw-audio"));
    EXPECT_TRUE(contains(encodersFor("matroska", audio), "flac"));

    // A file format only known by name through the encoded-output filter still offers raw.
    media_file_format format;
    ASSERT_TRUE(findFileFormat("avi", &format));
    media_format encodedVideo;
    encodedVideo.type = B_MEDIA_ENCODED_VIDEO;
    media_codec_info info;
    std::vector<std::string> names;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, &format, nullptr, &encodedVideo, &info, nullptr, nullptr) ==
           B_OK)
        names.push_back(info.short_name);
    EXPECT_NE(std::find(names.begin(), names.end(), "raw-video"), names.end());
}

TEST(FileFormats, MuxersThatCannotSayTakeWhatATrialHeaderTakes) {
    media_format video = rawVideoFormat(B_YCbCr422, 352, 288, 25);
    media_format audio = rawAudioFormat(48000, 2);
    // FFmpeg answers "unknown" for these; their defaults and trial headers decide.
    EXPECT_TRUE(contains(encodersFor("mpegts", video), "libx264"));
    EXPECT_TRUE(contains(encodersFor("mpegts", audio), "aac"));
    EXPECT_TRUE(contains(encodersFor("mpeg", video), "mpeg2video"));
    EXPECT_TRUE(contains(encodersFor("mpeg", audio), "ac3"));
    EXPECT_FALSE(contains(encodersFor("mpeg", audio), "aac"));
    EXPECT_TRUE(contains(encodersFor("ogg", video), "libtheora"));
    EXPECT_FALSE(contains(encodersFor("ogg", video), "mpeg4"));

    // A container whose only codec has no encoder here records nothing: not offered.
    media_file_format format;
    EXPECT_FALSE(findFileFormat("vc1test", &format));
    EXPECT_FALSE(findFileFormat("yuv4mpegpipe", &format));
}

TEST(FileFormats, FileNameTakesTheExtensionOfTheContainer) {
    struct Case {
        const char* name;
        const char* container;
        const char* want;
    };
    const Case cases[] = {
        {"clip.avi", "matroska", "clip.mkv"},
        {"/home/u/a.b/clip.mp4", "avi", "/home/u/a.b/clip.avi"},
        {"clip.mkv", "matroska", "clip.mkv"},
        {"clip.MKV", "matroska", "clip.MKV"},
        {"clip.mpeg", "mpeg", "clip.mpeg"},  // a second extension of the same container
        {"clip.m2ts", "mpegts", "clip.m2ts"},
        {"clip", "mp4", "clip"},                      // none
        {"/tmp/Tavro.tmp", "mp4", "/tmp/Tavro.tmp"},  // one no container claims
        {"notes.txt.avi", "mov", "notes.txt.mov"},
    };
    for (const Case& each : cases) {
        media_file_format format;
        ASSERT_TRUE(findFileFormat(each.container, &format)) << each.container;
        EXPECT_EQ(fileNameFor(each.name, format), each.want) << each.name;
    }
}
