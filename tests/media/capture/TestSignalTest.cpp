// The built-in test signal: the picture's counter, flash and bars in every colour space, its
// controls, and the tone's clicks against the flashes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "media/MediaFormat.h"
#include "media/testsignal/TestPictureProducer.h"
#include "media/testsignal/TestToneProducer.h"
#include "tests/media/capture/CollectingConsumer.h"

namespace {

uint8 clampByte(double v) {
    return uint8(std::clamp(v, 0.0, 255.0));
}

// Studio-range BT.601 back to B, G, R.
void yuvToBgr(int y, int cb, int cr, uint8* out) {
    const double c = 1.164 * (y - 16);
    out[0] = clampByte(std::lround(c + 2.018 * (cb - 128)));
    out[1] = clampByte(std::lround(c - 0.813 * (cr - 128) - 0.391 * (cb - 128)));
    out[2] = clampByte(std::lround(c + 1.596 * (cr - 128)));
}

// Any colour space the picture draws, back to RGB32 (B, G, R, 255), unpadded.
std::vector<uint8> toRGB32(const uint8* data, color_space space, uint32 width, uint32 height,
                           uint32 rowBytes) {
    std::vector<uint8> out(size_t(width) * height * 4, 255);
    for (uint32 y = 0; y < height; y++) {
        const uint8* row = data + size_t(y) * rowBytes;
        for (uint32 x = 0; x < width; x++) {
            uint8* o = &out[(size_t(y) * width + x) * 4];
            switch (space) {
                case B_GRAY8:
                    o[0] = o[1] = o[2] = row[x];
                    break;
                case B_RGB15:
                case B_RGB16: {
                    const uint32 v = row[2 * x] | row[2 * x + 1] << 8;
                    const bool is16 = space == B_RGB16;
                    const uint32 r = is16 ? v >> 11 : (v >> 10) & 0x1F;
                    const uint32 g = is16 ? (v >> 5) & 0x3F : (v >> 5) & 0x1F;
                    o[0] = uint8((v & 0x1F) * 255 / 31);
                    o[1] = uint8(g * 255 / (is16 ? 63 : 31));
                    o[2] = uint8(r * 255 / 31);
                    break;
                }
                case B_RGB24:
                    memcpy(o, row + 3 * x, 3);
                    break;
                case B_RGB32:
                    memcpy(o, row + 4 * x, 3);
                    break;
                case B_YCbCr422: {
                    const uint8* pair = row + (x / 2) * 4;
                    yuvToBgr(pair[x % 2 == 0 ? 0 : 2], pair[1], pair[3], o);
                    break;
                }
                case B_YCbCr411: {
                    const uint8* group = row + (x / 8) * 12;
                    static const int kY[8] = {1, 3, 5, 7, 8, 9, 10, 11};
                    const int half = x % 8 < 4 ? 0 : 4;
                    yuvToBgr(group[kY[x % 8]], group[half], group[half + 2], o);
                    break;
                }
                default:
                    ADD_FAILURE() << "no conversion for " << colorSpaceName(space);
                    return out;
            }
        }
    }
    return out;
}

std::vector<uint8> drawRGB32(color_space space, uint32 width, uint32 height, int64 frame,
                             const TestPictureControls& controls = {}, bool flash = false) {
    TestPicture picture(width, height, space);
    EXPECT_EQ(picture.InitCheck(), B_OK);
    picture.SetControls(controls);
    std::vector<uint8> data(picture.FrameSize());
    picture.Draw(data.data(), frame, frame * 40000, 25, flash);
    return toRGB32(data.data(), space, width, height, picture.BytesPerRow());
}

const uint8* pixel(const std::vector<uint8>& rgb32, uint32 width, uint32 x, uint32 y) {
    return &rgb32[(size_t(y) * width + x) * 4];
}

bool allWhite(const std::vector<uint8>& rgb32) {
    for (size_t i = 0; i < rgb32.size(); i += 4) {
        if (rgb32[i] < 250 || rgb32[i + 1] < 250 || rgb32[i + 2] < 250)
            return false;
    }
    return true;
}

// Streams `format` from `producer` into a fresh consumer from `origin` until `count` frames
// have come (10 s at most), then stops and disconnects; the frames received.
std::vector<ReceivedBuffer> capture(TestPictureProducer& producer, media_format format,
                                    size_t count, bigtime_t origin) {
    producer.SetRealtimePriority(0);
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
    EXPECT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
    producer.Start(origin);
    EXPECT_GE(consumer.WaitForBuffers(count, 10000000), count);
    producer.Stop(0, true);
    Disconnect(producer.Output().source, consumer.Input().destination);
    return consumer.Buffers();
}

const color_space kSpaces[] = {B_GRAY8, B_RGB15, B_RGB16, B_RGB24, B_RGB32, B_YCbCr422, B_YCbCr411};

}  // namespace

TEST(TestPicture, EverySpaceShowsTheSameBarsAndAReadableCounter) {
    const uint32 width = 320, height = 240;
    const std::vector<uint8> reference = drawRGB32(B_RGB32, width, height, 1234);
    // The reference itself: 100 % bars in the usual order on channel 0.
    for (int32 bar = 0; bar < 8; bar++) {
        uint8 bgr[3];
        TestPicture::BarColor(0, bar, bgr);
        const uint8* p = pixel(reference, width, width * (2 * bar + 1) / 16, height / 4);
        EXPECT_EQ(memcmp(p, bgr, 3), 0) << "bar " << bar;
    }

    for (color_space space : kSpaces) {
        SCOPED_TRACE(colorSpaceName(space));
        const std::vector<uint8> rgb = drawRGB32(space, width, height, 1234);
        for (int32 bar = 0; bar < 8; bar++) {
            const uint8* want = pixel(reference, width, width * (2 * bar + 1) / 16, height / 4);
            const uint8* got = pixel(rgb, width, width * (2 * bar + 1) / 16, height / 4);
            if (space == B_GRAY8) {
                const int luma = (299 * want[2] + 587 * want[1] + 114 * want[0]) / 1000;
                EXPECT_NEAR(got[0], luma, 2) << "bar " << bar;
                continue;
            }
            const int tolerance = space == B_RGB15 || space == B_RGB16 ? 8 : 4;
            for (int c = 0; c < 3; c++)
                EXPECT_NEAR(got[c], want[c], tolerance) << "bar " << bar << " byte " << c;
        }
        int64 counter = -1;
        EXPECT_EQ(TestPicture::ReadCounter(rgb.data(), width, height, width * 4, &counter), B_OK);
        EXPECT_EQ(counter, 1234);
    }
}

TEST(TestPicture, SizesAndRowPaddingAreHonoured) {
    // Odd sizes, the largest size, and padded rows: nothing is written past a row's pixels or
    // the frame, and the counter still reads.
    struct Case {
        uint32 width, height, rowBytes;
        color_space space;
    } cases[] = {{1920, 1080, 0, B_YCbCr411},
                 {161, 121, 0, B_YCbCr422},
                 {161, 121, 330, B_YCbCr422},
                 {77, 60, 400, B_RGB32},
                 {1, 1, 0, B_RGB24}};
    for (const Case& c : cases) {
        TestPicture picture(c.width, c.height, c.space, c.rowBytes);
        ASSERT_EQ(picture.InitCheck(), B_OK);
        std::vector<uint8> data(picture.FrameSize() + 64, 0xA5);
        picture.Draw(data.data(), 42, 0, 25, false);
        for (size_t i = picture.FrameSize(); i < data.size(); i++)
            ASSERT_EQ(data[i], 0xA5) << c.width << "x" << c.height;
        if (c.rowBytes != 0) {
            for (uint32 y = 0; y < c.height; y++)
                for (uint32 i = bytesPerRow(c.space, c.width); i < c.rowBytes; i++)
                    ASSERT_EQ(data[size_t(y) * c.rowBytes + i], 0xA5);
        }
    }
    EXPECT_EQ(TestPicture(1921, 1080, B_RGB32).InitCheck(), B_BAD_VALUE);
    EXPECT_EQ(TestPicture(0, 10, B_RGB32).InitCheck(), B_BAD_VALUE);
    EXPECT_EQ(TestPicture(64, 48, B_RGB32, 100).InitCheck(), B_BAD_VALUE);
    EXPECT_EQ(TestPicture(64, 48, B_CMAP8).InitCheck(), B_MEDIA_BAD_FORMAT);

    const std::vector<uint8> big = drawRGB32(B_RGB32, 1920, 1080, 99999999);
    int64 counter = 0;
    EXPECT_EQ(TestPicture::ReadCounter(big.data(), 1920, 1080, 1920 * 4, &counter), B_OK);
    EXPECT_EQ(counter, 99999999);
    EXPECT_TRUE(allWhite(drawRGB32(B_YCbCr422, 64, 48, 0, {}, true)));
}

TEST(TestPicture, TheBlockMovesAndTheControlsChangeThePicture) {
    const uint32 width = 200, height = 100;
    const std::vector<uint8> plain = drawRGB32(B_RGB32, width, height, 10);
    EXPECT_NE(plain, drawRGB32(B_RGB32, width, height, 11));

    TestPictureControls channel;
    channel.channel = 3;
    const std::vector<uint8> other = drawRGB32(B_RGB32, width, height, 10, channel);
    uint8 bgr[3];
    TestPicture::BarColor(3, 0, bgr);
    EXPECT_EQ(memcmp(pixel(other, width, 5, 5), bgr, 3), 0);
    EXPECT_NE(memcmp(pixel(plain, width, 5, 5), bgr, 3), 0);

    auto meanLuma = [&](const std::vector<uint8>& rgb) {
        double sum = 0;
        for (size_t i = 0; i < rgb.size(); i += 4)
            sum += 0.114 * rgb[i] + 0.587 * rgb[i + 1] + 0.299 * rgb[i + 2];
        return sum / double(rgb.size() / 4);
    };
    TestPictureControls bright;
    bright.brightness = 50;
    EXPECT_GT(meanLuma(drawRGB32(B_RGB32, width, height, 10, bright)), meanLuma(plain) + 20);

    // No saturation: every bar grey.
    TestPictureControls grey;
    grey.saturation = -100;
    const std::vector<uint8> washed = drawRGB32(B_RGB32, width, height, 10, grey);
    for (int32 bar = 0; bar < 8; bar++) {
        const uint8* p = pixel(washed, width, width * (2 * bar + 1) / 16, 10);
        EXPECT_NEAR(p[0], p[2], 1);
        EXPECT_NEAR(p[1], p[2], 1);
    }
}

TEST(TestPictureProducer, ConsecutiveFramesCarryConsecutiveCountersAndFlashEverySecond) {
    TestPictureProducer producer;
    producer.SetPaced(false);
    const bigtime_t origin = system_time();
    const std::vector<ReceivedBuffer> buffers =
        capture(producer, rawVideo(B_YCbCr422, 160, 120), 60, origin);
    ASSERT_GE(buffers.size(), 60u);
    for (size_t i = 0; i < 60; i++) {
        const ReceivedBuffer& b = buffers[i];
        SCOPED_TRACE(i);
        ASSERT_EQ(b.header.sequence, int64(i));
        EXPECT_EQ(b.header.start_time, origin + bigtime_t(i) * 40000);
        const std::vector<uint8> rgb = toRGB32(b.data.data(), B_YCbCr422, 160, 120, 320);
        // The first frame of every second is the white flash; the others read back.
        EXPECT_EQ(allWhite(rgb), i % 25 == 0);
        if (i % 25 != 0) {
            int64 counter = -1;
            ASSERT_EQ(TestPicture::ReadCounter(rgb.data(), 160, 120, 640, &counter), B_OK);
            EXPECT_EQ(counter, int64(i));
        }
    }
}

TEST(TestPictureProducer, ParameterWebHasTheCardIdsAndChangesThePicture) {
    TestPictureProducer producer;
    std::unique_ptr<ParameterWeb> web = producer.GetParameterWeb();
    ASSERT_NE(web, nullptr);
    for (int32 id : {1, 14, 15})
        EXPECT_EQ(web->ParameterWithID(id)->Type(), ParameterType::Discrete) << id;
    EXPECT_EQ(web->ParameterWithID(14)->CountItems(), TestPicture::kChannelCount);
    EXPECT_EQ(web->ParameterWithID(1)->ItemNameAt(1), "NTSC");
    for (int32 id : {18, 19, 20}) {
        MediaParameter* parameter = web->ParameterWithID(id);
        ASSERT_EQ(parameter->Type(), ParameterType::Continuous) << id;
        EXPECT_EQ(parameter->MinValue(), -100);
        EXPECT_EQ(parameter->MaxValue(), 100);
    }

    producer.SetPaced(false);
    // Frame 1 (not a flash) of a fresh stream, before and after a change of channel.
    auto frameOne = [&]() {
        const std::vector<ReceivedBuffer> frames =
            capture(producer, rawVideo(B_RGB32, 64, 48), 2, system_time());
        return frames.size() > 1 && frames[1].header.sequence == 1 ? frames[1].data
                                                                   : std::vector<uint8>{};
    };
    const std::vector<uint8> plain = frameOne();
    ASSERT_FALSE(plain.empty());
    int32 channel = 5;
    ASSERT_EQ(web->ParameterWithID(14)->SetValue(&channel, 4, system_time()), B_OK);
    EXPECT_NE(frameOne(), plain);

    int32 value = 0;
    size_t size = sizeof value;
    bigtime_t changed = 0;
    ASSERT_EQ(web->ParameterWithID(14)->GetValue(&value, &size, &changed), B_OK);
    EXPECT_EQ(value, 5);
    channel = TestPicture::kChannelCount;
    EXPECT_EQ(web->ParameterWithID(14)->SetValue(&channel, 4, 0), B_BAD_VALUE);
}

TEST(TestPictureProducer, FrameGapsLeaveNumbersOut) {
    TestPictureProducer producer;
    producer.SetPaced(false);
    producer.SetFrameGaps(4);
    std::vector<int64> sequence;
    for (const ReceivedBuffer& frame :
         capture(producer, rawVideo(B_GRAY8, 32, 24), 9, system_time()))
        sequence.push_back(frame.header.sequence);
    sequence.resize(9);
    EXPECT_EQ(sequence, (std::vector<int64>{0, 1, 2, 4, 5, 6, 8, 9, 10}));
}

TEST(TestPictureProducer, PacedFramesArriveNoEarlierThanTheirTimes) {
    TestPictureProducer producer;
    const bigtime_t origin = system_time();
    const std::vector<ReceivedBuffer> buffers =
        capture(producer, rawVideo(B_RGB16, 64, 48), 6, origin);
    ASSERT_GE(buffers.size(), 6u);
    // Six frames at 25 per second span at least 200 ms; a loaded machine only makes it later.
    EXPECT_GE(buffers[5].arrival - origin, 200000);
    for (const ReceivedBuffer& b : buffers)
        EXPECT_GE(b.arrival, b.header.start_time);
}

// The tone's clicks fall on the picture's flashes, to the sample, at PAL and at NTSC rates (where a
// second's first frame lies up to a frame period after the second).
TEST(TestSignal, ClicksAlignWithFlashes) {
    for (int32 standard : {0, 1}) {
        SCOPED_TRACE(standard == 0 ? "PAL" : "NTSC");
        auto clock = std::make_shared<TestSignalClock>();
        TestPictureProducer picture(clock);
        TestToneProducer tone(clock);
        ASSERT_EQ(picture.SetParameterValue(kTestFormatParameter, 0, &standard, 4), B_OK);
        for (MediaProducer* p : std::initializer_list<MediaProducer*>{&picture, &tone})
            p->SetRealtimePriority(0);
        picture.SetPaced(false);
        tone.SetPaced(false);

        CollectingConsumer video(B_MEDIA_RAW_VIDEO, "Video");
        CollectingConsumer audio(B_MEDIA_RAW_AUDIO, "Audio");
        media_format videoFormat = rawVideo(B_GRAY8, 64, 48);
        ASSERT_EQ(connectNodes(&picture, &video, &videoFormat), B_OK);
        media_format audioFormat;
        audioFormat.type = B_MEDIA_RAW_AUDIO;
        audioFormat.raw_audio.frame_rate = 44100;
        audioFormat.raw_audio.channel_count = 1;
        ASSERT_EQ(connectNodes(&tone, &audio, &audioFormat), B_OK);
        const size_t periodFrames = audioFormat.raw_audio.buffer_size / 2;
        const bigtime_t period = bigtime_t(periodFrames) * 1000000 / 44100;

        const bigtime_t origin = system_time();
        picture.Start(origin);
        tone.Start(origin);
        // Four seconds of stream and a little: 121 NTSC frames.
        const size_t periods = size_t(4100000 / period) + 1;
        ASSERT_GE(video.WaitForBuffers(125, 10000000), 125u);
        ASSERT_GE(audio.WaitForBuffers(periods, 10000000), periods);
        picture.Stop(0, true);
        tone.Stop(0, true);

        std::vector<bigtime_t> flashes;
        for (const ReceivedBuffer& b : video.Buffers()) {
            const bool white =
                std::all_of(b.data.begin(), b.data.end(), [](uint8 v) { return v == 255; });
            if (white)
                flashes.push_back(b.header.start_time - origin);
        }
        std::vector<bigtime_t> clicks;
        bool inClick = false;
        for (const ReceivedBuffer& b : audio.Buffers()) {
            const int16* samples = reinterpret_cast<const int16*>(b.data.data());
            for (size_t i = 0; i < b.data.size() / 2; i++) {
                const bool loud = std::abs(samples[i]) > 20000;
                if (loud && !inClick)
                    clicks.push_back(b.header.start_time - origin + bigtime_t(i) * 1000000 / 44100);
                inClick = loud;
            }
        }
        ASSERT_GE(flashes.size(), 4u);
        ASSERT_GE(clicks.size(), 4u);
        for (size_t s = 0; s < 4; s++) {
            // A flash at or just after each whole second, and the click with it.
            EXPECT_GE(flashes[s], bigtime_t(s) * 1000000);
            EXPECT_LT(flashes[s], bigtime_t(s) * 1000000 + 34000);
            EXPECT_LE(std::abs(clicks[s] - flashes[s]), 1000000 / 44100 + 1);
        }
    }
}

TEST(TestToneProducer, DeliversPeriodsOfAnExactToneAtTheNearestRate) {
    TestToneProducer tone;
    tone.SetPaced(false);
    tone.SetRealtimePriority(0);
    CollectingConsumer audio(B_MEDIA_RAW_AUDIO);
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    // Above what the tone is made at: the nearest rate it has.
    format.raw_audio.frame_rate = 250000;
    ASSERT_EQ(connectNodes(&tone, &audio, &format), B_OK);
    EXPECT_EQ(format.raw_audio.frame_rate, 192000);
    EXPECT_EQ(format.raw_audio.channel_count, 2u);
    EXPECT_EQ(format.raw_audio.format, media_raw_audio_format::B_AUDIO_SHORT);
    // Periods of 40 ms when the format leaves them open.
    EXPECT_EQ(format.raw_audio.buffer_size, 7680u * 4);

    const bigtime_t origin = system_time();
    tone.Start(origin);
    ASSERT_GE(audio.WaitForBuffers(20, 5000000), 20u);
    tone.Stop(0, true);
    const std::vector<ReceivedBuffer> buffers = audio.Buffers();
    for (size_t n = 0; n < 20; n++) {
        const ReceivedBuffer& b = buffers[n];
        ASSERT_EQ(b.header.sequence, int64(n * 7680));
        EXPECT_EQ(b.header.start_time, origin + bigtime_t(n) * 40000);
        const int16* samples = reinterpret_cast<const int16*>(b.data.data());
        for (size_t i = 0; i < 7680; i++) {
            const int64 index = int64(n * 7680 + i);
            EXPECT_EQ(samples[2 * i], samples[2 * i + 1]);
            if (index < 384)
                continue;  // the click of second 0
            const double expected =
                8192 * std::sin(2 * 3.141592653589793 * double(index % 192) / 192);
            ASSERT_NEAR(samples[2 * i], expected, 1) << index;
        }
    }
    format = media_format{};
    format.type = B_MEDIA_RAW_AUDIO;
    format.raw_audio.format = media_raw_audio_format::B_AUDIO_FLOAT;
    TestToneProducer other;
    CollectingConsumer second(B_MEDIA_RAW_AUDIO);
    EXPECT_EQ(connectNodes(&other, &second, &format), B_MEDIA_BAD_FORMAT);
}
