// The tavro program. Without an option it opens the main window (which needs a display); each
// command-line option is one row of kOptions and runs without a display.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "app/HeadlessRecorder.h"
#include "app/TavroApplication.h"
#include "app/TavroSettings.h"
#include "media/MediaFormat.h"
#include "media/roster/MediaRoster.h"

namespace {

struct Option {
    const char* name;
    const char* help;
    int (*run)();
    // Instead of run, for an option that takes arguments: those after it.
    int (*runWithArguments)(int argc, char** argv) = nullptr;
};

int printHelp();
int showSettings();

// The device options of the command line (see MediaRoster::TakeArguments).
RosterOptions sDeviceOptions;

int listDevices() {
    MediaRoster roster(sDeviceOptions);
    std::fputs(roster.Describe().c_str(), stdout);
    return 0;
}

int record(int argc, char** argv) {
    return runHeadlessRecorder(argc, argv, sDeviceOptions);
}

int printVersion() {
    std::printf("tavro %s\n", TAVRO_VERSION);
    return 0;
}

const Option kOptions[] = {
    {"--help", "show this help and exit", printHelp},
    {"--version", "show the version and exit", printVersion},
    {"--list-devices", "list the capture devices and the sound output, defaults marked",
     listDevices},
    {"--settings", "show the settings file, the output file and the recording formats",
     showSettings},
    {"--record", "FILE [--duration SECONDS] [--format NAME] [--channel N] ...: record without "
                 "windows (see tavro --record)", nullptr, record},
    {"--list-formats", "list the recording formats, file formats and encoders",
     listRecordingFormats},
};

int printHelp() {
    std::printf("Usage: tavro [OPTION]\n"
                "Watches and records television and other live video with its sound.\n\n");
    for (const Option& option : kOptions)
        std::printf("  %-16s %s\n", option.name, option.help);
    std::printf("\nDevices (with any option):\n"
                "  --video-input=DEVICE  --audio-input=DEVICE  --mixer-card=CARD\n"
                "  --no-test-inputs      leave the built-in test picture and tone out\n");
    std::printf("\nWith no option, opens the main window (this needs a display).\n");
    return 0;
}

int showSettings() {
    std::string path;
    if (gSettings.GetPath(&path) == B_OK)
        std::printf("Settings file: %s\n", path.c_str());
    else
        std::printf("Settings file: none (neither XDG_CONFIG_HOME nor HOME is set)\n");
    std::printf("Output file: %s\n\nRecording formats:\n", gSettings.fileName);
    for (size_t i = 0; i < gSettings.formats.size(); i++) {
        const FormatSetting* format = gSettings.formats[i];
        std::printf("%c %s: %s, video %s %dx%d %s, audio %s %d Hz %d channels\n",
                    int32(i) == gSettings.lastFormat ? '*' : ' ', format->Text(),
                    format->fileFormat ? format->fileFormat : "",
                    format->videoEncoder ? format->videoEncoder : "", int(format->videoWidth),
                    int(format->videoHeight), colorSpaceName(color_space(format->colorSpace)),
                    format->audioEncoder ? format->audioEncoder : "", int(format->audioFrameRate),
                    int(format->audioChannels));
    }
    return 0;
}

bool hasDisplay() {
    // A platform named outright (offscreen, vnc, ...) needs no display server.
    for (const char* variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && value[0] != '\0')
            return true;
    }
    return false;
}

int runWindows(int argc, char** argv) {
    if (!hasDisplay()) {
        std::fprintf(stderr,
                     "tavro: the windows need a display, and neither DISPLAY nor "
                     "WAYLAND_DISPLAY is set.\n"
                     "The command-line tools work without one: see tavro --help.\n");
        return 1;
    }
    TavroOptions options;
    options.roster = sDeviceOptions;
    // QApplication keeps references to both for its whole life.
    static int sArgc;
    sArgc = argc;
    auto application = std::make_unique<TavroApplication>(sArgc, argv, options);
    int result = application->exec();
    application.reset();
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (MediaRoster::TakeArguments(&argc, argv, &sDeviceOptions) != B_OK)
        return 2;
    if (argc < 2)
        return runWindows(argc, argv);
    for (const Option& option : kOptions) {
        if (std::strcmp(argv[1], option.name) == 0) {
            if (option.runWithArguments != nullptr)
                return option.runWithArguments(argc - 2, argv + 2);
            if (argc > 2) {
                std::fprintf(stderr, "tavro: %s takes no arguments\n", option.name);
                return 2;
            }
            return option.run();
        }
    }
    std::fprintf(stderr, "tavro: unknown option '%s' (see tavro --help)\n", argv[1]);
    return 2;
}
