// main() of every test program.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

std::string gConfigDir;

void removeConfigDir() {
    std::error_code ignored;
    std::filesystem::remove_all(gConfigDir, ignored);
}

// Runs before every other static initialiser (the settings object loads its file in one):
// the settings directory becomes a fresh temporary directory, removed at exit after the
// settings object has saved into it.
struct ConfigRedirect {
    ConfigRedirect() {
        char pattern[] = "/tmp/tavro-test-config-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            std::abort();
        gConfigDir = pattern;
        setenv("XDG_CONFIG_HOME", pattern, 1);
        std::atexit(removeConfigDir);
    }
};

__attribute__((init_priority(101))) ConfigRedirect gConfigRedirect;

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
