#include "media/MediaFormat.h"

const media_raw_video_format media_raw_video_format::wildcard{};
const media_raw_audio_format media_raw_audio_format::wildcard{};

uint32 bytesPerRow(color_space space, uint32 width) {
    switch (space) {
        case B_GRAY8:
        case B_CMAP8:
            return width;
        case B_RGB15:
        case B_RGB16:
        case B_YCbCr422:
            return width * 2;
        case B_RGB24:
            return width * 3;
        case B_RGB32:
            return width * 4;
        case B_YCbCr411:
            return (width + 7) / 8 * 12;
        default:
            return 0;
    }
}

const char* colorSpaceName(color_space space) {
    switch (space) {
        case B_GRAY8:
            return "B_GRAY8";
        case B_RGB24:
            return "B_RGB24";
        case B_CMAP8:
            return "B_CMAP8";
        case B_RGB16:
            return "B_RGB16";
        case B_RGB32:
            return "B_RGB32";
        case B_RGB15:
            return "B_RGB15";
        case B_YCbCr422:
            return "B_YCbCr422";
        case B_YCbCr411:
            return "B_YCbCr411";
        default:
            return "unknown";
    }
}
