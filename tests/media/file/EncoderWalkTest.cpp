// Encoders the format editor offers record a second of picture and sound that decodes without
// a single error, read back both by libavcodec and by the ffmpeg program.
//
// The pairs people choose are recorded at CIF, and then every container the editor offers is
// walked with every encoder it offers (each its own test, so that ctest spreads them over the
// cores): each video encoder with the container's first audio encoder, each audio encoder with
// its first video one, on a small picture pushed through as fast as the encoders go.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "media/file/FileFormats.h"
#include "tests/media/file/MovieReader.h"
#include "tests/media/file/MovieWriter.h"

namespace {

struct Pair {
    std::string container;
    std::string video;
    std::string audio;  // empty: no sound
};

std::string nameOf(const Pair& pair) {
    return pair.container + " + " + pair.video + " + " +
           (pair.audio.empty() ? "no audio" : pair.audio);
}

// The encoders of `type` (encoded video or audio) the container offers for a raw input.
std::vector<std::string> offered(const media_file_format& format, media_type type) {
    media_format input;
    input.type = type == B_MEDIA_ENCODED_VIDEO ? B_MEDIA_RAW_VIDEO : B_MEDIA_RAW_AUDIO;
    media_format output;
    output.type = type;
    std::vector<std::string> names;
    media_codec_info info;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, &format, &input, &output, &info, nullptr, nullptr) == B_OK)
        names.push_back(info.short_name);
    return names;
}

bool offers(const Pair& pair) {
    media_file_format format;
    if (!findFileFormat(pair.container.c_str(), &format))
        return false;
    auto has = [](const std::vector<std::string>& names, const std::string& name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    return has(offered(format, B_MEDIA_ENCODED_VIDEO), pair.video) &&
           (pair.audio.empty() || has(offered(format, B_MEDIA_ENCODED_AUDIO), pair.audio));
}

struct Setting {
    int width, height, channels;
};

struct Recorded {
    std::string path;
    std::string name;
};

// The ffmpeg program reads every file, all in one run; when it says anything, each file again
// on its own to name the pair. The files go.
void checkWithFfmpeg(const std::vector<Recorded>& recorded) {
    std::vector<std::string> paths;
    for (const Recorded& each : recorded)
        paths.push_back(each.path);
    if (!paths.empty() && !ffmpegDecodeErrors(paths).empty()) {
        for (const Recorded& each : recorded)
            EXPECT_EQ(ffmpegDecodeErrors(each.path), "") << each.name;
    }
    for (const std::string& path : paths)
        std::filesystem::remove(path);
}

// Records `pair` at the first setting its encoders take, as a user would after the track's
// refusal, checks what libavcodec reads back and adds the file to `recorded`.
void recordAndRead(const Pair& pair, const std::vector<Setting>& settings,
                   std::vector<Recorded>* recorded) {
    SCOPED_TRACE(nameOf(pair));
    media_file_format format;
    ASSERT_TRUE(findFileFormat(pair.container.c_str(), &format));
    const std::string extension = format.file_extension.empty() ? "bin" : format.file_extension;
    const std::string path = temporaryPath(("." + extension).c_str());

    status_t written = B_ERROR;
    std::string step;
    for (const Setting& setting : settings) {
        Recording recording;
        recording.fileFormat = format.short_name.c_str();
        recording.videoEncoder = pair.video.c_str();
        recording.audioEncoder = pair.audio.empty() ? nullptr : pair.audio.c_str();
        recording.space = B_YCbCr422;
        recording.width = setting.width;
        recording.height = setting.height;
        recording.channels = setting.channels;
        recording.frames = 25;
        std::filesystem::remove(path);
        written = writeMovie(path, recording, {}, &step);
        if (written == B_OK || (step != "video track" && step != "audio track"))
            break;
    }
    ASSERT_EQ(written, B_OK) << step;

    const MovieSummary movie = readMovie(path);
    EXPECT_EQ(movie.openError, 0);
    const StreamSummary* video = movie.Video();
    ASSERT_NE(video, nullptr);
    EXPECT_GT(video->frames, 0);
    EXPECT_EQ(video->decodeErrors, 0);
    if (!pair.audio.empty()) {
        const StreamSummary* audio = movie.Audio();
        ASSERT_NE(audio, nullptr);
        EXPECT_GT(audio->samples, 0);
        EXPECT_EQ(audio->decodeErrors, 0);
    }
    recorded->push_back({path, nameOf(pair)});
}

// CIF, then PAL (DV takes only that); stereo at 44.1 kHz, which the telephone codecs take too,
// mixed down and resampled.
const std::vector<Setting> kCifFirst = {{352, 288, 2}, {720, 576, 2}};
// QCIF first, for speed; dnxhd needs 256 x 120 at least, h263 one of its five sizes.
const std::vector<Setting> kSmallFirst = {{176, 144, 2}, {176, 144, 1}, {352, 288, 2},
                                          {352, 288, 1}, {720, 576, 2}, {720, 576, 1}};

// One common choice per container; mp4/mov with libx264 are in the recording tests.
const std::vector<Pair> kCommonPairs = {
    {"matroska", "libx264", "aac"},
    {"matroska", "ffv1", "flac"},
    {"matroska", "mpeg4", "libmp3lame"},
    {"webm", "libvpx-vp9", "libopus"},
    {"avi", "raw-video", "raw-audio"},
    {"avi", "mjpeg", "libmp3lame"},
    {"mp4", "mpeg4", "aac"},
    {"mov", "prores_ks", "raw-audio"},
    {"mpegts", "mpeg2video", "mp2"},
    {"mpeg", "mpeg1video", "mp2"},
    {"ogg", "libtheora", "libvorbis"},
    {"nut", "ffv1", "raw-audio"},
    {"flv", "flv", "libmp3lame"},
    {"asf", "wmv2", "wmav2"},
    {"dv", "dvvideo", "raw-audio"},
    {"avi", "mpeg4", "g726"},
    {"avi", "mjpeg", "g722"},
};

TEST(EncoderWalk, CommonPairsRecordFilesThatDecodeCleanly) {
    std::vector<Recorded> recorded;
    for (const Pair& pair : kCommonPairs) {
        // An encoder this FFmpeg build lacks is not offered, and then not a fault.
        if (!offers(pair)) {
            std::printf("not offered here: %s\n", nameOf(pair).c_str());
            continue;
        }
        recordAndRead(pair, kCifFirst, &recorded);
    }
    checkWithFfmpeg(recorded);
}

TEST(EncoderWalk, EncodersThatCannotRecordAreNotOffered) {
    media_format input;
    input.type = B_MEDIA_RAW_VIDEO;
    media_codec_info info;
    std::vector<std::string> names;
    for (int32 cookie = 0;
         get_next_encoder(&cookie, &input, nullptr, &info, nullptr, nullptr) == B_OK;)
        names.push_back(info.short_name);
    input.type = B_MEDIA_RAW_AUDIO;
    for (int32 cookie = 0;
         get_next_encoder(&cookie, &input, nullptr, &info, nullptr, nullptr) == B_OK;)
        names.push_back(info.short_name);
    ASSERT_FALSE(names.empty());
    // Hangs, noise descriptions, files that never decode cleanly, 48 x 48 icons, no decoder.
    for (const char* refused : {"libsvtav1", "comfortnoise", "h261", "xface", "a64multi"})
        EXPECT_EQ(std::find(names.begin(), names.end(), refused), names.end()) << refused;

    media_file_format format;
    for (const char* notLive : {"asf_stream", "amv", "mxf", "rawvideo", "webp"})
        EXPECT_FALSE(findFileFormat(notLive, &format)) << notLive;

    // Muxers that take any stream take only what their players read, and pairs FFmpeg writes
    // but does not read back cleanly are not offered; the same codecs elsewhere are.
    const std::vector<Pair> refused = {
        {"h264", "mpeg4", ""},     {"mpegts", "ffv1", ""}, {"mpeg", "libx265", ""},
        {"ogg", "mpeg4", ""},      {"mjpeg", "png", ""},   {"avi", "mpeg1video", ""},
        {"mov", "libvpx-vp9", ""}, {"flv", "mpeg4", ""},   {"nut", "ffv1", "flac"},
        {"asf", "wmv2", "flac"},
    };
    for (const Pair& pair : refused)
        EXPECT_FALSE(offers(pair)) << nameOf(pair);
    const std::vector<Pair> offered = {
        {"mpeg", "mpeg1video", ""},
        {"mp4", "libvpx-vp9", ""},
        {"avi", "mpeg4", ""},
        {"matroska", "ffv1", "flac"},
    };
    for (const Pair& pair : offered)
        EXPECT_TRUE(offers(pair)) << nameOf(pair);
}

std::vector<std::string> walkedContainers() {
    std::vector<std::string> names;
    media_file_format format;
    for (int32 cookie = 0; get_next_file_format(&cookie, &format) == B_OK;) {
        if ((format.capabilities & media_file_format::B_WRITABLE) &&
            (format.capabilities &
             (media_file_format::B_KNOWS_RAW_VIDEO | media_file_format::B_KNOWS_ENCODED_VIDEO)))
            names.push_back(format.short_name);
    }
    return names;
}

class WholeEncoderWalk : public testing::TestWithParam<std::string> {};

TEST_P(WholeEncoderWalk, EveryOfferedEncoderRecordsAFileThatDecodesCleanly) {
    media_file_format format;
    ASSERT_TRUE(findFileFormat(GetParam().c_str(), &format));
    const std::vector<std::string> videos = offered(format, B_MEDIA_ENCODED_VIDEO);
    const std::vector<std::string> audios = offered(format, B_MEDIA_ENCODED_AUDIO);
    ASSERT_FALSE(videos.empty()) << "a container in the editor offers no video encoder";
    const std::string firstAudio = audios.empty() ? std::string() : audios.front();
    std::vector<Recorded> recorded;
    for (const std::string& video : videos)
        recordAndRead({GetParam(), video, firstAudio}, kSmallFirst, &recorded);
    for (size_t i = 1; i < audios.size(); i++)
        recordAndRead({GetParam(), videos.front(), audios[i]}, kSmallFirst, &recorded);
    checkWithFfmpeg(recorded);
    std::printf("%s: %zu video and %zu audio encoders\n", GetParam().c_str(), videos.size(),
                audios.size());
}

INSTANTIATE_TEST_SUITE_P(Containers, WholeEncoderWalk, testing::ValuesIn(walkedContainers()),
                         [](const testing::TestParamInfo<std::string>& test) {
                             std::string name = test.param;
                             for (char& c : name) {
                                 if (!std::isalnum(static_cast<unsigned char>(c)))
                                     c = '_';
                             }
                             return name;
                         });

}  // namespace
