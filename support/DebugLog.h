#pragma once
// Developer diagnostics ("event at ...", "frame dropped ..."): printf-style lines on standard
// error, written only when the environment variable TAVRO_DEBUG is set to a non-empty value
// other than "0". Off by default, so a user's terminal stays quiet.

// True when TAVRO_DEBUG asks for the lines; read once per process.
bool debugLogEnabled();
// Writes one formatted line (the format carries its own "\n"). Safe from any thread: the
// stream stays locked for the whole call, so lines from different threads never interleave.
void debugLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
