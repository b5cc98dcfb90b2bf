// Files written through MediaFile and MediaTrack and read back with libavformat/libavcodec:
// containers and encoders, every input colour space, quality, encoder parameters, misuse.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "app/records/Parameter.h"
#include "media/file/EncoderParameters.h"
#include "tests/media/file/MovieReader.h"
#include "tests/media/file/MovieWriter.h"

namespace {

struct RoundTrip {
    const char* fileFormat;
    const char* videoEncoder;
    const char* audioEncoder;
    const char* extension;
    const char* videoDecoder;
    const char* audioDecoder;
    float rate;
    bool exactSamples;  // PCM and lossless: every sample written comes back
};

class MediaFileRoundTrip : public testing::TestWithParam<RoundTrip> {};

// A test name from `text`: every character that is not a letter or digit becomes '_'.
std::string testName(std::string text) {
    for (char& c : text) {
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    }
    return text;
}

int64 fileSize(const std::string& path) {
    std::error_code error;
    auto size = std::filesystem::file_size(path, error);
    return error ? -1 : int64(size);
}

}  // namespace

TEST_P(MediaFileRoundTrip, DecodesEveryFrameAtTheTimesWritten) {
    const RoundTrip& trip = GetParam();
    Recording recording;
    recording.fileFormat = trip.fileFormat;
    recording.videoEncoder = trip.videoEncoder;
    recording.audioEncoder = trip.audioEncoder;
    recording.rate = trip.rate;
    recording.frames = 30;
    std::string path = temporaryPath(trip.extension);
    std::string step;
    ASSERT_EQ(writeMovie(path, recording, {}, &step), B_OK) << step;

    MovieSummary movie = readMovie(path);
    std::remove(path.c_str());
    ASSERT_EQ(movie.openError, 0);
    ASSERT_EQ(movie.streams.size(), 2u);
    const StreamSummary* video = movie.Video();
    const StreamSummary* audio = movie.Audio();
    ASSERT_NE(video, nullptr);
    ASSERT_NE(audio, nullptr);

    EXPECT_EQ(video->codec, trip.videoDecoder);
    EXPECT_EQ(video->width, 160);
    EXPECT_EQ(video->height, 120);
    EXPECT_EQ(video->frames, 30);
    EXPECT_EQ(video->decodeErrors, 0);
    double seconds = recording.frames / recording.rate;
    EXPECT_NEAR(video->endSeconds, seconds, 1 / recording.rate + 1e-3);

    EXPECT_EQ(audio->codec, trip.audioDecoder);
    EXPECT_EQ(audio->sampleRate, 44100);
    EXPECT_EQ(audio->channels, 2);
    EXPECT_EQ(audio->decodeErrors, 0);
    int64 written = int64(seconds * recording.audioRate);
    if (trip.exactSamples) {
        EXPECT_EQ(audio->samples, written);
    } else {
        // Lossy encoders pad the last frame and may add their priming samples.
        EXPECT_GE(audio->samples, written - 1152);
        EXPECT_LE(audio->samples, written + 3 * 1152);
    }
    EXPECT_NEAR(audio->endSeconds, seconds, 3 * 1152.0 / 44100);
}

INSTANTIATE_TEST_SUITE_P(
    Containers, MediaFileRoundTrip,
    testing::Values(RoundTrip{"avi", "raw-video", "raw-audio", "avi", "rawvideo", "pcm_s16le", 25,
                              true},
                    RoundTrip{"avi", "mpeg4", "mp2", "avi", "mpeg4", "mp2", 30000.0f / 1001, false},
                    RoundTrip{"avi", "mpeg4", "libmp3lame", "avi", "mpeg4", "mp3float", 25, false},
                    RoundTrip{"matroska", "ffv1", "flac", "mkv", "ffv1", "flac", 25, true},
                    RoundTrip{"matroska", "libx264", "aac", "mkv", "h264", "aac", 25, false},
                    RoundTrip{"mp4", "libx264", "aac", "mp4", "h264", "aac", 25, false},
                    RoundTrip{"mov", "mjpeg", "raw-audio", "mov", "mjpeg", "pcm_s16le", 25, true}),
    [](const testing::TestParamInfo<RoundTrip>& test) {
        return testName(std::string(test.param.fileFormat) + "_" + test.param.videoEncoder + "_" +
                        test.param.audioEncoder);
    });

// ---------------------------------------------------------------------------------------------

struct ColourCase {
    color_space space;
    const char* fileFormat;
    const char* encoder;
    const char* extension;
    int tolerance;
};

class MediaFileColourSpace : public testing::TestWithParam<ColourCase> {};

TEST_P(MediaFileColourSpace, DecodesToThePictureWritten) {
    const ColourCase& colour = GetParam();
    Recording recording;
    recording.fileFormat = colour.fileFormat;
    recording.videoEncoder = colour.encoder;
    recording.space = colour.space;
    recording.width = 64;
    recording.height = 48;
    recording.frames = 3;
    std::string path = temporaryPath(colour.extension);
    std::string step;
    ASSERT_EQ(writeMovie(path, recording, {}, &step), B_OK) << step;
    MovieSummary movie = readMovie(path, 1);
    std::remove(path.c_str());
    ASSERT_EQ(movie.openError, 0);
    ASSERT_NE(movie.Video(), nullptr);
    EXPECT_EQ(movie.Video()->frames, 3);
    EXPECT_EQ(movie.Video()->decodeErrors, 0);
    ASSERT_EQ(movie.pictures.size(), 1u);

    const std::vector<uint8>& rgb = movie.pictures[0];
    for (int bar = 0; bar < 4; bar++) {
        // The middle of each bar, away from edges that chroma subsampling blurs.
        int x = bar * 16 + 8;
        for (int y : {8, 24, 40}) {
            const uint8* pixel = &rgb[(size_t(y) * 64 + x) * 3];
            Rgb want = expectedBarColour(colour.space, bar);
            EXPECT_NEAR(pixel[0], want.r, colour.tolerance) << "bar " << bar << " y " << y;
            EXPECT_NEAR(pixel[1], want.g, colour.tolerance) << "bar " << bar << " y " << y;
            EXPECT_NEAR(pixel[2], want.b, colour.tolerance) << "bar " << bar << " y " << y;
        }
    }
}

std::vector<ColourCase> colourCases() {
    std::vector<ColourCase> cases;
    for (color_space space :
         {B_RGB32, B_RGB24, B_RGB16, B_RGB15, B_YCbCr422, B_YCbCr411, B_GRAY8}) {
        cases.push_back({space, "avi", "raw-video", "avi", 4});
        cases.push_back({space, "mov", "raw-video", "mov", 4});
        // Matroska stores no raw RGB: those come back through 4:2:2 at 8 bits.
        cases.push_back({space, "matroska", "raw-video", "mkv", 10});
        cases.push_back({space, "matroska", "ffv1", "mkv", 4});
        cases.push_back({space, "avi", "mpeg4", "avi", 16});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(AllSpaces, MediaFileColourSpace, testing::ValuesIn(colourCases()),
                         [](const testing::TestParamInfo<ColourCase>& test) {
                             return testName(std::string(colorSpaceName(test.param.space)) + "_" +
                                             test.param.fileFormat + "_" + test.param.encoder);
                         });

// ---------------------------------------------------------------------------------------------

namespace {

struct Written {
    int64 size = -1;
    int64 keyFrames = -1;
};

Written writeWithSetup(const char* fileFormat, const char* encoder, const TrackSetup& setup) {
    Recording recording;
    recording.fileFormat = fileFormat;
    recording.videoEncoder = encoder;
    recording.textured = true;
    recording.frames = 12;
    std::string path = temporaryPath("out");
    Written written;
    if (writeMovie(path, recording, setup) == B_OK) {
        written.size = fileSize(path);
        MovieSummary movie = readMovie(path);
        if (movie.Video() != nullptr)
            written.keyFrames = movie.Video()->keyFrames;
    }
    std::remove(path.c_str());
    return written;
}

// The parameter of FFmpeg's option `name`: so named, or labelled in words before "(name)".
MediaParameter* parameterNamed(ParameterWeb* web, const char* name) {
    const std::string bracketed = std::string(" (") + name + ")";
    for (int32 i = 0; i < web->CountParameters(); i++) {
        const std::string& label = web->ParameterAt(i)->Name();
        if (label == name || label.ends_with(bracketed))
            return web->ParameterAt(i);
    }
    return nullptr;
}

// The size of a file in `encoder` at `quality`; a negative quality sets none.
int64 sizeAtQuality(const char* encoder, float quality) {
    return writeWithSetup("avi", encoder,
                          [&](MediaTrack* video, MediaTrack*) {
                              if (quality >= 0) {
                                  EXPECT_EQ(video->SetQuality(quality), B_OK);
                              }
                          })
        .size;
}

}  // namespace

TEST(MediaFileQuality, HigherQualityGivesLargerFiles) {
    for (const char* encoder : {"mpeg4", "mjpeg", "libx264"}) {
        int64 low = sizeAtQuality(encoder, 0.2f);
        int64 high = sizeAtQuality(encoder, 0.9f);
        ASSERT_GT(low, 0) << encoder;
        EXPECT_GT(high, low * 3 / 2) << encoder;
    }
}

TEST(MediaFileQuality, ZeroLeavesTheEncoderDefaults) {
    // mpeg4's default is its bit rate, not a fixed quantiser: the file comes out the same.
    EXPECT_EQ(sizeAtQuality("mpeg4", 0.0f), sizeAtQuality("mpeg4", -1));
    EXPECT_NE(sizeAtQuality("mpeg4", 0.0f), sizeAtQuality("mpeg4", 0.5f));
}

TEST(MediaFileQuality, RefusesValuesOutsideTheRangeAndChangesAfterTheHeader) {
    media_file_format format;
    ASSERT_TRUE(findFileFormat("avi", &format));
    std::string path = temporaryPath("avi");
    MediaFile file(path.c_str(), &format);
    media_format input = rawVideoFormat(B_RGB32, 64, 48, 25);
    media_codec_info info;
    ASSERT_TRUE(findEncoder(format, input, "mpeg4", &info));
    MediaTrack* track = file.CreateTrack(&input, &info);
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(track->SetQuality(-0.1f), B_BAD_VALUE);
    EXPECT_EQ(track->SetQuality(1.5f), B_BAD_VALUE);
    EXPECT_EQ(track->SetQuality(NAN), B_BAD_VALUE);
    std::vector<uint8> picture = barsPicture(B_RGB32, 64, 48);
    EXPECT_EQ(track->WriteFrames(picture.data(), 1, nullptr), B_NOT_ALLOWED);  // no header yet
    ASSERT_EQ(file.CommitHeader(), B_OK);
    EXPECT_EQ(track->SetQuality(0.5f), B_NOT_ALLOWED);
    MediaParameter* gop = parameterNamed(track->Web(), "g");
    ASSERT_NE(gop, nullptr);
    float value = 5;
    EXPECT_EQ(gop->SetValue(&value, sizeof(value), 0), B_NOT_ALLOWED);
    EXPECT_EQ(file.CreateTrack(&input, &info), nullptr);
    EXPECT_EQ(track->WriteFrames(nullptr, 1, nullptr), B_BAD_VALUE);
    EXPECT_EQ(track->WriteFrames(picture.data(), 1, nullptr), B_OK);
    EXPECT_EQ(file.CloseFile(), B_OK);
    EXPECT_EQ(track->WriteFrames(picture.data(), 1, nullptr), B_NOT_ALLOWED);
    std::remove(path.c_str());
}

// ---------------------------------------------------------------------------------------------

namespace {

// A file written with `change` and a snapshot of its track's web taken, and one with only the
// snapshot applied, last to first: the two come out alike.
void expectSnapshotReproduces(const char* encoder, const TrackSetup& change) {
    ParameterList snapshot;
    const Written copied = writeWithSetup("matroska", encoder, [&](MediaTrack* video, MediaTrack*) {
        change(video, nullptr);
        updateParameters(&snapshot, video->Web());
    });
    ASSERT_FALSE(snapshot.empty());
    const Written replayed =
        writeWithSetup("matroska", encoder, [&](MediaTrack* video, MediaTrack*) {
            for (auto it = snapshot.rbegin(); it != snapshot.rend(); ++it)
                video->SetParameterValue(it->id, it->data.data(), it->data.size());
        });
    EXPECT_EQ(replayed.size, copied.size);
    EXPECT_EQ(replayed.keyFrames, copied.keyFrames);
}

}  // namespace

TEST(MediaTrackParameters, WebDescribesTheEncoderOptionsWithStableIds) {
    media_file_format format;
    ASSERT_TRUE(findFileFormat("matroska", &format));
    MediaFile file(temporaryPath("mkv").c_str(), &format);
    media_format input = rawVideoFormat(B_RGB32, 64, 48, 25);
    media_codec_info info;
    ASSERT_TRUE(findEncoder(format, input, "libx264", &info));
    MediaTrack* x264 = file.CreateTrack(&input, &info);
    ASSERT_TRUE(findEncoder(format, input, "mpeg4", &info));
    MediaTrack* mpeg4 = file.CreateTrack(&input, &info);
    ASSERT_NE(x264, nullptr);
    ASSERT_NE(mpeg4, nullptr);
    ASSERT_NE(x264->Web(), nullptr);
    EXPECT_EQ(x264->Web()->Owner(), x264);

    // The general options share their ids across encoders; private ones are the encoder's.
    MediaParameter* gop = parameterNamed(x264->Web(), "g");
    ASSERT_NE(gop, nullptr);
    EXPECT_EQ(gop->Kind(), B_GOP_SIZE);
    EXPECT_EQ(gop->Type(), ParameterType::Continuous);
    EXPECT_EQ(gop->ID(), EncoderParameters::IdFor("AVCodecContext", "g"));
    EXPECT_EQ(parameterNamed(mpeg4->Web(), "g")->ID(), gop->ID());
    MediaParameter* preset = parameterNamed(x264->Web(), "preset");
    ASSERT_NE(preset, nullptr);
    EXPECT_EQ(preset->Type(), ParameterType::Text);
    EXPECT_EQ(parameterNamed(mpeg4->Web(), "preset"), nullptr);
    MediaParameter* motion = parameterNamed(mpeg4->Web(), "motion_est");
    ASSERT_NE(motion, nullptr);
    EXPECT_EQ(motion->Type(), ParameterType::Discrete);
    EXPECT_GT(motion->CountItems(), 1);

    char text[128];
    size_t size = sizeof(text);
    ASSERT_EQ(preset->GetValue(text, &size, nullptr), B_OK);
    EXPECT_EQ(std::string(text, size), "medium");
    EXPECT_EQ(preset->SetValue("veryfast", 8, 42), B_OK);
    size = sizeof(text);
    bigtime_t changed = 0;
    ASSERT_EQ(preset->GetValue(text, &size, &changed), B_OK);
    EXPECT_EQ(std::string(text, size), "veryfast");
    EXPECT_EQ(changed, 42);
    size = 3;
    EXPECT_EQ(preset->GetValue(text, &size, nullptr), B_NO_MEMORY);

    // Values the option refuses come back as errors, not crashes.
    float tooLarge = 1e30f;
    EXPECT_EQ(gop->SetValue(&tooLarge, sizeof(tooLarge), 0), B_OK);  // clamped into range
    EXPECT_EQ(gop->SetValue(&tooLarge, 2, 0), B_BAD_VALUE);
    EXPECT_EQ(x264->SetParameterValue(12345, &tooLarge, sizeof(tooLarge)), B_BAD_INDEX);
}

TEST(MediaTrackParameters, CommonOptionsComeFirstInWordsAndASecondWebReachesTheSameTrack) {
    media_file_format format;
    ASSERT_TRUE(findFileFormat("matroska", &format));
    MediaFile file(temporaryPath("mkv").c_str(), &format);
    media_format input = rawVideoFormat(B_RGB32, 64, 48, 25);
    media_codec_info info;
    ASSERT_TRUE(findEncoder(format, input, "libx264", &info));
    MediaTrack* x264 = file.CreateTrack(&input, &info);
    ASSERT_TRUE(findEncoder(format, rawAudioFormat(48000, 2), "aac", &info));
    MediaTrack* aac = file.CreateTrack(&(input = rawAudioFormat(48000, 2)), &info);
    ASSERT_NE(x264, nullptr);
    ASSERT_NE(aac, nullptr);

    struct Case {
        MediaTrack* track;
        std::vector<std::string> common;
    };
    const Case cases[] = {
        {x264,
         {"Bit rate (b)", "Constant quality (crf)", "Constant quantiser (qp)",
          "Speed preset (preset)", "Keyframe interval (g)", "Profile (profile)",
          "Tuned for (tune)"}},
        {aac, {"Bit rate (b)", "Compression level (compression_level)", "Profile (profile)"}},
    };
    for (const Case& each : cases) {
        ParameterWeb* web = each.track->Web();
        ASSERT_GT(web->CountGroups(), 1);
        ParameterGroup* common = web->GroupAt(0);
        EXPECT_EQ(common->Name(), "Common");
        std::vector<std::string> names;
        for (int32 i = 0; i < common->CountParameters(); i++)
            names.push_back(common->ParameterAt(i)->Name());
        EXPECT_EQ(names, each.common);
    }
    // Shown once: the long tail leaves out what the common group has.
    for (const char* name : {"b", "crf", "preset", "g"}) {
        int count = 0;
        for (int32 i = 0; i < x264->Web()->CountParameters(); i++) {
            const std::string& label = x264->Web()->ParameterAt(i)->Name();
            count += label == name || label.ends_with(std::string("(") + name + ")");
        }
        EXPECT_EQ(count, 1) << name;
    }

    // A second web: the same parameters, ids and owner; a value set through it is the track's.
    std::unique_ptr<ParameterWeb> second = x264->NewWeb();
    ParameterWeb* first = x264->Web();
    ASSERT_EQ(second->CountParameters(), first->CountParameters());
    for (int32 i = 0; i < first->CountParameters(); i++) {
        EXPECT_EQ(second->ParameterAt(i)->ID(), first->ParameterAt(i)->ID());
        EXPECT_EQ(second->ParameterAt(i)->Name(), first->ParameterAt(i)->Name());
    }
    EXPECT_EQ(second->Owner(), x264);
    float every = 12;
    ASSERT_EQ(parameterNamed(second.get(), "g")->SetValue(&every, sizeof(every), 0), B_OK);
    float read = 0;
    size_t size = sizeof(read);
    ASSERT_EQ(parameterNamed(first, "g")->GetValue(&read, &size, nullptr), B_OK);
    EXPECT_EQ(read, 12);
    // Bit rates run on a slider's scale, not to the integer limit.
    EXPECT_EQ(parameterNamed(first, "b")->MaxValue(), 100e6f);
    EXPECT_EQ(parameterNamed(first, "g")->MinValue(), 0);
    EXPECT_EQ(parameterNamed(first, "g")->MaxValue(), 1000);
    EXPECT_EQ(parameterNamed(aac->Web(), "b")->MaxValue(), 1e6f);
    // x264's unset -1 is the encoder's default, offered apart from the range; a bit rate of 0
    // is a value.
    for (const char* name : {"g", "crf"}) {
        EXPECT_TRUE(parameterNamed(first, name)->HasDefaultValue()) << name;
        EXPECT_EQ(parameterNamed(first, name)->DefaultValue(), -1) << name;
        EXPECT_EQ(parameterNamed(first, name)->MinValue(), 0) << name;
    }
    EXPECT_FALSE(parameterNamed(aac->Web(), "b")->HasDefaultValue());
}

TEST(MediaTrackParameters, GopSizeChangesTheFileAndSnapshotsReproduceIt) {
    const TrackSetup setGop = [](MediaTrack* video, MediaTrack*) {
        float every = 1;
        ASSERT_EQ(parameterNamed(video->Web(), "g")->SetValue(&every, sizeof(every), 0), B_OK);
    };
    // At a fixed quantiser, so that the size follows the number of key frames.
    const Written standard = writeWithSetup(
        "matroska", "mpeg4", [](MediaTrack* video, MediaTrack*) { video->SetQuality(0.5f); });
    const Written allKeys =
        writeWithSetup("matroska", "mpeg4", [&](MediaTrack* video, MediaTrack*) {
            video->SetQuality(0.5f);
            setGop(video, nullptr);
        });
    EXPECT_EQ(allKeys.keyFrames, 12);
    EXPECT_LT(standard.keyFrames, 12);
    EXPECT_GT(allKeys.size, standard.size);
    // Without a quality, the encoder the track opened to check its input has the old
    // interval: it must not be the one that writes.
    EXPECT_EQ(writeWithSetup("matroska", "mpeg4", setGop).keyFrames, 12);
    expectSnapshotReproduces("mpeg4", setGop);
}

TEST(MediaTrackParameters, X264PresetChangesTheFileAndSnapshotsReproduceIt) {
    const TrackSetup setPreset = [](MediaTrack* video, MediaTrack*) {
        ASSERT_EQ(parameterNamed(video->Web(), "preset")->SetValue("ultrafast", 9, 0), B_OK);
    };
    const Written medium = writeWithSetup("matroska", "libx264", {});
    ASSERT_GT(medium.size, 0);
    EXPECT_NE(writeWithSetup("matroska", "libx264", setPreset).size, medium.size);
    expectSnapshotReproduces("libx264", setPreset);
}

// ---------------------------------------------------------------------------------------------

TEST(MediaFile, ReportsWhyItCannotBeCreated) {
    media_file_format format;
    ASSERT_TRUE(findFileFormat("avi", &format));
    MediaFile missing("/nonexistent-directory/x.avi", &format);
    EXPECT_EQ(missing.InitCheck(), B_ENTRY_NOT_FOUND);
    EXPECT_EQ(missing.CreateTrack(nullptr, nullptr), nullptr);
    EXPECT_EQ(missing.CommitHeader(), B_ENTRY_NOT_FOUND);

    media_file_format unknown;
    unknown.short_name = "no-such-format";
    MediaFile bad(temporaryPath("x").c_str(), &unknown);
    EXPECT_EQ(bad.InitCheck(), B_MEDIA_BAD_FORMAT);
    MediaFile null(nullptr, &format);
    EXPECT_EQ(null.InitCheck(), B_BAD_VALUE);
}

TEST(MediaFile, RefusesInputsItCannotEncode) {
    media_file_format format;
    ASSERT_TRUE(findFileFormat("avi", &format));
    std::string path = temporaryPath("avi");
    MediaFile file(path.c_str(), &format);
    media_codec_info mpeg4;
    media_format video = rawVideoFormat(B_RGB32, 64, 48, 25);
    ASSERT_TRUE(findEncoder(format, video, "mpeg4", &mpeg4));

    media_codec_info mp2;
    media_format audio = rawAudioFormat(44100, 2);
    ASSERT_TRUE(findEncoder(format, audio, "mp2", &mp2));
    media_format shortRows = video;
    shortRows.raw_video.display.bytes_per_row = 10;
    media_format floats = audio;
    floats.raw_audio.format = media_raw_audio_format::B_AUDIO_FLOAT;
    const std::pair<media_format, const media_codec_info*> refused[] = {
        {rawVideoFormat(B_CMAP8, 64, 48, 25), &mpeg4},
        {rawVideoFormat(B_RGB32, 0, 48, 25), &mpeg4},
        {shortRows, &mpeg4},
        {audio, &mpeg4},  // a video encoder for sound
        {floats, &mp2},
        {rawAudioFormat(44100, 6), &mp2},  // mp2 is mono or stereo
    };
    for (const auto& [input, encoder] : refused)
        EXPECT_EQ(file.CreateTrack(&input, encoder), nullptr) << encoder->short_name;
    media_codec_info unknown;
    unknown.short_name = "no-such-encoder";
    EXPECT_EQ(file.CreateTrack(&video, &unknown), nullptr);
    EXPECT_EQ(file.CommitHeader(), B_MEDIA_BAD_FORMAT);  // no track
    std::remove(path.c_str());
}

TEST(MediaTrack, ResamplesToRatesTheEncoderLacksAndReportsTheInputRate) {
    // mp2 has no 11025 Hz: the track resamples to the nearest rate it has.
    Recording recording;
    recording.videoEncoder = "mpeg4";
    recording.audioEncoder = "mp2";
    recording.audioRate = 11025;
    recording.channels = 1;
    recording.frames = 25;
    std::string path = temporaryPath("avi");
    media_format encoded;
    ASSERT_EQ(writeMovie(path, recording,
                         [&](MediaTrack*, MediaTrack* audio) {
                             ASSERT_EQ(audio->EncodedFormat(&encoded), B_OK);
                         }),
              B_OK);
    EXPECT_EQ(encoded.type, B_MEDIA_ENCODED_AUDIO);
    EXPECT_EQ(encoded.raw_audio.frame_rate, 11025);
    EXPECT_EQ(encoded.raw_audio.channel_count, 1u);
    EXPECT_STREQ(encoded.encoding, "mp2");
    MovieSummary movie = readMovie(path);
    std::remove(path.c_str());
    ASSERT_NE(movie.Audio(), nullptr);
    EXPECT_NE(movie.Audio()->sampleRate, 11025);
    EXPECT_EQ(movie.Audio()->decodeErrors, 0);
    EXPECT_NEAR(movie.Audio()->endSeconds, 1.0, 0.15);
}
