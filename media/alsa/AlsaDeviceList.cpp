#include "media/alsa/AlsaDeviceList.h"
#include "media/alsa/AlsaErrors.h"

#include <alsa/asoundlib.h>

#include <cstdlib>
#include <memory>

#include "support/StandardErrorCapture.h"

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

// Listed PCMs need not open: "default" exists even on a machine without a sound card, and a
// plugin may name a device that is gone. Trying a plugin's PCM (jack, pulse) runs its client
// library, which prints its complaints ("jack server is not running") on standard error: they
// go to the debug log.
bool alsaOpensForCapture(const std::string& name) {
    routeAlsaErrorsToLog();
    bool opens = false;
    withStandardErrorInLog("alsa plugin", [&] {
        snd_pcm_t* pcm = nullptr;
        if (snd_pcm_open(&pcm, name.c_str(), SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK) < 0)
            return;
        snd_pcm_close(pcm);
        opens = true;
    });
    return opens;
}

std::vector<AlsaDeviceInfo> listAlsaCaptureDevices() {
    routeAlsaErrorsToLog();
    std::vector<AlsaDeviceInfo> devices;
    if (alsaOpensForCapture("default"))
        devices.push_back({"default", "Default audio input"});
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
        if (!alsaOpensForCapture(name))
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
