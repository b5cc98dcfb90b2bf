#include "media/file/OutputFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

extern "C" {
#include <libavutil/mem.h>
}

namespace {

// The AVIOContext's buffer: what the muxer hands over in one write call.
constexpr int kBufferSize = 64 * 1024;

status_t errnoStatus(int error) {
    return error != 0 ? -error : B_ERROR;
}

// The folder `path` is in ("." for a bare name).
std::string folderOf(const std::string& path) {
    std::filesystem::path parent = std::filesystem::path(path).parent_path();
    return parent.empty() ? std::string(".") : parent.string();
}

// Beside `path`, hidden, and unique to this process and call: ".NAME.tavro-PID-N".
std::string temporaryBeside(const std::string& path) {
    static std::atomic<int> sCount{0};
    std::string leaf = std::filesystem::path(path).filename().string();
    // Room for the suffix within the 255 bytes a name may have.
    if (leaf.size() > 200)
        leaf.resize(200);
    std::filesystem::path name =
        std::filesystem::path(folderOf(path)) / ("." + leaf + ".tavro-" + std::to_string(getpid()) +
                                                 "-" + std::to_string(sCount.fetch_add(1)));
    return name.string();
}

// Moves `from` to `to` unless `to` exists, atomically where the file system can.
int renameNoReplace(const char* from, const char* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return errno;
    // A file system without the flag: a hard link cannot replace either.
    if (link(from, to) == 0) {
        unlink(from);
        return 0;
    }
    if (errno != EPERM && errno != EOPNOTSUPP)
        return errno;
    // Neither (FAT): the check and the rename are two steps.
    struct stat existing;
    if (lstat(to, &existing) == 0)
        return EEXIST;
    return rename(from, to) == 0 ? 0 : errno;
}

}  // namespace

OutputFile::OutputFile(const std::string& path, ExistingFile existing)
    : fPath(path), fExisting(existing) {
    if (path.empty()) {
        fInitStatus = B_ENTRY_NOT_FOUND;
        return;
    }
    struct stat info;
    const bool exists = lstat(path.c_str(), &info) == 0;
    if (exists && S_ISLNK(info.st_mode) && existing == ExistingFile::kReplace) {
        // Replacing through a link writes its target; the link stays as the user made it.
        std::error_code error;
        std::filesystem::path target = std::filesystem::canonical(path, error);
        if (!error)
            fPath = target.string();
    }
    if (stat(fPath.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            fInitStatus = -EISDIR;
            return;
        }
        if (!S_ISREG(info.st_mode) && existing == ExistingFile::kReplace) {
            // A device or a named pipe cannot be renamed over: it is written as it is.
            fInitStatus = access(fPath.c_str(), W_OK) == 0 ? B_OK : errnoStatus(errno);
            return;
        }
    }
    const std::string folder = folderOf(fPath);
    if (stat(folder.c_str(), &info) != 0) {
        fInitStatus = errnoStatus(errno);
        return;
    }
    if (!S_ISDIR(info.st_mode)) {
        fInitStatus = -ENOTDIR;
        return;
    }
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        fInitStatus = errnoStatus(errno);
        return;
    }
    fTemporary = temporaryBeside(fPath);
    fInitStatus = B_OK;
}

OutputFile::~OutputFile() {
    Close();
    if (!fPublished && !fTemporary.empty())
        unlink(fTemporary.c_str());
}

status_t OutputFile::Open(AVIOContext** context) {
    if (fInitStatus != B_OK)
        return fInitStatus;
    if (fFd >= 0 || fClosed)
        return B_NOT_ALLOWED;
    if (fTemporary.empty()) {
        fFd = open(fPath.c_str(), O_WRONLY | O_CLOEXEC);
        fPublished = true;
    } else {
        // 0666: the umask decides, as for any new file.
        fFd = open(fTemporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    }
    if (fFd < 0)
        return errnoStatus(errno);

    auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
    if (buffer != nullptr) {
        fContext = avio_alloc_context(buffer, kBufferSize, 1, this, nullptr, WritePacket, Seek);
        if (fContext == nullptr)
            av_free(buffer);
    }
    if (fContext == nullptr)
        return B_NO_MEMORY;
    *context = fContext;
    return B_OK;
}

status_t OutputFile::Publish() {
    if (fFd < 0)
        return B_NOT_ALLOWED;
    if (fPublished)
        return B_OK;
    int error = 0;
    if (fExisting == ExistingFile::kReplace)
        error = rename(fTemporary.c_str(), fPath.c_str()) == 0 ? 0 : errno;
    else
        error = renameNoReplace(fTemporary.c_str(), fPath.c_str());
    if (error != 0)
        return errnoStatus(error);
    fPublished = true;
    return B_OK;
}

status_t OutputFile::Sync() {
    if (fFd < 0)
        return B_NOT_ALLOWED;
    if (fdatasync(fFd) != 0 && errno != EINVAL && errno != EROFS) {
        // EINVAL/EROFS: a pipe or a device that cannot sync; nothing is lost by that.
        const status_t status = errnoStatus(errno);
        KeepError(status);
        return status;
    }
    return B_OK;
}

void OutputFile::MarkComplete() {
    struct stat info;
    if (fFd >= 0 && Error() == B_OK && fstat(fFd, &info) == 0 && S_ISREG(info.st_mode))
        fCompleteSize = int64_t(info.st_size);
}

status_t OutputFile::Close() {
    if (fClosed)
        return fCloseStatus;
    fClosed = true;
    status_t status = B_OK;
    if (fContext != nullptr) {
        avio_flush(fContext);
        av_freep(&fContext->buffer);
        avio_context_free(&fContext);
    }
    if (fFd >= 0) {
        // A write that failed half-way leaves part of a packet at the end; a reader would
        // stumble on it. Shrinking needs no room, also on a full disk.
        if (Error() != B_OK && fCompleteSize >= 0)
            ftruncate(fFd, off_t(fCompleteSize));
        Sync();
        status = Error();
        if (::close(fFd) != 0 && status == B_OK)
            status = errnoStatus(errno);
        fFd = -1;
    }
    fCloseStatus = status;
    return status;
}

void OutputFile::KeepError(status_t error) {
    status_t none = B_OK;
    fError.compare_exchange_strong(none, error);
}

int OutputFile::WritePacket(void* opaque, uint8_t* buffer, int size) {
    auto* self = static_cast<OutputFile*>(opaque);
    // After the first error nothing more is written: what is on the disk stays consistent up
    // to it, and the muxer sees the error at once.
    if (status_t error = self->Error(); error != B_OK)
        return error;
    int done = 0;
    while (done < size) {
        ssize_t written = ::write(self->fFd, buffer + done, size_t(size - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            // A write of 0 bytes on a regular file means the disk is full.
            const status_t status = written == 0 ? B_DEVICE_FULL : errnoStatus(errno);
            self->KeepError(status);
            return status;
        }
        done += int(written);
        self->fBytesWritten.fetch_add(written);
    }
    return size;
}

int64_t OutputFile::Seek(void* opaque, int64_t offset, int whence) {
    auto* self = static_cast<OutputFile*>(opaque);
    if (whence == AVSEEK_SIZE) {
        struct stat info;
        return fstat(self->fFd, &info) == 0 ? int64_t(info.st_size) : int64_t(errnoStatus(errno));
    }
    off_t position = lseek(self->fFd, off_t(offset), whence & ~AVSEEK_FORCE);
    return position < 0 ? int64_t(errnoStatus(errno)) : int64_t(position);
}
