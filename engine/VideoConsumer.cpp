#include "engine/VideoConsumer.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "app/records/ErrorAlert.h"
#include "engine/PreviewSinks.h"
#include "engine/VideoConversion.h"
#include "support/Clock.h"
#include "support/LockedMemory.h"
#include "support/Log.h"
#include "support/Thread.h"

namespace {

// Larger frames than any capture device delivers are refused rather than mapped.
constexpr uint32 kMaxBitmapSide = 8192;
// The event thread's real-time priority when the system grants one: below the capture
// threads (20), which must never wait for the consumer.
constexpr int kEventPriority = 15;
// What the node adds to the input's latency, in µs.
constexpr bigtime_t kLatency = 10000;

}  // namespace

VideoConsumer::VideoConsumer(int32 internalId, const char* name, VideoFrameSink* view)
    : SingleInputConsumer(internalId, name, B_MEDIA_RAW_VIDEO, 0, "Video Consumer", kLatency,
                          kEventPriority, view) {}

VideoConsumer::~VideoConsumer() {
    StopBufferCreator();
    Quit();
    DeleteBuffers();
}

// --- Buffers ---

std::unique_ptr<VideoConsumer::Bitmap> VideoConsumer::MakeBitmap(const Rect& frame,
                                                                 color_space space) {
    const float width = frame.right - frame.left + 1;
    const float height = frame.bottom - frame.top + 1;
    if (!(width >= 1 && height >= 1 && width <= kMaxBitmapSide && height <= kMaxBitmapSide))
        return nullptr;
    auto bitmap = std::make_unique<Bitmap>();
    bitmap->width = uint32(width);
    bitmap->height = uint32(height);
    bitmap->space = space;
    bitmap->bytesPerRow = bytesPerRow(space, bitmap->width);
    if (bitmap->bytesPerRow == 0)
        return nullptr;
    bitmap->memory = std::make_unique<LockedMemory>(bitmap->BitsLength());
    if (bitmap->memory->InitCheck() != B_OK)
        return nullptr;
    bitmap->bits = bitmap->memory->Allocate(bitmap->BitsLength());
    if (bitmap->bits == nullptr)
        return nullptr;
    return bitmap;
}

status_t VideoConsumer::SetBuffers(media_format& format, uint32 count) {
    StopBufferCreator();
    DeleteBuffers();
    {
        std::lock_guard lock(fBuffersLock);
        fBufferCount = int32(std::min<uint32>(count, kMaxBuffers));
        fBufferGroup = std::make_shared<BufferGroup>();
        if (status_t status = fBufferGroup->InitCheck(); status != B_OK) {
            fBufferGroup.reset();
            return status;
        }
    }
    const media_video_display_info& display = format.raw_video.display;
    const Rect frame{0, 0, float(display.line_width) - 1, float(display.line_count) - 1};
    status_t status = CreateBuffer(frame, display.format, 0);
    if (status == B_OK) {
        std::lock_guard lock(fBuffersLock);
        format.raw_video.display.bytes_per_row = fBitmaps[0]->bytesPerRow;
    }
    return status;
}

status_t VideoConsumer::CreateBuffer(const Rect& frame, color_space space, int32 index) {
    if (index < 0 || index >= kMaxBuffers)
        return B_BAD_INDEX;
    std::unique_ptr<Bitmap> bitmap = MakeBitmap(frame, space);
    if (bitmap == nullptr) {
        if (index < 1) {
            DeleteBuffers();
        } else {
            // The buffers made so far are kept.
            std::lock_guard lock(fBuffersLock);
            fBufferCount = index;
        }
        return B_ERROR;
    }
    std::lock_guard lock(fBuffersLock);
    if (fBufferGroup == nullptr)
        return B_NO_INIT;
    MediaBuffer* buffer = nullptr;
    status_t status = fBufferGroup->AddBuffer(bitmap->bits, bitmap->BitsLength(), &buffer);
    if (status != B_OK)
        return ErrorAlert("Could not add buffer", status, false);
    fBufferIDs[size_t(index)] = buffer->ID();
    fBitmaps[size_t(index)] = std::move(bitmap);
    return B_OK;
}

int32 VideoConsumer::CreateBuffersFunc(void* node) {
    auto* self = static_cast<VideoConsumer*>(node);
    const media_format format = self->ConnectedFormat();
    const media_video_display_info& display = format.raw_video.display;
    const Rect frame{0, 0, float(display.line_width) - 1, float(display.line_count) - 1};
    for (int32 index = 1; self->fCreating.load() && index < self->BufferCount(); index++) {
        status_t status = self->CreateBuffer(frame, display.format, index);
        if (status != B_OK) {
            ErrorAlert("Could not create all requested buffers", status, false);
            return status;
        }
    }
    return self->fCreating.load() ? B_OK : B_CANCELED;
}

status_t VideoConsumer::HandBuffersOver() {
    WaitForBufferCreator();
    media_source source;
    media_destination destination;
    {
        std::lock_guard lock(fInputLock);
        source = fInput.source;
        destination = fInput.destination;
    }
    std::shared_ptr<BufferGroup> group;
    {
        std::lock_guard lock(fBuffersLock);
        group = fBufferGroup;
    }
    if (group == nullptr || source.IsNull())
        return B_NO_INIT;
    status_t status = SetOutputBuffersFor(source, destination, std::move(group));
    if (status == B_OK)
        fGroupLent.store(true);
    return status;
}

void VideoConsumer::StopBufferCreator() {
    fCreating.store(false);
    if (fCreatorThread.joinable())
        fCreatorThread.join();
}

void VideoConsumer::WaitForBufferCreator() {
    if (fCreatorThread.joinable())
        fCreatorThread.join();
}

void VideoConsumer::DeleteBuffers() {
    std::lock_guard lock(fBuffersLock);
    if (fBufferGroup == nullptr)
        return;
    for (int32 index = kMaxBuffers - 1; index >= 0; index--) {
        fBitmaps[size_t(index)].reset();
        fBufferIDs[size_t(index)] = 0;
    }
    fBufferGroup.reset();
    fLastIndex = 0;
}

int32 VideoConsumer::BufferCount() {
    std::lock_guard lock(fBuffersLock);
    return fBufferCount;
}

const void* VideoConsumer::BitmapBits(int32 index, uint32* bytesPerRow) {
    std::lock_guard lock(fBuffersLock);
    if (index < 0 || index >= kMaxBuffers || fBitmaps[size_t(index)] == nullptr)
        return nullptr;
    if (bytesPerRow != nullptr)
        *bytesPerRow = fBitmaps[size_t(index)]->bytesPerRow;
    return fBitmaps[size_t(index)]->bits;
}

int32 VideoConsumer::LastIndex() {
    std::lock_guard lock(fBuffersLock);
    return fLastIndex;
}

// --- Preview ---

bool VideoConsumer::HasConversionBitmap() {
    std::lock_guard lock(fViewLock);
    return fConversionBitmap != nullptr;
}

void VideoConsumer::UpdateConversion() {
    media_format format;
    bool connected;
    {
        std::lock_guard lock(fInputLock);
        format = fInput.format;
        connected = !fInput.source.IsNull();
    }
    const media_video_display_info& display = format.raw_video.display;
    if (!connected || fView == nullptr || fView->CanDraw(display.format)) {
        fConversionBitmap.reset();
        return;
    }
    if (fConversionBitmap != nullptr && fConversionBitmap->width == display.line_width &&
        fConversionBitmap->height == display.line_count)
        return;
    // A bitmap that cannot be made leaves the preview without conversion (nothing drawn).
    fConversionBitmap = MakeBitmap(
        Rect{0, 0, float(display.line_width) - 1, float(display.line_count) - 1}, B_RGB32);
}

bool VideoConsumer::DrawView(MediaBuffer* buffer, Bitmap* bitmap, bigtime_t timeout,
                             bool fromBuffer) {
    VideoFrame frame;
    frame.startTime = buffer->Header()->start_time;
    if (fConversionBitmap != nullptr) {
        const media_format format = ConnectedFormat();
        const media_video_display_info& display = format.raw_video.display;
        const uint32 rowBytes = buffer->Header()->bytes_per_row != 0
                                    ? buffer->Header()->bytes_per_row
                                    : display.bytes_per_row;
        const uint32 height = std::min(display.line_count, fConversionBitmap->height);
        if (size_t(rowBytes) * height <= buffer->SizeAvailable()) {
            convertToRGB32(buffer->Data(), rowBytes, display.format,
                           std::min(display.line_width, fConversionBitmap->width), height,
                           fConversionBitmap->bits, fConversionBitmap->bytesPerRow);
        }
        bitmap = fConversionBitmap.get();
    }
    frame.data = fromBuffer && bitmap != fConversionBitmap.get() ? buffer->Data() : bitmap->bits;
    frame.bytesPerRow = bitmap->bytesPerRow;
    frame.width = bitmap->width;
    frame.height = bitmap->height;
    frame.space = bitmap->space;
    return fView->PresentFrame(frame, timeout);
}

void VideoConsumer::PreviewBuffer(MediaBuffer* buffer) {
    Bitmap* bitmap = nullptr;
    bool copy = true;
    {
        std::lock_guard lock(fBuffersLock);
        int32 index = -1;
        for (int32 i = 0; i < fBufferCount; i++) {
            if (fBitmaps[size_t(i)] != nullptr && fBufferIDs[size_t(i)] == buffer->ID()) {
                index = i;
                copy = false;
                break;
            }
        }
        if (index < 0)
            index = fBufferCount > 0 ? (fLastIndex + 1) % fBufferCount : 0;
        fLastIndex = index;
        bitmap = fBitmaps[size_t(index)].get();
    }
    if (bitmap == nullptr)
        return;
    if (system_time() >= buffer->Header()->start_time + kMaxPreviewLateness)
        return;
    // Half a frame period: a busy view costs this frame, never the node's pace.
    const bigtime_t timeout = bigtime_t(500000 / fDisplayRate.load());
    std::lock_guard lock(fViewLock);
    if (fView == nullptr)
        return;
    // Once the producer captures into the bitmaps, any of them may be its to fill: a frame
    // still arriving in a buffer of its own is then drawn from there, not copied.
    const bool bitmapsLent = fGroupLent.load();
    if (fConversionBitmap == nullptr && copy && !bitmapsLent) {
        memcpy(bitmap->bits, buffer->Data(),
               std::min(bitmap->BitsLength(), buffer->SizeAvailable()));
    }
    const bool fromBuffer = copy && bitmapsLent && buffer->SizeAvailable() >= bitmap->BitsLength();
    if (copy && bitmapsLent && !fromBuffer)
        return;
    DrawView(buffer, bitmap, timeout, fromBuffer);
}

// --- Recording ---

void VideoConsumer::SetSkipFrames(int32 skipFrames) {
    fSkipFrames.store(std::max<int32>(1, skipFrames));
}

bigtime_t VideoConsumer::Interval() const {
    // Without a negotiated rate the display rate (25) stands in, so the interval is defined.
    float rate = fFieldRate.load();
    if (rate < 1.0f)
        rate = fDisplayRate.load();
    return bigtime_t(1000000.0 / (double(rate) * fSkipFrames.load()) + 0.5);
}

bool VideoConsumer::RecordBuffer(MediaBuffer* buffer) {
    const int64 received = fReceivedBuffers.fetch_add(1) + 1;
    const int32 skipFrames = fSkipFrames.load();
    if (skipFrames > 1 && received % skipFrames != 0)
        return false;

    // Each frame lies one interval after the one before; when that falls behind the frame's
    // real time by the drift limit, the intervals in between brought no frame.
    const bool ended = fRecord.Record(buffer, [this](bigtime_t elapsed, bool first) {
        // The first frame sets the origin: it lies at 0, each one after it an interval later.
        if (first)
            return bigtime_t(0);
        const bigtime_t interval = Interval();
        bigtime_t relative = fRecord.RelativeTime() + interval;
        for (bigtime_t drift = elapsed - relative; drift >= kMaxDrift; drift = elapsed - relative) {
            logOutput("frame dropped - drift = %" PRId64 "?\n", drift);
            std::fflush(stdout);
            relative += interval;
        }
        return relative;
    });
    if (ended)
        fStopSemaphore.Release();
    return true;
}

int64 VideoConsumer::FramesCounter() {
    // Single precision, as the status panel has always computed it.
    const float relative = float(fRecord.CountedTime());
    return int64(relative * fDisplayRate.load() / (float(fSkipFrames.load()) * 1000000.0f));
}

int64 VideoConsumer::ExpectedFrames() const {
    if (!fRecord.Started())
        return 0;
    const bigtime_t interval = Interval();
    return (interval > 0 ? fRecord.CountedTime() / interval : 0) + 1;
}

// --- Events ---

void VideoConsumer::HandleEvent(const media_timed_event* event, bigtime_t lateness) {
    if (event->type == B_START)
        fReceivedBuffers.store(0);
    SingleInputConsumer::HandleEvent(event, lateness);
}

void VideoConsumer::ReceiveBuffer(MediaBuffer* buffer) {
    if (RecordBuffer(buffer))
        PreviewBuffer(buffer);
}

// --- Connection hooks ---

status_t VideoConsumer::AcceptFormat(const media_destination& destination, media_format* format) {
    {
        std::lock_guard lock(fInputLock);
        if (!IsInput(destination))
            return B_MEDIA_BAD_DESTINATION;
    }
    if (format->type == B_MEDIA_NO_TYPE)
        format->type = B_MEDIA_RAW_VIDEO;
    if (format->type != B_MEDIA_RAW_VIDEO)
        return B_MEDIA_BAD_FORMAT;
    // Size, rate and layout are not checked: the buffers already fix them.
    std::lock_guard lock(fBuffersLock);
    if (fBitmaps[0] == nullptr || fBitmaps[0]->space != format->raw_video.display.format)
        return B_MEDIA_BAD_FORMAT;
    return B_OK;
}

void VideoConsumer::InputConnected(const media_format& format) {
    StopBufferCreator();
    fCreating.store(true);
    try {
        fCreatorThread = spawnThread("buffer creator", [this] { CreateBuffersFunc(this); });
    } catch (const std::system_error&) {
        CreateBuffersFunc(this);
    }
    const float fieldRate = format.raw_video.field_rate;
    fDisplayRate.store(fieldRate < 1.0f ? 25.0f : fieldRate);
    fFieldRate.store(fieldRate);
    std::lock_guard lock(fViewLock);
    UpdateConversion();
}

void VideoConsumer::InputDisconnected() {
    fGroupLent.store(false);
    std::lock_guard lock(fViewLock);
    fConversionBitmap.reset();
}

status_t VideoConsumer::FormatChanged(const media_source& source,
                                      const media_destination& destination, int32,
                                      const media_format& format) {
    {
        std::lock_guard lock(fInputLock);
        if (!IsInput(destination))
            return B_MEDIA_BAD_DESTINATION;
        if (source != fInput.source)
            return B_MEDIA_BAD_SOURCE;
        fInput.format = format;
    }
    std::lock_guard lock(fBuffersLock);
    if (fBitmaps[0] != nullptr && fBitmaps[0]->space == format.raw_video.display.format)
        return B_OK;
    return B_MEDIA_BAD_FORMAT;
}
