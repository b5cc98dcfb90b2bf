#pragma once
// The tavro command line: one table of options (CommandLine.cpp, kOptions) read by one parser.
//
// Spellings: --name=value and --name value for every option that takes a value, -h and -V,
// "--" ends the options. An unknown option is answered with the nearest known one. An option
// whose value is a FILE refuses "-": Tavro neither records to standard output nor reads
// standard input. An old spelling of an option still works and leaves a note that names the
// new one.
//
// A command (--record, --list-devices, ...) is what tavro does; at most one per command line,
// none opens the windows. Settings (--duration, --video-input, ...) go with any command.
//
// Exit statuses: 0 done, 1 failed, 2 a bad command line (kExitUsage).
//
// Adding an option is adding a row to kOptions (and, for a setting, the field it fills).

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "media/roster/MediaRoster.h"
#include "support/Status.h"

constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// Everything a command line can say. A command reads the fields it needs.
struct CommandLine {
    // The command's value (the FILE of --record); empty for a command without one.
    std::string commandValue;
    // The second value of a command that takes two (the FILE of --add-timer).
    std::string commandOperand;
    RosterOptions devices;
    bool quiet = false;  // nothing on standard output but what the command is for

    // --record, its length, and overrides of its recording format for this one recording
    // (never saved). Empty or negative: keep the format's.
    double durationSeconds = 0;  // 0: until a signal
    std::string format;          // the name of a recording format; empty: the last one used
    int32 channel = -1;
    std::optional<std::string> fileFormat;
    std::optional<std::string> videoEncoder;
    std::optional<std::string> audioEncoder;  // "" records no sound
    int32 width = -1;
    int32 height = -1;
    int32 colorSpace = -1;
    float quality = -1;
    int32 frameDivisor = -1;
    int32 audioRate = -1;
    int32 audioChannels = -1;
    bool overwrite = false;  // --record may replace an existing FILE

    // --add-timer: the date (YYYY-MM-DD; empty: today or tomorrow) and the repeat ("once",
    // "daily", "weekly", "monthly"; empty: once). --channel and --format above go with it.
    std::string date;
    std::string repeat;
};

// How --help groups the options.
enum class OptionGroup { Command, Recording, Timers, Devices, Output };

struct Option {
    const char* name;   // "--record"
    char shortName;     // 'h' for -h; 0: none
    const char* value;  // what it takes, as --help shows it ("FILE"); nullptr: nothing
    const char* help;
    OptionGroup group;
    // A command: what tavro does once the whole line has been read. Returns the exit status.
    std::function<int(const CommandLine&)> run = {};
    // A setting: stores `value` (nullptr for an option that takes none) into the command
    // line; false with `problem` set for a value it cannot use.
    std::function<bool(CommandLine*, const char* value, std::string* problem)> set = {};
    // An old spelling: the option to use instead. Works as that one, with a note; not listed.
    const char* replacedBy = nullptr;
    // A command's second value, after its first ("FILE" of --add-timer); nullptr: none.
    const char* operand = nullptr;
};

// The outcome of reading a command line.
struct ParsedCommandLine {
    CommandLine options;
    const Option* command = nullptr;  // nullptr: open the windows
    // Empty when the line is good; else the message for standard error (exit kExitUsage).
    std::string error;
    // Notes for standard error that do not stop the command (old spellings).
    std::vector<std::string> notes;
};

// Reads `argv[1]`..`argv[argc - 1]` against kOptions.
ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

// Seconds, or [[H:]M:]S ("1:30:00", "90:00", "45", "2.5"). False for anything else.
bool parseDuration(const char* text, double* seconds);

// The known option nearest to `unknown` ("--durtion" -> "--duration"); empty when none is
// near enough to be what was meant.
std::string nearestOption(const std::string& unknown);

// What tavro --help prints.
std::string helpText();

// The whole table, in --help order within each group.
const std::vector<Option>& commandLineOptions();
