// The tavro program. Without a command it opens the main window (which needs a display); the
// commands of the command line (CommandLine.h) run without one.

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "app/CommandLine.h"
#include "app/TavroApplication.h"

namespace {

bool hasDisplay() {
    // A platform named outright (offscreen, vnc, ...) needs no display server.
    for (const char* variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && value[0] != '\0')
            return true;
    }
    return false;
}

int runWindows(char** argv, const CommandLine& line) {
    if (!hasDisplay()) {
        std::fprintf(stderr,
                     "tavro: the windows need a display, and neither DISPLAY nor "
                     "WAYLAND_DISPLAY is set.\n"
                     "The command-line tools work without one: see tavro --help.\n");
        return kExitFailed;
    }
    TavroOptions options;
    options.roster = line.devices;
    // QApplication keeps references to both for its whole life. Qt reads only the program
    // name from them: Tavro's options are not Qt's.
    static int sArgc;
    sArgc = 1;
    auto application = std::make_unique<TavroApplication>(sArgc, argv, options);
    int result = application->exec();
    application.reset();
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    const ParsedCommandLine parsed = parseCommandLine(argc, argv);
    for (const std::string& note : parsed.notes)
        std::fprintf(stderr, "%s\n", note.c_str());
    if (!parsed.error.empty()) {
        std::fprintf(stderr, "%s\n", parsed.error.c_str());
        return kExitUsage;
    }
    if (parsed.command == nullptr)
        return runWindows(argv, parsed.options);
    return parsed.command->run(parsed.options);
}
