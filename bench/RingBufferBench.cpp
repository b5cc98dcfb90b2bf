// One video frame through a ring slot (Write, AcquireBuffer, ReleaseBuffer) against a plain
// memcpy of the same bytes: what the ring adds to the copy that recording needs anyway.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "engine/RingBuffer.h"

namespace {

// 720x576 RGB32: one PAL frame as the video node records it.
constexpr uint32 kFrameBytes = 720 * 576 * 4;
// The engine's ring length.
constexpr int32 kSlots = 40;

void BM_RingSlot(benchmark::State& state) {
    RingBuffer ring(kSlots, kFrameBytes);
    if (ring.InitCheck() != B_OK) {
        state.SkipWithError("ring not created");
        return;
    }
    std::vector<uint8> frame(kFrameBytes, 0x5a);
    bigtime_t time = 0;
    for (auto _ : state) {
        ring.Write(frame.data(), time++);
        void* slot;
        bigtime_t slotTime;
        ring.AcquireBuffer(&slot, &slotTime);
        benchmark::DoNotOptimize(slot);
        ring.ReleaseBuffer();
    }
    state.SetBytesProcessed(int64(state.iterations()) * kFrameBytes);
}
BENCHMARK(BM_RingSlot);

// Copies into as many destination frames as the ring has slots, so both touch the same
// amount of memory.
void BM_Memcpy(benchmark::State& state) {
    std::vector<uint8> frame(kFrameBytes, 0x5a);
    std::vector<std::vector<uint8>> slots(kSlots, std::vector<uint8>(kFrameBytes));
    size_t next = 0;
    for (auto _ : state) {
        std::memcpy(slots[next].data(), frame.data(), kFrameBytes);
        benchmark::DoNotOptimize(slots[next].data());
        next = (next + 1) % kSlots;
    }
    state.SetBytesProcessed(int64(state.iterations()) * kFrameBytes);
}
BENCHMARK(BM_Memcpy);

}  // namespace

BENCHMARK_MAIN();
