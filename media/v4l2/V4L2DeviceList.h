#pragma once
// Finding the V4L2 devices that can capture video (for the roster).

#include <string>
#include <vector>

#include "media/v4l2/V4L2Io.h"

struct V4L2DeviceInfo {
    std::string path;  // "/dev/video0"
    std::string card;  // the driver's name for the card
    std::string driver;
};

// The devices among `paths` that open and report video capture with streaming, in the order
// given. Metadata and output nodes are left out.
std::vector<V4L2DeviceInfo> listV4L2Devices(V4L2Io& io, const std::vector<std::string>& paths);
// /dev/video0, /dev/video1, ... in numeric order, through the system calls.
std::vector<V4L2DeviceInfo> listV4L2Devices();
