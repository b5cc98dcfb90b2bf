#pragma once
// Points the settings directory (XDG_CONFIG_HOME) of a test, benchmark or fuzzer program at a
// fresh temporary directory, so that no run reads or writes the user's settings. The settings
// object loads its file in its constructor, so the one TempConfigDir of a program must be
// constructed before every other static object: define it, with the lowest priority there
// is, in the translation unit that is always linked (the one with main or the fuzzer's entry
// point):
//
//   static __attribute__((init_priority(101))) TempConfigDir gConfigDir("tavro-test");

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

class TempConfigDir {
public:
    // kUnusable puts the settings directory below a regular file: every load and save fails
    // at once and nothing ever reaches the disk.
    enum Mode { kUsable, kUnusable };

    explicit TempConfigDir(const char* prefix, Mode mode = kUsable) {
        std::snprintf(fRoot, sizeof(fRoot), "/tmp/%s-config-XXXXXX", prefix);
        if (mkdtemp(fRoot) == nullptr)
            std::abort();
        char config[sizeof(fRoot) + 32];
        if (mode == kUsable) {
            std::snprintf(config, sizeof(config), "%s", fRoot);
        } else {
            std::snprintf(config, sizeof(config), "%s/not-a-directory", fRoot);
            FILE* blocker = std::fopen(config, "w");
            if (blocker == nullptr)
                std::abort();
            std::fclose(blocker);
            std::snprintf(config, sizeof(config), "%s/not-a-directory/config", fRoot);
        }
        setenv("XDG_CONFIG_HOME", config, 1);
    }

    // Made first, destroyed last: the settings object has saved into the directory by then.
    ~TempConfigDir() {
        std::error_code ignored;
        std::filesystem::remove_all(fRoot, ignored);
    }

    TempConfigDir(const TempConfigDir&) = delete;
    TempConfigDir& operator=(const TempConfigDir&) = delete;

private:
    // Plain characters, filled by the constructor itself: nothing here waits for a
    // constructor of its own that would run later and reset it.
    char fRoot[96];
};
