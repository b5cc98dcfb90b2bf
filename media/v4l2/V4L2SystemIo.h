#pragma once
// V4L2Io over the kernel's system calls. Stateless: one instance serves every device.

#include "media/v4l2/V4L2Io.h"

class V4L2SystemIo : public V4L2Io {
public:
    int Open(const char* path, int flags) override;
    status_t Close(int fd) override;
    status_t Mmap(int fd, size_t length, off_t offset, void** address) override;
    status_t Munmap(void* address, size_t length) override;
    int Poll(int fd, short events, int timeoutMs, short* revents) override;

    // The process's one instance.
    static V4L2SystemIo& Default();

protected:
    int DoIoctl(int fd, unsigned long request, void* argument) override;
};
