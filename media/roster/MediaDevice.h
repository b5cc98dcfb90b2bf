#pragma once
// One capture input or sound output as the roster lists it.

#include <string>

enum class DeviceKind { VideoInput, AudioInput, AudioOutput };

struct MediaDevice {
    DeviceKind kind = DeviceKind::VideoInput;
    // What a setting or the command line names it by: "/dev/video0", an ALSA PCM ("default",
    // "hw:CARD=PCH,DEV=0"), a mixer card, or "test-picture" / "test-tone" for the built-ins.
    std::string id;
    // For people: the card's or the PCM's description.
    std::string name;
    bool builtIn = false;
};
