#pragma once
// Runs the ffmpeg command-line tool as a child process and reports the CPU time it took (user
// + system of the child and its threads), so that a benchmark can set Tavro's cost beside the
// tool's on the same pixels in the same run.

#include <functional>
#include <string>
#include <vector>

// `arguments` without the program name. With `feed`, the child's standard input is a pipe
// that `feed` writes into (it gets the pipe's descriptor and returns false to give up);
// without, standard input is /dev/null. Seconds of the child's CPU; < 0 when the tool could
// not run or did not exit with 0.
double runFfmpegTool(const std::vector<std::string>& arguments,
                     const std::function<bool(int fd)>& feed = nullptr);

// Writes all of `size` bytes to `fd`; false on an error.
bool writeAll(int fd, const void* data, size_t size);
