// The output file of a recording made from a recording format: what it creates, what it
// applies to the tracks, and the alert each failure raises.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "media/file/EncoderParameters.h"
#include "tests/engine/EngineTestSupport.h"

namespace {

class TavroFileTest : public RecordingFixture {
protected:
    // An engine without inputs: its formats are the ones it asks for.
    Tavro engine{[] {
        TavroOptions options;
        options.useRoster = false;
        return options;
    }()};
};

float gopOf(MediaTrack* track) {
    const int32 id = EncoderParameters::IdFor("AVCodecContext", "g");
    MediaParameter* gop = track->Web()->ParameterWithID(id);
    float value = 0;
    size_t size = sizeof(value);
    EXPECT_TRUE(gop != nullptr && gop->GetValue(&value, &size, nullptr) == B_OK);
    return value;
}

}  // namespace

TEST_F(TavroFileTest, DefaultFormatWritesRawVideoAndRawAudioInTheConnectedFormats) {
    {
        TavroFile file(path.c_str(), &format, &engine);
        ASSERT_EQ(file.status, B_OK);
        EXPECT_FALSE(file.temporary);
        ASSERT_NE(file.fileFormat, nullptr);
        EXPECT_EQ(file.fileFormat->short_name, "avi");
        ASSERT_NE(file.audioTrack, nullptr);
        ASSERT_EQ(file.file->CommitHeader(), B_OK);
    }  // the destructor closes the file
    EXPECT_TRUE(alerts.empty());

    MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.streams.size(), 2u);
    EXPECT_EQ(movie.Video()->codec, "rawvideo");
    EXPECT_EQ(movie.Video()->width, 320);  // the engine's default size
    EXPECT_EQ(movie.Video()->height, 240);
    EXPECT_EQ(movie.Audio()->codec, "pcm_s16le");
    EXPECT_EQ(movie.Audio()->sampleRate, 44100);
    EXPECT_EQ(movie.Audio()->channels, 2);
}

TEST_F(TavroFileTest, FormatDecidesTheTracksRatesChannelsAndQuality) {
    format.frameDivisor = 2;
    format.audioFrameRate = 22050;
    format.audioChannels = 1;
    format.videoQuality = 0.75f;
    format.SetVideoEncoder("mpeg4");
    TavroFile file(path.c_str(), &format, &engine);
    ASSERT_EQ(file.status, B_OK);
    media_format video;
    ASSERT_EQ(file.videoTrack->EncodedFormat(&video), B_OK);
    EXPECT_FLOAT_EQ(video.raw_video.field_rate, 15.0f);  // 30 from the engine, halved
    EXPECT_STREQ(video.encoding, "mpeg4");
    float quality = 0;
    file.videoTrack->GetQuality(&quality);
    EXPECT_FLOAT_EQ(quality, 0.75f);
    media_format audio;
    ASSERT_EQ(file.audioTrack->EncodedFormat(&audio), B_OK);
    EXPECT_FLOAT_EQ(audio.raw_audio.frame_rate, 22050.0f);
    EXPECT_EQ(audio.raw_audio.channel_count, 1u);
}

TEST_F(TavroFileTest, AppliesStoredParametersFirstOneWinningAndRefreshesThemFromTheEncoder) {
    format.SetVideoEncoder("mpeg4");
    const int32 gopId = EncoderParameters::IdFor("AVCodecContext", "g");
    for (float gop : {5.0f, 7.0f})
        format.videoParameters.emplace_back(gopId, &gop, sizeof(gop));
    TavroFile file(path.c_str(), &format, &engine);
    ASSERT_EQ(file.status, B_OK);
    EXPECT_EQ(gopOf(file.videoTrack), 5.0f);

    // The format now holds a snapshot of every parameter of the live encoder.
    ASSERT_EQ(format.videoParameters.size(), size_t(file.videoTrack->Web()->CountParameters()));
    int gops = 0;
    for (const Parameter& parameter : format.videoParameters) {
        if (parameter.id == gopId && ++gops == 1) {
            float gop = 0;
            ASSERT_EQ(parameter.data.size(), sizeof(gop));
            std::memcpy(&gop, parameter.data.data(), sizeof(gop));
            EXPECT_EQ(gop, 5.0f);
        }
    }
    EXPECT_EQ(gops, 1);
    EXPECT_FALSE(format.audioParameters.empty());
}

TEST_F(TavroFileTest, NoNameWritesTheScratchFileReplacingIt) {
    std::ofstream(TavroFile::kScratchPath) << "left over";
    {
        TavroFile file(nullptr, &format, &engine);
        ASSERT_EQ(file.status, B_OK);
        EXPECT_TRUE(file.temporary);
        EXPECT_EQ(file.file->Path(), "/tmp/Tavro.tmp");
        // Tracks alone (the format editor's use) make no file.
        EXPECT_EQ(std::filesystem::file_size(TavroFile::kScratchPath), 9u);
        ASSERT_EQ(file.file->CommitHeader(), B_OK);
    }
    EXPECT_GT(std::filesystem::file_size(TavroFile::kScratchPath), 9u);
    std::remove(TavroFile::kScratchPath);
}

// A named file is made only by the header's commit, and never over an existing one unless
// asked: the refused commit leaves the old bytes, a failed one leaves no file at all.
TEST_F(TavroFileTest, AnExistingFileIsReplacedOnlyWhenAsked) {
    std::ofstream(path) << "an earlier recording";
    {
        TavroFile refused(path.c_str(), &format, &engine);
        ASSERT_EQ(refused.status, B_OK);
        EXPECT_EQ(refused.file->CommitHeader(), B_FILE_EXISTS);
    }
    EXPECT_EQ(std::filesystem::file_size(path), 20u);
    {
        TavroFile replacing(path.c_str(), &format, &engine, ExistingFile::kReplace);
        ASSERT_EQ(replacing.file->CommitHeader(), B_OK);
        EXPECT_EQ(replacing.Close(), B_OK);
    }
    EXPECT_GT(std::filesystem::file_size(path), 20u);
    std::remove(path.c_str());

    // Values no encoder takes are refused before any file.
    for (auto [width, rate] : {std::pair{0, 44100}, {100000, 44100}, {384, 0}}) {
        SCOPED_TRACE(width);
        format.videoWidth = width;
        format.audioFrameRate = rate;
        resetErrorAlertForTesting();
        alerts.clear();
        TavroFile bad(path.c_str(), &format, &engine);
        EXPECT_EQ(bad.status, B_BAD_VALUE);
        EXPECT_EQ(bad.file, nullptr);
        ASSERT_EQ(alerts.size(), 1u);
        EXPECT_NE(alerts[0].text.find("The recording format cannot be recorded"),
                  std::string::npos);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

// Sound is optional: no audio encoder gives a video-only file without an alert; one the file
// format does not offer gives one with the alert.
TEST_F(TavroFileTest, AFileWithoutSoundIsNoFailure) {
    for (const char* none : {"", static_cast<const char*>(nullptr)}) {
        format.SetAudioEncoder(none);
        TavroFile file(path.c_str(), &format, &engine);
        EXPECT_EQ(file.status, B_OK);
        EXPECT_EQ(file.audioTrack, nullptr);
        EXPECT_EQ(file.file->CountTracks(), 1);
    }
    EXPECT_TRUE(alerts.empty());

    const std::string mp4 = temporaryPath("mp4");
    format.SetFileFormat("mp4");
    format.SetVideoEncoder("mpeg4");
    format.SetAudioEncoder("raw-audio");  // mp4 stores no PCM
    {
        TavroFile file(mp4.c_str(), &format, &engine);
        EXPECT_EQ(file.status, B_OK);
        EXPECT_EQ(file.audioTrack, nullptr);
        EXPECT_EQ(file.file->CountTracks(), 1);
        EXPECT_TRUE(OnlyAlert("Could not create audio track!", B_ERROR));
    }
    std::remove(mp4.c_str());
}

// Every failure leaves no file open and raises its one alert.
TEST_F(TavroFileTest, EachFailureHasItsStatusAndAlert) {
    const std::string directory = std::filesystem::temp_directory_path().string();
    struct Failure {
        const char* fileFormat;
        const char* videoEncoder;
        const char* path;  // nullptr: the fixture's
        bool withEngine;
        status_t status;
        const char* alert;
        status_t alerted;
    } failures[] = {
        {"avi", "raw-video", nullptr, false, B_ERROR, "Could not create video track!", B_ERROR},
        {"no-such-format", "raw-video", nullptr, true, B_ERROR, "Could not find file format!",
         B_ERROR},
        {"avi", "no-such-encoder", nullptr, true, B_ERROR, "Could not create video track!",
         B_ERROR},
        {"avi", "raw-audio", nullptr, true, B_ERROR, "Could not create video track!", B_ERROR},
        {"avi", "raw-video", "/nonexistent-directory/recording.avi", true, B_ENTRY_NOT_FOUND,
         "Could not create entry", B_ENTRY_NOT_FOUND},
        {"avi", "raw-video", "", true, B_ENTRY_NOT_FOUND, "Could not create entry",
         B_ENTRY_NOT_FOUND},
        {"avi", "raw-video", directory.c_str(), true, -EISDIR, "Could not create media file",
         -EISDIR},
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(std::string(failure.fileFormat) + " " + failure.videoEncoder + " " +
                     (failure.path != nullptr ? failure.path : path));
        resetErrorAlertForTesting();
        alerts.clear();
        format.SetFileFormat(failure.fileFormat);
        format.SetVideoEncoder(failure.videoEncoder);
        TavroFile file(failure.path != nullptr ? failure.path : path.c_str(), &format,
                       failure.withEngine ? &engine : nullptr);
        EXPECT_EQ(file.status, failure.status);
        EXPECT_EQ(file.file, nullptr);
        EXPECT_EQ(file.videoTrack, nullptr);
        EXPECT_TRUE(OnlyAlert(failure.alert, failure.alerted));
        EXPECT_FALSE(alerts.empty() || alerts[0].async);
    }
}
