// The tavro program. The windows are not built yet: for now it names the settings file and
// the recording formats it holds. Each command-line option is one row of kOptions.

#include <cstdio>
#include <cstring>
#include <string>

#include "app/TavroSettings.h"
#include "media/MediaFormat.h"
#include "media/roster/MediaRoster.h"

namespace {

struct Option {
    const char* name;
    const char* help;
    int (*run)();
};

int printHelp();

// The device options of the command line (see MediaRoster::TakeArguments).
RosterOptions sDeviceOptions;

int listDevices() {
    MediaRoster roster(sDeviceOptions);
    std::fputs(roster.Describe().c_str(), stdout);
    return 0;
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
};

int printHelp() {
    std::printf("Usage: tavro [OPTION]\n"
                "Watches and records television and other live video with its sound.\n\n");
    for (const Option& option : kOptions)
        std::printf("  %-16s %s\n", option.name, option.help);
    std::printf("\nDevices (with any option):\n"
                "  --video-input=DEVICE  --audio-input=DEVICE  --mixer-card=CARD\n"
                "  --no-test-inputs      leave the built-in test picture and tone out\n");
    std::printf("\nWith no option, shows the settings file and the recording formats.\n");
    return 0;
}

int showSettings() {
    std::printf("The windows of Tavro are not built yet.\n\n");
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

}  // namespace

int main(int argc, char** argv) {
    if (MediaRoster::TakeArguments(&argc, argv, &sDeviceOptions) != B_OK)
        return 2;
    if (argc < 2)
        return showSettings();
    for (const Option& option : kOptions) {
        if (std::strcmp(argv[1], option.name) == 0) {
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
