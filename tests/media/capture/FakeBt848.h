#pragma once
// An in-process Bt848 frame grabber behind V4L2Io, for tests: what the bttv driver reports
// (inputs "Television", "Composite1", "S-Video"; its standards in its own order; a tuner with
// frequencies in 62.5 kHz units; its user controls with their real ranges; its pixel formats)
// and how it behaves (sizes clamped and rounded rather than refused, an unknown pixel format
// replaced by one it has, EBUSY for format and standard changes while buffers exist, MMAP and
// USERPTR streaming with monotonic timestamps and sequence numbers).
//
// Frames are "captured" in real time at the standard's frame rate (or SetFrameInterval's):
// each one fills the oldest queued buffer with the byte (sequence & 0xff) and writes the
// sequence number as a little-endian uint32 into the first four bytes. A frame that finds no
// queued buffer is lost, and the sequence numbers show the gap.
//
// Thread safety: every call may come from any thread; one mutex guards the whole device.

#include <linux/videodev2.h>

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/v4l2/V4L2Io.h"

class FakeBt848 : public V4L2Io {
public:
    explicit FakeBt848(std::string path = "/dev/video0");
    ~FakeBt848() override;

    // --- Test knobs ---

    // Offer only these pixel formats (V4L2_PIX_FMT_*), in this order.
    void OfferOnly(std::vector<uint32> pixelFormats);
    // Refuse USERPTR buffers, as many drivers do.
    void SetUserPtrSupported(bool supported);
    // After `frames` more frames have been dequeued the device vanishes: every call but close
    // fails with ENODEV and poll reports POLLERR | POLLHUP.
    void VanishAfter(uint32 frames);
    // The time between frames in µs; 0 (the default) follows the standard (40 ms for PAL).
    void SetFrameInterval(bigtime_t interval);
    // Stamp each frame with the start of its exposure, one frame interval before it is whole,
    // as USB webcams do, instead of with the end of the frame.
    void StampStartOfExposure(bool startOfExposure);

    // --- What the device was told ---

    int32 ControlValue(uint32 id) const;
    uint32 Frequency() const;
    uint32 Input() const;
    v4l2_std_id Standard() const;
    v4l2_pix_format Format() const;
    bool IsStreaming() const;
    uint32 AllocatedBuffers() const;
    int32 Mappings() const;
    v4l2_memory Memory() const;
    int32 OpenDescriptors() const;
    // The pixel formats VIDIOC_S_FMT was asked for, in order.
    std::vector<uint32> FormatRequests() const;

    // --- V4L2Io ---

    int Open(const char* path, int flags) override;
    status_t Close(int fd) override;
    status_t Mmap(int fd, size_t length, off_t offset, void** address) override;
    status_t Munmap(void* address, size_t length) override;
    int Poll(int fd, short events, int timeoutMs, short* revents) override;

protected:
    int DoIoctl(int fd, unsigned long request, void* argument) override;

private:
    struct Control {
        uint32 id;
        v4l2_ctrl_type type;
        const char* name;
        int32 minimum;
        int32 maximum;
        int32 step;
        int32 defaultValue;
        int32 value;
    };
    enum class BufferState { Idle, Queued, Done };
    struct Buffer {
        BufferState state = BufferState::Idle;
        std::unique_ptr<uint8[]> memory;  // MMAP only
        size_t length = 0;
        unsigned long userptr = 0;  // USERPTR only: where the queued frame goes
        int32 mappings = 0;
        v4l2_buffer done{};  // the header DQBUF hands out
    };

    int Dispatch(int fd, unsigned long request, void* argument);
    // One group of requests each: the result, or kNotHandled for a request of another group.
    static constexpr int kNotHandled = 1;
    int InputRequest(int fd, unsigned long request, void* argument);
    int ControlRequest(int fd, unsigned long request, void* argument);
    int FormatRequest(int fd, unsigned long request, void* argument);
    int StreamingRequest(int fd, unsigned long request, void* argument);
    int TryFormat(v4l2_pix_format* format) const;
    int SetFormat(v4l2_pix_format* format);
    int RequestBuffers(int fd, v4l2_requestbuffers* request);
    int QueueBuffer(int fd, v4l2_buffer* buffer);
    int DequeueBuffer(int fd, v4l2_buffer* buffer, bool blocking,
                      std::unique_lock<std::mutex>& lock);
    int SetStandard(v4l2_std_id id);
    // Fills queued buffers with the frames whose time has come; frames without one are lost.
    void CaptureDueFrames();
    bool HasDoneBuffer() const;
    bigtime_t FrameInterval() const;
    bool Is625Lines() const;
    bool Busy() const { return !fBuffers.empty(); }
    bool Vanished() const { return fVanished; }
    Control* FindControl(uint32 id);
    const Control* FindControl(uint32 id) const;

    const std::string fPath;
    // fLock guards everything below; fChanged wakes waiting DQBUF and poll calls.
    mutable std::mutex fLock;
    std::condition_variable fChanged;
    std::map<int, int> fDescriptors;  // fd -> open flags
    int fNextFd = 1000;
    int fOwner = -1;  // the fd that allocated the buffers
    std::vector<uint32> fOffered;
    bool fUserPtrSupported = true;
    int64 fVanishAfter = -1;  // frames to dequeue before vanishing; -1: never
    bool fVanished = false;
    bigtime_t fFrameInterval = 0;
    bool fStampStartOfExposure = false;
    std::vector<Control> fControls;
    uint32 fInput = 0;
    size_t fStandard = 0;  // index into the standards table
    uint32 fFrequency = 0;
    uint32 fAudioMode = V4L2_TUNER_MODE_STEREO;
    v4l2_pix_format fFormat{};
    std::vector<uint32> fFormatRequests;
    v4l2_memory fMemory = V4L2_MEMORY_MMAP;
    std::vector<Buffer> fBuffers;
    std::vector<uint32> fQueue;      // indices of queued buffers, oldest first
    std::vector<uint32> fDoneQueue;  // indices of filled buffers, oldest first
    bool fStreaming = false;
    uint32 fSequence = 0;
    bigtime_t fNextFrameTime = 0;
};
