#pragma once
// A movie file being written: an FFmpeg muxer on a path, with its tracks. Order of use:
// construct, InitCheck, CreateTrack for each stream, set the tracks' quality and parameters,
// CommitHeader, WriteFrames on the tracks, CloseFile (the destructor closes too).
//
// What reaches the muxer is pushed to the disk at least every half second, so a recording cut
// off by a crash or a power cut stays readable up to about then. Containers that need an
// index at the end are written in a form that survives: mp4 and mov as fragments, avi and
// matroska as they are (their readers do without the index).

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/MediaFormat.h"
#include "media/file/FFmpegOwners.h"
#include "media/file/FileFormats.h"
#include "media/file/MediaTrack.h"

class MediaFile {
public:
    // Opens `path` for writing (created or truncated) in `format`; the result is in InitCheck.
    MediaFile(const char* path, const media_file_format* format, uint32 flags = 0);
    ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    // B_OK, B_MEDIA_BAD_FORMAT for an unknown file format, or the error of opening the path.
    status_t InitCheck() const { return fInitStatus; }

    // A track for raw `input` through `codec`; null when the encoder is unknown, the file
    // format does not take it, it cannot encode the input, or the header is committed.
    // The file owns the track.
    MediaTrack* CreateTrack(const media_format* input, const media_codec_info* codec,
                            uint32 flags = 0);
    int32 CountTracks() const { return int32(fTracks.size()); }
    MediaTrack* TrackAt(int32 index) const;

    // Opens the encoders and writes the file's header.
    status_t CommitHeader();
    // Flushes every track, writes the trailer and closes the file. Further calls return the
    // first result.
    status_t CloseFile();

    const std::string& Path() const { return fPath; }
    const media_file_format& FileFormat() const { return fFormat; }

private:
    friend class MediaTrack;
    enum class State { Created, Writing, Closed };

    // From a track: `packet` in the encoder's time base, for `stream`.
    status_t WritePacket(AVPacket* packet, const AVCodecContext* encoder, AVStream* stream);
    void FlushToDisk();

    std::string fPath;
    media_file_format fFormat;
    status_t fInitStatus = B_NO_INIT;
    status_t fCloseStatus = B_OK;
    State fState = State::Created;
    std::vector<std::unique_ptr<MediaTrack>> fTracks;

    // Guards fContext's writes and fLastFlush: each track writes from its own thread.
    std::mutex fMuxLock;
    OutputContextPtr fContext;
    bigtime_t fLastFlush = 0;
};
