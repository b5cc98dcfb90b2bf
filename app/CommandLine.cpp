// The table of tavro's options and the value readers its rows use. The parser that walks a
// command line against the table is OptionParser.cpp.

#include "app/CommandLine.h"

#include <strings.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/CheckSync.h"
#include "app/Commands.h"
#include "app/HeadlessRecorder.h"
#include "app/TimerCommands.h"
#include "media/MediaFormat.h"

namespace {

using Setter = std::function<bool(CommandLine*, const char*, std::string*)>;

// The row helpers: each makes the `set` of a row that stores its value into one field.

Setter text(std::string CommandLine::*field) {
    return [field](CommandLine* line, const char* value, std::string*) {
        line->*field = value;
        return true;
    };
}

Setter name(std::optional<std::string> CommandLine::*field) {
    return [field](CommandLine* line, const char* value, std::string*) {
        line->*field = value;
        return true;
    };
}

Setter flag(bool CommandLine::*field) {
    return [field](CommandLine* line, const char*, std::string*) {
        line->*field = true;
        return true;
    };
}

bool readNumber(const char* text, double minimum, double maximum, double* value) {
    char* end = nullptr;
    const double parsed = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(parsed >= minimum && parsed <= maximum))
        return false;
    *value = parsed;
    return true;
}

std::string range(double minimum, double maximum) {
    char text[80];
    std::snprintf(text, sizeof text, "a number from %g to %g", minimum, maximum);
    return text;
}

template <typename Number>
Setter number(Number CommandLine::*field, double minimum, double maximum) {
    return [=](CommandLine* line, const char* value, std::string* problem) {
        double parsed = 0;
        if (!readNumber(value, minimum, maximum, &parsed)) {
            *problem = range(minimum, maximum);
            return false;
        }
        line->*field = Number(parsed);
        return true;
    };
}

Setter device(std::string RosterOptions::*field) {
    return [field](CommandLine* line, const char* value, std::string* problem) {
        if (value[0] == '\0') {
            *problem = "a device id or name (see tavro --list-devices)";
            return false;
        }
        line->devices.*field = value;
        return true;
    };
}

bool setDuration(CommandLine* line, const char* value, std::string* problem) {
    if (!parseDuration(value, &line->durationSeconds)) {
        *problem = "seconds or [[H:]M:]S, such as 90, 1:30 or 1:30:00";
        return false;
    }
    return true;
}

bool setSize(CommandLine* line, const char* value, std::string* problem) {
    unsigned width = 0, height = 0;
    char end = 0;
    if (std::sscanf(value, "%ux%u%c", &width, &height, &end) != 2 || width < 1 || height < 1 ||
        width > 4096 || height > 4096) {
        *problem = "WIDTHxHEIGHT, each from 1 to 4096, such as 768x576";
        return false;
    }
    line->width = int32(width);
    line->height = int32(height);
    return true;
}

bool setColorSpace(CommandLine* line, const char* value, std::string* problem) {
    const color_space known[] = {B_RGB32,    B_RGB24,    B_RGB16, B_RGB15,
                                 B_YCbCr422, B_YCbCr411, B_GRAY8};
    std::string names;
    for (color_space candidate : known) {
        const char* name = colorSpaceName(candidate);
        // "B_RGB32" or "RGB32", in any case.
        if (strcasecmp(value, name) == 0 || strcasecmp(value, name + 2) == 0) {
            line->colorSpace = candidate;
            return true;
        }
        names += std::string(names.empty() ? "" : ", ") + (name + 2);
    }
    *problem = "one of " + names;
    return false;
}

bool setNoTestInputs(CommandLine* line, const char*, std::string*) {
    line->devices.builtInInputs = false;
    return true;
}

// "  SPELLING   help", the help wrapped at 80 columns under its own column.
std::string wrapped(const std::string& spelling, const std::string& help) {
    constexpr size_t kHelpColumn = 29, kWidth = 80;
    std::string text = "  " + spelling;
    size_t column = text.size();
    if (column + 1 > kHelpColumn) {
        text += "\n";
        column = 0;
    }
    size_t at = 0;
    while (at < help.size()) {
        size_t end = help.find(' ', at);
        if (end == std::string::npos)
            end = help.size();
        const std::string word = help.substr(at, end - at);
        if (column > kHelpColumn && column + 1 + word.size() > kWidth) {
            text += "\n";
            column = 0;
        }
        if (column < kHelpColumn) {
            text += std::string(kHelpColumn - column, ' ');
            column = kHelpColumn;
        } else {
            text += " ";
            column++;
        }
        text += word;
        column += word.size();
        at = end + 1;
    }
    return text + "\n";
}

int printHelp(const CommandLine&) {
    std::fputs(helpText().c_str(), stdout);
    return kExitDone;
}

using G = OptionGroup;

// One row per option: name, short name, value, help, group, then `run` for a command or
// `set` for a setting (and, for an old spelling, the option that replaces it).
// clang-format off
const std::vector<Option> kOptions = {
    {"--help", 'h', nullptr, "show this help and exit", G::Command, printHelp},
    {"--version", 'V', nullptr, "show the version and exit", G::Command, printVersion},
    {"--record", 0, "FILE", "record into FILE without windows, until --duration or Ctrl+C",
        G::Command, runHeadlessRecorder},
    {"--list-devices", 0, nullptr, "list the capture devices and the sound output",
        G::Command, listDevices},
    {"--list-formats", 0, nullptr, "list the recording formats, file formats and encoders",
        G::Command, [](const CommandLine&) { return listRecordingFormats(); }},
    {"--settings", 0, nullptr, "show the settings file, the output file and the formats",
        G::Command, showSettings},
    {"--list-timers", 0, nullptr, "list the stored timers with their indexes",
        G::Command, listTimers},
    {"--add-timer", 0, "START-STOP", "store a timer recording into FILE from START to STOP "
        "(local H:MM or H:MM:SS)", G::Command, addTimer, {}, nullptr, "FILE"},
    {"--remove-timer", 0, "INDEX", "remove the stored timer INDEX (see --list-timers)",
        G::Command, removeTimer},
    {"--run-timers", 0, nullptr, "record the stored timers without windows until Ctrl+C",
        G::Command, runTimers},
    {"--check-sync", 0, "FILE", "measure sound against picture in a recording of the test signal",
        G::Command, runCheckSync},

    {"--overwrite", 0, nullptr, "replace FILE if it exists (else --record refuses it)",
        G::Recording, {}, flag(&CommandLine::overwrite)},
    {"--duration", 0, "TIME", "stop after TIME: seconds or [[H:]M:]S (1:30:00)",
        G::Recording, {}, setDuration},
    {"--format", 0, "NAME", "the recording format NAME (default: the last one used)",
        G::Recording, {}, text(&CommandLine::format)},
    {"--channel", 0, "N", "tune the TV card to channel N first",
        G::Recording, {}, number(&CommandLine::channel, 0, 1e6)},
    {"--file-format", 0, "NAME", "this time only: the file format (avi, matroska, mp4...)",
        G::Recording, {}, name(&CommandLine::fileFormat)},
    {"--video-encoder", 0, "NAME", "this time only: the video encoder",
        G::Recording, {}, name(&CommandLine::videoEncoder)},
    {"--audio-encoder", 0, "NAME", "this time only: the audio encoder (\"\": no sound)",
        G::Recording, {}, name(&CommandLine::audioEncoder)},
    {"--size", 0, "WxH", "this time only: the picture size",
        G::Recording, {}, setSize},
    {"--color-space", 0, "NAME", "this time only: the colour space (RGB32, YCbCr422...)",
        G::Recording, {}, setColorSpace},
    {"--quality", 0, "Q", "this time only: the video quality, 0 to 1 (0: the encoder's)",
        G::Recording, {}, number(&CommandLine::quality, 0, 1)},
    {"--frame-divisor", 0, "N", "this time only: keep every Nth frame",
        G::Recording, {}, number(&CommandLine::frameDivisor, 1, 100)},
    {"--audio-rate", 0, "HZ", "this time only: the sound's sample rate",
        G::Recording, {}, number(&CommandLine::audioRate, 1000, 384000)},
    {"--audio-channels", 0, "N", "this time only: 1 or 2 sound channels",
        G::Recording, {}, number(&CommandLine::audioChannels, 1, 2)},

    {"--date", 0, "YYYY-MM-DD", "the timer's day (default: today, or tomorrow when START "
        "has passed)", G::Timers, {}, text(&CommandLine::date)},
    {"--repeat", 0, "RULE", "once, daily, weekly or monthly (default: once)",
        G::Timers, {}, text(&CommandLine::repeat)},

    {"--video-input", 0, "DEVICE", "the video input: an id or name from --list-devices",
        G::Devices, {}, device(&RosterOptions::videoInput)},
    {"--audio-input", 0, "DEVICE", "the audio input: an id or name from --list-devices",
        G::Devices, {}, device(&RosterOptions::audioInput)},
    {"--mixer-card", 0, "CARD", "the ALSA card whose \"Line\" switch mutes the sound",
        G::Devices, {}, device(&RosterOptions::mixerCard)},
    {"--no-test-inputs", 0, nullptr, "leave the built-in test picture and tone out",
        G::Devices, {}, setNoTestInputs},
    {"--video-device", 0, "DEVICE", "", G::Devices, {}, device(&RosterOptions::videoInput),
        "--video-input"},
    {"--audio-device", 0, "DEVICE", "", G::Devices, {}, device(&RosterOptions::audioInput),
        "--audio-input"},

    {"--quiet", 'q', nullptr, "print nothing but errors (no progress)",
        G::Output, {}, flag(&CommandLine::quiet)},
};
// clang-format on

}  // namespace

const std::vector<Option>& commandLineOptions() {
    return kOptions;
}

std::string helpText() {
    struct Section {
        OptionGroup group;
        const char* title;
    } sections[] = {{G::Command, "Commands (one at most; without one, tavro opens its windows):"},
                    {G::Recording, "Recording (with --record):"},
                    {G::Timers, "Timers (with --add-timer; --channel and --format too):"},
                    {G::Devices, "Devices (with the windows and every command):"},
                    {G::Output, "Output:"}};
    std::string text =
        "Usage: tavro [OPTION]...\n"
        "       tavro --record FILE [--duration TIME] [OPTION]...\n"
        "Watches and records television and other live video with its sound.\n";
    for (const Section& section : sections) {
        text += std::string("\n") + section.title + "\n";
        for (const Option& option : kOptions) {
            if (option.group != section.group || option.replacedBy != nullptr)
                continue;
            std::string spelling = option.shortName != 0
                                       ? std::string("-") + option.shortName + ", " + option.name
                                       : std::string("    ") + option.name;
            if (option.value != nullptr)
                spelling += std::string(" ") + option.value;
            if (option.operand != nullptr)
                spelling += std::string(" ") + option.operand;
            text += wrapped(spelling, option.help);
        }
    }
    text +=
        "\nAn option's value goes after it or after \"=\" (--duration 90, --duration=90).\n"
        "\"--\" ends the options: tavro --record -- -odd-name.avi\n"
        "\nExit status: 0 done, 1 failed (the recording or the command could not be done),\n"
        "2 a bad command line.\n"
        "TAVRO_DEBUG=1 prints Tavro's and its libraries' diagnostics on standard error.\n";
    return text;
}
