#include "support/DebugLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

bool debugLogEnabled() {
    static const bool enabled = [] {
        const char* value = std::getenv("TAVRO_DEBUG");
        return value != nullptr && value[0] != '\0' && std::strcmp(value, "0") != 0;
    }();
    return enabled;
}

void debugLog(const char* format, ...) {
    if (!debugLogEnabled())
        return;
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}
