// The output file of a recording made from a recording format: what it creates, what it
// applies to the tracks, and the alert each failure raises.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "app/ErrorAlert.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "media/file/EncoderParameters.h"
#include "tests/media/file/MovieReader.h"

namespace {

class TavroFileTest : public testing::Test {
protected:
    void SetUp() override {
        resetErrorAlertForTesting();
        SetErrorAlertPresenter([this](const std::string& text, bool async) {
            alerts.push_back({text, async});
        });
        format.SetFileFormat("avi");
        format.SetVideoEncoder("raw-video");
        format.SetAudioEncoder("raw-audio");
        path = temporaryPath("avi");
    }
    void TearDown() override {
        SetErrorAlertPresenter({});
        resetErrorAlertForTesting();
        std::remove(path.c_str());
    }

    // Writes `frames` frames and their sound in the engine's connected formats.
    void Record(TavroFile& file, int frames) {
        ASSERT_EQ(file.file->CommitHeader(), B_OK);
        media_format video;
        engine.GetVideoFormat(&video);
        std::vector<uint8> picture(video.raw_video.display.bytes_per_row *
                                   video.raw_video.display.line_count);
        media_format audioIn;
        if (file.audioTrack != nullptr)
            file.audioTrack->EncodedFormat(&audioIn);
        int rate = int(audioIn.raw_audio.frame_rate);
        int channels = int(audioIn.raw_audio.channel_count);
        float fieldRate = video.raw_video.field_rate / float(format.frameDivisor);
        for (int frame = 0; frame < frames; frame++) {
            media_encode_info info;
            info.start_time = bigtime_t(frame * 1e6 / fieldRate);
            ASSERT_EQ(file.videoTrack->WriteFrames(picture.data(), 1, &info), B_OK);
            if (file.audioTrack != nullptr) {
                int count = int(rate / fieldRate);
                std::vector<int16> samples =
                    toneSamples(int64(frame) * count, count, rate, channels);
                ASSERT_EQ(file.audioTrack->WriteFrames(samples.data(), count, &info), B_OK);
            }
        }
    }

    struct Alert {
        std::string text;
        bool async;
    };
    std::vector<Alert> alerts;
    // An engine without inputs: its formats are the ones it asks for.
    Tavro engine{[] {
        TavroOptions options;
        options.useRoster = false;
        return options;
    }()};
    FormatSetting format{"test"};
    std::string path;
};

MediaParameter* parameterNamed(ParameterWeb* web, const char* name) {
    for (int32 i = 0; web != nullptr && i < web->CountParameters(); i++) {
        if (web->ParameterAt(i)->Name() == name)
            return web->ParameterAt(i);
    }
    return nullptr;
}

}  // namespace

TEST_F(TavroFileTest, DefaultFormatWritesRawVideoAndRawAudioInTheConnectedFormats) {
    {
        TavroFile file(path.c_str(), &format, &engine);
        ASSERT_EQ(file.status, B_OK);
        EXPECT_FALSE(file.temporary);
        ASSERT_NE(file.file, nullptr);
        ASSERT_NE(file.fileFormat, nullptr);
        EXPECT_EQ(file.fileFormat->short_name, "avi");
        ASSERT_NE(file.videoTrack, nullptr);
        ASSERT_NE(file.audioTrack, nullptr);
        EXPECT_EQ(file.engine, &engine);
        EXPECT_EQ(file.format, &format);
        Record(file, 10);
    }  // the destructor closes the file
    EXPECT_TRUE(alerts.empty());

    MovieSummary movie = readMovie(path);
    ASSERT_EQ(movie.streams.size(), 2u);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->codec, "rawvideo");
    EXPECT_EQ(movie.Video()->width, 320);  // the engine's default size
    EXPECT_EQ(movie.Video()->height, 240);
    EXPECT_EQ(movie.Video()->frames, 10);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Audio()->codec, "pcm_s16le");
    EXPECT_EQ(movie.Audio()->sampleRate, 44100);
    EXPECT_EQ(movie.Audio()->channels, 2);
}

TEST_F(TavroFileTest, FormatDecidesTheTracksRatesAndChannels) {
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
    Record(file, 15);
    ASSERT_EQ(file.file->CloseFile(), B_OK);

    MovieSummary movie = readMovie(path);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->frames, 15);
    EXPECT_NEAR(movie.Video()->endSeconds, 1.0, 1 / 15.0 + 1e-3);
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_EQ(movie.Audio()->sampleRate, 22050);
    EXPECT_EQ(movie.Audio()->channels, 1);
}

TEST_F(TavroFileTest, AppliesStoredParametersFirstOneWinningAndRefreshesThemFromTheEncoder) {
    format.SetVideoEncoder("mpeg4");
    int32 gopId = EncoderParameters::IdFor("AVCodecContext", "g");
    for (float gop : {5.0f, 7.0f}) {
        Parameter* parameter = new Parameter;
        parameter->id = gopId;
        parameter->size = sizeof(float);
        parameter->data = std::malloc(sizeof(float));
        std::memcpy(parameter->data, &gop, sizeof(float));
        format.videoParameters.push_back(parameter);
    }
    TavroFile file(path.c_str(), &format, &engine);
    ASSERT_EQ(file.status, B_OK);
    MediaParameter* gop = parameterNamed(file.videoTrack->Web(), "g");
    ASSERT_NE(gop, nullptr);
    float value = 0;
    size_t size = sizeof(value);
    ASSERT_EQ(gop->GetValue(&value, &size, nullptr), B_OK);
    EXPECT_EQ(value, 5.0f);

    // The format now holds a snapshot of every parameter of the live encoder.
    ASSERT_EQ(format.videoParameters.size(), size_t(file.videoTrack->Web()->CountParameters()));
    bool found = false;
    for (const Parameter* parameter : format.videoParameters) {
        if (parameter->id == gopId) {
            found = true;
            ASSERT_EQ(parameter->size, int32(sizeof(float)));
            EXPECT_EQ(*static_cast<float*>(parameter->data), 5.0f);
        }
    }
    EXPECT_TRUE(found);
    EXPECT_FALSE(format.audioParameters.empty());
}

TEST_F(TavroFileTest, NoNameWritesTheScratchFile) {
    std::remove(TavroFile::kScratchPath);
    {
        TavroFile file(nullptr, &format, &engine);
        ASSERT_EQ(file.status, B_OK);
        EXPECT_TRUE(file.temporary);
        EXPECT_EQ(file.file->Path(), "/tmp/Tavro.tmp");
    }
    EXPECT_TRUE(std::filesystem::exists(TavroFile::kScratchPath));
    std::remove(TavroFile::kScratchPath);
}

TEST_F(TavroFileTest, AudioIsOptional) {
    for (const char* none : {"", static_cast<const char*>(nullptr)}) {
        format.SetAudioEncoder(none);
        TavroFile file(path.c_str(), &format, &engine);
        EXPECT_EQ(file.status, B_OK);
        EXPECT_NE(file.videoTrack, nullptr);
        EXPECT_EQ(file.audioTrack, nullptr);
        EXPECT_EQ(file.file->CountTracks(), 1);
    }
    EXPECT_TRUE(alerts.empty());
}

// ---------------------------------------------------------------------------------------------

TEST_F(TavroFileTest, WithoutAnEngineThereIsNoVideoToRecord) {
    TavroFile file(path.c_str(), &format, nullptr);
    EXPECT_EQ(file.status, B_ERROR);
    EXPECT_EQ(file.file, nullptr);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].text, errorAlertText("Could not create video track!", B_ERROR));
}

TEST_F(TavroFileTest, UnknownFileFormatFails) {
    format.SetFileFormat("no-such-format");
    TavroFile file(path.c_str(), &format, &engine);
    EXPECT_EQ(file.status, B_ERROR);
    EXPECT_EQ(file.file, nullptr);
    EXPECT_EQ(file.fileFormat, nullptr);
    EXPECT_EQ(file.videoTrack, nullptr);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].text, errorAlertText("Could not find file format!", B_ERROR));
    EXPECT_FALSE(alerts[0].async);
}

TEST_F(TavroFileTest, UnknownVideoEncoderFailsAndLeavesNoFileOpen) {
    format.SetVideoEncoder("no-such-encoder");
    TavroFile file(path.c_str(), &format, &engine);
    EXPECT_EQ(file.status, B_ERROR);
    EXPECT_EQ(file.file, nullptr);
    EXPECT_EQ(file.videoTrack, nullptr);
    EXPECT_EQ(file.audioTrack, nullptr);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].text, errorAlertText("Could not create video track!", B_ERROR));

    // An audio encoder named as video encoder is no video encoder either.
    resetErrorAlertForTesting();
    format.SetVideoEncoder("raw-audio");
    TavroFile audioAsVideo(path.c_str(), &format, &engine);
    EXPECT_EQ(audioAsVideo.status, B_ERROR);
    ASSERT_EQ(alerts.size(), 2u);
    EXPECT_EQ(alerts[1].text, errorAlertText("Could not create video track!", B_ERROR));
}

TEST_F(TavroFileTest, AudioEncoderTheFileFormatLacksGivesAVideoOnlyFile) {
    std::string mp4 = temporaryPath("mp4");
    format.SetFileFormat("mp4");
    format.SetVideoEncoder("mpeg4");
    format.SetAudioEncoder("raw-audio");  // mp4 stores no PCM
    {
        TavroFile file(mp4.c_str(), &format, &engine);
        EXPECT_EQ(file.status, B_OK);
        ASSERT_NE(file.videoTrack, nullptr);
        EXPECT_EQ(file.audioTrack, nullptr);
        ASSERT_EQ(alerts.size(), 1u);
        EXPECT_EQ(alerts[0].text, errorAlertText("Could not create audio track!", B_ERROR));
        Record(file, 5);
    }
    MovieSummary movie = readMovie(mp4);
    std::remove(mp4.c_str());
    EXPECT_EQ(movie.streams.size(), 1u);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->frames, 5);
}

TEST_F(TavroFileTest, PathsThatCannotBeWrittenFail) {
    TavroFile missing("/nonexistent-directory/recording.avi", &format, &engine);
    EXPECT_EQ(missing.status, B_ENTRY_NOT_FOUND);
    EXPECT_EQ(missing.file, nullptr);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].text, errorAlertText("Could not create entry", B_ENTRY_NOT_FOUND));

    resetErrorAlertForTesting();
    TavroFile empty("", &format, &engine);
    EXPECT_EQ(empty.status, B_ENTRY_NOT_FOUND);

    resetErrorAlertForTesting();
    std::string directory = std::filesystem::temp_directory_path().string();
    TavroFile isDirectory(directory.c_str(), &format, &engine);
    EXPECT_EQ(isDirectory.status, -EISDIR);
    EXPECT_EQ(isDirectory.file, nullptr);
    ASSERT_EQ(alerts.size(), 3u);
    EXPECT_EQ(alerts[2].text, errorAlertText("Could not create media file", -EISDIR));
}
