// main() of every test program.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace {

// A plain array: it is filled by the first static initialiser, before any std::string
// object here would be constructed (and so reset).
char gConfigDir[] = "/tmp/tavro-test-config-XXXXXX";

void removeConfigDir() {
    std::error_code ignored;
    std::filesystem::remove_all(gConfigDir, ignored);
}

// Runs before every other static initialiser (the settings object loads its file in one):
// the settings directory becomes a fresh temporary directory, removed at exit after the
// settings object has saved into it.
struct ConfigRedirect {
    ConfigRedirect() {
        if (mkdtemp(gConfigDir) == nullptr)
            std::abort();
        setenv("XDG_CONFIG_HOME", gConfigDir, 1);
        std::atexit(removeConfigDir);
    }
};

__attribute__((init_priority(101))) ConfigRedirect gConfigRedirect;

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
