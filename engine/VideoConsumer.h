#pragma once
// The engine's video node: receives raw video from the video input, copies each frame into
// the video ring while recording (with a recording-relative time and the drift rule), and
// hands it to the preview sink, converted to B_RGB32 when the sink cannot draw the captured
// colour space.
//
// Buffers: the node owns up to kMaxBuffers frame bitmaps (page-aligned, pre-faulted memory)
// and a BufferGroup over them, which the producer captures into (V4L2 as USERPTR), so a
// frame reaches the preview and the ring without a copy in between. SetBuffers makes the
// first bitmap before a connection (its colour space decides which formats are accepted);
// the "buffer creator" thread makes the rest after Connected, and HandBuffersOver gives the
// group to the producer. Frames in buffers that are not the node's own are copied into the next
// bitmap in turn for the preview.
//
// Threads: those of SingleInputConsumer (control thread: connection hooks, SetBuffers,
// SetView; event thread: ReceiveBuffer, HandleEvent), the buffer creator, and the control
// thread's recording switches and counters. fBuffersLock guards the bitmap arrays, the buffer
// count and the last index; fViewLock guards the sink and the conversion bitmap, and is held
// while a frame is presented (at most half a frame period); the recording state is atomic or
// fRecord's own.

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

#include "engine/SingleInputConsumer.h"
#include "support/Geometry.h"
#include "support/Semaphore.h"

class LockedMemory;

class VideoConsumer : public SingleInputConsumer<VideoFrameSink> {
public:
    static constexpr int32 kBufferCount = 3;
    static constexpr int32 kMaxBuffers = 50;
    // Frames later than this are not previewed.
    static constexpr bigtime_t kMaxPreviewLateness = 20000;
    // The recording-relative time may fall this far behind a frame's real time before the
    // frames in between count as dropped.
    static constexpr bigtime_t kMaxDrift = 60000;

    VideoConsumer(int32 internalId, const char* name, VideoFrameSink* view);
    ~VideoConsumer() override;

    // Prepares the buffers for a coming connection in `format`'s colour space and size (at
    // most kMaxBuffers of them) and writes their layout into `format`. -1 when not even the
    // first could be made; then the next colour space should be tried.
    status_t SetBuffers(media_format& format, uint32 count);
    status_t CreateBuffer(const Rect& frame, color_space space, int32 index);
    // Body of the "buffer creator" thread: makes the buffers after the first.
    static int32 CreateBuffersFunc(void* node);
    // Waits for the buffer creator and hands the buffers to the producer. Giving a producer
    // buffers is a graph operation, which the control thread makes (one at a time), once
    // the connection is complete: the engine calls this after Connect.
    status_t HandBuffersOver();
    // Stops the buffer creator early and waits for it. The control thread calls this before
    // it disconnects the node.
    void StopBufferCreator();
    // Waits for the buffer creator to finish.
    void WaitForBufferCreator();
    void DeleteBuffers();

    // The recording's origin, which the first recorded frame sets (see RecordPath).
    void SetOrigin(RecordingOrigin* origin) { fRecord.SetOrigin(origin); }
    void SetSkipFrames(int32 skipFrames);
    int32 SkipFrames() const { return fSkipFrames.load(); }
    // Frames that should have arrived since the recording began, and those not recorded.
    int64 FramesCounter();
    // The counter runs from the first frame's time to the last one's: the first frame itself
    // comes on top.
    int64 DroppedFrames() { return fRecord.Dropped(FramesCounter() + (fRecord.Started() ? 1 : 0)); }
    // The frames the recording's times span, the first one included, counted exactly (the
    // times advance by whole intervals): what the report calls expected. 0 before the first.
    int64 ExpectedFrames() const;
    float DisplayRate() const { return fDisplayRate.load(); }
    float FieldRate() const { return fFieldRate.load(); }

    // For tests and the preview: the bitmaps made so far and the connected format.
    int32 BufferCount();
    // The memory of bitmap `index` (nullptr when there is none) and its bytes per row.
    const void* BitmapBits(int32 index, uint32* bytesPerRow = nullptr);
    int32 LastIndex();
    bool HasConversionBitmap();

    // --- MediaConsumer ---
    status_t AcceptFormat(const media_destination& destination, media_format* format) override;
    status_t FormatChanged(const media_source& source, const media_destination& destination,
                           int32 changeTag, const media_format& format) override;

protected:
    void HandleEvent(const media_timed_event* event, bigtime_t lateness) override;
    // Starts the buffer creator, takes the rates, and fits the preview's conversion.
    void InputConnected(const media_format& format) override;
    void InputDisconnected() override;
    void ReceiveBuffer(MediaBuffer* buffer) override;
    void ViewChanged() override { UpdateConversion(); }

private:
    // One frame's memory, with the layout of a bitmap of that size and colour space.
    struct Bitmap {
        std::unique_ptr<LockedMemory> memory;
        void* bits = nullptr;
        uint32 bytesPerRow = 0;
        uint32 width = 0;
        uint32 height = 0;
        color_space space = B_NO_COLOR_SPACE;
        size_t BitsLength() const { return size_t(bytesPerRow) * height; }
    };
    static std::unique_ptr<Bitmap> MakeBitmap(const Rect& frame, color_space space);

    // The record path; false when the frame is skipped (neither recorded nor previewed).
    bool RecordBuffer(MediaBuffer* buffer);
    void PreviewBuffer(MediaBuffer* buffer);
    // Draws one frame (converted when needed) into the sink; fViewLock held.
    // `fromBuffer`: the pixels are in the buffer, laid out as `bitmap`'s.
    bool DrawView(MediaBuffer* buffer, Bitmap* bitmap, bigtime_t timeout, bool fromBuffer);
    // Makes or drops the conversion bitmap for the sink and the connected colour space;
    // fViewLock held.
    void UpdateConversion();
    bigtime_t Interval() const;

    // Guarded by fViewLock.
    std::unique_ptr<Bitmap> fConversionBitmap;

    // The recording beside fRecord: the video node's own rules.
    // Released once at the first frame after a recording ended; nothing waits on it.
    Semaphore fStopSemaphore{0, "video recording"};
    std::atomic<int32> fSkipFrames{1};
    std::atomic<float> fFieldRate{0};
    std::atomic<float> fDisplayRate{25.0f};
    std::atomic<int64> fReceivedBuffers{0};

    // Guarded by fBuffersLock (the buffer creator adds, the event thread looks up).
    std::mutex fBuffersLock;
    std::shared_ptr<BufferGroup> fBufferGroup;
    std::array<std::unique_ptr<Bitmap>, kMaxBuffers> fBitmaps;
    std::array<int32, kMaxBuffers> fBufferIDs{};
    int32 fBufferCount = kBufferCount;
    int32 fLastIndex = 0;

    // The buffer creator: started by Connected, joined by StopBufferCreator (control thread).
    std::thread fCreatorThread;
    std::atomic<bool> fCreating{false};
    // The producer has the group (from the hand-over until the disconnect).
    std::atomic<bool> fGroupLent{false};
};
