#pragma once
// The small commands of the tavro program, each one row of the command line's table: they
// print on standard output and return the exit status.

struct CommandLine;

// tavro --version
int printVersion(const CommandLine& line);
// tavro --list-devices: the devices by kind, the defaults (after the device options) marked.
int listDevices(const CommandLine& line);
// tavro --settings: the settings file, the output file and the recording formats.
int showSettings(const CommandLine& line);
