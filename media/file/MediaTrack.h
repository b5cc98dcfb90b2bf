#pragma once
// One stream of a MediaFile and its encoder. A track takes raw frames in its input format
// (video: one frame of bytes_per_row x line_count bytes per frame, in any recordable colour
// space; audio: interleaved 16-bit samples), converts them to what the encoder takes, encodes
// them and hands the packets to its file, stamped from the encode info's start time.
//
// Quality and parameters are settings of the encoder before it opens: they are taken until
// the file's header is committed and refused (B_NOT_ALLOWED) after. One thread at a time per
// track; the file serialises the packets of all its tracks.

#include <memory>
#include <string>
#include <vector>

#include "media/MediaFormat.h"
#include "media/ParameterWeb.h"
#include "media/file/FFmpegOwners.h"
#include "media/file/FileFormats.h"
#include "media/node/MediaBuffer.h"

class AudioConverter;
class EncoderParameters;
class MediaFile;
class VideoConverter;

// media_encode_info::flags: B_MEDIA_KEY_FRAME (from MediaBuffer.h, the same bit as a buffer
// header's) asks the encoder for a key frame here.

struct media_encode_info {
    uint32 flags = 0;
    // Microseconds from the start of the recording to the first frame written by this call.
    bigtime_t start_time = 0;
};

class MediaTrack : public Controllable {
public:
    ~MediaTrack() override;
    MediaTrack(const MediaTrack&) = delete;
    MediaTrack& operator=(const MediaTrack&) = delete;

    // 0 leaves the encoder's defaults; (0, 1] as the table in EncoderQuality.h says.
    status_t SetQuality(float quality);
    status_t GetQuality(float* quality) const;

    // The encoder's options; the web belongs to the track and lives as long as it.
    ParameterWeb* Web() const;
    // A web of its own like Web(), for a view that owns what it shows; null before Init.
    std::unique_ptr<ParameterWeb> NewWeb() const;
    status_t SetParameterValue(int32 id, const void* value, size_t size);
    status_t GetParameterValue(int32 id, bigtime_t* lastChange, void* value, size_t* size) override;
    status_t SetParameterValue(int32 id, bigtime_t when, const void* value, size_t size) override;

    // Video: `frameCount` frames, one after the other in `data`, the first at the info's start
    // time and each further one a frame period later. Audio: `frameCount` sample frames, the
    // first at the info's start time: a block that comes more than 10 ms after where the sound
    // has got to is preceded by silence, one that overlaps it loses the overlap, samples before
    // time 0 are left out.
    // Needs the committed header; B_NOT_ALLOWED after Flush.
    status_t WriteFrames(const void* data, int64 frameCount, const media_encode_info* info);
    // Video whose encoder takes another layout than the input: a converter from the input to
    // the encoder's pixel format, for a capture path that converts on its own thread (into
    // its ring) instead of copying the input first; nullptr when the track only copies.
    std::unique_ptr<VideoConverter> NewPackedConverter() const;
    // As WriteFrames, with frames that such a converter's ConvertPacked wrote.
    status_t WritePackedFrames(const void* data, int64 frameCount, const media_encode_info* info);
    // Encodes what is still buffered and drains the encoder. Writing ends here.
    status_t Flush();

    // Video: the encoder's name, the size, the rate and the colour space it is given. Audio:
    // the rate and channel count WriteFrames takes (the track resamples on its own).
    status_t EncodedFormat(media_format* format) const;
    const media_format& InputFormat() const { return fInput; }
    const media_codec_info& CodecInfo() const { return fInfo; }
    // The file this track writes into.
    MediaFile* File() const { return fFile; }

private:
    friend class MediaFile;
    enum class State { Created, Open, Flushed };

    MediaTrack(MediaFile* file, const media_format& input, const media_codec_info& info);
    // Sets the encoder up for `input` (not opened yet); B_MEDIA_BAD_FORMAT when it cannot take it.
    status_t Init(const AVCodec* codec, const AVOutputFormat* muxer);
    status_t InitVideo(const AVCodec* codec, const AVOutputFormat* muxer);
    status_t InitAudio(const AVCodec* codec);
    // Called by the file at CommitHeader: opens the encoder and describes `stream`.
    status_t Open(AVStream* stream, bool globalHeader);
    status_t WriteVideo(const uint8* data, int64 frameCount, const media_encode_info& info,
                        bool packed);
    status_t WriteAudio(const int16* samples, int64 frameCount, const media_encode_info& info);
    status_t PushAudio(const int16* samples, int64 frameCount);
    status_t SendAudio(bool last);
    status_t Encode(AVFrame* frame);

    MediaFile* fFile;
    media_format fInput;
    media_codec_info fInfo;
    State fState = State::Created;
    CodecContextPtr fContext;  // the encoder; until Open, the settings it will open with
    // The encoder Init opened to check the input, with the settings it had then; Open takes it
    // when the settings have not changed. After that, fSettings is the context fParameters
    // reads (the same settings).
    CodecContextPtr fTrial;
    std::string fTrialSettings;
    CodecContextPtr fSettings;
    std::unique_ptr<EncoderParameters> fParameters;  // reads and writes fContext's options
    AVStream* fStream = nullptr;                     // owned by the file's context
    float fQuality = 0;
    int fFrameQuality = 0;  // AVFrame::quality for fixed-quantiser encoders
    std::unique_ptr<VideoConverter> fVideo;
    std::unique_ptr<AudioConverter> fAudio;
    FramePtr fFrame;
    PacketPtr fPacket;
    bool fStarted = false;
    int64_t fNextPts = 0;  // video: the last pts written; audio: the next sample's pts
    // Audio: the time of the first sample written (µs) and the input frames given to the
    // converter since, silence included: where the next block is expected.
    bigtime_t fAudioOrigin = 0;
    int64 fInputFrames = 0;
    std::vector<int16> fSilence;
};
