// tavro's command line: every spelling a user may type, every message a mistake gets, and what
// the real program answers with.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "app/CommandLine.h"

namespace {

ParsedCommandLine parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "tavro");
    return parseCommandLine(int(arguments.size()), arguments.data());
}

std::string commandName(const ParsedCommandLine& parsed) {
    return parsed.command != nullptr ? parsed.command->name : "(windows)";
}

}  // namespace

TEST(CommandLine, EverySpellingOfAnOptionMeansTheSame) {
    struct Case {
        std::vector<const char*> arguments;
        std::string command;
        std::function<bool(const CommandLine&)> holds;
    };
    const Case cases[] = {
        {{"--duration=3"}, "(windows)", [](auto& l) { return l.durationSeconds == 3; }},
        {{"--duration", "3"}, "(windows)", [](auto& l) { return l.durationSeconds == 3; }},
        {{"--duration", "2.5"}, "(windows)", [](auto& l) { return l.durationSeconds == 2.5; }},
        {{"--duration", "1:30:00"}, "(windows)", [](auto& l) { return l.durationSeconds == 5400; }},
        {{"--duration=90:00"}, "(windows)", [](auto& l) { return l.durationSeconds == 5400; }},
        {{"--video-input=/dev/video1"},
         "(windows)",
         [](auto& l) { return l.devices.videoInput == "/dev/video1"; }},
        {{"--video-input", "/dev/video1"},
         "(windows)",
         [](auto& l) { return l.devices.videoInput == "/dev/video1"; }},
        {{"--audio-input", "hw:1"},
         "(windows)",
         [](auto& l) { return l.devices.audioInput == "hw:1"; }},
        {{"--mixer-card=hw:2"}, "(windows)", [](auto& l) { return l.devices.mixerCard == "hw:2"; }},
        {{"--no-test-inputs"}, "(windows)", [](auto& l) { return !l.devices.builtInInputs; }},
        {{"-h"}, "--help", [](auto&) { return true; }},
        {{"--help"}, "--help", [](auto&) { return true; }},
        {{"-V"}, "--version", [](auto&) { return true; }},
        {{"--record", "out.avi"}, "--record", [](auto& l) { return l.commandValue == "out.avi"; }},
        {{"--record=out.avi"}, "--record", [](auto& l) { return l.commandValue == "out.avi"; }},
        {{"--duration", "5", "--record", "a.avi", "--format", "Standard Format"},
         "--record",
         [](auto& l) {
             return l.commandValue == "a.avi" && l.durationSeconds == 5 &&
                    l.format == "Standard Format";
         }},
        // A file name that looks like an option comes after "--".
        {{"--record", "--duration", "5", "--", "-odd.avi"},
         "--record",
         [](auto& l) { return l.commandValue == "-odd.avi" && l.durationSeconds == 5; }},
        {{"--record", "./-"}, "--record", [](auto& l) { return l.commandValue == "./-"; }},
        // An empty audio encoder records no sound.
        {{"--audio-encoder", "", "--video-encoder=mpeg4"},
         "(windows)",
         [](auto& l) {
             return l.audioEncoder == "" && l.videoEncoder == "mpeg4" && !l.fileFormat;
         }},
        {{"--size", "320x240", "--color-space", "ycbcr422", "--quality=0.9"},
         "(windows)",
         [](auto& l) {
             return l.width == 320 && l.height == 240 && l.colorSpace == B_YCbCr422 &&
                    l.quality == 0.9f;
         }},
        {{"--color-space=B_RGB32", "--channel", "5", "--audio-channels", "1"},
         "(windows)",
         [](auto& l) { return l.colorSpace == B_RGB32 && l.channel == 5 && l.audioChannels == 1; }},
    };
    for (const Case& c : cases) {
        const ParsedCommandLine parsed = parse(c.arguments);
        const std::string line = ::testing::PrintToString(c.arguments);
        ASSERT_EQ(parsed.error, "") << line;
        EXPECT_EQ(commandName(parsed), c.command) << line;
        EXPECT_TRUE(c.holds(parsed.options)) << line;
        EXPECT_TRUE(parsed.notes.empty()) << line;
    }
}

TEST(CommandLine, OldDeviceSpellingsStillWorkWithANoteNamingTheNewOne) {
    const ParsedCommandLine parsed =
        parse({"--record", "a.avi", "--video-device", "/dev/video2", "--audio-device=hw:3"});
    ASSERT_EQ(parsed.error, "");
    EXPECT_EQ(parsed.options.devices.videoInput, "/dev/video2");
    EXPECT_EQ(parsed.options.devices.audioInput, "hw:3");
    ASSERT_EQ(parsed.notes.size(), 2u);
    EXPECT_EQ(parsed.notes[0], "--video-device is an old name of --video-input; use --video-input");
    EXPECT_NE(parsed.notes[1].find("use --audio-input"), std::string::npos);
}

TEST(CommandLine, EveryMistakeGetsAMessageThatSaysWhatToDo) {
    struct Case {
        std::vector<const char*> arguments;
        std::string message;
    };
    const Case cases[] = {
        {{"--durtion", "3"},
         "unknown option '--durtion'; did you mean --duration? (see tavro --help)"},
        {{"--recrod", "a.avi"}, "did you mean --record?"},
        {{"--vidoe-input=x"}, "did you mean --video-input?"},
        {{"--dur", "3"}, "did you mean --duration?"},
        {{"-record", "a.avi"}, "did you mean --record?"},
        {{"--video-devic", "x"}, "did you mean --video-input?"},
        {{"--frobnicate"}, "unknown option '--frobnicate' (see tavro --help)"},
        {{"-x"}, "unknown option '-x' (see tavro --help)"},
        {{"--record", "-"},
         "--record needs a file name: '-' (standard input or output) cannot be used; "
         "for a file named '-' write ./-"},
        {{"--record", "--", "-"}, "'-' (standard input or output) cannot be used"},
        {{"--record=-"}, "'-' (standard input or output) cannot be used"},
        {{"--record", ""}, "--record needs a file name"},
        {{"--record"}, "--record needs a value: FILE"},
        {{"--record", "--duration", "3"}, "--record needs a value: FILE"},
        {{"--duration"}, "--duration needs a value: TIME"},
        {{"--duration", "soon"},
         "bad value 'soon' for --duration: expected seconds or [[H:]M:]S, such as 90, "
         "1:30 or 1:30:00"},
        {{"--duration=1:60"}, "bad value '1:60' for --duration"},
        {{"--duration=1:2:3:4"}, "bad value '1:2:3:4' for --duration"},
        {{"--channel", "five"}, "bad value 'five' for --channel: expected a number from 0"},
        {{"--quality=2"}, "bad value '2' for --quality: expected a number from 0 to 1"},
        {{"--size", "0x5"}, "bad value '0x5' for --size: expected WIDTHxHEIGHT"},
        {{"--color-space", "purple"}, "expected one of RGB32, RGB24"},
        {{"--video-input="}, "bad value '' for --video-input: expected a device id or name"},
        {{"--version=2"}, "--version takes no value"},
        {{"--record", "a.avi", "--list-devices"},
         "--record and --list-devices cannot go together (one command at a time)"},
        {{"out.avi"}, "unexpected argument 'out.avi' (to record into a file: tavro --record"},
        {{"--record", "a.avi", "b.avi"}, "unexpected argument 'b.avi'"},
    };
    for (const Case& c : cases) {
        const ParsedCommandLine parsed = parse(c.arguments);
        EXPECT_NE(parsed.error.find(c.message), std::string::npos)
            << ::testing::PrintToString(c.arguments) << " gave: " << parsed.error;
    }
}

TEST(CommandLine, DurationsAreSecondsOrHoursMinutesSeconds) {
    struct Case {
        const char* text;
        bool good;
        double seconds;
    };
    const Case cases[] = {
        {"45", true, 45},      {"0", true, 0},
        {"1.5", true, 1.5},    {"1:30", true, 90},
        {"90:00", true, 5400}, {"1:30:00", true, 5400},
        {"0:00:01", true, 1},  {"100:00:00", true, 360000},
        {"", false, 0},        {":", false, 0},
        {"1:", false, 0},      {":30", false, 0},
        {"1:5x", false, 0},    {"1:60", false, 0},
        {"1:60:00", false, 0}, {"1:1:1:1", false, 0},
        {"-5", false, 0},      {"nan", false, 0},
        {"inf", false, 0},     {"1e9", false, 0},
        {"1:30.5", false, 0},  {" 5", false, 0},
    };
    for (const Case& c : cases) {
        double seconds = -1;
        EXPECT_EQ(parseDuration(c.text, &seconds), c.good) << c.text;
        if (c.good) {
            EXPECT_EQ(seconds, c.seconds) << c.text;
        }
    }
}

TEST(CommandLine, SuggestionsAreOnlyForNearMisses) {
    EXPECT_EQ(nearestOption("--list-device"), "--list-devices");
    EXPECT_EQ(nearestOption("--verison"), "--version");
    EXPECT_EQ(nearestOption("--help-me-please"), "");
    EXPECT_EQ(nearestOption("--list"), "");  // two options begin so
    EXPECT_EQ(nearestOption("--"), "");
    EXPECT_EQ(nearestOption("--x"), "");
}

TEST(CommandLine, HelpListsEveryOptionAndTheExitStatuses) {
    const std::string help = helpText();
    for (const Option& option : commandLineOptions()) {
        const bool listed = help.find(std::string(option.name) + " ") != std::string::npos ||
                            help.find(std::string(option.name) + "\n") != std::string::npos;
        EXPECT_EQ(listed, option.replacedBy == nullptr) << option.name;
        if (option.shortName != 0) {
            EXPECT_NE(help.find(std::string("-") + option.shortName + ", " + option.name),
                      std::string::npos);
        }
    }
    EXPECT_NE(help.find("Exit status: 0 done, 1 failed"), std::string::npos);
    EXPECT_NE(help.find("2 a bad command line"), std::string::npos);
    // Every line fits an 80-column terminal.
    size_t start = 0;
    for (size_t end = help.find('\n'); end != std::string::npos; end = help.find('\n', start)) {
        EXPECT_LE(end - start, 80u) << help.substr(start, end - start);
        start = end + 1;
    }
}

TEST(CommandLine, TheProgramExitsTwoOnAMistakeAndZeroForHelpAndVersion) {
    struct Case {
        std::string arguments;
        int exitStatus;
        std::string out;
        std::string err;
    };
    const Case cases[] = {
        {"-V", 0, "tavro ", ""},
        {"--version", 0, "tavro ", ""},
        {"-h", 0, "Usage: tavro", ""},
        {"--durtion=3", 2, "", "did you mean --duration?"},
        {"--record -", 2, "", "'-' (standard input or output) cannot be used"},
    };
    for (const Case& c : cases) {
        const std::string command = std::string(TAVRO_BINARY) + " " + c.arguments + " 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::string output;
        char buffer[4096];
        for (size_t got; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            output.append(buffer, got);
        const int status = pclose(pipe);
        ASSERT_TRUE(WIFEXITED(status)) << c.arguments;
        EXPECT_EQ(WEXITSTATUS(status), c.exitStatus) << c.arguments << ": " << output;
        EXPECT_NE(output.find(c.out + c.err), std::string::npos) << c.arguments << ": " << output;
    }
}
