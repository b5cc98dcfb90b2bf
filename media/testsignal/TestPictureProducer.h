#pragma once
// The built-in video input: the moving test picture (see TestPicture) as a producer, with the
// parameter web of a TV card (ids as a Bt848 card's node has them: 14 channel, 15 video
// source, 1 video format, 18/19/20 brightness/contrast/saturation on -100..100) whose values
// change what is drawn.
//
// Frame n of a stream is stamped with origin + FrameTime(n) on the shared TestSignalClock,
// where the origin is the time the node was started at; header.sequence is n. Paced, frames
// are sent at their times (a frame more than two periods late is skipped, as a card would
// drop it); unpaced, they are drawn as fast as buffers come back, with the same stamps.
//
// Buffers: the consumer's own group when it handed one over (the picture is drawn straight
// into its buffers), else a group of four of the producer's own.
//
// Threads: the capture thread draws; the controls are read per frame under fControlLock, so
// parameter writes from any thread take effect at the next frame.

#include <memory>
#include <mutex>

#include "media/node/MediaProducer.h"
#include "media/testsignal/TestPicture.h"
#include "media/testsignal/TestSignalClock.h"

// Parameter ids, the same a TV card's video input uses.
enum : int32 {
    kTestFormatParameter = 1,
    kTestChannelParameter = 14,
    kTestSourceParameter = 15,
    kTestBrightnessParameter = 18,
    kTestContrastParameter = 19,
    kTestSaturationParameter = 20,
};

class TestPictureProducer : public MediaProducer {
public:
    // `clock` is shared with a TestToneProducer whose clicks follow the flashes (nullptr: a
    // clock of its own).
    explicit TestPictureProducer(std::shared_ptr<TestSignalClock> clock = nullptr,
                                 const char* name = "Test Picture");
    ~TestPictureProducer() override;

    const std::shared_ptr<TestSignalClock>& Clock() const { return fClock; }

    // Real-time pacing (the default) or as fast as possible (benchmarks, tests).
    void SetPaced(bool paced) { fPaced.store(paced); }
    // Leaves gaps: with n > 1 every n-th frame (n - 1, 2n - 1, ...) is not sent; its number
    // is used up all the same. 0 or 1: no gaps.
    void SetFrameGaps(int32 every) { fGapEvery.store(every); }
    // Frames drawn but not sent because no buffer was free in time.
    int64 DroppedFrames() const { return fDropped.load(); }

    std::unique_ptr<ParameterWeb> GetParameterWeb() override;
    status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) override;
    status_t SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) override;

    status_t GetLatency(bigtime_t* latency) override;

protected:
    status_t FormatProposal(media_format* format) override;
    status_t PrepareToConnect(media_format* format) override;
    void Connected(const media_format& format) override;
    void Disconnected() override;
    void BufferGroupChanged(BufferGroup* group) override;

    status_t StartCapture() override;
    status_t CaptureNext() override;
    void StopCapture() override;

private:
    // The colour space and default size of a wildcard request.
    static constexpr color_space kDefaultSpace = B_RGB32;
    static constexpr int32 kOwnBufferCount = 4;

    const std::shared_ptr<TestSignalClock> fClock;
    std::atomic<bool> fPaced{true};
    std::atomic<int32> fGapEvery{0};
    std::atomic<int64> fDropped{0};

    // fControlLock guards fControls, fStandard and fChangeTime.
    mutable std::mutex fControlLock;
    TestPictureControls fControls;
    int32 fStandard = 0;  // 0 PAL, 1 NTSC
    bigtime_t fChangeTime = 0;

    // Connection and capture state: control thread while the capture thread is stopped,
    // capture thread while it runs (see MediaProducer).
    std::unique_ptr<TestPicture> fPicture;
    std::unique_ptr<BufferGroup> fOwnBuffers;
    BufferGroup* fBuffers = nullptr;  // the consumer's or fOwnBuffers
    bigtime_t fOrigin = 0;
    int64 fNextFrame = 0;
    bool fStreaming = false;  // a stream from fOrigin has begun on this connection
};
