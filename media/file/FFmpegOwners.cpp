#include "media/file/FFmpegOwners.h"

#include <cstdio>
#include <mutex>

#include "support/Log.h"

namespace {

void toLog(void* object, int level, const char* format, va_list arguments) {
    if (!LogEnabled(LogLevel::kDebug) || level > av_log_get_level())
        return;
    // One line's parts (the context's name, the text) arrive in one call; the prefix state
    // says whether the previous call ended its line.
    static thread_local int printPrefix = 1;
    char line[1024];
    av_log_format_line2(object, level, format, arguments, line, sizeof line, &printPrefix);
    logDebug("ffmpeg: %s", line);
}

}  // namespace

void routeFFmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(toLog); });
}

status_t avStatus(const char* call, int error) {
    if (error < 0) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(error, text, sizeof(text));
        logError("%s failed: %s", call, text);
    }
    return error;
}
