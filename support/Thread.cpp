#include "support/Thread.h"

#include <pthread.h>
#include <sched.h>

#include <cstring>
#include <string>

void setThreadName(const char* name) {
    char shortName[16];
    std::strncpy(shortName, name, sizeof(shortName) - 1);
    shortName[sizeof(shortName) - 1] = '\0';
    pthread_setname_np(pthread_self(), shortName);
}

std::thread spawnThread(const char* name, std::function<void()> body) {
    return std::thread([threadName = std::string(name), body = std::move(body)] {
        setThreadName(threadName.c_str());
        body();
    });
}

bool requestRealtimePriority(int priority) {
    sched_param param{};
    param.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &param) == 0;
}
