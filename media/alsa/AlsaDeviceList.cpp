#include "media/alsa/AlsaDeviceList.h"

#include <alsa/asoundlib.h>

#include <cstdlib>
#include <memory>

namespace {

struct HintsFree {
    void operator()(void** hints) const { snd_device_name_free_hint(hints); }
};

std::string takeHint(void* hint, const char* id) {
    char* value = snd_device_name_get_hint(hint, id);
    if (value == nullptr)
        return {};
    std::string text = value;
    std::free(value);
    return text;
}

}  // namespace

std::vector<AlsaDeviceInfo> listAlsaCaptureDevices() {
    std::vector<AlsaDeviceInfo> devices{{"default", "Default audio input"}};
    void** rawHints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &rawHints) < 0 || rawHints == nullptr)
        return devices;
    std::unique_ptr<void*, HintsFree> hints(rawHints);
    for (void** hint = rawHints; *hint != nullptr; hint++) {
        std::string name = takeHint(*hint, "NAME");
        std::string direction = takeHint(*hint, "IOID");  // empty: both directions
        if (name.empty() || name == "default" || name == "null" ||
            (!direction.empty() && direction != "Input"))
            continue;
        std::string description = takeHint(*hint, "DESC");
        for (char& c : description) {
            if (c == '\n')
                c = ' ';
        }
        devices.push_back({name, description});
    }
    return devices;
}
