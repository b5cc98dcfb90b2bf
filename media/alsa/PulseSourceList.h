#pragma once
// The sources of a running PulseAudio server (or PipeWire's pipewire-pulse, which speaks the
// same protocol): microphones, line inputs, a USB grabber's sound, and the monitors of the
// outputs. Each is captured through ALSA's pulse plugin, so it is an ALSA PCM like any other:
// "pulse:DEVICE=<source name>".
//
// The list comes from `pactl list sources`, and only when a server's socket is there: listing
// never starts a sound server.

#include <string>
#include <vector>

#include "media/alsa/AlsaDeviceList.h"

// The PCM that captures the source named `source`.
std::string pulseSourcePcm(const std::string& source);
// Whether a server answers at $PULSE_SERVER or $XDG_RUNTIME_DIR/pulse/native.
bool pulseServerRunning();
// The sources of the running server, in the server's order; empty without one.
std::vector<AlsaDeviceInfo> listPulseSources();
// The sources in the text `pactl list sources` prints in the C locale ("Source #0", then
// "Name: ..." and "Description: ..." lines).
std::vector<AlsaDeviceInfo> parsePactlSources(const std::string& text);
