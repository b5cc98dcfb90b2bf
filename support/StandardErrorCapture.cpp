#include "support/StandardErrorCapture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <string>

#include "support/Log.h"

void withStandardErrorInLog(const char* source, const std::function<void()>& call) {
    // One capture at a time: a second one would take the first one's file for the terminal.
    static std::mutex sCaptureLock;
    std::lock_guard<std::mutex> lock(sCaptureLock);
    std::fflush(stderr);
    const int capture = memfd_create("tavro-stderr", MFD_CLOEXEC);
    const int saved = capture >= 0 ? dup(STDERR_FILENO) : -1;
    if (saved < 0 || dup2(capture, STDERR_FILENO) < 0) {
        // Without a place to put it, the chatter stays on the terminal; the call still runs.
        if (saved >= 0)
            close(saved);
        if (capture >= 0)
            close(capture);
        call();
        return;
    }
    call();
    std::fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);

    std::string text;
    char buffer[4096];
    ssize_t got = 0;
    for (off_t at = 0; (got = pread(capture, buffer, sizeof buffer, at)) > 0; at += got)
        text.append(buffer, size_t(got));
    close(capture);
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        // Lines of our own log written during the call (alsa-lib's messages) keep their
        // wording; the rest is the library's chatter, named by its source.
        static const std::string kOwn = "tavro: ";
        if (text.compare(start, kOwn.size(), kOwn) == 0)
            logDebug("%.*s", int(end - start - kOwn.size()), text.data() + start + kOwn.size());
        else if (end > start)
            logDebug("%s: %.*s", source, int(end - start), text.data() + start);
        start = end + 1;
    }
}
