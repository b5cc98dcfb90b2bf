#pragma once
// The format vocabulary shared by the capture side, the engine and the file writer: colour
// spaces (with the values settings files store), raw video and raw audio formats, and the
// format of a connection or a track. A field left 0 is a wildcard: "any".

#include "support/Types.h"

enum color_space : int32 {
    B_NO_COLOR_SPACE = 0x0000,
    B_GRAY8 = 0x0002,
    B_RGB24 = 0x0003,  // bytes B, G, R
    B_CMAP8 = 0x0004,
    B_RGB16 = 0x0005,     // 5-6-5, little-endian
    B_RGB32 = 0x0008,     // bytes B, G, R, X
    B_RGB15 = 0x0010,     // x-5-5-5, little-endian
    B_YCbCr422 = 0x4000,  // bytes Y0 Cb0 Y1 Cr0
    B_YCbCr411 = 0x4001,  // Cb0 Y0 Cr0 Y1 Cb4 Y2 Cr4 Y3 Y4 Y5 Y6 Y7: 8 pixels in 12 bytes
};

// Bytes one row of `width` pixels takes, unpadded; 0 for a colour space we cannot record.
uint32 bytesPerRow(color_space space, uint32 width);
// "B_RGB32", "B_YCbCr422", ...; "unknown" for anything else.
const char* colorSpaceName(color_space space);

enum media_type : int32 {
    B_MEDIA_NO_TYPE = -1,
    B_MEDIA_UNKNOWN_TYPE = 0,
    B_MEDIA_RAW_AUDIO = 1,
    B_MEDIA_RAW_VIDEO = 2,
    B_MEDIA_ENCODED_AUDIO = 11,
    B_MEDIA_ENCODED_VIDEO = 12,
};

enum : uint32 {
    B_VIDEO_TOP_LEFT_RIGHT = 1,
};

struct media_video_display_info {
    color_space format = B_NO_COLOR_SPACE;
    uint32 line_width = 0;
    uint32 line_count = 0;
    uint32 bytes_per_row = 0;
    uint32 pixel_offset = 0;
    uint32 line_offset = 0;
    uint32 flags = 0;
};

struct media_raw_video_format {
    float field_rate = 0;  // fields per second: 25 for PAL, 30000/1001 for NTSC
    uint32 interlace = 0;  // fields per frame (1 progressive, 2 interlaced)
    uint32 first_active = 0;
    uint32 last_active = 0;
    uint32 orientation = 0;
    uint16 pixel_width_aspect = 0;
    uint16 pixel_height_aspect = 0;
    media_video_display_info display;

    static const media_raw_video_format wildcard;
};

struct media_raw_audio_format {
    // Sample formats: the low four bits are the sample's size in bytes.
    enum : uint32 {
        B_AUDIO_UCHAR = 0x1,
        B_AUDIO_SHORT = 0x2,
        B_AUDIO_INT = 0x4,
        B_AUDIO_CHAR = 0x11,
        B_AUDIO_FLOAT = 0x24,
        B_AUDIO_SIZE_MASK = 0xf,
    };

    float frame_rate = 0;  // Hz
    uint32 channel_count = 0;
    uint32 format = 0;
    uint32 byte_order = 0;   // B_MEDIA_LITTLE_ENDIAN or B_MEDIA_BIG_ENDIAN
    size_t buffer_size = 0;  // bytes in one buffer of this connection

    static const media_raw_audio_format wildcard;
};

enum : uint32 {
    B_MEDIA_BIG_ENDIAN = 1,
    B_MEDIA_LITTLE_ENDIAN = 2,
};

// A connection's or a track's format. Only the part that `type` names is meaningful; encoded
// formats carry the encoder's short name in `encoding`.
struct media_format {
    media_type type = B_MEDIA_UNKNOWN_TYPE;
    media_raw_video_format raw_video;
    media_raw_audio_format raw_audio;
    char encoding[32] = {};

    bool IsVideo() const { return type == B_MEDIA_RAW_VIDEO || type == B_MEDIA_ENCODED_VIDEO; }
    bool IsAudio() const { return type == B_MEDIA_RAW_AUDIO || type == B_MEDIA_ENCODED_AUDIO; }
};
