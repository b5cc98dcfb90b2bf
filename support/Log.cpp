#include "support/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

LogLevel thresholdFromEnvironment() {
    const char* value = std::getenv("TAVRO_DEBUG");
    const bool debug = value != nullptr && value[0] != '\0' && std::strcmp(value, "0") != 0;
    return debug ? LogLevel::kDebug : LogLevel::kInfo;
}

std::atomic<LogLevel>& threshold() {
    static std::atomic<LogLevel> level{thresholdFromEnvironment()};
    return level;
}

__attribute__((format(printf, 2, 0))) void writeLine(LogLevel level, const char* format,
                                                     va_list arguments) {
    if (!LogEnabled(level))
        return;
    char stackText[512];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(stackText, sizeof stackText, format, arguments);
    std::string text;
    if (length >= int(sizeof stackText)) {
        text.resize(size_t(length) + 1);
        std::vsnprintf(text.data(), text.size(), format, again);
        text.resize(size_t(length));
    } else if (length > 0) {
        text.assign(stackText, size_t(length));
    }
    va_end(again);
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    flockfile(stderr);
    std::fputs("tavro: ", stderr);
    std::fputs(text.c_str(), stderr);
    std::fputc('\n', stderr);
    funlockfile(stderr);
}

}  // namespace

void SetLogThreshold(LogLevel level) {
    threshold().store(level);
}

bool LogEnabled(LogLevel level) {
    return level <= threshold().load();
}

#define TAVRO_LOG_FUNCTION(name, level)      \
    void name(const char* format, ...) {     \
        va_list arguments;                   \
        va_start(arguments, format);         \
        writeLine(level, format, arguments); \
        va_end(arguments);                   \
    }

TAVRO_LOG_FUNCTION(logError, LogLevel::kError)
TAVRO_LOG_FUNCTION(logWarning, LogLevel::kWarning)
TAVRO_LOG_FUNCTION(logInfo, LogLevel::kInfo)
TAVRO_LOG_FUNCTION(logDebug, LogLevel::kDebug)

#undef TAVRO_LOG_FUNCTION

void logOutput(const char* format, ...) {
    if (!LogEnabled(LogLevel::kWarning))
        return;
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}
