#!/usr/bin/env bash
# Installs what is missing, checks the layout of the sources, then builds and runs every test
# once: the plain build (gcc, -Werror) builds what ships, the benchmarks and the tests that need
# Qt, the program or real time, and runs those; scripts/sanitize.sh builds the rest under the
# sanitizers with clang and runs them there, with the fuzz targets.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
scripts/check-format.sh

# -g1 (line tables: backtraces with file and line) compiles about a quarter faster than -g.
cmake -S . -B build -G Ninja -DTAVRO_WERROR=ON \
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG"
cmake --build build --target tavro tavro_man_page benches unsanitized_tests
ctest --test-dir build --output-on-failure -j2 --timeout 300 -L '^(ui|program|plain)$'

scripts/sanitize.sh
