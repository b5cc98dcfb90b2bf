#include "media/v4l2/V4L2Producer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "support/Clock.h"
#include "support/Log.h"

namespace {

constexpr uint32 kMappedBuffers = 4;
constexpr int kPollTimeoutMs = 50;  // short enough for a stop to be noticed in time
constexpr color_space kProposalOrder[] = {B_RGB32, B_YCbCr422, B_YCbCr411, B_RGB24,
                                          B_RGB16, B_RGB15,    B_GRAY8};

}  // namespace

V4L2Producer::V4L2Producer(V4L2Io& io, std::string path, std::string channelTable)
    : MediaProducer(path, B_MEDIA_RAW_VIDEO),
      fDevice(io, std::move(path)),
      fControls(fDevice, std::move(channelTable)) {}

V4L2Producer::~V4L2Producer() {
    Quit();
}

V4L2Device::Memory V4L2Producer::BufferMemory() const {
    std::lock_guard lock(fDeviceLock);
    return fDevice.BufferMemory();
}

std::vector<color_space> V4L2Producer::ColorSpaces() const {
    std::vector<color_space> spaces;
    for (color_space space : kProposalOrder) {
        for (uint32 pixelFormat : V4L2Device::PixelFormatsFor(space)) {
            const std::vector<uint32>& offered = fDevice.PixelFormats();
            if (std::find(offered.begin(), offered.end(), pixelFormat) != offered.end()) {
                spaces.push_back(space);
                break;
            }
        }
    }
    return spaces;
}

std::unique_ptr<ParameterWeb> V4L2Producer::GetParameterWeb() {
    if (fDevice.InitCheck() != B_OK)
        return nullptr;
    return fControls.MakeWeb(this);
}

status_t V4L2Producer::GetParameterValue(int32 id, bigtime_t* lastChange, void* value,
                                         size_t* size) {
    return fControls.GetParameterValue(id, lastChange, value, size);
}

status_t V4L2Producer::SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) {
    if (id == kVideoFormatParameter && value != nullptr && size >= sizeof(int32)) {
        int32 index;
        std::memcpy(&index, value, sizeof(index));
        return ChangeStandard(index, when, value, size);
    }
    return fControls.SetParameterValue(id, when, value, size);
}

status_t V4L2Producer::ChangeStandard(int32 index, bigtime_t when, const void* value, size_t size) {
    std::lock_guard lock(fDeviceLock);
    uint32 lines = fControls.FrameLinesOf(index);
    bool restart = fCapturing && fDevice.BufferMemory() != V4L2Device::Memory::None &&
                   lines != fControls.FrameLinesOf(fControls.CurrentStandard());
    if (!restart && fDevice.BufferMemory() == V4L2Device::Memory::None) {
        status_t status = fControls.SetParameterValue(kVideoFormatParameter, when, value, size);
        if (status == B_OK && fColorSpace != B_NO_COLOR_SPACE) {
            // Connected but not streaming: the next start announces a size that changed.
            fDevice.SetFormat(fColorSpace, fRequestedWidth, fRequestedHeight);
        }
        return status;
    }
    if (!restart)
        return fControls.SetParameterValue(kVideoFormatParameter, when, value, size);

    // The frame changes height: no buffer may exist while the standard and size change.
    StopStreamingLocked();
    status_t status = fControls.SetParameterValue(kVideoFormatParameter, when, value, size);
    status_t formatStatus = fDevice.SetFormat(fColorSpace, fRequestedWidth, fRequestedHeight);
    if (formatStatus == B_OK) {
        fPendingFormat = ConnectedFormat();
        FillFormat(&fPendingFormat);
        fFormatPending = true;
    }
    status_t streamStatus = StartStreamingLocked();
    if (streamStatus != B_OK)
        logError("v4l2: cannot restart %s after the standard changed: %s", fDevice.Path().c_str(),
                 statusText(streamStatus).c_str());
    return status;
}

status_t V4L2Producer::GetLatency(bigtime_t* latency) {
    // A frame is dequeued once the driver has the whole of it.
    float rate = fDevice.FrameRate();
    *latency = rate > 0 ? bigtime_t(1000000 / rate) : 40000;
    return B_OK;
}

status_t V4L2Producer::FormatProposal(media_format* format) {
    if (fDevice.InitCheck() != B_OK)
        return fDevice.InitCheck();
    if (format->type == B_MEDIA_UNKNOWN_TYPE || format->type == B_MEDIA_NO_TYPE)
        format->type = B_MEDIA_RAW_VIDEO;
    if (format->type != B_MEDIA_RAW_VIDEO)
        return B_MEDIA_BAD_FORMAT;
    media_video_display_info& display = format->raw_video.display;
    std::vector<color_space> spaces = ColorSpaces();
    if (display.format == B_NO_COLOR_SPACE) {
        if (spaces.empty())
            return B_MEDIA_BAD_FORMAT;
        display.format = spaces.front();
    } else if (std::find(spaces.begin(), spaces.end(), display.format) == spaces.end()) {
        return B_MEDIA_BAD_FORMAT;
    }
    if (display.line_width == 0)
        display.line_width = fDevice.Format().width;
    if (display.line_count == 0)
        display.line_count = fDevice.Format().height;
    if (format->raw_video.field_rate == 0)
        format->raw_video.field_rate = fDevice.FrameRate();
    return B_OK;
}

status_t V4L2Producer::PrepareToConnect(media_format* format) {
    std::lock_guard lock(fDeviceLock);
    const media_video_display_info& display = format->raw_video.display;
    status_t status = fDevice.SetFormat(display.format, display.line_width, display.line_count);
    if (status != B_OK)
        return status;
    fColorSpace = display.format;
    fRequestedWidth = display.line_width;
    fRequestedHeight = display.line_count;
    fFormatPending = false;
    FillFormat(format);
    return B_OK;
}

void V4L2Producer::FillFormat(media_format* format) const {
    const v4l2_pix_format& pixel = fDevice.Format();
    media_raw_video_format& video = format->raw_video;
    video.display.format = V4L2Device::ColorSpaceFor(pixel.pixelformat);
    video.display.line_width = pixel.width;
    video.display.line_count = pixel.height;
    video.display.bytes_per_row = pixel.bytesperline;
    video.field_rate = fDevice.FrameRate();
    video.interlace =
        (pixel.field == V4L2_FIELD_INTERLACED || pixel.field == V4L2_FIELD_INTERLACED_TB ||
         pixel.field == V4L2_FIELD_INTERLACED_BT)
            ? 2
            : 1;
    video.first_active = 0;
    video.last_active = pixel.height - 1;
    video.orientation = B_VIDEO_TOP_LEFT_RIGHT;
    video.pixel_width_aspect = 1;
    video.pixel_height_aspect = 1;
}

void V4L2Producer::Disconnected() {
    std::lock_guard lock(fDeviceLock);
    fDevice.ReleaseBuffers();
    fColorSpace = B_NO_COLOR_SPACE;
    fFormatPending = false;
    // Every buffer of this connection is back by now (the node layer dropped the rest).
    fOwnGroup.reset();
    fRetiredGroups.clear();
}

void V4L2Producer::BufferGroupChanged(BufferGroup* group) {
    std::lock_guard lock(fDeviceLock);
    fConsumerGroup = group;
}

status_t V4L2Producer::StartCapture() {
    std::lock_guard lock(fDeviceLock);
    // A standard changed while stopped may have changed the size the driver delivers.
    const media_format& connected = ConnectedFormat();
    if (fDevice.Format().width != connected.raw_video.display.line_width ||
        fDevice.Format().height != connected.raw_video.display.line_count) {
        fPendingFormat = connected;
        FillFormat(&fPendingFormat);
        fFormatPending = true;
    }
    fCapturing = true;
    status_t status = StartStreamingLocked();
    if (status != B_OK)
        fCapturing = false;
    return status;
}

void V4L2Producer::StopCapture() {
    std::lock_guard lock(fDeviceLock);
    StopStreamingLocked();
    fCapturing = false;
}

status_t V4L2Producer::StartStreamingLocked() {
    const size_t frameSize = fDevice.Format().sizeimage;
    bool userPointers = fConsumerGroup != nullptr && fConsumerGroup->CountBuffers() > 0;
    for (int32 i = 0; userPointers && i < fConsumerGroup->CountBuffers(); i++)
        userPointers = fConsumerGroup->BufferAt(i)->SizeAvailable() >= frameSize;
    uint32 count = userPointers ? uint32(fConsumerGroup->CountBuffers()) : kMappedBuffers;
    status_t status = fDevice.AllocateBuffers(count, userPointers);
    if (status != B_OK)
        return status;

    if (fDevice.BufferMemory() == V4L2Device::Memory::UserPointer) {
        fQueued.assign(fDevice.CountBuffers(), nullptr);
        QueueFreeBuffersLocked(0);
    } else {
        for (uint32 index = 0; index < fDevice.CountBuffers(); index++) {
            status = fDevice.Queue(index);
            if (status != B_OK) {
                fDevice.ReleaseBuffers();
                return status;
            }
        }
        // Copies go to the consumer's buffers when it has handed some over.
        bool consumerFits = fConsumerGroup != nullptr && fConsumerGroup->CountBuffers() > 0;
        for (int32 i = 0; consumerFits && i < fConsumerGroup->CountBuffers(); i++)
            consumerFits = fConsumerGroup->BufferAt(i)->SizeAvailable() >= frameSize;
        if (!consumerFits &&
            (fOwnGroup == nullptr || fOwnGroup->BufferAt(0)->SizeAvailable() < frameSize)) {
            if (fOwnGroup != nullptr)
                fRetiredGroups.push_back(std::move(fOwnGroup));
            fOwnGroup = std::make_shared<BufferGroup>(frameSize, int32(kMappedBuffers));
            if (fOwnGroup->InitCheck() != B_OK) {
                status = fOwnGroup->InitCheck();
                fOwnGroup.reset();
                fDevice.ReleaseBuffers();
                return status;
            }
        }
    }
    status = fDevice.StartStreaming();
    if (status != B_OK)
        StopStreamingLocked();
    return status;
}

void V4L2Producer::StopStreamingLocked() {
    fGeneration++;
    fDevice.ReleaseBuffers();
    // Consumer buffers the driver still held go back to their group unsent.
    for (MediaBuffer*& buffer : fQueued) {
        if (buffer != nullptr)
            buffer->Recycle();
        buffer = nullptr;
    }
    fQueued.clear();
}

status_t V4L2Producer::QueueFreeBuffersLocked(bigtime_t timeout) {
    const size_t frameSize = fDevice.Format().sizeimage;
    for (uint32 index = 0; index < fQueued.size(); index++) {
        if (fQueued[index] != nullptr)
            continue;
        MediaBuffer* buffer = nullptr;
        status_t status = fConsumerGroup->RequestBuffer(frameSize, timeout, &buffer);
        if (status != B_OK)
            return status;
        timeout = 0;  // wait for the first buffer only
        status = fDevice.Queue(index, buffer->Data(), buffer->SizeAvailable());
        if (status != B_OK) {
            buffer->Recycle();
            return status;
        }
        fQueued[index] = buffer;
    }
    return B_OK;
}

status_t V4L2Producer::CaptureNext() {
    std::unique_lock lock(fDeviceLock);
    if (!fDevice.IsStreaming())
        return B_MEDIA_NOT_CONNECTED;  // a restart after a standard change failed
    const bool userPointers = fDevice.BufferMemory() == V4L2Device::Memory::UserPointer;
    if (userPointers) {
        bool anyQueued = false;
        for (MediaBuffer* buffer : fQueued)
            anyQueued |= buffer != nullptr;
        // With every buffer out at the consumer, wait for one to come back instead.
        status_t status = QueueFreeBuffersLocked(anyQueued ? 0 : kPollTimeoutMs * 1000);
        if (status != B_OK && status != B_WOULD_BLOCK && status != B_TIMED_OUT)
            return status;
        if (!anyQueued && status != B_OK)
            return B_TIMED_OUT;
    }

    V4L2Frame frame;
    // The lock is dropped while waiting, so that a parameter write is not held up by a frame
    // period. The streaming state is re-checked once it is taken again.
    const uint64 generation = fGeneration;
    lock.unlock();
    status_t status = fDevice.WaitForFrame(kPollTimeoutMs);
    lock.lock();
    if (generation != fGeneration)
        return B_TIMED_OUT;  // the stream was restarted meanwhile: that frame is gone
    if (status == B_OK)
        status = fDevice.Dequeue(&frame, 0);
    if (status == B_TIMED_OUT)
        return B_TIMED_OUT;
    if (status != B_OK) {
        logError("v4l2: %s stopped delivering frames: %s", fDevice.Path().c_str(),
                 statusText(status).c_str());
        return status;
    }

    if (fFormatPending) {
        fFormatPending = false;
        status = ChangeFormat(fPendingFormat);
        if (status != B_OK) {
            if (userPointers) {
                fQueued[frame.index]->Recycle();
                fQueued[frame.index] = nullptr;
            }
            return status;
        }
    }

    const v4l2_pix_format& pixel = fDevice.Format();
    MediaBuffer* buffer = nullptr;
    uint32 flags = 0;
    if (userPointers) {
        buffer = fQueued[frame.index];
        fQueued[frame.index] = nullptr;
    } else {
        BufferGroup* group = fOwnGroup != nullptr ? fOwnGroup.get() : fConsumerGroup;
        status = group->RequestBuffer(frame.bytesUsed, 0, &buffer);
        if (status == B_OK) {
            std::memcpy(buffer->Data(), frame.data,
                        std::min(frame.bytesUsed, buffer->SizeAvailable()));
            flags = B_MEDIA_BUFFER_COPIED;
        } else {
            fDropped.fetch_add(1);
            buffer = nullptr;
        }
        // A failed requeue (the device has gone) still lets the frame in hand through.
        status_t requeued = fDevice.Queue(frame.index);
        if (buffer == nullptr)
            return requeued;
        status = requeued;
    }

    media_header* header = buffer->Header();
    header->type = B_MEDIA_RAW_VIDEO;
    header->buffer = buffer->ID();
    header->size_used = std::min(frame.bytesUsed, buffer->SizeAvailable());
    header->start_time = frame.captureTime;
    header->sequence = frame.sequence;
    header->flags = flags;
    header->bytes_per_row = pixel.bytesperline;
    lock.unlock();
    SendBuffer(buffer);
    return status;
}
