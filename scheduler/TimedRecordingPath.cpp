#include "scheduler/TimedRecordingPath.h"

#include <sys/stat.h>

#include <cerrno>
#include <vector>

#include "support/Status.h"

namespace {

// Beyond this many recordings of one name something else is wrong.
constexpr int kMaxCopies = 10000;

// The name with " (n)" before its extension; a leading dot (a hidden file) is no extension.
std::string numbered(const std::string& path, int copy) {
    const size_t slash = path.find_last_of('/');
    const size_t leaf = slash == std::string::npos ? 0 : slash + 1;
    size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || dot <= leaf)
        dot = path.size();
    return path.substr(0, dot) + " (" + std::to_string(copy) + ")" + path.substr(dot);
}

}  // namespace

std::string expandTimePattern(const std::string& pattern, time_t when) {
    if (pattern.find('%') == std::string::npos)
        return pattern;
    struct tm local {};
    localtime_r(&when, &local);
    std::vector<char> expanded(pattern.size() * 4 + 256);
    // The pattern is the user's, so it cannot be a literal the compiler checks.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const size_t length = strftime(expanded.data(), expanded.size(), pattern.c_str(), &local);
#pragma GCC diagnostic pop
    if (length == 0)
        return pattern;
    return std::string(expanded.data(), length);
}

std::string timedRecordingPath(const std::string& pattern, time_t when, int* error) {
    const std::string path = expandTimePattern(pattern, when);
    for (int copy = 1; copy <= kMaxCopies; copy++) {
        const std::string candidate = copy == 1 ? path : numbered(path, copy);
        struct stat existing;
        if (lstat(candidate.c_str(), &existing) == 0)
            continue;
        // A missing folder is the recording's own error to report, with its path.
        if (errno == ENOENT || errno == ENOTDIR)
            return candidate;
        if (error != nullptr)
            *error = -errno;
        return {};
    }
    if (error != nullptr)
        *error = B_FILE_EXISTS;
    return {};
}
