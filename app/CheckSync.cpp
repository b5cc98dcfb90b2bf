#include "app/CheckSync.h"

#include <cstdio>

#include "media/file/SyncMeter.h"
#include "support/Log.h"

int runCheckSync(const CommandLine& line) {
    const char* path = line.commandValue.c_str();
    SyncReport report;
    const status_t status = MeasureSync(path, &report);
    if (status == B_MEDIA_BAD_FORMAT) {
        logError("%s holds no picture to measure", path);
        return kExitFailed;
    }
    if (status != B_OK) {
        logError("cannot read %s: %s", path, statusText(status).c_str());
        return kExitFailed;
    }
    std::fputs(FormatSyncReport(report).c_str(), stdout);
    return report.InSync() ? kExitDone : kExitFailed;
}
