#include "media/file/AudioResampler.h"

extern "C" {
#include <libswresample/swresample.h>
}

status_t AudioResampler::Init(int inputRate, int inputChannels, int outputRate,
                              int outputChannels) {
    if (inputRate <= 0 || outputRate <= 0 || inputChannels <= 0 || outputChannels <= 0)
        return B_BAD_VALUE;
    AVChannelLayout input;
    AVChannelLayout output;
    av_channel_layout_default(&input, inputChannels);
    av_channel_layout_default(&output, outputChannels);
    SwrContext* resampler = nullptr;
    int error = swr_alloc_set_opts2(&resampler, &output, AV_SAMPLE_FMT_S16, outputRate, &input,
                                    AV_SAMPLE_FMT_S16, inputRate, 0, nullptr);
    av_channel_layout_uninit(&input);
    av_channel_layout_uninit(&output);
    fResampler.reset(resampler);
    if (error < 0)
        return avStatus("swr_alloc_set_opts2", error);
    if ((error = swr_init(fResampler.get())) < 0)
        return avStatus("swr_init", error);
    fOutputChannels = outputChannels;
    return B_OK;
}

status_t AudioResampler::Convert(const int16* samples, int frames, const int16** output,
                                 int* outputFrames) {
    *outputFrames = 0;
    *output = fOutput.data();
    if (!fResampler)
        return B_NO_INIT;
    const int room = swr_get_out_samples(fResampler.get(), frames);
    if (room < 0)
        return avStatus("swr_get_out_samples", room);
    fOutput.resize(size_t(room) * size_t(fOutputChannels) + 1);
    uint8* out[1] = {reinterpret_cast<uint8*>(fOutput.data())};
    const uint8* in[1] = {reinterpret_cast<const uint8*>(samples)};
    const int converted = swr_convert(fResampler.get(), out, room, in, frames);
    if (converted < 0)
        return avStatus("swr_convert", converted);
    *output = fOutput.data();
    *outputFrames = converted;
    return B_OK;
}
