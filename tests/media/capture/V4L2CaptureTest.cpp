// The V4L2 input against the in-process Bt848: format negotiation, sizes, both memory modes,
// the parameter web and a device that vanishes mid-stream.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

#include "CollectingConsumer.h"
#include "media/v4l2/V4L2DeviceList.h"
#include "media/v4l2/V4L2Producer.h"
#include "support/Clock.h"
#include "support/MessageQueue.h"
#include "tests/media/capture/FakeBt848.h"

namespace {

constexpr bigtime_t kWait = 5000000;  // generous: the test machine may be busy

int32 readInt(MediaParameter* parameter) {
    int32 value = -1;
    size_t size = sizeof(value);
    EXPECT_EQ(parameter->GetValue(&value, &size, nullptr), B_OK);
    return value;
}

float readFloat(MediaParameter* parameter) {
    float value = -1000;
    size_t size = sizeof(value);
    EXPECT_EQ(parameter->GetValue(&value, &size, nullptr), B_OK);
    return value;
}

std::vector<std::string> itemNames(const MediaParameter* parameter) {
    std::vector<std::string> names;
    for (int32 i = 0; i < parameter->CountItems(); i++)
        names.push_back(parameter->ItemNameAt(i));
    return names;
}

int32 itemIndex(const MediaParameter* parameter, const std::string& name) {
    for (int32 i = 0; i < parameter->CountItems(); i++) {
        if (parameter->ItemNameAt(i) == name)
            return i;
    }
    return -1;
}

class V4L2CaptureTest : public testing::Test {
protected:
    void SetUp() override { fDevice.SetFrameInterval(4000); }

    FakeBt848 fDevice;
};

TEST_F(V4L2CaptureTest, OnlyGrayDeviceConnectsAfterTheOtherColourSpacesAreRefused) {
    fDevice.OfferOnly({V4L2_PIX_FMT_GREY});
    V4L2Producer producer(fDevice, "/dev/video0");
    ASSERT_EQ(producer.InitCheck(), B_OK);
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);

    // The engine's order: its own colour space first, then the fixed list.
    const color_space order[] = {B_RGB32, B_YCbCr422, B_YCbCr411, B_RGB32,
                                 B_RGB16, B_RGB15,    B_GRAY8};
    std::vector<status_t> results;
    media_format connected;
    for (color_space space : order) {
        connected = rawVideo(space, 320, 240);
        results.push_back(connectNodes(&producer, &consumer, &connected));
        if (results.back() == B_OK)
            break;
    }
    ASSERT_EQ(results.size(), 7u);
    for (size_t i = 0; i < 6; i++)
        EXPECT_EQ(results[i], B_MEDIA_BAD_FORMAT) << "attempt " << i;
    EXPECT_EQ(results[6], B_OK);
    EXPECT_EQ(connected.raw_video.display.format, B_GRAY8);
    EXPECT_EQ(connected.raw_video.display.bytes_per_row, 320u);
    EXPECT_EQ(fDevice.Format().pixelformat, V4L2_PIX_FMT_GREY);
    // Refusals cost the device nothing: only the accepted format was ever set.
    EXPECT_EQ(fDevice.FormatRequests(), std::vector<uint32>{V4L2_PIX_FMT_GREY});
}

TEST_F(V4L2CaptureTest, ConnectedSizeIsTheOneTheDeviceAdjustedTo) {
    V4L2Producer producer(fDevice, "/dev/video0");
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);

    media_format tooBig = rawVideo(B_RGB32, 1920, 1080);
    ASSERT_EQ(connectNodes(&producer, &consumer, &tooBig), B_OK);
    EXPECT_EQ(tooBig.raw_video.display.line_width, 768u);
    EXPECT_EQ(tooBig.raw_video.display.line_count, 576u);
    EXPECT_EQ(tooBig.raw_video.display.bytes_per_row, 768u * 4);
    EXPECT_EQ(tooBig.raw_video.field_rate, 25.0f);
    EXPECT_EQ(tooBig.raw_video.interlace, 2u);
    EXPECT_EQ(consumer.Input().format.raw_video.display.line_width, 768u);
    ASSERT_EQ(Disconnect(producer.Output().source, consumer.Input().destination), B_OK);

    media_format odd = rawVideo(B_YCbCr422, 321, 241);
    ASSERT_EQ(connectNodes(&producer, &consumer, &odd), B_OK);
    EXPECT_EQ(odd.raw_video.display.line_width, fDevice.Format().width);
    EXPECT_EQ(odd.raw_video.display.line_width, 320u);
    EXPECT_EQ(odd.raw_video.display.line_count, 241u);
    EXPECT_EQ(fDevice.Format().pixelformat, V4L2_PIX_FMT_YUYV);
}

// Frames carry their sequence number in the first four bytes and (sequence & 0xff) elsewhere.
void expectFramesInOrder(const std::vector<ReceivedBuffer>& buffers, size_t frameSize) {
    bigtime_t now = system_time();
    for (size_t i = 0; i < buffers.size(); i++) {
        const ReceivedBuffer& buffer = buffers[i];
        ASSERT_EQ(buffer.data.size(), frameSize);
        uint32 sequence;
        std::memcpy(&sequence, buffer.data.data(), sizeof(sequence));
        EXPECT_EQ(int64(sequence), buffer.header.sequence);
        EXPECT_EQ(buffer.data[frameSize - 1], uint8(sequence & 0xff));
        EXPECT_EQ(buffer.header.bytes_per_row, 320u * 2);
        EXPECT_LE(buffer.header.start_time, buffer.arrival);
        EXPECT_GT(buffer.header.start_time, now - 60000000);
        if (i > 0) {
            EXPECT_GT(buffer.header.sequence, buffers[i - 1].header.sequence);
            EXPECT_GT(buffer.header.start_time, buffers[i - 1].header.start_time);
        }
    }
}

// USERPTR captures straight into the consumer's own buffers; MMAP copies each frame once, into
// the consumer's buffers or, when it has none, the producer's own.
TEST(V4L2MemoryModes, EveryModeDeliversTheFramesInOrderAndFreesTheDriversBuffers) {
    const size_t frameSize = 320 * 240 * 2;
    const struct {
        bool userPtrSupported;
        bool consumerBuffers;
        v4l2_memory memory;
    } modes[] = {{true, true, V4L2_MEMORY_USERPTR},
                 {false, true, V4L2_MEMORY_MMAP},
                 {true, false, V4L2_MEMORY_MMAP}};
    for (const auto& mode : modes) {
        SCOPED_TRACE(std::to_string(mode.memory) + (mode.consumerBuffers ? " own" : ""));
        FakeBt848 device;
        device.SetFrameInterval(4000);
        device.SetUserPtrSupported(mode.userPtrSupported);
        V4L2Producer producer(device, "/dev/video0");
        CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
        media_format format = rawVideo(B_YCbCr422, 320, 240);
        ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
        if (mode.consumerBuffers) {
            ASSERT_EQ(SetOutputBuffersFor(producer.Output().source, consumer.Input().destination,
                                          consumer.MakeGroup(frameSize, 4)),
                      B_OK);
        }
        consumer.Start(system_time());
        producer.Start(system_time());
        ASSERT_GE(consumer.WaitForBuffers(12, kWait), 12u);
        EXPECT_EQ(device.Memory(), mode.memory);
        EXPECT_EQ(device.Mappings() > 0, mode.memory == V4L2_MEMORY_MMAP);
        producer.Stop(0, true);

        const std::vector<ReceivedBuffer> buffers = consumer.Buffers();
        for (const ReceivedBuffer& buffer : buffers) {
            EXPECT_EQ(buffer.own, mode.consumerBuffers);
            if (mode.consumerBuffers) {
                EXPECT_EQ((buffer.header.flags & B_MEDIA_BUFFER_COPIED) != 0,
                          mode.memory == V4L2_MEMORY_MMAP);
            }
        }
        expectFramesInOrder(buffers, frameSize);
        // A stop gives every buffer back to the driver's side and frees the user pointers.
        EXPECT_FALSE(device.IsStreaming());
        if (mode.memory == V4L2_MEMORY_USERPTR) {
            EXPECT_EQ(device.AllocatedBuffers(), 0u);
        }
        ASSERT_EQ(Disconnect(producer.Output().source, consumer.Input().destination), B_OK);
        EXPECT_EQ(device.Mappings(), 0);
        EXPECT_EQ(device.AllocatedBuffers(), 0u);
    }
}

// The error reaches the consumer after the last buffer and the notification target as
// kMsgStreamEnded.
TEST_F(V4L2CaptureTest, VanishedDeviceEndsTheStreamWithNoDeviceError) {
    MessageQueue notifications;  // outlives the producer's capture thread
    V4L2Producer producer(fDevice, "/dev/video0");
    producer.SetNotificationTarget(&notifications);
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
    media_format format = rawVideo(B_RGB24, 320, 240);
    ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
    fDevice.VanishAfter(3);
    consumer.Start(system_time());
    producer.Start(system_time());

    ASSERT_TRUE(consumer.WaitForDataStatus(kWait));
    EXPECT_EQ(consumer.DataStatus(), B_DEV_NOT_READY);
    EXPECT_EQ(producer.StreamStatus(), B_DEV_NOT_READY);
    EXPECT_EQ(consumer.Buffers().size(), 3u);
    std::vector<std::string> events = consumer.Events();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), "status");
    Message message;
    ASSERT_EQ(notifications.NextMessage(&message, 1000000), B_OK);
    EXPECT_EQ(message.what, kMsgStreamEnded);
    EXPECT_EQ(message.GetInt32("status", 0), B_DEV_NOT_READY);
    // The node stays usable: stopping and quitting do not hang on the dead device.
    EXPECT_EQ(producer.Stop(0, true), B_OK);
}

TEST_F(V4L2CaptureTest, ParameterWebListsInputsStandardsChannelsAndControls) {
    V4L2Producer producer(fDevice, "/dev/video0");
    std::unique_ptr<ParameterWeb> web = producer.GetParameterWeb();
    ASSERT_NE(web, nullptr);

    MediaParameter* source = web->ParameterWithID(15);
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(source->Type(), ParameterType::Discrete);
    EXPECT_EQ(itemNames(source), (std::vector<std::string>{"Television", "Composite1", "S-Video"}));

    MediaParameter* standard = web->ParameterWithID(1);
    ASSERT_NE(standard, nullptr);
    EXPECT_EQ(standard->Type(), ParameterType::Discrete);
    for (const char* name : {"PAL", "NTSC", "SECAM", "PAL-M", "PAL-N", "NTSC-JP"})
        EXPECT_GE(itemIndex(standard, name), 0) << name;
    // The driver's own order, on which the engine's PAL-M work-around relies.
    EXPECT_EQ(itemIndex(standard, "NTSC"), 1);
    EXPECT_EQ(itemIndex(standard, "PAL-M"), 4);

    MediaParameter* channel = web->ParameterWithID(14);
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(channel->Type(), ParameterType::Discrete);
    EXPECT_EQ(channel->ItemNameAt(0), "E2");  // PAL: europe-west
    EXPECT_EQ(channel->Name(), "Channel:");

    for (int32 id : {18, 19, 20}) {
        MediaParameter* control = web->ParameterWithID(id);
        ASSERT_NE(control, nullptr) << id;
        EXPECT_EQ(control->Type(), ParameterType::Continuous);
        EXPECT_EQ(control->MinValue(), -100.0f);
        EXPECT_EQ(control->MaxValue(), 100.0f);
    }
    EXPECT_EQ(web->ParameterWithID(18)->Name(), "Brightness");
    MediaParameter* hue = web->ParameterWithID(kFirstControlParameter + 3);  // V4L2_CID_HUE
    ASSERT_NE(hue, nullptr);
    EXPECT_EQ(hue->Name(), "Hue");
    EXPECT_EQ(hue->MaxValue(), float(0xff00));
    MediaParameter* killer = web->ParameterWithID(kFirstControlParameter + 30);  // COLOR_KILLER
    ASSERT_NE(killer, nullptr);
    EXPECT_EQ(killer->Type(), ParameterType::Discrete);
    EXPECT_EQ(killer->CountItems(), 2);
    // Each control appears once.
    std::set<int32> ids;
    for (int32 i = 0; i < web->CountParameters(); i++)
        EXPECT_TRUE(ids.insert(web->ParameterAt(i)->ID()).second) << web->ParameterAt(i)->ID();
}

TEST_F(V4L2CaptureTest, ParametersDriveInputStandardAndTuner) {
    V4L2Producer producer(fDevice, "/dev/video0");
    std::unique_ptr<ParameterWeb> web = producer.GetParameterWeb();
    MediaParameter* channel = web->ParameterWithID(14);
    int32 uhf21 = itemIndex(channel, "21");
    ASSERT_GE(uhf21, 0);
    ASSERT_EQ(channel->SetValue(&uhf21, sizeof(uhf21), 1234), B_OK);
    EXPECT_EQ(fDevice.Frequency(), 471250u * 16 / 1000);
    EXPECT_EQ(readInt(channel), uhf21);
    bigtime_t changed = 0;
    int32 value;
    size_t size = sizeof(value);
    ASSERT_EQ(channel->GetValue(&value, &size, &changed), B_OK);
    EXPECT_EQ(changed, 1234);

    int32 svideo = 2;
    ASSERT_EQ(web->ParameterWithID(15)->SetValue(&svideo, sizeof(svideo), 0), B_OK);
    EXPECT_EQ(fDevice.Input(), 2u);
    int32 bad = 3;
    EXPECT_EQ(web->ParameterWithID(15)->SetValue(&bad, sizeof(bad), 0), B_BAD_VALUE);

    // A 525-line standard implies the US broadcast plan for the next web.
    int32 ntsc = 1;
    ASSERT_EQ(web->ParameterWithID(1)->SetValue(&ntsc, sizeof(ntsc), 0), B_OK);
    EXPECT_NE(fDevice.Standard() & V4L2_STD_NTSC_M, 0u);
    EXPECT_EQ(readInt(web->ParameterWithID(1)), 1);
    std::unique_ptr<ParameterWeb> ntscWeb = producer.GetParameterWeb();
    EXPECT_EQ(ntscWeb->ParameterWithID(14)->ItemNameAt(0), "2");

    // A named plan wins over the standard.
    V4L2Producer cable(fDevice, "/dev/video0", "us-cable");
    std::unique_ptr<ParameterWeb> cableWeb = cable.GetParameterWeb();
    MediaParameter* cableChannel = cableWeb->ParameterWithID(14);
    EXPECT_EQ(cableChannel->ItemNameAt(0), "1");
    int32 cable95 = itemIndex(cableChannel, "95");
    ASSERT_GE(cable95, 0);
    ASSERT_EQ(cableChannel->SetValue(&cable95, sizeof(cable95), 0), B_OK);
    EXPECT_EQ(fDevice.Frequency(), 91250u * 16 / 1000);
}

TEST_F(V4L2CaptureTest, PictureControlsMapOntoTheDriversRange) {
    V4L2Producer producer(fDevice, "/dev/video0");
    std::unique_ptr<ParameterWeb> web = producer.GetParameterWeb();
    MediaParameter* brightness = web->ParameterWithID(18);
    MediaParameter* contrast = web->ParameterWithID(19);

    // -100..100 onto the driver's range: the middle lands on its step nearest the middle;
    // values out of range are clamped, never passed on raw.
    const std::pair<float, int32> mapping[] = {
        {100, 0xff00}, {-100, 0}, {0, 0x8000}, {1e9f, 0xff00}};
    for (auto [value, written] : mapping) {
        ASSERT_EQ(brightness->SetValue(&value, sizeof(value), 0), B_OK);
        EXPECT_EQ(fDevice.ControlValue(V4L2_CID_BRIGHTNESS), written) << value;
        EXPECT_NEAR(readFloat(brightness), std::clamp(value, -100.0f, 100.0f), 1) << value;
    }
    float full = 100;
    ASSERT_EQ(contrast->SetValue(&full, sizeof(full), 0), B_OK);
    EXPECT_EQ(fDevice.ControlValue(V4L2_CID_CONTRAST), 0xff80);
    float nan = std::nanf("");
    EXPECT_EQ(brightness->SetValue(&nan, sizeof(nan), 0), B_BAD_VALUE);
    char shortValue = 1;
    EXPECT_EQ(brightness->SetValue(&shortValue, 1, 0), B_BAD_VALUE);

    // Other controls keep their own units.
    MediaParameter* uvRatio = web->ParameterWithID(
        kFirstControlParameter + int32(V4L2_CID_USER_BTTV_BASE + 7 - V4L2_CID_BASE));
    ASSERT_NE(uvRatio, nullptr);
    float ratio = 70;
    ASSERT_EQ(uvRatio->SetValue(&ratio, sizeof(ratio), 0), B_OK);
    EXPECT_EQ(fDevice.ControlValue(V4L2_CID_USER_BTTV_BASE + 7), 70);
}

TEST_F(V4L2CaptureTest, StandardChangeWhileStreamingRestartsWithTheNewSize) {
    V4L2Producer producer(fDevice, "/dev/video0");
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
    media_format format = rawVideo(B_GRAY8, 768, 576);
    ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
    ASSERT_EQ(SetOutputBuffersFor(producer.Output().source, consumer.Input().destination,
                                  consumer.MakeGroup(768 * 576, 4)),
              B_OK);
    consumer.Start(system_time());
    producer.Start(system_time());
    ASSERT_GE(consumer.WaitForBuffers(3, kWait), 3u);

    int32 ntsc = 1;
    ASSERT_EQ(producer.SetParameterValue(1, 0, &ntsc, sizeof(ntsc)), B_OK);
    size_t before = consumer.Buffers().size();
    ASSERT_GE(consumer.WaitForBuffers(before + 5, kWait), before + 5);
    EXPECT_EQ(producer.Output().format.raw_video.display.line_count, 480u);
    EXPECT_EQ(producer.Output().format.raw_video.display.line_width, 640u);
    EXPECT_EQ(consumer.Buffers().back().header.size_used, 640u * 480);
    EXPECT_EQ(fDevice.Memory(), V4L2_MEMORY_USERPTR);
    EXPECT_EQ(producer.StreamStatus(), B_OK);
}

TEST(V4L2DeviceListTest, ListsOnlyDevicesThatOpenAndCapture) {
    FakeBt848 device("/dev/video3");
    std::vector<V4L2DeviceInfo> found =
        listV4L2Devices(device, {"/dev/video0", "/dev/video3", "/dev/video4"});
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].path, "/dev/video3");
    EXPECT_EQ(found[0].driver, "bttv");
    EXPECT_EQ(device.OpenDescriptors(), 0);  // every probe closed what it opened
}

TEST(V4L2DeviceListTest, MissingDeviceGivesAnErrorNotACrash) {
    FakeBt848 device("/dev/video0");
    V4L2Producer producer(device, "/dev/video9");
    EXPECT_EQ(producer.InitCheck(), B_ENTRY_NOT_FOUND);
    EXPECT_EQ(producer.GetParameterWeb(), nullptr);
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
    media_format format = rawVideo(B_RGB32, 320, 240);
    EXPECT_NE(connectNodes(&producer, &consumer, &format), B_OK);
}

}  // namespace
