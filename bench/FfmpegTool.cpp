#include "bench/FfmpegTool.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

bool writeAll(int fd, const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(fd, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes += written;
        size -= size_t(written);
    }
    return true;
}

double runFfmpegTool(const std::vector<std::string>& arguments,
                     const std::function<bool(int fd)>& feed) {
    std::vector<std::string> line = {"ffmpeg", "-nostdin", "-v", "error", "-y"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : line)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    int pipeEnds[2] = {-1, -1};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (feed) {
        if (pipe2(pipeEnds, O_CLOEXEC) != 0)
            return -1;
        posix_spawn_file_actions_adddup2(&actions, pipeEnds[0], STDIN_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    pid_t child = -1;
    const int spawned = posix_spawnp(&child, "ffmpeg", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    bool fed = true;
    if (feed) {
        close(pipeEnds[0]);
        if (spawned == 0) {
            // A child that exits early must not end this process with SIGPIPE.
            struct sigaction ignore {};
            struct sigaction previous {};
            ignore.sa_handler = SIG_IGN;
            sigaction(SIGPIPE, &ignore, &previous);
            fed = feed(pipeEnds[1]);
            sigaction(SIGPIPE, &previous, nullptr);
        }
        close(pipeEnds[1]);
    }
    if (spawned != 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0 || !fed)
        return -1;
    return double(usage.ru_utime.tv_sec) + usage.ru_utime.tv_usec / 1e6 +
           double(usage.ru_stime.tv_sec) + usage.ru_stime.tv_usec / 1e6;
}
