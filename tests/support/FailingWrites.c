// A preloaded stand-in for write(2) that fails like a broken or full disk, for the programs
// under test: once the files whose path contains $TAVRO_FAIL_WRITES_PATH have taken
// $TAVRO_FAIL_WRITES_AFTER bytes, every further write to them fails with
// $TAVRO_FAIL_WRITES_ERRNO (a number, or EIO, EDQUOT, ENOSPC, EFBIG). Without
// TAVRO_FAIL_WRITES_PATH every write goes through untouched.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static atomic_llong sWritten;

static int failureErrno(void) {
    const char* name = getenv("TAVRO_FAIL_WRITES_ERRNO");
    if (name == NULL || strcmp(name, "EIO") == 0)
        return EIO;
    if (strcmp(name, "EDQUOT") == 0)
        return EDQUOT;
    if (strcmp(name, "ENOSPC") == 0)
        return ENOSPC;
    if (strcmp(name, "EFBIG") == 0)
        return EFBIG;
    return atoi(name) > 0 ? atoi(name) : EIO;
}

static int isWatched(int fd, const char* pattern) {
    char link[64], path[4096];
    snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
    ssize_t length = readlink(link, path, sizeof(path) - 1);
    if (length <= 0)
        return 0;
    path[length] = '\0';
    return strstr(path, pattern) != NULL;
}

ssize_t write(int fd, const void* buffer, size_t size) {
    static ssize_t (*realWrite)(int, const void*, size_t);
    if (realWrite == NULL) {
        // The object pointer dlsym returns is copied into the function pointer, as POSIX allows.
        void* symbol = dlsym(RTLD_NEXT, "write");
        memcpy(&realWrite, &symbol, sizeof(symbol));
    }
    const char* pattern = getenv("TAVRO_FAIL_WRITES_PATH");
    if (fd <= 2 || pattern == NULL || pattern[0] == '\0' || !isWatched(fd, pattern))
        return realWrite(fd, buffer, size);
    const char* after = getenv("TAVRO_FAIL_WRITES_AFTER");
    const long long limit = after != NULL ? atoll(after) : 0;
    long long done = atomic_load(&sWritten);
    if (done >= limit) {
        errno = failureErrno();
        return -1;
    }
    // Up to the limit, as a disk that fills up does.
    if ((long long)size > limit - done)
        size = (size_t)(limit - done);
    ssize_t written = realWrite(fd, buffer, size);
    if (written > 0)
        atomic_fetch_add(&sWritten, written);
    return written;
}
