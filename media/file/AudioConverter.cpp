#include "media/file/AudioConverter.h"

#include <algorithm>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
}

status_t AudioConverter::Init(int inputRate, int inputChannels, const AVCodecContext* encoder) {
    fEncoder = encoder;
    AVChannelLayout inputLayout;
    av_channel_layout_default(&inputLayout, inputChannels);
    // FFmpeg 5.1 takes the layouts through non-const pointers.
    AVChannelLayout outputLayout{};
    int error = av_channel_layout_copy(&outputLayout, &encoder->ch_layout);
    SwrContext* resampler = nullptr;
    if (error >= 0)
        error = swr_alloc_set_opts2(&resampler, &outputLayout, encoder->sample_fmt,
                                    encoder->sample_rate, &inputLayout, AV_SAMPLE_FMT_S16,
                                    inputRate, 0, nullptr);
    av_channel_layout_uninit(&inputLayout);
    av_channel_layout_uninit(&outputLayout);
    fResampler.reset(resampler);
    if (error < 0)
        return avStatus("swr_alloc_set_opts2", error);
    if ((error = swr_init(fResampler.get())) < 0)
        return avStatus("swr_init", error);
    fFifo.reset(av_audio_fifo_alloc(encoder->sample_fmt, encoder->ch_layout.nb_channels,
                                    std::max(encoder->frame_size, 1024)));
    return fFifo ? B_OK : B_NO_MEMORY;
}

status_t AudioConverter::Store(const uint8** input, int frames) {
    int room = swr_get_out_samples(fResampler.get(), frames);
    if (room < 0)
        return avStatus("swr_get_out_samples", room);
    if (room == 0)
        return B_OK;
    uint8** planes = nullptr;
    int error = av_samples_alloc_array_and_samples(
        &planes, nullptr, fEncoder->ch_layout.nb_channels, room, fEncoder->sample_fmt, 0);
    if (error < 0)
        return avStatus("av_samples_alloc_array_and_samples", error);
    int converted = swr_convert(fResampler.get(), planes, room, input, frames);
    status_t status = B_OK;
    if (converted < 0)
        status = avStatus("swr_convert", converted);
    else if (converted > 0 && av_audio_fifo_write(fFifo.get(), reinterpret_cast<void**>(planes),
                                                  converted) < converted)
        status = B_NO_MEMORY;
    av_freep(&planes[0]);
    av_freep(&planes);
    return status;
}

status_t AudioConverter::Push(const int16* samples, int frames) {
    if (frames <= 0)
        return B_OK;
    const uint8* input[1] = {reinterpret_cast<const uint8*>(samples)};
    return Store(input, frames);
}

status_t AudioConverter::Drain() {
    return Store(nullptr, 0);
}

int AudioConverter::Available() const {
    return av_audio_fifo_size(fFifo.get());
}

status_t AudioConverter::Pop(AVFrame* frame, int count, int padTo) {
    av_frame_unref(frame);
    frame->nb_samples = std::max(count, padTo);
    frame->format = fEncoder->sample_fmt;
    frame->sample_rate = fEncoder->sample_rate;
    if (int error = av_channel_layout_copy(&frame->ch_layout, &fEncoder->ch_layout); error < 0)
        return avStatus("av_channel_layout_copy", error);
    if (int error = av_frame_get_buffer(frame, 0); error < 0)
        return avStatus("av_frame_get_buffer", error);
    int read =
        av_audio_fifo_read(fFifo.get(), reinterpret_cast<void**>(frame->extended_data), count);
    if (read < 0)
        return avStatus("av_audio_fifo_read", read);
    if (read < frame->nb_samples) {
        av_samples_set_silence(frame->extended_data, read, frame->nb_samples - read,
                               frame->ch_layout.nb_channels, fEncoder->sample_fmt);
    }
    return B_OK;
}
