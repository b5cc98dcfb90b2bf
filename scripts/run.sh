#!/usr/bin/env bash
# Installs what is missing, builds Tavro and starts it. Arguments are passed to tavro.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja
cmake --build build --target tavro
exec build/app/tavro "$@"
