#include "media/v4l2/V4L2SystemIo.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

int V4L2SystemIo::Open(const char* path, int flags) {
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd >= 0 ? fd : -errno;
}

status_t V4L2SystemIo::Close(int fd) {
    // No retry on EINTR: the descriptor is gone either way on Linux.
    return ::close(fd) == 0 ? B_OK : -errno;
}

status_t V4L2SystemIo::Mmap(int fd, size_t length, off_t offset, void** address) {
    void* mapped = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, offset);
    if (mapped == MAP_FAILED)
        return -errno;
    *address = mapped;
    return B_OK;
}

status_t V4L2SystemIo::Munmap(void* address, size_t length) {
    return ::munmap(address, length) == 0 ? B_OK : -errno;
}

int V4L2SystemIo::Poll(int fd, short events, int timeoutMs, short* revents) {
    pollfd entry{fd, events, 0};
    int result = ::poll(&entry, 1, timeoutMs);
    if (result < 0)
        return -errno;
    *revents = entry.revents;
    return result;
}

int V4L2SystemIo::DoIoctl(int fd, unsigned long request, void* argument) {
    int result;
    do {
        result = ::ioctl(fd, request, argument);
    } while (result < 0 && errno == EINTR);
    return result < 0 ? -errno : 0;
}

V4L2SystemIo& V4L2SystemIo::Default() {
    static V4L2SystemIo io;
    return io;
}
