#include "tests/media/capture/FakeBt848.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "support/Clock.h"

namespace {

struct TvStandard {
    v4l2_std_id id;
    const char* name;
    bool lines625;
};

// bttv's own table, in its order.
constexpr TvStandard kStandards[] = {
    {V4L2_STD_PAL, "PAL", true},
    {V4L2_STD_NTSC_M | V4L2_STD_NTSC_M_KR, "NTSC", false},
    {V4L2_STD_SECAM, "SECAM", true},
    {V4L2_STD_PAL_Nc, "PAL-Nc", true},
    {V4L2_STD_PAL_M, "PAL-M", false},
    {V4L2_STD_PAL_N, "PAL-N", true},
    {V4L2_STD_NTSC_M_JP, "NTSC-JP", false},
    {V4L2_STD_PAL_60, "PAL-60", false},
};
constexpr v4l2_std_id kAllStandards = V4L2_STD_PAL | V4L2_STD_NTSC_M | V4L2_STD_NTSC_M_KR |
                                      V4L2_STD_SECAM | V4L2_STD_PAL_Nc | V4L2_STD_PAL_M |
                                      V4L2_STD_PAL_N | V4L2_STD_NTSC_M_JP | V4L2_STD_PAL_60;

struct PixelFormat {
    uint32 fourcc;
    const char* description;
    uint32 depth;  // bits per pixel over all planes
    bool planar;
};

// What bttv offers (no packed 4:1:1: the chip only does the planar YUV411P).
constexpr PixelFormat kPixelFormats[] = {
    {V4L2_PIX_FMT_GREY, "8 bpp, gray", 8, false},
    {V4L2_PIX_FMT_HI240, "8 bpp, dithered color", 8, false},
    {V4L2_PIX_FMT_RGB555, "15 bpp RGB, le", 16, false},
    {V4L2_PIX_FMT_RGB555X, "15 bpp RGB, be", 16, false},
    {V4L2_PIX_FMT_RGB565, "16 bpp RGB, le", 16, false},
    {V4L2_PIX_FMT_RGB565X, "16 bpp RGB, be", 16, false},
    {V4L2_PIX_FMT_BGR24, "24 bpp RGB, le", 24, false},
    {V4L2_PIX_FMT_BGR32, "32 bpp RGB, le", 32, false},
    {V4L2_PIX_FMT_RGB32, "32 bpp RGB, be", 32, false},
    {V4L2_PIX_FMT_YUYV, "4:2:2, packed, YUYV", 16, false},
    {V4L2_PIX_FMT_UYVY, "4:2:2, packed, UYVY", 16, false},
    {V4L2_PIX_FMT_YUV422P, "4:2:2, planar, Y-Cb-Cr", 16, true},
    {V4L2_PIX_FMT_YUV420, "4:2:0, planar, Y-Cb-Cr", 12, true},
    {V4L2_PIX_FMT_YVU420, "4:2:0, planar, Y-Cr-Cb", 12, true},
    {V4L2_PIX_FMT_YUV411P, "4:1:1, planar, Y-Cb-Cr", 12, true},
    {V4L2_PIX_FMT_YUV410, "4:1:0, planar, Y-Cb-Cr", 9, true},
    {V4L2_PIX_FMT_YVU410, "4:1:0, planar, Y-Cr-Cb", 9, true},
};

const PixelFormat* findPixelFormat(uint32 fourcc) {
    for (const PixelFormat& format : kPixelFormats) {
        if (format.fourcc == fourcc)
            return &format;
    }
    return nullptr;
}

constexpr const char* kInputs[] = {"Television", "Composite1", "S-Video"};
constexpr uint32 kTunerLow = 44 * 16;    // 44 MHz in 62.5 kHz units
constexpr uint32 kTunerHigh = 958 * 16;  // 958 MHz
constexpr uint32 kMinWidth = 48;
constexpr uint32 kMinHeight = 32;
constexpr size_t kPageSize = 4096;

void copyName(uint8* destination, size_t size, const char* name) {
    std::strncpy(reinterpret_cast<char*>(destination), name, size - 1);
    destination[size - 1] = '\0';
}

}  // namespace

FakeBt848::FakeBt848(std::string path) : fPath(std::move(path)) {
    for (const PixelFormat& format : kPixelFormats)
        fOffered.push_back(format.fourcc);
    // bttv's user controls and ranges.
    auto integer = V4L2_CTRL_TYPE_INTEGER;
    auto boolean = V4L2_CTRL_TYPE_BOOLEAN;
    constexpr uint32 bttv = V4L2_CID_USER_BTTV_BASE;
    fControls = {
        {V4L2_CID_BRIGHTNESS, integer, "Brightness", 0, 0xff00, 0x100, 0x8000, 0x8000},
        {V4L2_CID_CONTRAST, integer, "Contrast", 0, 0xff80, 0x80, 0x6c00, 0x6c00},
        {V4L2_CID_SATURATION, integer, "Saturation", 0, 0xff80, 0x80, 0x8000, 0x8000},
        {V4L2_CID_HUE, integer, "Hue", 0, 0xff00, 0x100, 0x8000, 0x8000},
        {V4L2_CID_AUDIO_VOLUME, integer, "Volume", 0, 0xff00, 0x100, 0xff00, 0xff00},
        {V4L2_CID_AUDIO_MUTE, boolean, "Mute", 0, 1, 1, 0, 0},
        {V4L2_CID_CHROMA_AGC, boolean, "Chroma AGC", 0, 1, 1, 0, 0},
        {V4L2_CID_COLOR_KILLER, boolean, "Color Killer", 0, 1, 1, 0, 0},
        {bttv + 0, integer, "Comb Filter", 0, 1, 1, 0, 0},
        {bttv + 1, boolean, "Auto Mute", 0, 1, 1, 1, 1},
        {bttv + 2, boolean, "Luma Decimation Filter", 0, 1, 1, 1, 1},
        {bttv + 3, boolean, "AGC Crush", 0, 1, 1, 1, 1},
        {bttv + 4, boolean, "VCR Hack", 0, 1, 1, 0, 0},
        {bttv + 5, integer, "Whitecrush Lower", 0, 255, 1, 0x7f, 0x7f},
        {bttv + 6, integer, "Whitecrush Upper", 0, 255, 1, 0xcf, 0xcf},
        {bttv + 7, integer, "UV Ratio", 0, 100, 1, 50, 50},
        {bttv + 8, boolean, "Full Luma Range", 0, 1, 1, 0, 0},
        {bttv + 9, integer, "Coring", 0, 3, 1, 0, 0},
    };
    fFrequency = 471 * 16 + 4;  // UHF channel 21
    fFormat.width = 320;
    fFormat.height = 240;
    fFormat.pixelformat = V4L2_PIX_FMT_BGR24;
    TryFormat(&fFormat);
}

FakeBt848::~FakeBt848() = default;

void FakeBt848::OfferOnly(std::vector<uint32> pixelFormats) {
    std::lock_guard lock(fLock);
    fOffered = std::move(pixelFormats);
}

void FakeBt848::SetUserPtrSupported(bool supported) {
    std::lock_guard lock(fLock);
    fUserPtrSupported = supported;
}

void FakeBt848::VanishAfter(uint32 frames) {
    std::lock_guard lock(fLock);
    fVanishAfter = frames;
    if (frames == 0)
        fVanished = true;
    fChanged.notify_all();
}

void FakeBt848::SetFrameInterval(bigtime_t interval) {
    std::lock_guard lock(fLock);
    fFrameInterval = interval;
}

void FakeBt848::StampStartOfExposure(bool startOfExposure) {
    std::lock_guard lock(fLock);
    fStampStartOfExposure = startOfExposure;
}

int32 FakeBt848::ControlValue(uint32 id) const {
    std::lock_guard lock(fLock);
    const Control* control = FindControl(id);
    return control != nullptr ? control->value : -1;
}

uint32 FakeBt848::Frequency() const {
    std::lock_guard lock(fLock);
    return fFrequency;
}

uint32 FakeBt848::Input() const {
    std::lock_guard lock(fLock);
    return fInput;
}

v4l2_std_id FakeBt848::Standard() const {
    std::lock_guard lock(fLock);
    return kStandards[fStandard].id;
}

v4l2_pix_format FakeBt848::Format() const {
    std::lock_guard lock(fLock);
    return fFormat;
}

bool FakeBt848::IsStreaming() const {
    std::lock_guard lock(fLock);
    return fStreaming;
}

uint32 FakeBt848::AllocatedBuffers() const {
    std::lock_guard lock(fLock);
    return uint32(fBuffers.size());
}

int32 FakeBt848::Mappings() const {
    std::lock_guard lock(fLock);
    int32 count = 0;
    for (const Buffer& buffer : fBuffers)
        count += buffer.mappings;
    return count;
}

v4l2_memory FakeBt848::Memory() const {
    std::lock_guard lock(fLock);
    return fMemory;
}

int32 FakeBt848::OpenDescriptors() const {
    std::lock_guard lock(fLock);
    return int32(fDescriptors.size());
}

std::vector<uint32> FakeBt848::FormatRequests() const {
    std::lock_guard lock(fLock);
    return fFormatRequests;
}

int FakeBt848::Open(const char* path, int flags) {
    std::lock_guard lock(fLock);
    if (fPath != path)
        return -ENOENT;
    if (fVanished)
        return -ENODEV;
    int fd = fNextFd++;
    fDescriptors[fd] = flags;
    return fd;
}

status_t FakeBt848::Close(int fd) {
    std::lock_guard lock(fLock);
    if (fDescriptors.erase(fd) == 0)
        return -EBADF;
    if (fd == fOwner) {
        // Closing the owner stops the stream and frees buffers that are no longer mapped,
        // as vb2 does when the last reference goes.
        fStreaming = false;
        fQueue.clear();
        fDoneQueue.clear();
        bool mapped = false;
        for (const Buffer& buffer : fBuffers)
            mapped |= buffer.mappings > 0;
        if (!mapped)
            fBuffers.clear();
        fOwner = -1;
        fChanged.notify_all();
    }
    return B_OK;
}

status_t FakeBt848::Mmap(int fd, size_t length, off_t offset, void** address) {
    std::lock_guard lock(fLock);
    if (fDescriptors.count(fd) == 0)
        return -EBADF;
    if (fVanished)
        return -ENODEV;
    if (fMemory != V4L2_MEMORY_MMAP)
        return -EINVAL;
    for (size_t i = 0; i < fBuffers.size(); i++) {
        Buffer& buffer = fBuffers[i];
        if (off_t(i * buffer.length) == offset && length <= buffer.length) {
            buffer.mappings++;
            *address = buffer.memory.get();
            return B_OK;
        }
    }
    return -EINVAL;
}

status_t FakeBt848::Munmap(void* address, size_t length) {
    std::lock_guard lock(fLock);
    for (Buffer& buffer : fBuffers) {
        if (buffer.memory.get() == address && length <= buffer.length && buffer.mappings > 0) {
            buffer.mappings--;
            return B_OK;
        }
    }
    return -EINVAL;
}

int FakeBt848::Poll(int fd, short events, int timeoutMs, short* revents) {
    std::unique_lock lock(fLock);
    if (fDescriptors.count(fd) == 0)
        return -EBADF;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        if (fVanished) {
            *revents = POLLERR | POLLHUP;
            return 1;
        }
        if (!fStreaming) {
            *revents = POLLERR;
            return 1;
        }
        CaptureDueFrames();
        if (HasDoneBuffer()) {
            *revents = short(events & (POLLIN | POLLRDNORM));
            return 1;
        }
        if (timeoutMs >= 0 && std::chrono::steady_clock::now() >= deadline) {
            *revents = 0;
            return 0;
        }
        auto wake =
            std::chrono::steady_clock::now() +
            std::chrono::microseconds(std::max<bigtime_t>(fNextFrameTime - system_time(), 0));
        if (timeoutMs >= 0)
            wake = std::min(wake, deadline);
        fChanged.wait_until(lock, wake);
    }
}

int FakeBt848::DoIoctl(int fd, unsigned long request, void* argument) {
    if (request == VIDIOC_DQBUF) {
        std::unique_lock lock(fLock);
        auto descriptor = fDescriptors.find(fd);
        if (descriptor == fDescriptors.end())
            return -EBADF;
        if (fVanished)
            return -ENODEV;
        bool blocking = (descriptor->second & O_NONBLOCK) == 0;
        return DequeueBuffer(fd, static_cast<v4l2_buffer*>(argument), blocking, lock);
    }
    std::lock_guard lock(fLock);
    if (fDescriptors.count(fd) == 0)
        return -EBADF;
    if (fVanished)
        return -ENODEV;
    return Dispatch(fd, request, argument);
}

int FakeBt848::Dispatch(int fd, unsigned long request, void* argument) {
    for (auto handler : {&FakeBt848::InputRequest, &FakeBt848::ControlRequest,
                         &FakeBt848::FormatRequest, &FakeBt848::StreamingRequest}) {
        if (const int result = (this->*handler)(fd, request, argument); result != kNotHandled)
            return result;
    }
    return -ENOTTY;
}

// The card, its inputs, standards and tuner.
int FakeBt848::InputRequest(int, unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_QUERYCAP: {
            auto* caps = static_cast<v4l2_capability*>(argument);
            *caps = {};
            copyName(caps->driver, sizeof(caps->driver), "bttv");
            copyName(caps->card, sizeof(caps->card), "BT848 video (fake)");
            copyName(caps->bus_info, sizeof(caps->bus_info), "PCI:0000:05:00.0");
            caps->version = 0x060000;
            caps->device_caps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_TUNER | V4L2_CAP_AUDIO |
                                V4L2_CAP_READWRITE | V4L2_CAP_STREAMING;
            caps->capabilities = caps->device_caps | V4L2_CAP_VBI_CAPTURE | V4L2_CAP_DEVICE_CAPS;
            return 0;
        }
        case VIDIOC_ENUMINPUT: {
            auto* input = static_cast<v4l2_input*>(argument);
            if (input->index >= std::size(kInputs))
                return -EINVAL;
            uint32 index = input->index;
            *input = {};
            input->index = index;
            copyName(input->name, sizeof(input->name), kInputs[index]);
            input->type = index == 0 ? V4L2_INPUT_TYPE_TUNER : V4L2_INPUT_TYPE_CAMERA;
            input->audioset = 1;
            input->std = kAllStandards;
            return 0;
        }
        case VIDIOC_G_INPUT:
            *static_cast<int*>(argument) = int(fInput);
            return 0;
        case VIDIOC_S_INPUT: {
            uint32 index = *static_cast<int*>(argument);
            if (index >= std::size(kInputs))
                return -EINVAL;
            fInput = index;
            return 0;
        }
        case VIDIOC_ENUMSTD: {
            auto* standard = static_cast<v4l2_standard*>(argument);
            if (standard->index >= std::size(kStandards))
                return -EINVAL;
            const TvStandard& entry = kStandards[standard->index];
            uint32 index = standard->index;
            *standard = {};
            standard->index = index;
            standard->id = entry.id;
            copyName(standard->name, sizeof(standard->name), entry.name);
            standard->frameperiod = entry.lines625 ? v4l2_fract{1, 25} : v4l2_fract{1001, 30000};
            standard->framelines = entry.lines625 ? 625 : 525;
            return 0;
        }
        case VIDIOC_G_STD:
            *static_cast<v4l2_std_id*>(argument) = kStandards[fStandard].id;
            return 0;
        case VIDIOC_S_STD:
            return SetStandard(*static_cast<v4l2_std_id*>(argument));
        case VIDIOC_G_TUNER: {
            auto* tuner = static_cast<v4l2_tuner*>(argument);
            if (tuner->index != 0)
                return -EINVAL;
            *tuner = {};
            copyName(tuner->name, sizeof(tuner->name), "Television");
            tuner->type = V4L2_TUNER_ANALOG_TV;
            tuner->capability = V4L2_TUNER_CAP_NORM | V4L2_TUNER_CAP_STEREO;
            tuner->rangelow = kTunerLow;
            tuner->rangehigh = kTunerHigh;
            tuner->rxsubchans = V4L2_TUNER_SUB_MONO | V4L2_TUNER_SUB_STEREO;
            tuner->audmode = fAudioMode;
            tuner->signal = fInput == 0 ? 0xffff : 0;
            return 0;
        }
        case VIDIOC_S_TUNER: {
            auto* tuner = static_cast<v4l2_tuner*>(argument);
            if (tuner->index != 0)
                return -EINVAL;
            fAudioMode = tuner->audmode;
            return 0;
        }
        case VIDIOC_G_FREQUENCY: {
            auto* frequency = static_cast<v4l2_frequency*>(argument);
            if (frequency->tuner != 0)
                return -EINVAL;
            frequency->type = V4L2_TUNER_ANALOG_TV;
            frequency->frequency = fFrequency;
            return 0;
        }
        case VIDIOC_S_FREQUENCY: {
            auto* frequency = static_cast<v4l2_frequency*>(argument);
            if (frequency->tuner != 0 || frequency->type != V4L2_TUNER_ANALOG_TV)
                return -EINVAL;
            fFrequency = std::clamp(frequency->frequency, kTunerLow, kTunerHigh);
            return 0;
        }
        default:
            return kNotHandled;
    }
}

// The picture and sound controls.
int FakeBt848::ControlRequest(int, unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_QUERYCTRL: {
            auto* query = static_cast<v4l2_queryctrl*>(argument);
            const Control* found = nullptr;
            if (query->id & V4L2_CTRL_FLAG_NEXT_CTRL) {
                uint32 after =
                    query->id & ~(V4L2_CTRL_FLAG_NEXT_CTRL | V4L2_CTRL_FLAG_NEXT_COMPOUND);
                for (const Control& control : fControls) {
                    if (control.id > after && (found == nullptr || control.id < found->id))
                        found = &control;
                }
            } else {
                found = FindControl(query->id);
            }
            if (found == nullptr)
                return -EINVAL;
            *query = {};
            query->id = found->id;
            query->type = found->type;
            copyName(query->name, sizeof(query->name), found->name);
            query->minimum = found->minimum;
            query->maximum = found->maximum;
            query->step = found->step;
            query->default_value = found->defaultValue;
            if (found->type == V4L2_CTRL_TYPE_INTEGER)
                query->flags = V4L2_CTRL_FLAG_SLIDER;
            return 0;
        }
        case VIDIOC_QUERYMENU:
            return -EINVAL;  // bttv has no menu controls
        case VIDIOC_G_CTRL: {
            auto* value = static_cast<v4l2_control*>(argument);
            const Control* control = FindControl(value->id);
            if (control == nullptr)
                return -EINVAL;
            value->value = control->value;
            return 0;
        }
        case VIDIOC_S_CTRL: {
            // Clamped to the range and rounded to the step, as the control framework does.
            auto* value = static_cast<v4l2_control*>(argument);
            Control* control = FindControl(value->id);
            if (control == nullptr)
                return -EINVAL;
            int64 clamped = std::clamp<int64>(value->value, control->minimum, control->maximum);
            int64 offset = clamped - control->minimum;
            offset = control->step * ((offset + control->step / 2) / control->step);
            control->value = int32(std::min<int64>(control->minimum + offset, control->maximum));
            value->value = control->value;
            return 0;
        }
        default:
            return kNotHandled;
    }
}

// Pixel formats, the frame size and the frame period.
int FakeBt848::FormatRequest(int, unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_ENUM_FMT: {
            auto* description = static_cast<v4l2_fmtdesc*>(argument);
            if (description->type != V4L2_BUF_TYPE_VIDEO_CAPTURE ||
                description->index >= fOffered.size())
                return -EINVAL;
            const PixelFormat* format = findPixelFormat(fOffered[description->index]);
            uint32 index = description->index;
            *description = {};
            description->index = index;
            description->type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
            description->pixelformat = format->fourcc;
            copyName(description->description, sizeof(description->description),
                     format->description);
            return 0;
        }
        case VIDIOC_G_FMT: {
            auto* format = static_cast<v4l2_format*>(argument);
            if (format->type != V4L2_BUF_TYPE_VIDEO_CAPTURE)
                return -EINVAL;
            format->fmt.pix = fFormat;
            return 0;
        }
        case VIDIOC_TRY_FMT: {
            auto* format = static_cast<v4l2_format*>(argument);
            if (format->type != V4L2_BUF_TYPE_VIDEO_CAPTURE)
                return -EINVAL;
            return TryFormat(&format->fmt.pix);
        }
        case VIDIOC_S_FMT: {
            auto* format = static_cast<v4l2_format*>(argument);
            if (format->type != V4L2_BUF_TYPE_VIDEO_CAPTURE)
                return -EINVAL;
            fFormatRequests.push_back(format->fmt.pix.pixelformat);
            return SetFormat(&format->fmt.pix);
        }
        case VIDIOC_G_PARM: {
            auto* parameters = static_cast<v4l2_streamparm*>(argument);
            if (parameters->type != V4L2_BUF_TYPE_VIDEO_CAPTURE)
                return -EINVAL;
            parameters->parm.capture = {};
            parameters->parm.capture.timeperframe =
                Is625Lines() ? v4l2_fract{1, 25} : v4l2_fract{1001, 30000};
            parameters->parm.capture.readbuffers = 2;
            return 0;
        }
        default:
            return kNotHandled;
    }
}

// Buffers and streaming, which only the descriptor that allocated the buffers may use.
int FakeBt848::StreamingRequest(int fd, unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_REQBUFS:
            return RequestBuffers(fd, static_cast<v4l2_requestbuffers*>(argument));
        case VIDIOC_QUERYBUF: {
            auto* buffer = static_cast<v4l2_buffer*>(argument);
            if (buffer->type != V4L2_BUF_TYPE_VIDEO_CAPTURE || buffer->index >= fBuffers.size())
                return -EINVAL;
            const Buffer& entry = fBuffers[buffer->index];
            uint32 index = buffer->index;
            *buffer = entry.done;
            buffer->index = index;
            buffer->type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
            buffer->memory = fMemory;
            buffer->length = uint32(entry.length);
            if (fMemory == V4L2_MEMORY_MMAP)
                buffer->m.offset = uint32(index * entry.length);
            buffer->flags = entry.state == BufferState::Queued ? V4L2_BUF_FLAG_QUEUED
                            : entry.state == BufferState::Done ? V4L2_BUF_FLAG_DONE
                                                               : 0;
            if (entry.mappings > 0)
                buffer->flags |= V4L2_BUF_FLAG_MAPPED;
            return 0;
        }
        case VIDIOC_QBUF:
            return QueueBuffer(fd, static_cast<v4l2_buffer*>(argument));
        case VIDIOC_STREAMON:
            if (*static_cast<int*>(argument) != V4L2_BUF_TYPE_VIDEO_CAPTURE)
                return -EINVAL;
            if (fd != fOwner || fBuffers.empty())
                return fd != fOwner && fOwner >= 0 ? -EBUSY : -EINVAL;
            if (!fStreaming) {
                fStreaming = true;
                fNextFrameTime = system_time() + FrameInterval();
            }
            return 0;
        case VIDIOC_STREAMOFF:
            if (*static_cast<int*>(argument) != V4L2_BUF_TYPE_VIDEO_CAPTURE)
                return -EINVAL;
            if (fOwner >= 0 && fd != fOwner)
                return -EBUSY;
            // Every queued and filled buffer goes back to the application.
            fStreaming = false;
            for (Buffer& buffer : fBuffers)
                buffer.state = BufferState::Idle;
            fQueue.clear();
            fDoneQueue.clear();
            fChanged.notify_all();
            return 0;
        default:
            return kNotHandled;
    }
}

int FakeBt848::TryFormat(v4l2_pix_format* format) const {
    const PixelFormat* pixel = nullptr;
    if (std::find(fOffered.begin(), fOffered.end(), format->pixelformat) != fOffered.end())
        pixel = findPixelFormat(format->pixelformat);
    if (pixel == nullptr) {
        // Like current drivers: an unknown pixel format is replaced, not refused.
        if (fOffered.empty())
            return -EINVAL;
        pixel = findPixelFormat(fOffered.front());
    }
    uint32 maxWidth = Is625Lines() ? 768 : 640;
    uint32 maxHeight = Is625Lines() ? 576 : 480;
    uint32 widthAlign = pixel->planar ? 16 : 4;
    uint32 width = std::clamp<uint32>(format->width, kMinWidth, maxWidth);
    width -= width % widthAlign;
    uint32 height = std::clamp<uint32>(format->height, kMinHeight, maxHeight);
    if (pixel->planar)
        height -= height % 4;
    format->pixelformat = pixel->fourcc;
    format->width = width;
    format->height = height;
    format->field = height > maxHeight / 2 ? V4L2_FIELD_INTERLACED : V4L2_FIELD_BOTTOM;
    format->bytesperline = pixel->planar ? width : width * pixel->depth / 8;
    format->sizeimage = width * height * pixel->depth / 8;
    format->colorspace = V4L2_COLORSPACE_SMPTE170M;
    format->priv = 0;
    format->flags = 0;
    return 0;
}

int FakeBt848::SetFormat(v4l2_pix_format* format) {
    if (Busy())
        return -EBUSY;
    int result = TryFormat(format);
    if (result == 0)
        fFormat = *format;
    return result;
}

int FakeBt848::SetStandard(v4l2_std_id id) {
    for (size_t i = 0; i < std::size(kStandards); i++) {
        if ((kStandards[i].id & id) == 0)
            continue;
        if (Busy())
            return -EBUSY;
        fStandard = i;
        // The size may no longer fit the new standard's frame.
        TryFormat(&fFormat);
        return 0;
    }
    return -EINVAL;
}

int FakeBt848::RequestBuffers(int fd, v4l2_requestbuffers* request) {
    if (request->type != V4L2_BUF_TYPE_VIDEO_CAPTURE)
        return -EINVAL;
    if (request->memory != V4L2_MEMORY_MMAP &&
        (request->memory != V4L2_MEMORY_USERPTR || !fUserPtrSupported))
        return -EINVAL;
    if (fOwner >= 0 && fd != fOwner)
        return -EBUSY;
    if (fStreaming)
        return -EBUSY;
    for (const Buffer& buffer : fBuffers) {
        if (buffer.mappings > 0)
            return -EBUSY;
    }
    fBuffers.clear();
    fQueue.clear();
    fDoneQueue.clear();
    fOwner = -1;
    request->capabilities =
        V4L2_BUF_CAP_SUPPORTS_MMAP | (fUserPtrSupported ? V4L2_BUF_CAP_SUPPORTS_USERPTR : 0);
    if (request->count == 0)
        return 0;
    uint32 count = std::clamp<uint32>(request->count, 2, 32);
    size_t length = (fFormat.sizeimage + kPageSize - 1) / kPageSize * kPageSize;
    fMemory = v4l2_memory(request->memory);
    fBuffers.resize(count);
    for (Buffer& buffer : fBuffers) {
        buffer.length = fMemory == V4L2_MEMORY_MMAP ? length : fFormat.sizeimage;
        if (fMemory == V4L2_MEMORY_MMAP)
            buffer.memory = std::make_unique<uint8[]>(length);
    }
    fOwner = fd;
    request->count = count;
    return 0;
}

int FakeBt848::QueueBuffer(int fd, v4l2_buffer* request) {
    if (request->type != V4L2_BUF_TYPE_VIDEO_CAPTURE || fd != fOwner ||
        request->index >= fBuffers.size() || request->memory != fMemory)
        return -EINVAL;
    Buffer& buffer = fBuffers[request->index];
    if (buffer.state != BufferState::Idle)
        return -EINVAL;
    if (fMemory == V4L2_MEMORY_USERPTR) {
        if (request->m.userptr == 0 || request->length < fFormat.sizeimage)
            return -EINVAL;
        buffer.userptr = request->m.userptr;
        buffer.length = request->length;
    }
    buffer.state = BufferState::Queued;
    fQueue.push_back(request->index);
    request->flags = V4L2_BUF_FLAG_QUEUED;
    return 0;
}

int FakeBt848::DequeueBuffer(int fd, v4l2_buffer* request, bool blocking,
                             std::unique_lock<std::mutex>& lock) {
    if (request->type != V4L2_BUF_TYPE_VIDEO_CAPTURE || fd != fOwner || request->memory != fMemory)
        return -EINVAL;
    while (true) {
        if (fVanished)
            return -ENODEV;
        if (!fStreaming)
            return -EINVAL;
        CaptureDueFrames();
        if (HasDoneBuffer())
            break;
        if (!blocking)
            return -EAGAIN;
        if (fQueue.empty())
            return -EINVAL;  // would wait for ever
        fChanged.wait_for(lock, std::chrono::microseconds(
                                    std::max<bigtime_t>(fNextFrameTime - system_time(), 1)));
    }
    uint32 index = fDoneQueue.front();
    fDoneQueue.erase(fDoneQueue.begin());
    Buffer& buffer = fBuffers[index];
    buffer.state = BufferState::Idle;
    *request = buffer.done;
    if (fVanishAfter > 0 && --fVanishAfter == 0) {
        fVanished = true;
        fChanged.notify_all();
    }
    return 0;
}

void FakeBt848::CaptureDueFrames() {
    bigtime_t now = system_time();
    bigtime_t interval = FrameInterval();
    // A stream nobody read for long loses whole periods at once rather than looping over them.
    if (fStreaming && now - fNextFrameTime > 100 * interval) {
        bigtime_t skipped = (now - fNextFrameTime) / interval;
        fSequence += uint32(skipped);
        fNextFrameTime += skipped * interval;
    }
    while (fStreaming && fNextFrameTime <= now) {
        uint32 sequence = fSequence++;
        bigtime_t captured = fNextFrameTime;
        fNextFrameTime += interval;
        if (fQueue.empty())
            continue;  // no buffer: the frame is lost
        uint32 index = fQueue.front();
        fQueue.erase(fQueue.begin());
        Buffer& buffer = fBuffers[index];
        uint8* data = fMemory == V4L2_MEMORY_MMAP ? buffer.memory.get()
                                                  : reinterpret_cast<uint8*>(buffer.userptr);
        std::memset(data, int(sequence & 0xff), fFormat.sizeimage);
        std::memcpy(data, &sequence, sizeof(sequence));
        v4l2_buffer& done = buffer.done;
        done = {};
        done.index = index;
        done.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        done.memory = fMemory;
        done.bytesused = fFormat.sizeimage;
        done.field = fFormat.field;
        done.flags =
            V4L2_BUF_FLAG_DONE | V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC |
            (fStampStartOfExposure ? V4L2_BUF_FLAG_TSTAMP_SRC_SOE : V4L2_BUF_FLAG_TSTAMP_SRC_EOF);
        const bigtime_t stamp = fStampStartOfExposure ? captured - interval : captured;
        done.timestamp.tv_sec = stamp / 1000000;
        done.timestamp.tv_usec = stamp % 1000000;
        done.sequence = sequence;
        done.length = uint32(buffer.length);
        if (fMemory == V4L2_MEMORY_MMAP)
            done.m.offset = uint32(index * buffer.length);
        else
            done.m.userptr = buffer.userptr;
        buffer.state = BufferState::Done;
        fDoneQueue.push_back(index);
    }
}

bool FakeBt848::HasDoneBuffer() const {
    return !fDoneQueue.empty();
}

bigtime_t FakeBt848::FrameInterval() const {
    if (fFrameInterval > 0)
        return fFrameInterval;
    return Is625Lines() ? 40000 : 33367;
}

bool FakeBt848::Is625Lines() const {
    return kStandards[fStandard].lines625;
}

FakeBt848::Control* FakeBt848::FindControl(uint32 id) {
    for (Control& control : fControls) {
        if (control.id == id)
            return &control;
    }
    return nullptr;
}

const FakeBt848::Control* FakeBt848::FindControl(uint32 id) const {
    return const_cast<FakeBt848*>(this)->FindControl(id);
}
