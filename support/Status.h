#pragma once
// status_t: 0 is success, every error is negative. Errors with a POSIX meaning are the negative
// errno, the convention FFmpeg's AVERROR(e) uses too, so an encoder's ENOSPC arrives here as
// B_DEVICE_FULL untouched. Codes without a POSIX meaning count up from INT32_MIN in the
// classic blocks: general 0x80000000, kernel 0x80001000, media 0x80004000.

#include <cerrno>
#include <climits>
#include <string>

#include "support/Types.h"

using status_t = int32;

constexpr status_t B_OK = 0;
constexpr status_t B_NO_ERROR = 0;
constexpr status_t B_ERROR = -1;

// Errors with a POSIX meaning.
constexpr status_t B_NO_MEMORY = -ENOMEM;
constexpr status_t B_IO_ERROR = -EIO;
constexpr status_t B_PERMISSION_DENIED = -EACCES;
constexpr status_t B_BAD_VALUE = -EINVAL;
constexpr status_t B_TIMED_OUT = -ETIMEDOUT;
constexpr status_t B_INTERRUPTED = -EINTR;
constexpr status_t B_WOULD_BLOCK = -EWOULDBLOCK;
constexpr status_t B_BUSY = -EBUSY;
constexpr status_t B_ENTRY_NOT_FOUND = -ENOENT;
constexpr status_t B_FILE_EXISTS = -EEXIST;
constexpr status_t B_DEVICE_FULL = -ENOSPC;
constexpr status_t B_FILE_TOO_LARGE = -EFBIG;
constexpr status_t B_NOT_SUPPORTED = -EOPNOTSUPP;
constexpr status_t B_DEV_NOT_READY = -ENODEV;

// General errors without a POSIX meaning.
constexpr status_t B_GENERAL_ERROR_BASE = INT32_MIN;
constexpr status_t B_BAD_INDEX = B_GENERAL_ERROR_BASE + 3;
constexpr status_t B_BAD_TYPE = B_GENERAL_ERROR_BASE + 4;
constexpr status_t B_MISMATCHED_VALUES = B_GENERAL_ERROR_BASE + 6;
constexpr status_t B_NAME_NOT_FOUND = B_GENERAL_ERROR_BASE + 7;
constexpr status_t B_NAME_IN_USE = B_GENERAL_ERROR_BASE + 8;
constexpr status_t B_CANCELED = B_GENERAL_ERROR_BASE + 12;
constexpr status_t B_NO_INIT = B_GENERAL_ERROR_BASE + 13;
constexpr status_t B_NOT_ALLOWED = B_GENERAL_ERROR_BASE + 15;
constexpr status_t B_BAD_DATA = B_GENERAL_ERROR_BASE + 16;

// Kernel errors.
constexpr status_t B_OS_ERROR_BASE = B_GENERAL_ERROR_BASE + 0x1000;
constexpr status_t B_BAD_SEM_ID = B_OS_ERROR_BASE;
constexpr status_t B_NO_MORE_SEMS = B_OS_ERROR_BASE + 1;
constexpr status_t B_BAD_THREAD_ID = B_OS_ERROR_BASE + 0x100;
constexpr status_t B_NO_MORE_THREADS = B_OS_ERROR_BASE + 0x101;
constexpr status_t B_BAD_THREAD_STATE = B_OS_ERROR_BASE + 0x102;

// Media errors.
constexpr status_t B_MEDIA_ERROR_BASE = B_GENERAL_ERROR_BASE + 0x4000;
constexpr status_t B_STREAM_NOT_FOUND = B_MEDIA_ERROR_BASE;
constexpr status_t B_SERVER_NOT_FOUND = B_MEDIA_ERROR_BASE + 1;
constexpr status_t B_RESOURCE_NOT_FOUND = B_MEDIA_ERROR_BASE + 2;
constexpr status_t B_RESOURCE_UNAVAILABLE = B_MEDIA_ERROR_BASE + 3;
constexpr status_t B_BAD_SUBSCRIBER = B_MEDIA_ERROR_BASE + 4;
constexpr status_t B_SUBSCRIBER_NOT_ENTERED = B_MEDIA_ERROR_BASE + 5;
constexpr status_t B_BUFFER_NOT_AVAILABLE = B_MEDIA_ERROR_BASE + 6;
constexpr status_t B_LAST_BUFFER_ERROR = B_MEDIA_ERROR_BASE + 7;

constexpr status_t B_MEDIA_SYSTEM_FAILURE = B_MEDIA_ERROR_BASE + 0x100;
constexpr status_t B_MEDIA_BAD_NODE = B_MEDIA_SYSTEM_FAILURE + 1;
constexpr status_t B_MEDIA_NODE_BUSY = B_MEDIA_SYSTEM_FAILURE + 2;
constexpr status_t B_MEDIA_BAD_FORMAT = B_MEDIA_SYSTEM_FAILURE + 3;
constexpr status_t B_MEDIA_BAD_BUFFER = B_MEDIA_SYSTEM_FAILURE + 4;
constexpr status_t B_MEDIA_TOO_MANY_NODES = B_MEDIA_SYSTEM_FAILURE + 5;
constexpr status_t B_MEDIA_TOO_MANY_BUFFERS = B_MEDIA_SYSTEM_FAILURE + 6;
constexpr status_t B_MEDIA_NODE_ALREADY_EXISTS = B_MEDIA_SYSTEM_FAILURE + 7;
constexpr status_t B_MEDIA_BUFFER_ALREADY_EXISTS = B_MEDIA_SYSTEM_FAILURE + 8;
constexpr status_t B_MEDIA_CANNOT_SEEK = B_MEDIA_SYSTEM_FAILURE + 9;
constexpr status_t B_MEDIA_CANNOT_CHANGE_RUN_MODE = B_MEDIA_SYSTEM_FAILURE + 10;
constexpr status_t B_MEDIA_APP_ALREADY_REGISTERED = B_MEDIA_SYSTEM_FAILURE + 11;
constexpr status_t B_MEDIA_APP_NOT_REGISTERED = B_MEDIA_SYSTEM_FAILURE + 12;
constexpr status_t B_MEDIA_CANNOT_RECLAIM_BUFFERS = B_MEDIA_SYSTEM_FAILURE + 13;
constexpr status_t B_MEDIA_BUFFERS_NOT_RECLAIMED = B_MEDIA_SYSTEM_FAILURE + 14;
constexpr status_t B_MEDIA_TIME_SOURCE_STOPPED = B_MEDIA_SYSTEM_FAILURE + 15;
constexpr status_t B_MEDIA_TIME_SOURCE_BUSY = B_MEDIA_SYSTEM_FAILURE + 16;
constexpr status_t B_MEDIA_BAD_SOURCE = B_MEDIA_SYSTEM_FAILURE + 17;
constexpr status_t B_MEDIA_BAD_DESTINATION = B_MEDIA_SYSTEM_FAILURE + 18;
constexpr status_t B_MEDIA_ALREADY_CONNECTED = B_MEDIA_SYSTEM_FAILURE + 19;
constexpr status_t B_MEDIA_NOT_CONNECTED = B_MEDIA_SYSTEM_FAILURE + 20;

// The one text for any status: strerror for errno values, av_strerror's text for FFmpeg's own
// error tags, a table for the rest. Used wherever a status is shown to a person.
std::string statusText(status_t status);
