#include "media/v4l2/V4L2Io.h"

#include <linux/videodev2.h>

#include <cstdio>
#include <cstring>

#include "support/Log.h"

namespace {

struct NamedRequest {
    unsigned long request;
    const char* name;
};

#define TAVRO_REQUEST(r) \
    { r, #r }
constexpr NamedRequest kRequests[] = {
    TAVRO_REQUEST(VIDIOC_QUERYCAP),    TAVRO_REQUEST(VIDIOC_ENUM_FMT),
    TAVRO_REQUEST(VIDIOC_G_FMT),       TAVRO_REQUEST(VIDIOC_S_FMT),
    TAVRO_REQUEST(VIDIOC_TRY_FMT),     TAVRO_REQUEST(VIDIOC_REQBUFS),
    TAVRO_REQUEST(VIDIOC_QUERYBUF),    TAVRO_REQUEST(VIDIOC_QBUF),
    TAVRO_REQUEST(VIDIOC_DQBUF),       TAVRO_REQUEST(VIDIOC_STREAMON),
    TAVRO_REQUEST(VIDIOC_STREAMOFF),   TAVRO_REQUEST(VIDIOC_G_PARM),
    TAVRO_REQUEST(VIDIOC_S_PARM),      TAVRO_REQUEST(VIDIOC_G_STD),
    TAVRO_REQUEST(VIDIOC_S_STD),       TAVRO_REQUEST(VIDIOC_ENUMSTD),
    TAVRO_REQUEST(VIDIOC_ENUMINPUT),   TAVRO_REQUEST(VIDIOC_G_CTRL),
    TAVRO_REQUEST(VIDIOC_S_CTRL),      TAVRO_REQUEST(VIDIOC_G_TUNER),
    TAVRO_REQUEST(VIDIOC_S_TUNER),     TAVRO_REQUEST(VIDIOC_QUERYCTRL),
    TAVRO_REQUEST(VIDIOC_QUERYMENU),   TAVRO_REQUEST(VIDIOC_G_INPUT),
    TAVRO_REQUEST(VIDIOC_S_INPUT),     TAVRO_REQUEST(VIDIOC_G_FREQUENCY),
    TAVRO_REQUEST(VIDIOC_S_FREQUENCY), TAVRO_REQUEST(VIDIOC_ENUM_FRAMESIZES),
    TAVRO_REQUEST(VIDIOC_G_EXT_CTRLS), TAVRO_REQUEST(VIDIOC_S_EXT_CTRLS),
};
#undef TAVRO_REQUEST

bool endsEnumeration(unsigned long request, int error) {
    if (error == -EINVAL) {
        return request == VIDIOC_ENUM_FMT || request == VIDIOC_ENUMSTD ||
               request == VIDIOC_ENUMINPUT || request == VIDIOC_QUERYCTRL ||
               request == VIDIOC_QUERYMENU || request == VIDIOC_ENUM_FRAMESIZES;
    }
    return error == -EAGAIN && request == VIDIOC_DQBUF;
}

}  // namespace

const char* V4L2Io::RequestName(unsigned long request) {
    for (const NamedRequest& named : kRequests) {
        if (named.request == request)
            return named.name;
    }
    static thread_local char unknown[32];
    std::snprintf(unknown, sizeof(unknown), "ioctl 0x%lx", request);
    return unknown;
}

status_t V4L2Io::Ioctl(int fd, unsigned long request, void* argument) {
    int result = DoIoctl(fd, request, argument);
    if (result > 0)
        result = B_ERROR;
    if (result < 0 && !endsEnumeration(request, result)) {
        logWarning("v4l2: %s failed: %s", RequestName(request), std::strerror(-result));
    }
    return result;
}
