#pragma once
// The recorder without windows, for scripts, cron, ssh and tests:
//
//   tavro --record FILE [--duration TIME] [--format NAME] [--channel N]
//         [--video-input DEVICE] [--audio-input DEVICE] [--overwrite] [overrides]
//
// records from the default inputs (the built-in test signal when there is no capture device)
// through the engine, TavroFile and a recording format of the settings file (the one named,
// else the last one used). The overrides change that format for this one recording and are
// never saved: --file-format, --video-encoder, --audio-encoder ("" records no sound),
// --size WxH, --color-space, --quality, --frame-divisor, --audio-rate, --audio-channels.
//
// An existing FILE is refused (exit status 1, the file untouched) unless --overwrite is given.
// It names the file it records into (its full path) and reports what the status panel shows
// through ProgressReport on standard output (nothing with --quiet); it stops at the end of the
// duration, on SIGINT or SIGTERM, or when the engine asks to (the file cannot take more: a
// full disk, a write error), and always closes the file. Errors are the engine's alert texts
// on standard error; a recording that ended on an error, or whose file could not be finished,
// says why and how much the file keeps. The exit status is then 1 (2 for a bad command line).
// The options are read by CommandLine.

struct CommandLine;

// `line.commandValue` is the file name.
int runHeadlessRecorder(const CommandLine& line);

// tavro --list-formats: the recording formats of the settings file, then the file formats
// and, for each, the video and audio encoders this machine offers for it.
int listRecordingFormats();
