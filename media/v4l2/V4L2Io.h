#pragma once
// The one way Tavro talks to a V4L2 device: open, close, ioctl, mmap, munmap and poll behind a
// small interface, so that the capture code runs unchanged against the kernel (V4L2SystemIo)
// or against an in-process fake device in tests (FakeBt848). Every ioctl goes through
// Ioctl(), which logs a failure with the request's name ("VIDIOC_S_FMT") and the error.

#include <sys/types.h>

#include "support/Status.h"

class V4L2Io {
public:
    virtual ~V4L2Io() = default;

    // A file descriptor, or a negative errno.
    virtual int Open(const char* path, int flags) = 0;
    virtual status_t Close(int fd) = 0;
    // *address is the mapping on success.
    virtual status_t Mmap(int fd, size_t length, off_t offset, void** address) = 0;
    virtual status_t Munmap(void* address, size_t length) = 0;
    // 1 when one of `events` (or POLLERR/POLLHUP) is pending, in *revents; 0 when the time-out
    // (milliseconds, -1 for none) ran out; a negative errno on failure.
    virtual int Poll(int fd, short events, int timeoutMs, short* revents) = 0;

    // B_OK or the negative errno. Failures are logged by the request's name, except the
    // EINVAL that ends an enumeration (VIDIOC_ENUM*, VIDIOC_QUERYCTRL, VIDIOC_QUERYMENU) and
    // the EAGAIN of a non-blocking VIDIOC_DQBUF, which are how those calls answer "no more".
    status_t Ioctl(int fd, unsigned long request, void* argument);

    // "VIDIOC_S_FMT" for VIDIOC_S_FMT; "ioctl 0x..." for a request Tavro does not use.
    static const char* RequestName(unsigned long request);

protected:
    // 0 or a negative errno.
    virtual int DoIoctl(int fd, unsigned long request, void* argument) = 0;
};
