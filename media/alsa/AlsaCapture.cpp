#include "media/alsa/AlsaCapture.h"
#include "media/alsa/AlsaErrors.h"

#include <cstdio>
#include <cstring>

#include "support/Clock.h"
#include "support/Log.h"
#include "support/StandardErrorCapture.h"

namespace {

// ALSA's errors are negative errnos, like status_t's POSIX ones.
status_t logged(const char* call, const std::string& name, int error) {
    logError("alsa: %s on \"%s\" failed: %s", call, name.c_str(), snd_strerror(error));
    return error;
}

struct InputCloser {
    void operator()(snd_input_t* input) const { snd_input_close(input); }
};

}  // namespace

AlsaCapture::AlsaCapture(const AlsaSource& source) : fName(source.name) {
    routeAlsaErrorsToLog();
    snd_pcm_t* pcm = nullptr;
    int error;
    if (source.config.empty()) {
        // A PCM of a plugin (jack, pulse) may print its client library's complaints.
        withStandardErrorInLog("alsa plugin", [&] {
            error = snd_pcm_open(&pcm, fName.c_str(), SND_PCM_STREAM_CAPTURE, 0);
        });
    } else {
        snd_config_t* config = nullptr;
        error = snd_config_top(&config);
        if (error < 0) {
            fStatus = logged("snd_config_top", fName, error);
            return;
        }
        fConfig.reset(config);
        snd_input_t* rawInput = nullptr;
        error =
            snd_input_buffer_open(&rawInput, source.config.data(), ssize_t(source.config.size()));
        if (error < 0) {
            fStatus = logged("snd_input_buffer_open", fName, error);
            return;
        }
        std::unique_ptr<snd_input_t, InputCloser> input(rawInput);
        error = snd_config_load(config, input.get());
        if (error < 0) {
            fStatus = logged("snd_config_load", fName, error);
            return;
        }
        error = snd_pcm_open_lconf(&pcm, fName.c_str(), SND_PCM_STREAM_CAPTURE, 0, config);
    }
    if (error < 0) {
        fStatus = logged("snd_pcm_open", fName, error);
        return;
    }
    fPcm.reset(pcm);
    fStatus = B_OK;
}

AlsaCapture::~AlsaCapture() = default;

status_t AlsaCapture::Configure(uint32 rate, uint32 channels, uint32 periodFrames) {
    if (fStatus != B_OK)
        return fStatus;
    snd_pcm_t* pcm = fPcm.get();
    snd_pcm_drop(pcm);
    snd_pcm_hw_params_t* hw;
    snd_pcm_hw_params_alloca(&hw);
    int error = snd_pcm_hw_params_any(pcm, hw);
    if (error < 0)
        return logged("snd_pcm_hw_params_any", fName, error);
    if ((error = snd_pcm_hw_params_set_access(pcm, hw, SND_PCM_ACCESS_RW_INTERLEAVED)) < 0)
        return logged("snd_pcm_hw_params_set_access", fName, error);
    if ((error = snd_pcm_hw_params_set_format(pcm, hw, SND_PCM_FORMAT_S16_LE)) < 0)
        return logged("snd_pcm_hw_params_set_format", fName, error);
    unsigned int grantedChannels = channels;
    if ((error = snd_pcm_hw_params_set_channels_near(pcm, hw, &grantedChannels)) < 0)
        return logged("snd_pcm_hw_params_set_channels_near", fName, error);
    unsigned int grantedRate = rate;
    if ((error = snd_pcm_hw_params_set_rate_near(pcm, hw, &grantedRate, nullptr)) < 0)
        return logged("snd_pcm_hw_params_set_rate_near", fName, error);
    snd_pcm_uframes_t period = periodFrames;
    if ((error = snd_pcm_hw_params_set_period_size_near(pcm, hw, &period, nullptr)) < 0)
        return logged("snd_pcm_hw_params_set_period_size_near", fName, error);
    // Four periods of slack before an overrun.
    snd_pcm_uframes_t buffer = period * 4;
    if ((error = snd_pcm_hw_params_set_buffer_size_near(pcm, hw, &buffer)) < 0)
        return logged("snd_pcm_hw_params_set_buffer_size_near", fName, error);
    if ((error = snd_pcm_hw_params(pcm, hw)) < 0)
        return logged("snd_pcm_hw_params", fName, error);
    snd_pcm_hw_params_get_period_size(hw, &period, nullptr);

    snd_pcm_sw_params_t* sw;
    snd_pcm_sw_params_alloca(&sw);
    snd_pcm_sw_params_current(pcm, sw);
    snd_pcm_sw_params_set_avail_min(pcm, sw, period);
    snd_pcm_sw_params_set_tstamp_mode(pcm, sw, SND_PCM_TSTAMP_ENABLE);
    // Timestamps on our clock; a PCM that cannot is timed from the clock and its delay.
    snd_pcm_sw_params_set_tstamp_type(pcm, sw, SND_PCM_TSTAMP_TYPE_MONOTONIC);
    if ((error = snd_pcm_sw_params(pcm, sw)) < 0)
        return logged("snd_pcm_sw_params", fName, error);

    fRate = grantedRate;
    fChannels = grantedChannels;
    fPeriodFrames = uint32(period);
    return B_OK;
}

status_t AlsaCapture::Start() {
    if (fStatus != B_OK)
        return fStatus;
    if (fPeriodFrames == 0)
        return B_NO_INIT;
    int error = snd_pcm_prepare(fPcm.get());
    if (error < 0)
        return logged("snd_pcm_prepare", fName, error);
    error = snd_pcm_start(fPcm.get());
    if (error < 0)
        return logged("snd_pcm_start", fName, error);
    return B_OK;
}

void AlsaCapture::Stop() {
    if (fPcm != nullptr)
        snd_pcm_drop(fPcm.get());
}

status_t AlsaCapture::Recover(int error) {
    if (error == -EPIPE || error == -ESTRPIPE)
        fOverruns++;
    error = snd_pcm_recover(fPcm.get(), error, 1);
    if (error < 0)
        return logged("snd_pcm_recover", fName, error);
    error = snd_pcm_start(fPcm.get());
    if (error < 0 && error != -EBADFD)
        return logged("snd_pcm_start", fName, error);
    return B_OK;
}

bigtime_t AlsaCapture::StartTimeOf(snd_pcm_uframes_t frames) const {
    // The first frame just read was captured `avail + frames` frames before the moment the
    // PCM's pointer was last updated.
    snd_pcm_uframes_t avail = 0;
    snd_htimestamp_t stamp{};
    bigtime_t when;
    if (snd_pcm_htimestamp(fPcm.get(), &avail, &stamp) == 0 &&
        (stamp.tv_sec != 0 || stamp.tv_nsec != 0)) {
        when = bigtime_t(stamp.tv_sec) * 1000000 + stamp.tv_nsec / 1000;
    } else {
        snd_pcm_sframes_t delay = 0;
        when = system_time();
        avail = snd_pcm_delay(fPcm.get(), &delay) == 0 && delay > 0 ? snd_pcm_uframes_t(delay) : 0;
    }
    return when - bigtime_t(avail + frames) * 1000000 / fRate;
}

status_t AlsaCapture::ReadPeriod(void* data, size_t* bytes, bigtime_t* startTime, int timeoutMs) {
    *bytes = 0;
    if (fStatus != B_OK)
        return fStatus;
    const size_t frameBytes = size_t(fChannels) * 2;
    snd_pcm_uframes_t done = 0;
    while (done < fPeriodFrames) {
        int ready = snd_pcm_wait(fPcm.get(), done == 0 ? timeoutMs : 1000);
        if (ready == 0) {
            if (done == 0)
                return B_TIMED_OUT;
            break;
        }
        if (ready < 0) {
            if (status_t status = Recover(ready); status != B_OK)
                return status;
            done = 0;  // what was read before the overrun belongs to the lost stretch
            continue;
        }
        snd_pcm_sframes_t read = snd_pcm_readi(
            fPcm.get(), static_cast<uint8_t*>(data) + done * frameBytes, fPeriodFrames - done);
        if (read == -EAGAIN)
            continue;
        if (read == -ENODEV)
            return logged("snd_pcm_readi", fName, int(read));
        if (read < 0) {
            if (status_t status = Recover(int(read)); status != B_OK)
                return status;
            done = 0;
            continue;
        }
        if (read == 0)
            break;  // the end of a file-backed stream
        done += snd_pcm_uframes_t(read);
    }
    if (done == 0)
        return B_TIMED_OUT;
    *bytes = done * frameBytes;
    *startTime = StartTimeOf(done);
    return B_OK;
}
