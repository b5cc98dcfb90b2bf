#include "media/alsa/AlsaErrors.h"

#include <alsa/asoundlib.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "support/Log.h"

namespace {

// alsa-lib's handler type; the attribute lets the compiler check that `format` reaches vsnprintf
// as a format.
__attribute__((format(printf, 5, 6))) void toLog(const char* file, int line, const char* function,
                                                 int error, const char* format, ...) {
    if (!LogEnabled(LogLevel::kDebug))
        return;
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    logDebug("alsa-lib %s:%d (%s): %s%s%s", file, line, function, text, error ? ": " : "",
             error ? snd_strerror(error) : "");
}

}  // namespace

void routeAlsaErrorsToLog() {
    static std::once_flag once;
    std::call_once(once, [] { snd_lib_error_set_handler(toLog); });
}
