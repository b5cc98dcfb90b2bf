#pragma once
// A movie file being written: an FFmpeg muxer on a path, with its tracks. Order of use:
// construct, InitCheck, CreateTrack for each stream, set the tracks' quality and parameters,
// CommitHeader, WriteFrames on the tracks, CloseFile (the destructor closes too).
//
// What reaches the muxer is handed to the kernel at least every half second and synced to the
// disk every kSyncInterval by a "file sync" thread, so a recording cut off by a crash or a
// power cut stays readable up to about then. Containers that need an index at the end are
// written in a form that survives: mp4 and mov as fragments, avi and matroska as they are
// (their readers do without the index).
//
// The path is a file name, never a URL. The file appears only when CommitHeader has written
// its header (see OutputFile): a file that fails before that leaves nothing behind, and an
// existing file is replaced only with kMediaFileReplace. The first write or sync error sticks:
// every later write returns it, and CloseFile reports it.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media/MediaFormat.h"
#include "media/file/FFmpegOwners.h"
#include "media/file/FileFormats.h"
#include "media/file/MediaTrack.h"
#include "media/file/OutputFile.h"

// MediaFile's flags. Without kMediaFileReplace, CommitHeader refuses a path that exists.
enum : uint32 { kMediaFileReplace = 0x1 };

class MediaFile {
public:
    // A file `path` in `format`, made by CommitHeader; InitCheck says whether it can be (the
    // folder exists and is writable, the path is not a folder).
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

    // Opens the encoders, then creates the file and writes its header: B_FILE_EXISTS when
    // the path exists and replacing was not asked for. Nothing is on the disk after a failure.
    status_t CommitHeader();
    // Flushes every track, writes the trailer, syncs and closes the file. The first error of
    // any write, of the trailer or of the close; further calls return the same.
    status_t CloseFile();

    // The first error writing or syncing the file (B_OK while none): a recording that sees
    // one cannot go on into this file.
    status_t WriteError() const;
    // Bytes the kernel has accepted for the file so far.
    int64 BytesWritten() const;

    // The name as given (the file written is a link's target when replacing through a link).
    const std::string& Path() const { return fPath; }

    // How often the "file sync" thread pushes the file to the disk.
    static constexpr bigtime_t kSyncInterval = 2000000;
    const media_file_format& FileFormat() const { return fFormat; }

private:
    friend class MediaTrack;
    enum class State { Created, Writing, Closed };

    // From a track: `packet` in the encoder's time base, for `stream`.
    status_t WritePacket(AVPacket* packet, const AVCodecContext* encoder, AVStream* stream);
    void FlushToDisk();
    void StartSync();
    void StopSync();

    std::string fPath;
    media_file_format fFormat;
    status_t fInitStatus = B_NO_INIT;
    status_t fCloseStatus = B_OK;
    State fState = State::Created;
    std::vector<std::unique_ptr<MediaTrack>> fTracks;
    std::unique_ptr<OutputFile> fOutput;

    // Guards fContext's writes, fLastFlush and the stream bookkeeping: each track writes from its
    // own thread.
    std::mutex fMuxLock;
    OutputContextPtr fContext;
    bigtime_t fLastFlush = 0;
    // When the header was written, and which streams have had a packet since.
    bigtime_t fHeaderTime = 0;
    std::vector<bool> fStreamsWritten;
    size_t fStreamsWaiting = 0;
    bool fFirstCutDone = false;

    // The "file sync" thread, between CommitHeader and CloseFile; fSyncLock guards fSyncing.
    std::thread fSyncThread;
    std::mutex fSyncLock;
    std::condition_variable fSyncWake;
    bool fSyncing = false;
};
