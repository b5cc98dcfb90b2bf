#pragma once
// Where a timed recording goes. Its entry's path may hold strftime patterns
// ("news-%Y-%m-%d.mkv"), expanded in local time when the recording starts; and a timed
// recording never replaces an earlier file: when the expanded name exists, the first free name
// beside it is taken ("news-2026-11-23 (2).mkv", "(3)", ...).

#include <ctime>
#include <string>

// The path a recording that starts at `when` writes to: the expanded pattern, or the first
// numbered name beside it that names nothing yet. Empty when no free name could be found (the
// reason in `*error`, when given, as a status).
std::string timedRecordingPath(const std::string& pattern, time_t when, int* error = nullptr);

// `pattern` with its strftime patterns expanded for `when` in local time; the pattern itself
// when it has none or the expansion is empty or too long.
std::string expandTimePattern(const std::string& pattern, time_t when);
