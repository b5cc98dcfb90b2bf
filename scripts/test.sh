#!/usr/bin/env bash
# Installs what is missing, checks the layout of the sources, builds everything and runs every
# test: the fuzz targets for a bounded number of runs (a clang build), then the whole CTest suite.
# The sanitizer runs are scripts/sanitize.sh.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
scripts/check-format.sh

# -g1 (line tables: backtraces with file and line) compiles about a quarter faster than -g.
cmake -S . -B build -G Ninja -DTAVRO_WERROR=ON \
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG"
cmake --build build

cmake -S . -B build-fuzz -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DTAVRO_FUZZ=ON -DTAVRO_BUILD_TESTS=OFF -DTAVRO_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
cmake --build build-fuzz --target fuzz_message fuzz_format_setting fuzz_channel_presets
for fuzzer in fuzz_message fuzz_format_setting fuzz_channel_presets; do
    echo "== $fuzzer: 20000 runs"
    build-fuzz/fuzz/$fuzzer -runs=20000 -seed=1 -max_len=4096 2>&1 | tail -n 3
done

ctest --test-dir build --output-on-failure -j2 --timeout 300
