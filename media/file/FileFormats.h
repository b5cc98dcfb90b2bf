#pragma once
// The file formats and encoders Tavro can write, over FFmpeg. A file format is a muxer that
// writes files and takes a video stream; its short name is the muxer's ("avi", "matroska"),
// its pretty name the muxer's long name. An encoder is an FFmpeg encoder under its own name,
// but for the two raw ones, which keep the names the default recording format stores:
// "raw-video" (rawvideo, in the captured colour space) and "raw-audio" (pcm_s16le).
//
// Every walk starts with *cookie == 0 and returns B_BAD_INDEX past the last entry. The lists
// are built once per process; hardware encoders are in them only when one opened here.

#include <string>

#include "media/MediaFormat.h"
#include "support/Status.h"

struct AVCodec;
struct AVOutputFormat;

struct media_file_format {
    enum : uint32 {
        B_READABLE = 0x1,
        B_WRITABLE = 0x2,
        B_PERFECTLY_SEEKABLE = 0x4,
        B_IMPERFECTLY_SEEKABLE = 0x8,
        B_KNOWS_RAW_VIDEO = 0x10,
        B_KNOWS_RAW_AUDIO = 0x20,
        B_KNOWS_MIDI = 0x40,
        B_KNOWS_ENCODED_VIDEO = 0x80,
        B_KNOWS_ENCODED_AUDIO = 0x100,
        B_KNOWS_OTHER = 0x1000000,
    };

    uint32 capabilities = 0;
    std::string short_name;
    std::string pretty_name;
    std::string file_extension;  // without the dot; empty when the muxer names none
    std::string mime_type;
};

struct media_codec_info {
    std::string short_name;
    std::string pretty_name;
    // What the encoder makes: B_MEDIA_ENCODED_VIDEO, B_MEDIA_RAW_VIDEO, B_MEDIA_ENCODED_AUDIO
    // or B_MEDIA_RAW_AUDIO.
    media_type output_type = B_MEDIA_UNKNOWN_TYPE;
};

// The writable file formats that take a video stream, in FFmpeg's order.
status_t get_next_file_format(int32* cookie, media_file_format* format);

// Every encoder: video ones first (encoded, then raw), then audio ones (encoded, then raw).
status_t get_next_encoder(int32* cookie, media_codec_info* info);

// The encoders from `input`'s kind to `output`'s type. The kind is that of whichever of the
// two has a type (raw video or raw audio in, encoded or raw out); an output of unknown type
// takes encoded and raw ones alike. `acceptedInput` and `acceptedOutput`, when not null,
// receive the formats the encoder takes and makes, with wildcards where it takes anything.
status_t get_next_encoder(int32* cookie, const media_format* input, const media_format* output,
                          media_codec_info* info, media_format* acceptedInput,
                          media_format* acceptedOutput);

// The encoders whose output `fileFormat` takes, for raw `input`: encoders to encoded formats
// first, raw ones after. `output` receives the encoded format.
status_t get_next_encoder(int32* cookie, const media_file_format* fileFormat,
                          const media_format* input, media_format* output, media_codec_info* info);

// The same filtered by `output`'s type. Inside a file every stream counts as encoded, so an
// encoded-video or encoded-audio output also reports the raw encoder the file takes.
status_t get_next_encoder(int32* cookie, const media_file_format* fileFormat,
                          const media_format* input, const media_format* output,
                          media_codec_info* info, media_format* acceptedInput,
                          media_format* acceptedOutput);

// `name` with `format`'s extension when the extension it has belongs to another file format
// ("clip.avi" becomes "clip.mkv" for matroska); unchanged when it has none, one that no file
// format claims, one of `format`'s own, or when `format` names no extension.
std::string fileNameFor(const std::string& name, const media_file_format& format);

// For the file writer: the muxer and the encoder behind a description; null when this
// process has none of that name (or an encoder is not in the lists above).
const AVOutputFormat* muxerFor(const media_file_format& format);
const AVCodec* encoderFor(const media_codec_info& info);
