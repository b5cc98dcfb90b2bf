#pragma once
// One ALSA capture PCM: 16-bit little-endian interleaved samples at the requested rate and
// channel count or the nearest the PCM has, read one period at a time, each period with the
// CLOCK_MONOTONIC time of its first frame. Overruns are recovered and counted.
//
// The PCM is named ("default", "hw:1,0") or defined by configuration text that the caller
// passes (loaded with snd_config_load and opened with snd_pcm_open_lconf), which lets tests
// run alsa-lib's "file" plugin over a "null" slave with no sound card and no environment.
//
// Not thread-safe: one thread (the capture thread) uses an instance at a time.

#include <alsa/asoundlib.h>

#include <memory>
#include <string>

#include "support/Status.h"

struct AlsaSource {
    std::string name = "default";
    // Empty: `name` is looked up in the system's configuration. Otherwise configuration text
    // that defines `name` ("pcm.name { type file ... }"), used instead.
    std::string config;
};

class AlsaCapture {
public:
    explicit AlsaCapture(const AlsaSource& source);
    ~AlsaCapture();
    AlsaCapture(const AlsaCapture&) = delete;
    AlsaCapture& operator=(const AlsaCapture&) = delete;

    // B_OK, or why the PCM could not be opened (the config's or the open's error).
    status_t InitCheck() const { return fStatus; }

    // Sets 16-bit interleaved capture at the rate, channel count and period size (frames)
    // nearest to those asked for; read back what was granted.
    status_t Configure(uint32 rate, uint32 channels, uint32 periodFrames);
    uint32 Rate() const { return fRate; }
    uint32 Channels() const { return fChannels; }
    uint32 PeriodFrames() const { return fPeriodFrames; }
    size_t PeriodBytes() const { return size_t(fPeriodFrames) * fChannels * 2; }

    status_t Start();
    // Drops what was captured and stops; Start() starts afresh.
    void Stop();

    // Reads one period into `data` (PeriodBytes() long). `*bytes` is what was read: a whole
    // period, or less at the end of a file-backed stream. `*startTime` is the capture time of
    // its first frame. Waits at most `timeoutMs` for data: B_TIMED_OUT when none came. An
    // overrun is recovered and counted, and the read goes on. Other errors are returned
    // (B_DEV_NOT_READY when the device has gone).
    status_t ReadPeriod(void* data, size_t* bytes, bigtime_t* startTime, int timeoutMs);

    int64 Overruns() const { return fOverruns; }

private:
    struct PcmCloser {
        void operator()(snd_pcm_t* pcm) const { snd_pcm_close(pcm); }
    };
    struct ConfigDeleter {
        void operator()(snd_config_t* config) const { snd_config_delete(config); }
    };

    status_t Recover(int error);
    bigtime_t StartTimeOf(snd_pcm_uframes_t frames) const;

    std::string fName;
    std::unique_ptr<snd_config_t, ConfigDeleter> fConfig;
    std::unique_ptr<snd_pcm_t, PcmCloser> fPcm;
    status_t fStatus = B_NO_INIT;
    uint32 fRate = 0;
    uint32 fChannels = 0;
    uint32 fPeriodFrames = 0;
    int64 fOverruns = 0;
};
