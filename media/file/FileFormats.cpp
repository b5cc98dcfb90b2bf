#include "media/file/FileFormats.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

#include "media/file/FFmpegOwners.h"

namespace {

constexpr const char* kRawVideoName = "raw-video";
constexpr const char* kRawAudioName = "raw-audio";

// Muxers that write no playable movie file of their own: checksums, protocols, wrappers
// around other muxers.
constexpr std::string_view kNotFileMuxers[] = {
    "crc",
    "framecrc",
    "framehash",
    "framemd5",
    "hash",
    "md5",
    "streamhash",
    "tee",
    "fifo",
    "fifo_test",
    "segment",
    "ssegment",
    "stream_segment",
    "hls",
    "dash",
    "rtp",
    "rtp_mpegts",
    "rtsp",
    "sap",
    "smoothstreaming",
    "chromaprint",
    "uncodedframecrc",
    "null",
    "mkvtimestamp_v2",
};

// Muxers that cannot hold a live recording. asf_stream is asf for a network stream: no index,
// no duration, and the file it leaves does not open; asf writes the same streams as a file.
// amv takes exactly one picture and one sound stream whose blocks must match the frames one
// for one. avm2 (Flash 9) stores pictures its readers do not find. filmstrip holds RGBA
// stills for an editor, ico one picture, image2pipe pictures one after the other with
// nothing that tells a reader where one ends, mpjpeg the same for a web server's push. gxf
// and the MXF family take only broadcast sizes with 48 kHz sound, mxf_opatom one stream per
// file. rawvideo writes pictures with nothing that says their size or format. roq (a game's
// cut scenes) takes only its own 22 kHz mono sound and sizes in multiples of 16; smjpeg
// (SDL's player) leaves chunks its own reader does not know. webp is animated WebP, which
// FFmpeg writes but does not read. wtv gives AAC sound that does not decode again.
constexpr std::string_view kNotLiveMuxers[] = {
    "asf_stream", "amv",     "avm2",       "filmstrip", "ico", "image2pipe", "mpjpeg", "gxf",
    "mxf",        "mxf_d10", "mxf_opatom", "rawvideo",  "roq", "smjpeg",     "webp",   "wtv",
};

struct FileFormatEntry {
    const AVOutputFormat* muxer;
    media_file_format format;
};

struct EncoderEntry {
    const AVCodec* codec;
    media_codec_info info;
};

struct Registry {
    std::vector<FileFormatEntry> fileFormats;
    std::vector<EncoderEntry> encoders;  // video encoded, video raw, audio encoded, audio raw
};

bool isRawEncoder(const AVCodec* codec) {
    if (codec->id == AV_CODEC_ID_RAWVIDEO)
        return true;
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec->id);
    return codec->type == AVMEDIA_TYPE_AUDIO && descriptor != nullptr &&
           std::strncmp(descriptor->name, "pcm_", 4) == 0;
}

std::string shortNameOf(const AVCodec* codec) {
    if (codec->id == AV_CODEC_ID_RAWVIDEO)
        return kRawVideoName;
    if (std::strcmp(codec->name, "pcm_s16le") == 0)
        return kRawAudioName;
    return codec->name;
}

std::string prettyNameOf(const AVCodec* codec) {
    if (codec->id == AV_CODEC_ID_RAWVIDEO)
        return "Raw video";
    if (std::strcmp(codec->name, "pcm_s16le") == 0)
        return "Raw audio (16-bit PCM)";
    return codec->long_name != nullptr ? codec->long_name : codec->name;
}

// True when the encoder can be fed from our frames: a video encoder that takes a pixel
// format libswscale writes (rawvideo takes any), an audio encoder with a sample format list.
bool canFeed(const AVCodec* codec) {
    if (codec->type == AVMEDIA_TYPE_VIDEO) {
        if (codec->id == AV_CODEC_ID_RAWVIDEO)
            return true;
        if (codec->pix_fmts == nullptr)
            return false;
        for (const AVPixelFormat* format = codec->pix_fmts; *format != AV_PIX_FMT_NONE; format++) {
            if (sws_isSupportedOutput(*format))
                return true;
        }
        return false;
    }
    return codec->sample_fmts != nullptr;
}

// Wrappers around a device or a platform service; not all of them say so in their flags.
constexpr std::string_view kDeviceWrappers[] = {
    "omx", "v4l2m2m", "mediacodec", "amf", "qsv", "nvenc", "vaapi", "videotoolbox", "mf", "rkmpp",
};

// Encoders a recording cannot use. libsvtav1 (SVT-AV1 1.4) blocks for ever in
// svt_av1_enc_deinit when it is freed, or even drained, before it has been sent a frame: the
// trial open in MediaTrack::Init and a recording stopped before its first frame would hang.
// AV1 stays available through libaom-av1 and librav1e.
// comfortnoise codes a description of background noise, not the sound itself.
// h261 has no picture that says it starts a stream: FFmpeg's decoder reports "first frame is
// no keyframe" as an error on every file, whatever the container. xface draws 48 x 48 icons.
constexpr std::string_view kUnsafeEncoders[] = {
    "libsvtav1",
    "comfortnoise",
    "h261",
    "xface",
};

// An encoder whose codec FFmpeg cannot decode (a64multi) makes files nothing here can check
// or play.
bool isUnsafe(const AVCodec* codec) {
    return std::find(std::begin(kUnsafeEncoders), std::end(kUnsafeEncoders), codec->name) !=
               std::end(kUnsafeEncoders) ||
           avcodec_find_decoder(codec->id) == nullptr;
}

// Pairs of container and codec that FFmpeg writes but cannot read back cleanly. In avi,
// mpeg1video next to AAC sound gives a file whose sound does not decode; mpeg2video does not
// have the fault and plays wherever mpeg1video does. asf keeps times in milliseconds, too
// coarse for FLAC's blocks: they come back with the same time twice. avi gives FLAC and
// DFPWM blocks no framing its reader finds again. flv writes MPEG-4 part 2 and H.263 only
// with codec ids its own readers do not know (FFmpeg refuses the header), and Speex only at 16 kHz
// mono. matroska has no way to store RealVideo without RealMedia's own headers. mov, psp and ismv
// store AV1, VP8, VP9, FLAC and Opus only in the mp4 form; mp4 FLAC only as an experiment. nut does
// not keep what the Theora, FLAC, WMA and G.726 decoders need to start (headers, block
// alignment, bits per sample). swf's header takes a PNG stream that its reader takes for
// JPEG.
struct RefusedCodecs {
    std::string_view muxers[3];
    AVCodecID codecs[6];
};
constexpr RefusedCodecs kRefusedCodecs[] = {
    {{"avi"}, {AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_FLAC, AV_CODEC_ID_DFPWM}},
    {{"asf"}, {AV_CODEC_ID_FLAC}},
    {{"flv"}, {AV_CODEC_ID_MPEG4, AV_CODEC_ID_H263, AV_CODEC_ID_SPEEX}},
    {{"matroska"}, {AV_CODEC_ID_RV10, AV_CODEC_ID_RV20}},
    {{"mov", "psp", "ismv"},
     {AV_CODEC_ID_AV1, AV_CODEC_ID_VP8, AV_CODEC_ID_VP9, AV_CODEC_ID_FLAC, AV_CODEC_ID_OPUS}},
    {{"mp4"}, {AV_CODEC_ID_FLAC}},
    {{"swf"}, {AV_CODEC_ID_PNG}},
    {{"nut"},
     {AV_CODEC_ID_THEORA, AV_CODEC_ID_FLAC, AV_CODEC_ID_WMAV1, AV_CODEC_ID_WMAV2,
      AV_CODEC_ID_ADPCM_G726, AV_CODEC_ID_ADPCM_G726LE}},
};

bool isRefusedPair(const AVOutputFormat* muxer, const AVCodec* codec) {
    for (const RefusedCodecs& refused : kRefusedCodecs) {
        if (std::find(std::begin(refused.muxers), std::end(refused.muxers), muxer->name) !=
                std::end(refused.muxers) &&
            std::find(std::begin(refused.codecs), std::end(refused.codecs), codec->id) !=
                std::end(refused.codecs))
            return true;
    }
    return false;
}

bool isHardware(const AVCodec* codec) {
    if ((codec->capabilities & (AV_CODEC_CAP_HARDWARE | AV_CODEC_CAP_HYBRID)) != 0 ||
        avcodec_get_hw_config(codec, 0) != nullptr)
        return true;
    // By their wrapper's name, else by the name's suffix ("h264_omx").
    std::string_view name = codec->name;
    for (std::string_view wrapper : kDeviceWrappers) {
        if (codec->wrapper_name != nullptr && wrapper == codec->wrapper_name)
            return true;
        if (name.size() > wrapper.size() && name.ends_with(wrapper) &&
            name[name.size() - wrapper.size() - 1] == '_')
            return true;
    }
    return false;
}

// Device encoders cannot work without their device node. Checking first also spares a trial
// open that FFmpeg 5.1 does not always clean up after (mjpeg_qsv leaks when it fails).
bool deviceNodeExists(const AVCodec* codec) {
    std::string_view name = codec->name;
    auto exists = [](const char* path) {
        std::error_code error;
        return std::filesystem::exists(path, error);
    };
    if (name.ends_with("_qsv") || name.ends_with("_vaapi") || name.ends_with("_amf"))
        return exists("/dev/dri");
    if (name.ends_with("_nvenc"))
        return exists("/dev/nvidiactl");
    if (name.ends_with("_v4l2m2m")) {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator("/dev", error)) {
            if (entry.path().filename().string().starts_with("video"))
                return true;
        }
        return false;
    }
    return true;
}

// Hardware encoders are listed by every FFmpeg build; only a trial open tells whether this
// machine has the device and the driver.
bool opensHere(const AVCodec* codec) {
    if (!deviceNodeExists(codec))
        return false;
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context)
        return false;
    context->time_base = AVRational{1, 25};
    if (codec->type == AVMEDIA_TYPE_VIDEO) {
        context->width = 320;
        context->height = 240;
        context->pix_fmt = codec->pix_fmts != nullptr ? codec->pix_fmts[0] : AV_PIX_FMT_YUV420P;
    } else {
        context->sample_rate = 44100;
        context->sample_fmt =
            codec->sample_fmts != nullptr ? codec->sample_fmts[0] : AV_SAMPLE_FMT_S16;
        av_channel_layout_default(&context->ch_layout, 2);
    }
    return avcodec_open2(context.get(), codec, nullptr) == 0;
}

uint32 capabilitiesOf(const AVOutputFormat* muxer) {
    uint32 capabilities = media_file_format::B_WRITABLE;
    if (muxer->video_codec != AV_CODEC_ID_NONE)
        capabilities |= media_file_format::B_KNOWS_ENCODED_VIDEO;
    if (muxer->audio_codec != AV_CODEC_ID_NONE)
        capabilities |= media_file_format::B_KNOWS_ENCODED_AUDIO;
    if (avformat_query_codec(muxer, AV_CODEC_ID_RAWVIDEO, FF_COMPLIANCE_NORMAL) == 1)
        capabilities |= media_file_format::B_KNOWS_RAW_VIDEO;
    if (avformat_query_codec(muxer, AV_CODEC_ID_PCM_S16LE, FF_COMPLIANCE_NORMAL) == 1)
        capabilities |= media_file_format::B_KNOWS_RAW_AUDIO;
    return capabilities;
}

std::string firstExtension(const char* extensions) {
    if (extensions == nullptr)
        return {};
    std::string_view all(extensions);
    return std::string(all.substr(0, all.find(',')));
}

void addFileFormats(Registry* registry) {
    void* opaque = nullptr;
    while (const AVOutputFormat* muxer = av_muxer_iterate(&opaque)) {
        if (muxer->video_codec == AV_CODEC_ID_NONE || (muxer->flags & AVFMT_NOFILE))
            continue;
        // Audio files whose "video" is a cover picture (mp3, flac).
        if (muxer->video_codec == AV_CODEC_ID_PNG && muxer->audio_codec != AV_CODEC_ID_NONE)
            continue;
        bool excluded = false;
        for (std::string_view name : kNotFileMuxers)
            excluded |= name == muxer->name;
        for (std::string_view name : kNotLiveMuxers)
            excluded |= name == muxer->name;
        if (excluded)
            continue;
        media_file_format format;
        format.capabilities = capabilitiesOf(muxer);
        format.short_name = muxer->name;
        format.pretty_name = muxer->long_name != nullptr ? muxer->long_name : muxer->name;
        format.file_extension = firstExtension(muxer->extensions);
        format.mime_type = muxer->mime_type != nullptr ? muxer->mime_type : "";
        registry->fileFormats.push_back({muxer, std::move(format)});
    }
}

void addEncoders(Registry* registry) {
    std::vector<const AVCodec*> usable;
    // Hardware probes log their failures at length; they are expected here.
    int logLevel = av_log_get_level();
    av_log_set_level(AV_LOG_QUIET);
    void* opaque = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&opaque)) {
        if (!av_codec_is_encoder(codec) ||
            (codec->type != AVMEDIA_TYPE_VIDEO && codec->type != AVMEDIA_TYPE_AUDIO))
            continue;
        if ((codec->capabilities & AV_CODEC_CAP_EXPERIMENTAL) || !canFeed(codec))
            continue;
        if (codec->id == AV_CODEC_ID_WRAPPED_AVFRAME || isUnsafe(codec))
            continue;
        if (isHardware(codec) && !opensHere(codec))
            continue;
        usable.push_back(codec);
    }
    av_log_set_level(logLevel);

    struct Pass {
        AVMediaType type;
        bool raw;
        media_type output;
    };
    constexpr Pass kPasses[] = {
        {AVMEDIA_TYPE_VIDEO, false, B_MEDIA_ENCODED_VIDEO},
        {AVMEDIA_TYPE_VIDEO, true, B_MEDIA_RAW_VIDEO},
        {AVMEDIA_TYPE_AUDIO, false, B_MEDIA_ENCODED_AUDIO},
        {AVMEDIA_TYPE_AUDIO, true, B_MEDIA_RAW_AUDIO},
    };
    for (const Pass& pass : kPasses) {
        // The raw pass lists raw-audio before the other PCM layouts.
        std::vector<const AVCodec*> matching;
        for (const AVCodec* codec : usable) {
            if (codec->type == pass.type && isRawEncoder(codec) == pass.raw)
                matching.push_back(codec);
        }
        std::stable_partition(matching.begin(), matching.end(), [](const AVCodec* codec) {
            return shortNameOf(codec) == kRawAudioName;
        });
        for (const AVCodec* codec : matching) {
            registry->encoders.push_back(
                {codec, {shortNameOf(codec), prettyNameOf(codec), pass.output}});
        }
    }
}

bool muxerTakes(const AVOutputFormat* muxer, const AVCodec* codec);

// A container none of whose video codecs we can encode (vc1test, yuv4mpegpipe) records
// nothing: it is not offered.
void dropFormatsWithoutVideoEncoder(Registry* registry) {
    std::erase_if(registry->fileFormats, [&](const FileFormatEntry& entry) {
        return std::none_of(registry->encoders.begin(), registry->encoders.end(),
                            [&](const EncoderEntry& encoder) {
                                return encoder.codec->type == AVMEDIA_TYPE_VIDEO &&
                                       muxerTakes(entry.muxer, encoder.codec);
                            });
    });
}

const Registry& registry() {
    // Built on first use; a static's initialisation is thread-safe.
    static const Registry instance = [] {
        routeFFmpegLog();
        Registry built;
        addFileFormats(&built);
        addEncoders(&built);
        dropFormatsWithoutVideoEncoder(&built);
        return built;
    }();
    return instance;
}

media_type kindOf(const media_format* input, const media_format* output) {
    if (input != nullptr && input->IsVideo())
        return B_MEDIA_RAW_VIDEO;
    if (input != nullptr && input->IsAudio())
        return B_MEDIA_RAW_AUDIO;
    if (output != nullptr && output->IsVideo())
        return B_MEDIA_RAW_VIDEO;
    if (output != nullptr && output->IsAudio())
        return B_MEDIA_RAW_AUDIO;
    return B_MEDIA_UNKNOWN_TYPE;
}

bool isVideoType(media_type type) {
    return type == B_MEDIA_RAW_VIDEO || type == B_MEDIA_ENCODED_VIDEO;
}

// Whether `muxer` writes a header for a stream of `codec`, asked by writing one into memory.
// The stream is described as a track would describe it, but without opening the encoder: some
// encoders (SVT-AV1) hang when closed unflushed, and opening them all is slow.
bool trialHeaderAccepts(const AVOutputFormat* muxer, const AVCodec* codec) {
    AVFormatContext* raw = nullptr;
    if (avformat_alloc_output_context2(&raw, muxer, nullptr, nullptr) < 0)
        return false;
    // The buffer is no file: the owner must not close it as one.
    std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> context(
        raw, [](AVFormatContext* owned) {
            if (owned->pb != nullptr) {
                uint8_t* bytes = nullptr;
                avio_close_dyn_buf(owned->pb, &bytes);
                av_free(bytes);
                owned->pb = nullptr;
            }
            avformat_free_context(owned);
        });
    AVStream* stream = avformat_new_stream(raw, nullptr);
    if (stream == nullptr)
        return false;
    AVCodecParameters* parameters = stream->codecpar;
    parameters->codec_type = codec->type;
    parameters->codec_id = codec->id;
    if (codec->type == AVMEDIA_TYPE_VIDEO) {
        parameters->width = 352;
        parameters->height = 288;
        parameters->format = codec->pix_fmts != nullptr ? codec->pix_fmts[0] : AV_PIX_FMT_YUV420P;
        stream->time_base = AVRational{1, 25};
    } else {
        parameters->sample_rate = 48000;
        parameters->format =
            codec->sample_fmts != nullptr ? codec->sample_fmts[0] : AV_SAMPLE_FMT_S16;
        parameters->frame_size = 1152;
        av_channel_layout_default(&parameters->ch_layout, 2);
        stream->time_base = AVRational{1, 48000};
    }
    if (avio_open_dyn_buf(&raw->pb) < 0)
        return false;
    return avformat_write_header(raw, nullptr) >= 0;
}

// The codecs that players find in the muxers whose header takes any stream: an MPEG transport
// or program stream stores an unknown codec as private data, an ogg one as nothing playable.
struct KnownCodecs {
    std::string_view muxers[5];
    AVCodecID codecs[12];
};
constexpr KnownCodecs kKnownCodecs[] = {
    {{"mpegts"},
     {AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MPEG4, AV_CODEC_ID_H264,
      AV_CODEC_ID_HEVC, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3, AV_CODEC_ID_AAC, AV_CODEC_ID_AC3,
      AV_CODEC_ID_EAC3}},
    {{"mpeg", "vcd", "vob", "svcd", "dvd"},
     {AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3,
      AV_CODEC_ID_AC3}},
    {{"ogg", "ogv"},
     {AV_CODEC_ID_THEORA, AV_CODEC_ID_VP8, AV_CODEC_ID_VORBIS, AV_CODEC_ID_OPUS, AV_CODEC_ID_FLAC,
      AV_CODEC_ID_SPEEX}},
};

// 1 when the table lists `codec` for `muxer`, 0 when it lists the muxer but not the codec,
// -1 when it does not list the muxer.
int knownCodec(const AVOutputFormat* muxer, const AVCodec* codec) {
    for (const KnownCodecs& known : kKnownCodecs) {
        if (std::find(std::begin(known.muxers), std::end(known.muxers), muxer->name) ==
            std::end(known.muxers))
            continue;
        return std::find(std::begin(known.codecs), std::end(known.codecs), codec->id) !=
               std::end(known.codecs);
    }
    return -1;
}

// Whether `muxer` stores `codec`. FFmpeg does not know for some muxers: for those the muxer's
// own default codecs are sure; the MPEG and ogg muxers take what the table above lists; a
// muxer of one picture stream (h264, mjpeg, fits...) takes its own codec only, since it writes
// any other as bytes no reader recognises; a trial header decides for the others. Trials are
// remembered for the process.
bool muxerTakes(const AVOutputFormat* muxer, const AVCodec* codec) {
    if (isRefusedPair(muxer, codec))
        return false;
    int answer = avformat_query_codec(muxer, codec->id, FF_COMPLIANCE_NORMAL);
    if (answer >= 0)
        return answer == 1;
    if (codec->id == muxer->video_codec || codec->id == muxer->audio_codec)
        return true;
    if (int known = knownCodec(muxer, codec); known >= 0)
        return known == 1;
    if (muxer->audio_codec == AV_CODEC_ID_NONE)
        return false;

    static std::mutex lock;
    static std::map<std::pair<const AVOutputFormat*, const AVCodec*>, bool> trials;
    std::lock_guard<std::mutex> guard(lock);
    auto [found, added] = trials.try_emplace({muxer, codec}, false);
    if (added) {
        // A refused trial is an answer, not an error to show.
        int logLevel = av_log_get_level();
        av_log_set_level(AV_LOG_QUIET);
        found->second = trialHeaderAccepts(muxer, codec);
        av_log_set_level(logLevel);
    }
    return found->second;
}

void describe(const EncoderEntry& entry, const media_format* input, media_format* acceptedInput,
              media_format* acceptedOutput) {
    bool video = isVideoType(entry.info.output_type);
    if (acceptedInput != nullptr) {
        if (input != nullptr && input->IsVideo() == video && input->type != B_MEDIA_UNKNOWN_TYPE) {
            *acceptedInput = *input;
        } else {
            *acceptedInput = media_format();
            acceptedInput->type = video ? B_MEDIA_RAW_VIDEO : B_MEDIA_RAW_AUDIO;
        }
    }
    if (acceptedOutput != nullptr) {
        *acceptedOutput = media_format();
        acceptedOutput->type = entry.info.output_type;
        if (input != nullptr && input->IsVideo() == video) {
            acceptedOutput->raw_video = input->raw_video;
            acceptedOutput->raw_audio = input->raw_audio;
        }
        std::strncpy(acceptedOutput->encoding, entry.info.short_name.c_str(),
                     sizeof(acceptedOutput->encoding) - 1);
    }
}

// Walks the encoders from *cookie on and returns the first for which `accept` holds.
template <typename Accept>
status_t nextEncoder(int32* cookie, media_codec_info* info, const media_format* input,
                     media_format* acceptedInput, media_format* acceptedOutput, Accept accept) {
    if (cookie == nullptr || info == nullptr || *cookie < 0)
        return B_BAD_VALUE;
    const auto& encoders = registry().encoders;
    for (int32 index = *cookie; index < int32(encoders.size()); index++) {
        if (!accept(encoders[index]))
            continue;
        *info = encoders[index].info;
        describe(encoders[index], input, acceptedInput, acceptedOutput);
        *cookie = index + 1;
        return B_OK;
    }
    *cookie = int32(encoders.size());
    return B_BAD_INDEX;
}

bool typeMatches(media_type wanted, media_type kind, media_type output) {
    if (kind != B_MEDIA_UNKNOWN_TYPE && isVideoType(kind) != isVideoType(output))
        return false;
    if (wanted == B_MEDIA_UNKNOWN_TYPE || wanted == B_MEDIA_NO_TYPE)
        return true;
    return wanted == output;
}

}  // namespace

status_t get_next_file_format(int32* cookie, media_file_format* format) {
    if (cookie == nullptr || format == nullptr || *cookie < 0)
        return B_BAD_VALUE;
    const auto& formats = registry().fileFormats;
    if (*cookie >= int32(formats.size()))
        return B_BAD_INDEX;
    *format = formats[*cookie].format;
    (*cookie)++;
    return B_OK;
}

status_t get_next_encoder(int32* cookie, media_codec_info* info) {
    return nextEncoder(cookie, info, nullptr, nullptr, nullptr,
                       [](const EncoderEntry&) { return true; });
}

status_t get_next_encoder(int32* cookie, const media_format* input, const media_format* output,
                          media_codec_info* info, media_format* acceptedInput,
                          media_format* acceptedOutput) {
    media_type kind = kindOf(input, output);
    media_type wanted = output != nullptr ? output->type : B_MEDIA_UNKNOWN_TYPE;
    return nextEncoder(cookie, info, input, acceptedInput, acceptedOutput,
                       [&](const EncoderEntry& entry) {
                           return typeMatches(wanted, kind, entry.info.output_type);
                       });
}

status_t get_next_encoder(int32* cookie, const media_file_format* fileFormat,
                          const media_format* input, media_format* output, media_codec_info* info) {
    return get_next_encoder(cookie, fileFormat, input, nullptr, info, nullptr, output);
}

status_t get_next_encoder(int32* cookie, const media_file_format* fileFormat,
                          const media_format* input, const media_format* output,
                          media_codec_info* info, media_format* acceptedInput,
                          media_format* acceptedOutput) {
    if (fileFormat == nullptr)
        return B_BAD_VALUE;
    const AVOutputFormat* muxer = muxerFor(*fileFormat);
    if (muxer == nullptr)
        return B_BAD_INDEX;
    media_type kind = kindOf(input, output);
    media_type wanted = output != nullptr ? output->type : B_MEDIA_UNKNOWN_TYPE;
    // Everything in a file is "encoded": the raw encoders answer an encoded request too.
    bool anyOfKind = wanted == B_MEDIA_ENCODED_VIDEO || wanted == B_MEDIA_ENCODED_AUDIO;
    return nextEncoder(cookie, info, input, acceptedInput, acceptedOutput,
                       [&](const EncoderEntry& entry) {
                           media_type filter = anyOfKind ? B_MEDIA_UNKNOWN_TYPE : wanted;
                           return typeMatches(filter, kind, entry.info.output_type) &&
                                  muxerTakes(muxer, entry.codec);
                       });
}

const AVOutputFormat* muxerFor(const media_file_format& format) {
    for (const FileFormatEntry& entry : registry().fileFormats) {
        if (entry.format.short_name == format.short_name)
            return entry.muxer;
    }
    return nullptr;
}

const AVCodec* encoderFor(const media_codec_info& info) {
    for (const EncoderEntry& entry : registry().encoders) {
        if (entry.info.short_name == info.short_name)
            return entry.codec;
    }
    return nullptr;
}

namespace {

// Whether the comma-separated `extensions` hold `extension` (compared without case).
bool listsExtension(const char* extensions, std::string_view extension) {
    if (extensions == nullptr)
        return false;
    std::string_view rest(extensions);
    while (!rest.empty()) {
        size_t comma = rest.find(',');
        std::string_view one = rest.substr(0, comma);
        if (one.size() == extension.size() &&
            std::equal(one.begin(), one.end(), extension.begin(), [](char a, char b) {
                return std::tolower(static_cast<unsigned char>(a)) ==
                       std::tolower(static_cast<unsigned char>(b));
            }))
            return true;
        if (comma == std::string_view::npos)
            break;
        rest.remove_prefix(comma + 1);
    }
    return false;
}

}  // namespace

std::string fileNameFor(const std::string& name, const media_file_format& format) {
    const AVOutputFormat* muxer = muxerFor(format);
    std::filesystem::path path(name);
    std::string extension = path.extension().string();
    if (muxer == nullptr || format.file_extension.empty() || extension.size() < 2)
        return name;
    extension.erase(0, 1);
    if (listsExtension(muxer->extensions, extension))
        return name;
    for (const FileFormatEntry& entry : registry().fileFormats) {
        if (listsExtension(entry.muxer->extensions, extension)) {
            path.replace_extension(format.file_extension);
            return path.string();
        }
    }
    return name;
}
