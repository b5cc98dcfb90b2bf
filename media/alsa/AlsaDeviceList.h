#pragma once
// Finding the ALSA PCMs that can capture (for the roster).

#include <string>
#include <vector>

struct AlsaDeviceInfo {
    std::string name;         // what snd_pcm_open takes: "default", "hw:CARD=PCH,DEV=0", ...
    std::string description;  // one line for people

    friend bool operator==(const AlsaDeviceInfo&, const AlsaDeviceInfo&) = default;
};

// "default" first, then every PCM alsa-lib's name hints list with a capture direction; only
// those that open for capture now (a machine without a sound card lists none).
std::vector<AlsaDeviceInfo> listAlsaCaptureDevices();

// Whether the PCM `name` opens for capture now.
bool alsaOpensForCapture(const std::string& name);
