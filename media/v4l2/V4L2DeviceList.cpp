#include "media/v4l2/V4L2DeviceList.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "media/v4l2/V4L2Device.h"
#include "media/v4l2/V4L2SystemIo.h"

std::vector<V4L2DeviceInfo> listV4L2Devices(V4L2Io& io, const std::vector<std::string>& paths) {
    std::vector<V4L2DeviceInfo> devices;
    for (const std::string& path : paths) {
        V4L2Device device(io, path);
        if (device.InitCheck() == B_OK)
            devices.push_back({path, device.CardName(), device.Driver()});
    }
    return devices;
}

std::vector<V4L2DeviceInfo> listV4L2Devices() {
    std::vector<std::pair<long, std::string>> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev", error)) {
        std::string name = entry.path().filename().string();
        if (name.rfind("video", 0) != 0 || name.size() == 5)
            continue;
        char* end = nullptr;
        long number = std::strtol(name.c_str() + 5, &end, 10);
        if (*end != '\0')
            continue;
        found.emplace_back(number, entry.path().string());
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> paths;
    for (const auto& [number, path] : found)
        paths.push_back(path);
    return listV4L2Devices(V4L2SystemIo::Default(), paths);
}
