#include "support/Status.h"

#include <cstdio>
#include <cstring>

namespace {

// FFmpeg's own tags are negated four-character codes such as -MKTAG('E','O','F',' ').
// We do not link FFmpeg here, so the few it returns through our API are named directly.
struct TaggedText {
    status_t code;
    const char* text;
};

constexpr int32 negTag(uint8 a, uint8 b, uint8 c, uint8 d) {
    return -int32(uint32(a) | (uint32(b) << 8) | (uint32(c) << 16) | (uint32(d) << 24));
}

constexpr TaggedText kTable[] = {
    {B_BAD_INDEX, "Bad index"},
    {B_BAD_TYPE, "Bad type"},
    {B_MISMATCHED_VALUES, "Mismatched values"},
    {B_NAME_NOT_FOUND, "Name not found"},
    {B_NAME_IN_USE, "Name in use"},
    {B_CANCELED, "Operation canceled"},
    {B_NO_INIT, "Initialization failed"},
    {B_NOT_ALLOWED, "Operation not allowed"},
    {B_BAD_DATA, "Bad data"},
    {B_BAD_SEM_ID, "Bad semaphore ID"},
    {B_NO_MORE_SEMS, "No more semaphores"},
    {B_BAD_THREAD_ID, "Bad thread ID"},
    {B_NO_MORE_THREADS, "No more threads"},
    {B_BAD_THREAD_STATE, "Thread is inappropriate state"},
    {B_STREAM_NOT_FOUND, "Stream not found"},
    {B_SERVER_NOT_FOUND, "Server not found"},
    {B_RESOURCE_NOT_FOUND, "Resource not found"},
    {B_RESOURCE_UNAVAILABLE, "Resource unavailable"},
    {B_BAD_SUBSCRIBER, "Bad subscriber"},
    {B_SUBSCRIBER_NOT_ENTERED, "Subscriber not entered"},
    {B_BUFFER_NOT_AVAILABLE, "Buffer not available"},
    {B_LAST_BUFFER_ERROR, "Last buffer"},
    {B_MEDIA_SYSTEM_FAILURE, "Media system failure"},
    {B_MEDIA_BAD_NODE, "Bad media node"},
    {B_MEDIA_NODE_BUSY, "Media node busy"},
    {B_MEDIA_BAD_FORMAT, "Bad media format"},
    {B_MEDIA_BAD_BUFFER, "Bad buffer"},
    {B_MEDIA_TOO_MANY_NODES, "Too many nodes"},
    {B_MEDIA_TOO_MANY_BUFFERS, "Too many buffers"},
    {B_MEDIA_NODE_ALREADY_EXISTS, "Media node already exists"},
    {B_MEDIA_BUFFER_ALREADY_EXISTS, "Buffer already exists"},
    {B_MEDIA_CANNOT_SEEK, "Cannot seek"},
    {B_MEDIA_CANNOT_CHANGE_RUN_MODE, "Cannot change run mode"},
    {B_MEDIA_APP_ALREADY_REGISTERED, "Application already registered"},
    {B_MEDIA_APP_NOT_REGISTERED, "Application not registered"},
    {B_MEDIA_CANNOT_RECLAIM_BUFFERS, "Cannot reclaim buffers"},
    {B_MEDIA_BUFFERS_NOT_RECLAIMED, "Buffers not reclaimed"},
    {B_MEDIA_TIME_SOURCE_STOPPED, "Time source stopped"},
    {B_MEDIA_TIME_SOURCE_BUSY, "Time source busy"},
    {B_MEDIA_BAD_SOURCE, "Bad source"},
    {B_MEDIA_BAD_DESTINATION, "Bad destination"},
    {B_MEDIA_ALREADY_CONNECTED, "Already connected"},
    {B_MEDIA_NOT_CONNECTED, "Not connected"},
    {negTag('E', 'O', 'F', ' '), "End of file"},
    {negTag('I', 'N', 'D', 'A'), "Invalid data found when processing input"},
    {negTag('E', 'N', 'C', 0xF8), "Encoder not found"},
    {negTag('M', 'U', 'X', 0xF8), "Muxer not found"},
    {negTag('B', 'U', 'G', '!'), "Internal bug, should not have happened"},
    {negTag('E', 'X', 'T', ' '), "Generic error in an external library"},
    {negTag(0xF8, 'O', 'P', 'T'), "Option not found"},
    {negTag('P', 'A', 'W', 'E'), "Not yet implemented in FFmpeg, patches welcome"},
};

}  // namespace

std::string statusText(status_t status) {
    if (status == B_OK)
        return "No error";
    if (status == B_ERROR)
        return "General error";
    for (const TaggedText& entry : kTable) {
        if (entry.code == status)
            return entry.text;
    }
    if (status < 0 && status > -4096)
        return std::strerror(-status);
    char text[48];
    std::snprintf(text, sizeof(text), "Unknown error (0x%08x)", uint32(status));
    return text;
}
