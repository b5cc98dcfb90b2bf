#include "app/records/ChannelPresets.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "app/records/TavroSettings.h"
#include "support/Message.h"

const char* const kKorvantPreferencesName = "korvant.preferences";
const char* const kKorvantPresetsAttribute = "user.FullPresets";

namespace {

// An attribute larger than this is not a presets message (38 short names and numbers).
constexpr size_t kMaxAttributeSize = 1 << 20;

}  // namespace

status_t ParseKorvantPresets(const void* data, size_t size, std::vector<ChannelPreset>* presets) {
    presets->clear();
    Message message;
    if (message.Unflatten(data, size) != B_OK || message.what != kKorvantPresetsWhat)
        return B_ERROR;
    for (int32 i = 0; i < kKorvantPresetCount; i++) {
        ChannelPreset preset;
        if (message.FindString("n", i, &preset.name) != B_OK ||
            message.FindInt32("c", i, &preset.channel) != B_OK || preset.channel < 0)
            continue;
        presets->push_back(std::move(preset));
    }
    return B_OK;
}

status_t ReadKorvantPresets(const std::string& path, std::vector<ChannelPreset>* presets) {
    presets->clear();
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -errno;
    // The size first, then the whole attribute; one that grew in between is a short read.
    ssize_t size = fgetxattr(fd, kKorvantPresetsAttribute, nullptr, 0);
    if (size < 0) {
        const int error = errno;
        close(fd);
        return error == ENODATA || error == ENOTSUP ? B_ENTRY_NOT_FOUND : -error;
    }
    if (size_t(size) > kMaxAttributeSize) {
        close(fd);
        return B_ERROR;
    }
    std::vector<uint8> bytes(size_t(size) + 1);
    const ssize_t read = fgetxattr(fd, kKorvantPresetsAttribute, bytes.data(), bytes.size());
    close(fd);
    if (read != size)
        return B_ERROR;
    return ParseKorvantPresets(bytes.data(), size_t(size), presets);
}

status_t KorvantPreferencesPath(std::string* path) {
    std::string settings;
    if (gSettings.GetPath(&settings) != B_OK)
        return B_ENTRY_NOT_FOUND;
    const std::filesystem::path directory = std::filesystem::path(settings).parent_path();
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    *path = (directory / kKorvantPreferencesName).string();
    return B_OK;
}
