#!/usr/bin/env bash
# The test suite's sanitizer half (scripts/test.sh runs it after the plain build's tests):
# - build-asan/, clang with AddressSanitizer, LeakSanitizer and UndefinedBehaviorSanitizer (and
#   libFuzzer's coverage, so that the same build serves the fuzz targets): each fuzz target for
#   a bounded number of runs, then every test below the ui (`sanitized_tests`);
# - build-tsan/, clang with ThreadSanitizer: the engine's tests (`thread_tests`: the nodes, the
#   rings, the writer threads, the file's sync thread).
# Which program runs in which build is decided in tests/CMakeLists.txt; tests labelled `plain`
# race real time, which a sanitizer slows two to ten times, and run in the plain build only.
# Any report fails its test; the libraries' known reports are suppressed in tests/sanitizers/.
# `scripts/sanitize.sh address` or `scripts/sanitize.sh thread` runs one half.
set -euo pipefail
cd "$(dirname "$0")/.."
which="${1:-all}"
flags=("-DCMAKE_C_COMPILER=clang" "-DCMAKE_CXX_COMPILER=clang++" "-DTAVRO_BUILD_BENCH=OFF"
    "-DTAVRO_WERROR=ON"
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG" "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG")
fuzzers=(fuzz_message fuzz_format_setting fuzz_channel_presets)
source tests/sanitizers/options.sh

# Runs ctest in build directory $1 with the rest as its arguments. The reports go to files there
# (alsa-lib's and FFmpeg's chatter is captured from standard error while a device opens, and a
# report made then would be captured with it) and are printed after the run.
run_tests() {
    local build="$1" status=0
    shift
    rm -rf "$build/sanitizer-reports"
    mkdir -p "$build/sanitizer-reports"
    local reports="log_path=$PWD/$build/sanitizer-reports/report"
    ASAN_OPTIONS="$ASAN_OPTIONS:$reports" TSAN_OPTIONS="$TSAN_OPTIONS:$reports" \
        UBSAN_OPTIONS="$UBSAN_OPTIONS:$reports" \
        ctest --test-dir "$build" --output-on-failure -j2 --timeout 300 "$@" || status=$?
    if compgen -G "$build/sanitizer-reports/report*" > /dev/null; then
        cat "$build"/sanitizer-reports/report*
        status=1
    fi
    return "$status"
}

if [ "$which" = all ] || [ "$which" = address ]; then
    cmake -S . -B build-asan -G Ninja "${flags[@]}" -DTAVRO_FUZZ=ON
    cmake --build build-asan --target sanitized_tests "${fuzzers[@]}"
    for fuzzer in "${fuzzers[@]}"; do
        echo "== $fuzzer: 20000 runs"
        build-asan/fuzz/$fuzzer -runs=20000 -seed=1 -max_len=4096 2>&1 | tail -n 3
    done
    run_tests build-asan -L '^(support|app|media|engine|scheduler)$'
fi
if [ "$which" = all ] || [ "$which" = thread ]; then
    cmake -S . -B build-tsan -G Ninja "${flags[@]}" -DTAVRO_SANITIZE=thread
    cmake --build build-tsan --target thread_tests
    run_tests build-tsan -L '^engine$'
fi
