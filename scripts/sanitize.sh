#!/usr/bin/env bash
# The test suite under the sanitizers, apart from scripts/test.sh (which it would take past its
# fifteen minutes): a clang build with AddressSanitizer, LeakSanitizer and
# UndefinedBehaviorSanitizer runs every test below the ui (`sanitized_tests`: all but the ui,
# the program and the PLAIN tests, see tests/CMakeLists.txt), and a ThreadSanitizer build runs
# the engine's tests, where the threads live (nodes, rings, writer threads, the file's sync
# thread). Any report fails its test; the libraries' known reports are suppressed in
# tests/sanitizers/. `scripts/sanitize.sh address` or `scripts/sanitize.sh thread` runs one.
set -euo pipefail
cd "$(dirname "$0")/.."
which="${1:-all}"
flags=("-DCMAKE_C_COMPILER=clang" "-DCMAKE_CXX_COMPILER=clang++" "-DTAVRO_BUILD_BENCH=OFF"
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG")
source tests/sanitizers/options.sh

if [ "$which" = all ] || [ "$which" = address ]; then
    cmake -S . -B build-asan -G Ninja "${flags[@]}" -DTAVRO_SANITIZE=address,undefined
    cmake --build build-asan --target sanitized_tests
    ctest --test-dir build-asan --output-on-failure -j2 --timeout 300 \
        -L '^(support|app|media|engine|scheduler)$' -LE '^plain$'
fi
if [ "$which" = all ] || [ "$which" = thread ]; then
    cmake -S . -B build-tsan -G Ninja "${flags[@]}" -DTAVRO_SANITIZE=thread
    cmake --build build-tsan --target ring_buffer_test tavro_file_test engine_recording_test \
        input_controls_test input_loss_test
    ctest --test-dir build-tsan --output-on-failure -j2 --timeout 300 -L '^engine$' -LE '^plain$'
fi
