#pragma once
// The file a MediaFile writes into: a descriptor of Tavro's own behind an AVIOContext, so the
// path is always a file name (never an FFmpeg URL such as "pipe:" or "News:"), the file
// appears only once its header has been written, and every write error is kept.
//
// Until Publish, the bytes go into a hidden temporary file beside the destination; Publish
// gives it the destination's name (replacing an existing file only when asked to), and a
// file that is never published is removed. An existing file therefore keeps its bytes when a
// recording fails to start, and no empty file is left behind.
//
// Threads: the AVIOContext's callbacks run on whichever thread holds the muxer (MediaFile's
// fMuxLock); Sync may run at the same time on another thread. The error and byte counters are
// atomics for that reason.

#include <atomic>
#include <string>

extern "C" {
#include <libavformat/avio.h>
}

#include "support/Status.h"

enum class ExistingFile {
    kRefuse,   // a destination that exists is an error (B_FILE_EXISTS), found atomically
    kReplace,  // it is replaced; a symbolic link's target is replaced, the link stays
};

class OutputFile {
public:
    // Checks that `path` can be made (its folder exists and is writable, it is not a folder)
    // without touching anything; the result is in InitCheck.
    OutputFile(const std::string& path, ExistingFile existing);
    // Removes the temporary file if it was never published; closes the descriptor.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    status_t InitCheck() const { return fInitStatus; }

    // Creates the temporary file and the AVIOContext writing into it. Owned by this object.
    status_t Open(AVIOContext** context);
    // Gives the written file the destination's name: B_FILE_EXISTS when it exists and the
    // object was made with kRefuse.
    status_t Publish();
    // Pushes what the kernel holds to the disk (fdatasync). Any thread, any time between Open
    // and Close.
    status_t Sync();
    // The file as it is now ends on a whole packet (the muxer has just written one, and the
    // context's buffer is empty): after a write error, Close cuts the file back to the last
    // such point, so that it decodes up to the failure. Under the muxer's lock.
    void MarkComplete();
    // Flushes the context, syncs and closes the file. Further calls return the first result.
    status_t Close();

    // The first error of any write, seek or sync; B_OK while there was none.
    status_t Error() const { return fError.load(); }
    // Bytes the kernel has accepted.
    int64_t BytesWritten() const { return fBytesWritten.load(); }
    const std::string& Path() const { return fPath; }

private:
    static int WritePacket(void* opaque, uint8_t* buffer, int size);
    static int64_t Seek(void* opaque, int64_t offset, int whence);
    void KeepError(status_t error);

    std::string fPath;       // the destination (a link's target when replacing through it)
    std::string fTemporary;  // empty: writing straight into fPath (an existing device or pipe)
    ExistingFile fExisting;
    status_t fInitStatus = B_NO_INIT;
    int fFd = -1;
    bool fPublished = false;
    int64_t fCompleteSize = -1;  // see MarkComplete; -1: none yet
    bool fClosed = false;
    status_t fCloseStatus = B_OK;
    AVIOContext* fContext = nullptr;
    std::atomic<status_t> fError{B_OK};
    std::atomic<int64_t> fBytesWritten{0};
};
