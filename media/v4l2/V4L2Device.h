#pragma once
// One open V4L2 capture device: its capabilities, the pixel format and size it delivers, and
// streaming through buffers in either of the two memory modes:
// - USERPTR: the driver captures straight into memory the caller owns (the consumer's own
//   buffers), so a frame reaches the consumer without a copy;
// - MMAP: the driver's own buffers, mapped here; the caller copies each frame once.
//
// Every call goes through the V4L2Io it was opened with. The format and standard cannot
// change while buffers exist (drivers answer EBUSY), so ReleaseBuffers() comes first.
//
// Not thread-safe: the owner serialises the calls (the producer does so with its device lock).

#include <linux/videodev2.h>

#include <memory>
#include <string>
#include <vector>

#include "media/MediaFormat.h"
#include "media/v4l2/V4L2Io.h"

// A frame the driver has filled, as VIDIOC_DQBUF reported it.
struct V4L2Frame {
    uint32 index = 0;
    size_t bytesUsed = 0;
    bigtime_t captureTime = 0;  // CLOCK_MONOTONIC µs
    uint32 sequence = 0;
    void* data = nullptr;  // the user buffer or the mapping holding the frame
};

class V4L2Device {
public:
    enum class Memory { None, UserPointer, Mapped };

    // Opens `path` (non-blocking) and checks that it can capture video by streaming.
    V4L2Device(V4L2Io& io, std::string path);
    // Stops streaming, unmaps and closes.
    ~V4L2Device();
    V4L2Device(const V4L2Device&) = delete;
    V4L2Device& operator=(const V4L2Device&) = delete;

    // B_OK; the open's error; B_NOT_SUPPORTED for a device that cannot capture video or
    // cannot stream.
    status_t InitCheck() const { return fStatus; }
    const std::string& Path() const { return fPath; }
    const std::string& CardName() const { return fCard; }
    const std::string& Driver() const { return fDriver; }
    V4L2Io& Io() const { return fIo; }
    int Descriptor() const { return fFd.get(); }

    // --- Formats ---

    // The V4L2 pixel formats that carry `space`, best first; empty for none.
    static std::vector<uint32> PixelFormatsFor(color_space space);
    // The colour space a V4L2 pixel format carries, B_NO_COLOR_SPACE for none.
    static color_space ColorSpaceFor(uint32 pixelFormat);
    // The pixel formats the device listed (VIDIOC_ENUM_FMT), in its order.
    const std::vector<uint32>& PixelFormats() const { return fPixelFormats; }
    // Makes the device deliver `space` at the size nearest to width x height that it allows
    // (read it back from Format()). B_MEDIA_BAD_FORMAT when the device has no pixel format
    // for `space`; B_BUSY while buffers exist.
    status_t SetFormat(color_space space, uint32 width, uint32 height);
    const v4l2_pix_format& Format() const { return fFormat; }
    color_space FormatColorSpace() const { return ColorSpaceFor(fFormat.pixelformat); }
    // Frames per second of the current standard or frame interval; 0 when the driver does
    // not say. `*frameLines` (optional) is 625 or 525 for a TV standard, 0 otherwise.
    float FrameRate(uint32* frameLines = nullptr) const;

    // --- Streaming ---

    // Asks the driver for `count` buffers: USERPTR when `userPointers` is set and the driver
    // takes them, else MMAP (then mapped here). The driver may grant another count.
    status_t AllocateBuffers(uint32 count, bool userPointers);
    // Stops streaming, unmaps and frees the driver's buffers. Safe to call at any time.
    void ReleaseBuffers();
    Memory BufferMemory() const { return fMemory; }
    uint32 CountBuffers() const { return fBufferCount; }
    // MMAP: the mapping of buffer `index`. nullptr in USERPTR mode.
    void* MappedData(uint32 index) const;

    // Hands buffer `index` to the driver: a mapped buffer, or `data` (at least
    // Format().sizeimage bytes) in USERPTR mode.
    status_t Queue(uint32 index, void* data = nullptr, size_t size = 0);
    status_t StartStreaming();
    // VIDIOC_STREAMOFF: every queued buffer comes back to the caller.
    status_t StopStreaming();
    bool IsStreaming() const { return fStreaming; }
    // Waits up to `timeoutMs` for a filled buffer. B_TIMED_OUT when none came; the driver's
    // error otherwise (B_DEV_NOT_READY, i.e. -ENODEV, when the device has gone).
    status_t Dequeue(V4L2Frame* frame, int timeoutMs);
    // Waits up to `timeoutMs` until a frame (or an error) is pending. B_OK or B_TIMED_OUT.
    // Touches nothing but the descriptor, so it may run while another thread holds the
    // owner's lock to stop or restart the stream (it then returns early).
    status_t WaitForFrame(int timeoutMs) const;

private:
    // Closes the descriptor through the V4L2Io it came from.
    class FdOwner {
    public:
        FdOwner() = default;
        FdOwner(V4L2Io* io, int fd) : fIo(io), fFd(fd) {}
        FdOwner(FdOwner&& other) noexcept { *this = std::move(other); }
        FdOwner& operator=(FdOwner&& other) noexcept;
        ~FdOwner() { Reset(); }
        int get() const { return fFd; }
        void Reset();

    private:
        V4L2Io* fIo = nullptr;
        int fFd = -1;
    };
    struct Unmapper {
        V4L2Io* io;
        size_t length;
        void operator()(void* address) const { io->Munmap(address, length); }
    };
    using Mapping = std::unique_ptr<void, Unmapper>;

    status_t Ioctl(unsigned long request, void* argument) const {
        return fIo.Ioctl(fFd.get(), request, argument);
    }

    V4L2Io& fIo;
    const std::string fPath;
    FdOwner fFd;
    status_t fStatus = B_NO_INIT;
    std::string fCard;
    std::string fDriver;
    std::vector<uint32> fPixelFormats;
    v4l2_pix_format fFormat{};
    Memory fMemory = Memory::None;
    uint32 fBufferCount = 0;
    bigtime_t fFramePeriod = 0;      // µs, taken as streaming starts; 0 when the rate is unknown
    std::vector<Mapping> fMappings;  // MMAP mode: one per buffer
    std::vector<void*> fUserData;    // USERPTR mode: what each queued buffer points at
    bool fStreaming = false;
};
