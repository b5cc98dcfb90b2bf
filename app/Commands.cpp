#include "app/Commands.h"

#include <cstdio>
#include <string>

#include "app/CommandLine.h"
#include "app/records/TavroSettings.h"
#include "media/MediaFormat.h"
#include "media/roster/MediaRoster.h"

int printVersion(const CommandLine&) {
    std::printf("tavro %s\n", TAVRO_VERSION);
    return kExitDone;
}

int listDevices(const CommandLine& line) {
    MediaRoster roster(line.devices);
    std::fputs(roster.Describe().c_str(), stdout);
    return kExitDone;
}

int showSettings(const CommandLine&) {
    std::string path;
    if (gSettings.GetPath(&path) == B_OK)
        std::printf("Settings file: %s\n", path.c_str());
    else
        std::printf("Settings file: none (neither XDG_CONFIG_HOME nor HOME is set)\n");
    std::printf("Output file: %s\n", gSettings.fileName.c_str());
    // As chosen in the window; --video-input and --audio-input override them for one run.
    std::printf("Video input: %s\n",
                gSettings.videoInput.empty() ? "the default" : gSettings.videoInput.c_str());
    std::printf("Audio input: %s\n",
                gSettings.audioInput.empty() ? "the default" : gSettings.audioInput.c_str());
    std::printf("\nRecording formats:\n");
    for (size_t i = 0; i < gSettings.formats.size(); i++) {
        const FormatSetting* format = gSettings.formats[i].get();
        std::printf("%c %s: %s, video %s %dx%d %s, audio %s %d Hz %d channels\n",
                    int32(i) == gSettings.lastFormat ? '*' : ' ', format->Text(),
                    format->fileFormat.c_str(), format->videoEncoder.c_str(),
                    int(format->videoWidth), int(format->videoHeight),
                    colorSpaceName(color_space(format->colorSpace)), format->audioEncoder.c_str(),
                    int(format->audioFrameRate), int(format->audioChannels));
    }
    return kExitDone;
}
