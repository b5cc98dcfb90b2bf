#pragma once
// Tavro's log: the program's diagnostics, one line per call, on standard error.
//
// Levels, most important first: an error (what the user asked for did not happen), a warning
// (something went wrong and Tavro went on), information (what Tavro did on its own) and
// debugging detail (Tavro's and its libraries' inner workings). A line is written when its
// level is at or above the threshold: information by default, everything when the
// environment variable TAVRO_DEBUG is set to a non-empty value other than "0", errors only
// when the command line asks for quiet. Each line reads "tavro: <text>"; a trailing newline in
// the text is dropped. Lines from different threads never interleave. FFmpeg's and alsa-lib's
// own messages come in at the debug level (media/file/FFmpegOwners.h, media/alsa/AlsaErrors.h).
//
// Apart from the log, the engine prints a few lines on standard output that say what it did
// to a recording ("frame dropped - drift = 40000?", "reset PAL-M format"): logOutput writes
// them as they are, and a threshold of errors only silences them too.

enum class LogLevel { kError, kWarning, kInfo, kDebug };

// Safe from any thread; the threshold starts from TAVRO_DEBUG.
void SetLogThreshold(LogLevel level);
bool LogEnabled(LogLevel level);

void logError(const char* format, ...) __attribute__((format(printf, 1, 2)));
void logWarning(const char* format, ...) __attribute__((format(printf, 1, 2)));
void logInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));
void logDebug(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A line of the engine's on standard output (the format carries its own "\n").
void logOutput(const char* format, ...) __attribute__((format(printf, 1, 2)));
