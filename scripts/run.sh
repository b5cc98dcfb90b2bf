#!/usr/bin/env bash
# Installs what is missing, builds Tavro and opens its main window on the built-in test picture
# and tone. Arguments, when given, are passed to tavro instead.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja
cmake --build build --target tavro
if [ $# -eq 0 ]; then
    set -- --video-input=test-picture --audio-input=test-tone
fi
exec build/app/tavro "$@"
