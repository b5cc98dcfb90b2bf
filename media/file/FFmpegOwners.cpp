#include "media/file/FFmpegOwners.h"

#include <cstdio>

status_t avStatus(const char* call, int error) {
    if (error < 0) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(error, text, sizeof(text));
        std::fprintf(stderr, "tavro: %s failed: %s\n", call, text);
    }
    return error;
}
