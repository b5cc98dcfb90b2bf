#include "media/v4l2/V4L2Device.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cstdio>

#include "support/Clock.h"
#include "support/Log.h"

V4L2Device::FdOwner& V4L2Device::FdOwner::operator=(FdOwner&& other) noexcept {
    if (this != &other) {
        Reset();
        fIo = other.fIo;
        fFd = other.fFd;
        other.fFd = -1;
    }
    return *this;
}

void V4L2Device::FdOwner::Reset() {
    if (fFd >= 0)
        fIo->Close(fFd);
    fFd = -1;
}

V4L2Device::V4L2Device(V4L2Io& io, std::string path) : fIo(io), fPath(std::move(path)) {
    int fd = fIo.Open(fPath.c_str(), O_RDWR | O_NONBLOCK);
    if (fd < 0) {
        fStatus = fd;
        logError("v4l2: cannot open %s: %s", fPath.c_str(), statusText(fd).c_str());
        return;
    }
    fFd = FdOwner(&fIo, fd);

    v4l2_capability caps{};
    fStatus = Ioctl(VIDIOC_QUERYCAP, &caps);
    if (fStatus != B_OK)
        return;
    fCard = reinterpret_cast<const char*>(caps.card);
    fDriver = reinterpret_cast<const char*>(caps.driver);
    uint32 deviceCaps =
        (caps.capabilities & V4L2_CAP_DEVICE_CAPS) ? caps.device_caps : caps.capabilities;
    if ((deviceCaps & V4L2_CAP_VIDEO_CAPTURE) == 0 || (deviceCaps & V4L2_CAP_STREAMING) == 0) {
        logError("v4l2: %s (%s) cannot capture video by streaming", fPath.c_str(), fCard.c_str());
        fStatus = B_NOT_SUPPORTED;
        return;
    }

    for (uint32 index = 0;; index++) {
        v4l2_fmtdesc description{};
        description.index = index;
        description.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (Ioctl(VIDIOC_ENUM_FMT, &description) != B_OK)
            break;
        fPixelFormats.push_back(description.pixelformat);
    }
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (Ioctl(VIDIOC_G_FMT, &format) == B_OK)
        fFormat = format.fmt.pix;
}

V4L2Device::~V4L2Device() {
    ReleaseBuffers();
}

std::vector<uint32> V4L2Device::PixelFormatsFor(color_space space) {
    switch (space) {
        case B_RGB32:
            return {V4L2_PIX_FMT_XBGR32, V4L2_PIX_FMT_BGR32};
        case B_RGB24:
            return {V4L2_PIX_FMT_BGR24};
        case B_RGB16:
            return {V4L2_PIX_FMT_RGB565};
        case B_RGB15:
            return {V4L2_PIX_FMT_RGB555, V4L2_PIX_FMT_XRGB555};
        case B_YCbCr422:
            return {V4L2_PIX_FMT_YUYV};
        case B_YCbCr411:
            return {V4L2_PIX_FMT_Y41P};
        case B_GRAY8:
            return {V4L2_PIX_FMT_GREY};
        default:
            return {};
    }
}

color_space V4L2Device::ColorSpaceFor(uint32 pixelFormat) {
    for (color_space space :
         {B_RGB32, B_RGB24, B_RGB16, B_RGB15, B_YCbCr422, B_YCbCr411, B_GRAY8}) {
        std::vector<uint32> formats = PixelFormatsFor(space);
        if (std::find(formats.begin(), formats.end(), pixelFormat) != formats.end())
            return space;
    }
    return B_NO_COLOR_SPACE;
}

status_t V4L2Device::SetFormat(color_space space, uint32 width, uint32 height) {
    if (fStatus != B_OK)
        return fStatus;
    if (fBufferCount > 0)
        return B_BUSY;
    for (uint32 pixelFormat : PixelFormatsFor(space)) {
        if (std::find(fPixelFormats.begin(), fPixelFormats.end(), pixelFormat) ==
            fPixelFormats.end())
            continue;
        v4l2_format format{};
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        format.fmt.pix.width = width;
        format.fmt.pix.height = height;
        format.fmt.pix.pixelformat = pixelFormat;
        format.fmt.pix.field = V4L2_FIELD_ANY;
        status_t status = Ioctl(VIDIOC_S_FMT, &format);
        if (status == B_BUSY)
            return status;
        // Drivers replace a pixel format they do not have instead of refusing it.
        if (status == B_OK && format.fmt.pix.pixelformat == pixelFormat) {
            fFormat = format.fmt.pix;
            return B_OK;
        }
    }
    return B_MEDIA_BAD_FORMAT;
}

float V4L2Device::FrameRate(uint32* frameLines) const {
    if (frameLines != nullptr)
        *frameLines = 0;
    float rate = 0;
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (Ioctl(VIDIOC_G_PARM, &parameters) == B_OK) {
        const v4l2_fract& period = parameters.parm.capture.timeperframe;
        if (period.numerator > 0 && period.denominator > 0)
            rate = float(period.denominator) / float(period.numerator);
    }
    v4l2_std_id current = 0;
    if (Ioctl(VIDIOC_G_STD, &current) != B_OK || current == 0)
        return rate;
    for (uint32 index = 0;; index++) {
        v4l2_standard standard{};
        standard.index = index;
        if (Ioctl(VIDIOC_ENUMSTD, &standard) != B_OK)
            break;
        if ((standard.id & current) == 0)
            continue;
        if (frameLines != nullptr)
            *frameLines = standard.framelines;
        const v4l2_fract& period = standard.frameperiod;
        if (rate == 0 && period.numerator > 0 && period.denominator > 0)
            rate = float(period.denominator) / float(period.numerator);
        break;
    }
    return rate;
}

status_t V4L2Device::AllocateBuffers(uint32 count, bool userPointers) {
    if (fStatus != B_OK)
        return fStatus;
    ReleaseBuffers();
    v4l2_requestbuffers request{};
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.count = count;
    if (userPointers) {
        request.memory = V4L2_MEMORY_USERPTR;
        if (Ioctl(VIDIOC_REQBUFS, &request) == B_OK && request.count > 0) {
            fMemory = Memory::UserPointer;
            fBufferCount = request.count;
            fUserData.assign(fBufferCount, nullptr);
            return B_OK;
        }
        request = {};
        request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request.count = count;
    }
    request.memory = V4L2_MEMORY_MMAP;
    status_t status = Ioctl(VIDIOC_REQBUFS, &request);
    if (status != B_OK)
        return status;
    if (request.count == 0)
        return B_NO_MEMORY;
    fMemory = Memory::Mapped;
    fBufferCount = request.count;
    for (uint32 index = 0; index < fBufferCount; index++) {
        v4l2_buffer buffer{};
        buffer.index = index;
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        void* address = nullptr;
        status = Ioctl(VIDIOC_QUERYBUF, &buffer);
        if (status == B_OK)
            status = fIo.Mmap(fFd.get(), buffer.length, buffer.m.offset, &address);
        if (status != B_OK) {
            logError("v4l2: cannot map buffer %u of %s: %s", index, fPath.c_str(),
                     statusText(status).c_str());
            ReleaseBuffers();
            return status;
        }
        fMappings.emplace_back(address, Unmapper{&fIo, buffer.length});
    }
    return B_OK;
}

void V4L2Device::ReleaseBuffers() {
    if (fStreaming)
        StopStreaming();
    // The driver frees its buffers only once nothing maps them any more.
    fMappings.clear();
    fUserData.clear();
    if (fBufferCount > 0 && fFd.get() >= 0) {
        v4l2_requestbuffers request{};
        request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request.count = 0;
        request.memory = fMemory == Memory::UserPointer ? V4L2_MEMORY_USERPTR : V4L2_MEMORY_MMAP;
        Ioctl(VIDIOC_REQBUFS, &request);
    }
    fBufferCount = 0;
    fMemory = Memory::None;
}

void* V4L2Device::MappedData(uint32 index) const {
    if (fMemory != Memory::Mapped || index >= fMappings.size())
        return nullptr;
    return fMappings[index].get();
}

status_t V4L2Device::Queue(uint32 index, void* data, size_t size) {
    if (index >= fBufferCount)
        return B_BAD_INDEX;
    v4l2_buffer buffer{};
    buffer.index = index;
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (fMemory == Memory::UserPointer) {
        if (data == nullptr || size < fFormat.sizeimage)
            return B_BAD_VALUE;
        buffer.memory = V4L2_MEMORY_USERPTR;
        buffer.m.userptr = reinterpret_cast<unsigned long>(data);
        buffer.length = uint32(size);
    } else {
        buffer.memory = V4L2_MEMORY_MMAP;
    }
    status_t status = Ioctl(VIDIOC_QBUF, &buffer);
    if (status == B_OK && fMemory == Memory::UserPointer)
        fUserData[index] = data;
    return status;
}

status_t V4L2Device::StartStreaming() {
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    status_t status = Ioctl(VIDIOC_STREAMON, &type);
    fStreaming = status == B_OK;
    const float rate = FrameRate();
    fFramePeriod = rate > 0 ? bigtime_t(1000000 / rate) : 0;
    return status;
}

status_t V4L2Device::StopStreaming() {
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    fStreaming = false;
    return Ioctl(VIDIOC_STREAMOFF, &type);
}

status_t V4L2Device::WaitForFrame(int timeoutMs) const {
    short revents = 0;
    int ready = fIo.Poll(fFd.get(), POLLIN, timeoutMs, &revents);
    if (ready < 0 && ready != -EINTR)
        return ready;
    return ready > 0 ? B_OK : B_TIMED_OUT;
}

status_t V4L2Device::Dequeue(V4L2Frame* frame, int timeoutMs) {
    short revents = 0;
    int ready = fIo.Poll(fFd.get(), POLLIN, timeoutMs, &revents);
    if (ready < 0)
        return ready == -EINTR ? B_TIMED_OUT : ready;
    if (ready == 0)
        return B_TIMED_OUT;
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = fMemory == Memory::UserPointer ? V4L2_MEMORY_USERPTR : V4L2_MEMORY_MMAP;
    // After POLLERR this tells why (ENODEV for a device that has gone).
    status_t status = Ioctl(VIDIOC_DQBUF, &buffer);
    if (status == -EAGAIN)
        return (revents & (POLLERR | POLLHUP)) ? B_IO_ERROR : B_TIMED_OUT;
    if (status != B_OK)
        return status;
    if (buffer.index >= fBufferCount)
        return B_MEDIA_BAD_BUFFER;
    frame->index = buffer.index;
    frame->bytesUsed = buffer.bytesused;
    frame->sequence = buffer.sequence;
    uint32 clock = buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK;
    if (clock == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC) {
        frame->captureTime =
            bigtime_t(buffer.timestamp.tv_sec) * 1000000 + buffer.timestamp.tv_usec;
        // Webcams (uvcvideo) stamp the start of the exposure; the frame is whole about a
        // period later, and that is the moment a capture time means everywhere else (the
        // preview's lateness rule, the recording's clock). Never later than now, though.
        if ((buffer.flags & V4L2_BUF_FLAG_TSTAMP_SRC_MASK) == V4L2_BUF_FLAG_TSTAMP_SRC_SOE)
            frame->captureTime = std::min(frame->captureTime + fFramePeriod, system_time());
    } else {
        frame->captureTime = system_time();  // the driver's clock is not ours: now is closest
    }
    frame->data =
        fMemory == Memory::UserPointer ? fUserData[buffer.index] : fMappings[buffer.index].get();
    return B_OK;
}
