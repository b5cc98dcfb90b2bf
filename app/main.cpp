// The tavro program. Without a command it opens the main window (which needs a display); the
// commands of the command line (CommandLine.h) run without one.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <QDir>
#include <QLibraryInfo>

#include "app/CommandLine.h"
#include "app/DisplayCheck.h"
#include "app/records/TavroSettings.h"
#include "support/Log.h"
#include "ui/TavroApplication.h"

namespace {

bool waylandPluginInstalled() {
    const QDir platforms(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms");
    return !platforms.entryList({"libqwayland*.so"}, QDir::Files).isEmpty();
}

int runWindows(char** argv, const CommandLine& line) {
    const DisplayChoice display = chooseDisplay(waylandPluginInstalled());
    if (!display.problem.empty()) {
        logError("%s", display.problem.c_str());
        return kExitFailed;
    }
    if (!display.platform.empty())
        setenv("QT_QPA_PLATFORM", display.platform.c_str(), 1);
    TavroOptions options;
    options.roster = line.devices;
    // QApplication keeps references to both for its whole life. Qt reads only the program
    // name from them: Tavro's options are not Qt's.
    TavroApplication::RouteQtMessagesToLog();
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
    // A run that only prints or records (or has a bad command line) leaves the settings file
    // as it found it; the windows and the timer commands change it.
    const std::string command = parsed.command != nullptr ? parsed.command->name : "";
    if (!parsed.error.empty() || (parsed.command != nullptr && command != "--add-timer" &&
                                  command != "--remove-timer" && command != "--run-timers"))
        gSettings.LeaveFileUntouched();
    // Quiet leaves errors only, on the log and from the engine alike.
    if (parsed.options.quiet)
        SetLogThreshold(LogLevel::kError);
    for (const std::string& note : parsed.notes)
        logWarning("%s", note.c_str());
    if (!parsed.error.empty()) {
        logError("%s", parsed.error.c_str());
        return kExitUsage;
    }
    // The devices chosen in the window, unless the command line names others for this run.
    CommandLine options = parsed.options;
    if (options.devices.videoInput.empty())
        options.devices.videoInput = gSettings.videoInput;
    if (options.devices.audioInput.empty())
        options.devices.audioInput = gSettings.audioInput;
    if (parsed.command == nullptr)
        return runWindows(argv, options);
    return parsed.command->run(options);
}
