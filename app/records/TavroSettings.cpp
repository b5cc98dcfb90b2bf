#include "app/records/TavroSettings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "support/Message.h"

const char* const kSettingsFileName = "zelk.Tavro settings";

TavroSettings gSettings;

namespace {

// Narrower stored frames are widened to these on load, so the windows' controls always fit.
constexpr float kMinTavroWidth = 360;
constexpr float kMinFormatWidth = 460;

// Far more than any list of formats needs; a bigger file is not read.
constexpr size_t kMaxFileSize = 16 * 1024 * 1024;

status_t errnoStatus() {
    return errno != 0 ? -errno : B_ERROR;
}

status_t readFile(const std::string& path, std::vector<uint8>* bytes) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errnoStatus();
    status_t status = B_OK;
    uint8 chunk[16384];
    while (true) {
        ssize_t got = read(fd, chunk, sizeof(chunk));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            status = errnoStatus();
            break;
        }
        if (got == 0)
            break;
        if (bytes->size() + size_t(got) > kMaxFileSize) {
            status = B_FILE_TOO_LARGE;
            break;
        }
        bytes->insert(bytes->end(), chunk, chunk + got);
    }
    close(fd);
    return status;
}

status_t writeAll(int fd, const std::vector<uint8>& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t written = write(fd, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return errnoStatus();
        done += size_t(written);
    }
    return B_OK;
}

// Writes `bytes` to a temporary file beside `path`, flushes it to the disk and renames it over
// `path`. Until the rename, the old file stays as it was: a crash, a full disk or a file size
// limit during the write leaves the previous settings, and the temporary file is removed.
status_t replaceFile(const std::string& path, const std::vector<uint8>& bytes) {
    std::string temporary = path + ".tmp-" + std::to_string(getpid());
    // 0666 lets the umask decide, as for any new file; an existing file keeps its mode.
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno == EEXIST) {
        // Left behind by a process of the same id that died while saving.
        unlink(temporary.c_str());
        fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    }
    if (fd < 0)
        return errnoStatus();

    struct stat old;
    if (stat(path.c_str(), &old) == 0)
        fchmod(fd, old.st_mode & 07777);

    status_t status = writeAll(fd, bytes);
    if (status == B_OK && fsync(fd) != 0)
        status = errnoStatus();
    if (close(fd) != 0 && status == B_OK)
        status = errnoStatus();
    if (status == B_OK && rename(temporary.c_str(), path.c_str()) != 0)
        status = errnoStatus();
    if (status != B_OK) {
        unlink(temporary.c_str());
        return status;
    }

    // Make the rename itself durable; the data is safe either way, so a failure here is not
    // an error.
    std::string directory = std::filesystem::path(path).parent_path().string();
    int directoryFd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directoryFd >= 0) {
        fsync(directoryFd);
        close(directoryFd);
    }
    return B_OK;
}

// No screen is this large; an edge beyond it (or NaN) is damaged data, and the frame is then
// treated as missing. This also keeps the minimum widths exact in float arithmetic and the
// frames convertible to the integer pixels of the windows.
constexpr float kMaxCoordinate = 1000000;

bool isCoordinate(float value) {
    return value >= -kMaxCoordinate && value <= kMaxCoordinate;
}

bool findFrame(const Message& message, const char* name, Rect* frame) {
    Rect stored;
    if (message.FindRect(name, &stored) != B_OK)
        return false;
    if (!isCoordinate(stored.left) || !isCoordinate(stored.top) || !isCoordinate(stored.right) ||
        !isCoordinate(stored.bottom))
        return false;
    *frame = stored;
    return true;
}

}  // namespace

TavroSettings::TavroSettings() {
    // The result does not matter: whatever could not be read keeps its default.
    Load();
    if (formats.empty())
        formats.push_back(std::make_unique<FormatSetting>("Standard Format"));
}

TavroSettings::~TavroSettings() {
    if (fSaveAtExit)
        Save();
}

status_t TavroSettings::GetPath(std::string* path) const {
    std::string directory;
    // Relative values of XDG_CONFIG_HOME are invalid and ignored, as the XDG rules say.
    const char* config = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    if (config != nullptr && config[0] == '/')
        directory = config;
    else if (home != nullptr && home[0] != '\0')
        directory = std::string(home) + "/.config";
    else
        return B_ENTRY_NOT_FOUND;
    *path = directory + "/" + kSettingsFileName;
    return B_OK;
}

void TavroSettings::SetFileName(const char* name) {
    fileName = name != nullptr ? name : "";
}

FormatSetting* TavroSettings::FormatAt(int32 index) const {
    if (index < 0 || size_t(index) >= formats.size())
        return nullptr;
    return formats[size_t(index)].get();
}

int32 TavroSettings::IndexOf(const FormatSetting* format) const {
    if (format == nullptr)
        return -1;
    for (size_t i = 0; i < formats.size(); i++) {
        if (formats[i].get() == format)
            return int32(i);
    }
    return -1;
}

std::unique_ptr<FormatSetting> TavroSettings::TakeFormat(const FormatSetting* format) {
    const int32 index = IndexOf(format);
    if (index < 0)
        return nullptr;
    std::unique_ptr<FormatSetting> taken = std::move(formats[size_t(index)]);
    formats.erase(formats.begin() + index);
    return taken;
}

void TavroSettings::SortFormats() {
    std::stable_sort(
        formats.begin(), formats.end(),
        [](const std::unique_ptr<FormatSetting>& a, const std::unique_ptr<FormatSetting>& b) {
            const FormatSetting* first = a.get();
            const FormatSetting* second = b.get();
            return FormatSetting::CompareFunc(&first, &second) < 0;
        });
}

status_t TavroSettings::Load() {
    std::string path;
    status_t status = GetPath(&path);
    if (status != B_OK)
        return status;
    std::vector<uint8> bytes;
    status = readFile(path, &bytes);
    if (status == B_ENTRY_NOT_FOUND || status == -ENOTDIR)
        return status;
    if (status != B_OK) {
        // There, but not readable (permissions, a folder, an I/O error, far too big): the
        // file may hold everything the user has; it is left exactly as it is.
        fUnreadable = true;
        return status;
    }
    Message message;
    const status_t parsed = message.UnflattenSalvaging(bytes.data(), bytes.size());
    status = parsed == B_BAD_VALUE ? parsed : LoadFrom(message);
    if (parsed != B_OK || status != B_OK) {
        fDamaged = true;
        fDamagedBytes = std::move(bytes);
    }
    return parsed != B_OK ? parsed : status;
}

status_t TavroSettings::LoadFrom(const Message& message) {
    if (message.what != kSettingsWhat)
        return B_ENTRY_NOT_FOUND;

    if (findFrame(message, "tavroFrame", &tavroFrame) && tavroFrame.Width() < kMinTavroWidth)
        tavroFrame.right = tavroFrame.left + kMinTavroWidth;
    if (findFrame(message, "formatFrame", &formatFrame) && formatFrame.Width() < kMinFormatWidth)
        formatFrame.right = formatFrame.left + kMinFormatWidth;
    findFrame(message, "videoFrame", &videoFrame);
    findFrame(message, "videoSettingsFrame", &videoSettingsFrame);
    findFrame(message, "videoEncoderFrame", &videoEncoderFrame);
    findFrame(message, "audioFrame", &audioFrame);
    findFrame(message, "audioSettingsFrame", &audioSettingsFrame);
    findFrame(message, "audioEncoderFrame", &audioEncoderFrame);

    message.FindString("fileName", &fileName);

    message.FindBool("showVideo", &showVideo);
    message.FindBool("showAudio", &showAudio);
    message.FindBool("showTimer", &showTimer);
    message.FindBool("timer", &timer);
    message.FindBool("showTVControls", &showTVControls);

    // Every entry that reads is kept: one damaged format costs only itself. `lastFormat`
    // follows the entry it named.
    type_code type = 0;
    int32 stored = 0;
    message.GetInfo("format", &type, &stored);
    int32 last = -1;
    message.FindInt32("lastFormat", &last);
    int32 kept = -1;
    status_t status = B_OK;
    for (int32 index = 0; index < stored; index++) {
        auto format = std::make_unique<FormatSetting>(nullptr);
        if (message.FindFlat("format", index, format.get()) != B_OK) {
            status = B_BAD_DATA;
            continue;
        }
        if (index == last)
            kept = int32(formats.size());
        formats.push_back(std::move(format));
    }
    lastFormat = kept >= 0 ? kept : 0;

    // Each one whole; what an entry holds is checked when it is restored.
    timers.clear();
    Message entry;
    for (int32 index = 0; message.FindMessage("timedRecording", index, &entry) == B_OK; index++)
        timers.push_back(entry);

    message.FindString("videoInput", &videoInput);
    message.FindString("audioInput", &audioInput);
    return status;
}

void TavroSettings::SaveTo(Message* message) const {
    message->MakeEmpty();
    message->what = kSettingsWhat;
    message->AddRect("tavroFrame", tavroFrame);
    message->AddRect("formatFrame", formatFrame);
    message->AddRect("videoFrame", videoFrame);
    message->AddRect("videoSettingsFrame", videoSettingsFrame);
    message->AddRect("videoEncoderFrame", videoEncoderFrame);
    message->AddRect("audioFrame", audioFrame);
    message->AddRect("audioSettingsFrame", audioSettingsFrame);
    message->AddRect("audioEncoderFrame", audioEncoderFrame);
    message->AddString("fileName", fileName);
    message->AddBool("showVideo", showVideo);
    message->AddBool("showAudio", showAudio);
    message->AddBool("showTimer", showTimer);
    message->AddBool("timer", timer);
    message->AddBool("showTVControls", showTVControls);
    for (const std::unique_ptr<FormatSetting>& format : formats) {
        if (format != nullptr)
            message->AddFlat("format", *format);
    }
    message->AddInt32("lastFormat", lastFormat);
    // Tavro's own additions, after the design's fields: the chosen devices, then the timers.
    message->AddString("videoInput", videoInput);
    message->AddString("audioInput", audioInput);
    for (const Message& entry : timers)
        message->AddMessage("timedRecording", entry);
}

status_t TavroSettings::Save() {
    if (fUnreadable || !fSaveAtExit)
        return B_NOT_ALLOWED;
    std::string path;
    status_t status = GetPath(&path);
    if (status != B_OK)
        return status;
    Message message;
    SaveTo(&message);
    std::vector<uint8> bytes;
    status = message.Flatten(&bytes);
    if (status != B_OK)
        return status;

    // Unlike the original platform's settings directory, ~/.config may be missing on a fresh
    // account; users expect a program to create it, so it is made here (like mkdir -p).
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    if (error)
        return error.value() > 0 ? -error.value() : B_ERROR;

    // What the damage left unread may still matter to the user: set aside before it goes.
    if (fDamaged && !fDamagedBytes.empty()) {
        status = replaceFile(path + ".damaged", fDamagedBytes);
        if (status != B_OK)
            return status;
        fDamagedBytes.clear();
    }
    // A link stays a link: its target is what is replaced.
    std::string target = path;
    if (std::filesystem::is_symlink(path, error)) {
        std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
        if (!error)
            target = resolved.string();
    }
    return replaceFile(target, bytes);
}
