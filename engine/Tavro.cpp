#include "engine/Tavro.h"

namespace {

// Bytes of one audio buffer until an input says otherwise: 1024 stereo 16-bit frames, about
// 23 ms at 44.1 kHz.
constexpr size_t kDefaultAudioBufferFrames = 1024;

}  // namespace

Tavro::Tavro()
    : fConnectedVideoFormat(RequestedVideoFormat()),
      fConnectedAudioFormat(RequestedAudioFormat()) {}

Tavro::~Tavro() = default;

media_format Tavro::RequestedVideoFormat() const {
    media_format format;
    format.type = B_MEDIA_RAW_VIDEO;
    media_raw_video_format& video = format.raw_video;
    video.field_rate = fVideoFrameRate;
    video.interlace = 1;
    video.first_active = 0;
    video.last_active = uint32(fVideoHeight - 1);
    video.orientation = B_VIDEO_TOP_LEFT_RIGHT;
    video.pixel_width_aspect = 1;
    video.pixel_height_aspect = 1;
    video.display.format = fColorSpace;
    video.display.line_width = uint32(fVideoWidth);
    video.display.line_count = uint32(fVideoHeight);
    video.display.bytes_per_row = bytesPerRow(fColorSpace, uint32(fVideoWidth));
    return format;
}

media_format Tavro::RequestedAudioFormat() const {
    media_format format;
    format.type = B_MEDIA_RAW_AUDIO;
    media_raw_audio_format& audio = format.raw_audio;
    audio.frame_rate = fAudioFrequency;
    audio.channel_count = uint32(fAudioChannelCount);
    audio.format = media_raw_audio_format::B_AUDIO_SHORT;
    audio.byte_order = B_MEDIA_LITTLE_ENDIAN;
    audio.buffer_size = kDefaultAudioBufferFrames * audio.channel_count *
                        (audio.format & media_raw_audio_format::B_AUDIO_SIZE_MASK);
    return format;
}

status_t Tavro::GetVideoFormat(media_format* format) {
    *format = fConnectedVideoFormat;
    return B_OK;
}

status_t Tavro::GetAudioFormat(media_format* format) {
    *format = fConnectedAudioFormat;
    return B_OK;
}

Rect Tavro::Bounds() const {
    return Rect{0, 0, float(fVideoWidth - 1), float(fVideoHeight - 1)};
}

void Tavro::SetConnectedVideoFormat(const media_format& format) {
    fConnectedVideoFormat = format;
}

void Tavro::SetConnectedAudioFormat(const media_format& format) {
    fConnectedAudioFormat = format;
}
