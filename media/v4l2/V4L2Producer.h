#pragma once
// A V4L2 capture device as a media producer of raw video.
//
// Formats: FormatProposal refuses a colour space the device has no pixel format for (so a
// caller trying colour spaces in turn moves on at once); PrepareToConnect sets the format and
// writes back what the driver chose: the size it adjusted to, bytes per row, frame rate.
//
// Buffers: with the consumer's own buffers (SetOutputBuffersFor) and a driver that takes
// USERPTR, frames are captured straight into them and reach the consumer without a copy.
// Otherwise the driver's MMAP buffers are used and each frame is copied once, into the next
// free consumer buffer (or into the producer's own when the consumer has none), with the
// B_MEDIA_BUFFER_COPIED header flag. A frame that finds no free buffer is dropped (counted).
// Headers carry the driver's monotonic capture time and sequence number.
//
// A device that vanishes (ENODEV) ends the stream with B_DEV_NOT_READY; the node layer
// reports it to the consumer and the notification target.
//
// Parameters are those of V4L2Controls. Changing the standard between 625 and 525 lines while
// capturing stops streaming and releases the buffers first, applies the standard and the size
// the driver then allows, restarts streaming and tells the consumer of the new format before
// the next frame.
//
// Threads: fDeviceLock serialises the streaming calls of the capture thread with a standard
// change from a parameter write on any other thread.

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "media/node/MediaProducer.h"
#include "media/v4l2/V4L2Controls.h"
#include "media/v4l2/V4L2Device.h"

class V4L2Producer : public MediaProducer {
public:
    // `channelTable` names the channel plan ("europe-west", ...); empty: from the standard.
    V4L2Producer(V4L2Io& io, std::string path, std::string channelTable = "");
    ~V4L2Producer() override;

    // The device's status (see V4L2Device::InitCheck).
    status_t InitCheck() const { return fDevice.InitCheck(); }
    V4L2Device::Memory BufferMemory() const;
    // Frames dropped because no buffer was free, since the node was made.
    int64 DroppedFrames() const { return fDropped.load(); }

    std::unique_ptr<ParameterWeb> GetParameterWeb() override;
    status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) override;
    status_t SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) override;

    status_t GetLatency(bigtime_t* latency) override;

    // The colour spaces the device can deliver, in the order they are proposed.
    std::vector<color_space> ColorSpaces() const;

protected:
    status_t FormatProposal(media_format* format) override;
    status_t PrepareToConnect(media_format* format) override;
    void Disconnected() override;
    void BufferGroupChanged(BufferGroup* group) override;

    status_t StartCapture() override;
    status_t CaptureNext() override;
    void StopCapture() override;

private:
    // fDeviceLock held.
    status_t StartStreamingLocked();
    void StopStreamingLocked();
    status_t QueueFreeBuffersLocked(bigtime_t timeout);
    void FillFormat(media_format* format) const;
    status_t ChangeStandard(int32 index, bigtime_t when, const void* value, size_t size);

    V4L2Device fDevice;
    V4L2Controls fControls;

    // fDeviceLock guards the device's streaming state and everything below up to fDropped.
    mutable std::mutex fDeviceLock;
    bool fCapturing = false;
    uint32 fRequestedWidth = 0;
    uint32 fRequestedHeight = 0;
    color_space fColorSpace = B_NO_COLOR_SPACE;
    BufferGroup* fConsumerGroup = nullptr;   // set by BufferGroupChanged (control thread)
    std::shared_ptr<BufferGroup> fOwnGroup;  // MMAP copies when the consumer has no buffers
    // Groups replaced while buffers of them may still be out at the consumer; kept until the
    // disconnect, when the consumer has given every buffer back.
    std::vector<std::shared_ptr<BufferGroup>> fRetiredGroups;
    std::vector<MediaBuffer*> fQueued;  // USERPTR: the consumer buffer at each driver index
    uint64 fGeneration = 0;             // counts stream stops, so a waiting dequeue sees one
    bool fFormatPending = false;        // a new format to announce before the next frame
    media_format fPendingFormat;
    std::atomic<int64> fDropped{0};
};
