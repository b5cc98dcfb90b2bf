// Frames per second of the built-in test picture, unpaced: drawn alone, and through the node
// layer into a consumer that only recycles. Later benchmarks that capture from the test
// picture subtract this cost to find their own.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>

#include "media/node/MediaConnection.h"
#include "media/testsignal/TestPictureProducer.h"

namespace {

// Counts the frames it gets and recycles them at once.
class CountingConsumer : public MediaConsumer {
public:
    CountingConsumer() : MediaConsumer("Bench", B_MEDIA_RAW_VIDEO) {
        fInput.node = this;
        fInput.destination = {this, 0};
        fInput.format.type = B_MEDIA_RAW_VIDEO;
        Run();
    }
    ~CountingConsumer() override { Quit(); }

    // Waits for the frame after the last one waited for.
    void WaitForNext() {
        std::unique_lock lock(fLock);
        fArrived.wait(lock, [&] { return fCount > fWaited; });
        fWaited++;
    }
    const media_input& Input() const { return fInput; }

    status_t AcceptFormat(const media_destination&, media_format*) override { return B_OK; }
    status_t GetNextInput(int32* cookie, media_input* input) override {
        if (*cookie != 0)
            return B_BAD_INDEX;
        *input = fInput;
        (*cookie)++;
        return B_OK;
    }
    status_t Connected(const media_source& source, const media_destination&,
                       const media_format& format, media_input* input) override {
        fInput.source = source;
        fInput.format = format;
        *input = fInput;
        return B_OK;
    }
    void Disconnected(const media_source&, const media_destination&) override {
        fInput.source = {};
    }

protected:
    void BufferReceived(MediaBuffer* buffer) override {
        buffer->Recycle();
        std::lock_guard lock(fLock);
        fCount++;
        fArrived.notify_all();
    }

private:
    std::mutex fLock;  // guards fCount and fWaited
    std::condition_variable fArrived;
    int64 fCount = 0;
    int64 fWaited = 0;
    media_input fInput;  // control thread only
};

void BM_TestPictureDraw(benchmark::State& state, color_space space) {
    const uint32 width = uint32(state.range(0));
    const uint32 height = uint32(state.range(1));
    TestPicture picture(width, height, space);
    std::vector<uint8> frame(picture.FrameSize());
    int64 n = 1;
    for (auto _ : state) {
        // Never a flash frame: the flash is a plain fill and would flatter the figure.
        if (n % 25 == 0)
            n++;
        picture.Draw(frame.data(), n, n * 40000, 25, false);
        benchmark::DoNotOptimize(frame.data());
        n++;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["fps"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_TestPictureProducer(benchmark::State& state, color_space space) {
    TestPictureProducer producer;
    producer.SetPaced(false);
    producer.SetRealtimePriority(0);
    CountingConsumer consumer;
    media_format format;
    format.type = B_MEDIA_RAW_VIDEO;
    format.raw_video.display.format = space;
    format.raw_video.display.line_width = uint32(state.range(0));
    format.raw_video.display.line_count = uint32(state.range(1));
    media_output output;
    media_input input = consumer.Input();
    if (Connect(producer.Output().source, input.destination, &format, &output, &input) != B_OK) {
        state.SkipWithError("cannot connect");
        return;
    }
    producer.Start(0);
    for (auto _ : state)
        consumer.WaitForNext();
    producer.Stop(0, true);
    state.counters["fps"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK_CAPTURE(BM_TestPictureDraw, RGB32, B_RGB32)
    ->Args({720, 576})
    ->Args({1920, 1080})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_TestPictureDraw, YCbCr422, B_YCbCr422)
    ->Args({720, 576})
    ->Args({1920, 1080})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_TestPictureProducer, RGB32, B_RGB32)
    ->Args({720, 576})
    ->Args({1920, 1080})
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_TestPictureProducer, YCbCr422, B_YCbCr422)
    ->Args({720, 576})
    ->Args({1920, 1080})
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

BENCHMARK_MAIN();
