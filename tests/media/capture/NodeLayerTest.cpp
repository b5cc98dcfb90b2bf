// The node layer: buffer groups, connections with format negotiation, the consumer's event
// thread, start and stop at a time, the consumer's own buffers. (Stream errors: see the V4L2
// tests.)

#include <gtest/gtest.h>

#include <thread>

#include "media/testsignal/TestPictureProducer.h"
#include "tests/media/capture/CollectingConsumer.h"

TEST(BufferGroup, RequestWaitsForARecycledBufferAndTimesOut) {
    BufferGroup group(100, 2);
    ASSERT_EQ(group.InitCheck(), B_OK);
    MediaBuffer* a;
    MediaBuffer* b;
    MediaBuffer* c;
    ASSERT_EQ(group.RequestBuffer(100, 0, &a), B_OK);
    ASSERT_EQ(group.RequestBuffer(50, 0, &b), B_OK);
    EXPECT_NE(a->ID(), b->ID());
    EXPECT_EQ(group.RequestBuffer(10, 0, &c), B_WOULD_BLOCK);
    EXPECT_EQ(group.RequestBuffer(10, 20000, &c), B_TIMED_OUT);
    EXPECT_EQ(group.RequestBuffer(101, 0, &c), B_MEDIA_BAD_BUFFER);

    std::thread recycler([&] {
        snooze(20000);
        b->Recycle();
    });
    ASSERT_EQ(group.RequestBuffer(10, 5000000, &c), B_OK);
    recycler.join();
    EXPECT_EQ(c, b);
    EXPECT_EQ(group.WaitForAllBuffers(0), B_TIMED_OUT);
    a->Recycle();
    c->Recycle();
    c->Recycle();  // a second recycle is ignored, not a second free entry
    EXPECT_EQ(group.CountFree(), 2);
    EXPECT_EQ(group.WaitForAllBuffers(0), B_OK);
}

TEST(BufferGroup, WrapsMemoryItDoesNotOwnWithProcessWideIds) {
    std::vector<uint8> memory(300);
    BufferGroup group;
    MediaBuffer* wrapped;
    ASSERT_EQ(group.AddBuffer(memory.data(), memory.size(), &wrapped), B_OK);
    EXPECT_EQ(group.AddBuffer(nullptr, 10), B_BAD_VALUE);
    EXPECT_EQ(wrapped->Data(), memory.data());
    EXPECT_EQ(group.FindBuffer(wrapped->ID()), wrapped);

    BufferGroup other(300, 1);
    EXPECT_EQ(other.FindBuffer(wrapped->ID()), nullptr);
    EXPECT_NE(other.BufferAt(0)->ID(), wrapped->ID());
}

TEST(Connect, NegotiatesTheFormatAndReadsTheAdjustedSizeBack) {
    TestPictureProducer producer;
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);

    // A size beyond what the source can make comes back adjusted, not refused.
    media_format format = rawVideo(B_YCbCr422, 4000, 2000);
    ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
    EXPECT_EQ(format.raw_video.display.line_width, 1920u);
    EXPECT_EQ(format.raw_video.display.line_count, 1080u);
    EXPECT_EQ(format.raw_video.display.bytes_per_row, 3840u);
    EXPECT_FLOAT_EQ(format.raw_video.field_rate, 25.0f);
    EXPECT_EQ(consumer.Input().format.raw_video.display.line_width, 1920u);
    EXPECT_EQ(consumer.Input().source, producer.Output().source);

    // The output is taken now: no free one, and a second connection is refused.
    media_output outputs[2];
    int32 count = -1;
    EXPECT_EQ(GetFreeOutputsFor(&producer, outputs, 2, &count), B_OK);
    EXPECT_EQ(count, 0);
    CollectingConsumer second(B_MEDIA_RAW_VIDEO, "Second");
    format = rawVideo(B_RGB32, 320, 240);
    EXPECT_EQ(
        Connect(producer.Output().source, second.Input().destination, &format, nullptr, nullptr),
        B_MEDIA_ALREADY_CONNECTED);

    EXPECT_EQ(Disconnect(producer.Output().source, consumer.Input().destination), B_OK);
    EXPECT_TRUE(consumer.Input().source.IsNull());
    EXPECT_EQ(GetFreeOutputsFor(&producer, outputs, 2, &count), B_OK);
    EXPECT_EQ(count, 1);
}

TEST(Connect, RefusalsLeaveTheOutputFree) {
    TestPictureProducer producer;
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);

    // The producer cannot make this colour space.
    media_format format = rawVideo(B_CMAP8, 320, 240);
    EXPECT_EQ(connectNodes(&producer, &consumer, &format), B_MEDIA_BAD_FORMAT);
    // The consumer will not take it.
    consumer.RefuseFormats(true);
    format = rawVideo(B_RGB32, 320, 240);
    EXPECT_EQ(connectNodes(&producer, &consumer, &format), B_MEDIA_BAD_FORMAT);
    EXPECT_FALSE(producer.IsConnected());
    EXPECT_TRUE(consumer.Input().source.IsNull());

    consumer.RefuseFormats(false);
    format = media_format{};  // all wildcards: the producer's own choice
    ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
    EXPECT_EQ(format.type, B_MEDIA_RAW_VIDEO);
    EXPECT_EQ(format.raw_video.display.format, B_RGB32);
    EXPECT_GT(format.raw_video.display.line_width, 0u);
}

TEST(EventLoop, DeliversEventsInTimeOrderAtTheirTimes) {
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
    BufferGroup group(16, 4);
    const bigtime_t base = system_time() + 100000;
    consumer.Start(base + 30000);
    consumer.Stop(base + 50000, false);
    const bigtime_t offsets[] = {60000, 20000, 40000};
    for (int i = 0; i < 3; i++) {
        MediaBuffer* buffer;
        ASSERT_EQ(group.RequestBuffer(16, 0, &buffer), B_OK);
        buffer->Header()->sequence = offsets[i] / 20000;
        buffer->Header()->start_time = base + offsets[i];
        ASSERT_EQ(consumer.EnqueueBuffer(buffer, nullptr), B_OK);
    }

    ASSERT_EQ(consumer.WaitForBuffers(3, 5000000), 3u);
    EXPECT_EQ(consumer.Events(),
              (std::vector<std::string>{"buffer 1", "start", "buffer 2", "stop", "buffer 3"}));
    // A buffer waits for the start or stop before it, not for its own time.
    std::vector<ReceivedBuffer> buffers = consumer.Buffers();
    EXPECT_LT(buffers[0].arrival, base + 30000);
    EXPECT_GE(buffers[1].arrival, base + 30000);
    EXPECT_GE(buffers[2].arrival, base + 50000);
    EXPECT_FALSE(buffers[0].started);
    EXPECT_TRUE(buffers[1].started);
    EXPECT_FALSE(buffers[2].started);
    EXPECT_EQ(group.WaitForAllBuffers(1000000), B_OK);
}

TEST(EventLoop, QuitRecyclesWhatIsStillQueued) {
    BufferGroup group(16, 2);
    {
        CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
        // Held behind a start a minute away.
        consumer.Start(system_time() + 60000000);
        MediaBuffer* buffer;
        ASSERT_EQ(group.RequestBuffer(16, 0, &buffer), B_OK);
        buffer->Header()->start_time = system_time() + 61000000;
        consumer.EnqueueBuffer(buffer, nullptr);
        snooze(20000);
        EXPECT_EQ(group.CountFree(), 1);
    }
    EXPECT_EQ(group.CountFree(), 2);
}

TEST(Producer, StartsAtItsTimeAndStopsSynchronously) {
    TestPictureProducer producer;
    producer.SetPaced(false);
    producer.SetRealtimePriority(0);
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
    consumer.KeepData(false);
    media_format format = rawVideo(B_GRAY8, 64, 48);
    ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);

    const bigtime_t start = system_time() + 150000;
    consumer.Start(start);
    producer.Start(start);
    ASSERT_GE(consumer.WaitForBuffers(20, 5000000), 20u);
    const ReceivedBuffer first = consumer.Buffers().front();
    EXPECT_GE(first.arrival, start);
    EXPECT_EQ(first.header.start_time, start);  // frame 0 of the grid lies at the origin
    EXPECT_EQ(first.header.sequence, 0);

    producer.Stop(0, true);
    EXPECT_EQ(producer.State(), RunState::Stopped);
    const size_t stopped = consumer.WaitForBuffers(SIZE_MAX, 50000);
    EXPECT_EQ(consumer.WaitForBuffers(SIZE_MAX, 100000), stopped);
}

TEST(Producer, DrawsIntoTheConsumersOwnBuffersAndRecyclesThem) {
    TestPictureProducer producer;
    producer.SetPaced(false);
    producer.SetRealtimePriority(0);
    CollectingConsumer consumer(B_MEDIA_RAW_VIDEO);
    media_format format = rawVideo(B_RGB32, 64, 48);
    std::shared_ptr<BufferGroup> own = consumer.MakeGroup(64 * 48 * 4, 3);
    ASSERT_EQ(connectNodes(&producer, &consumer, &format), B_OK);
    ASSERT_EQ(SetOutputBuffersFor(producer.Output().source, consumer.Input().destination, own),
              B_OK);
    consumer.Start(0);
    producer.Start(system_time());

    // Three buffers carry thirty frames only if every one comes back.
    ASSERT_GE(consumer.WaitForBuffers(30, 5000000), 30u);
    for (const ReceivedBuffer& received : consumer.Buffers())
        EXPECT_TRUE(received.own);

    // Taking the buffers back: the producer falls back on its own.
    ASSERT_EQ(SetOutputBuffersFor(producer.Output().source, consumer.Input().destination, nullptr),
              B_OK);
    const size_t before = consumer.Buffers().size();
    ASSERT_GE(consumer.WaitForBuffers(before + 10, 5000000), before + 10);
    EXPECT_FALSE(consumer.Buffers().back().own);

    // After a disconnect nothing of the consumer's group is out any more.
    ASSERT_EQ(Disconnect(producer.Output().source, consumer.Input().destination), B_OK);
    EXPECT_EQ(own->WaitForAllBuffers(0), B_OK);
    const size_t after = consumer.Buffers().size();
    snooze(50000);
    EXPECT_EQ(consumer.Buffers().size(), after);
}
