// main() of every test program.

#include <gtest/gtest.h>

#include "tests/TempConfigDir.h"

// Made before every other static object: the settings object loads its file in one.
static __attribute__((init_priority(101))) TempConfigDir gConfigDir("tavro-test");

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
