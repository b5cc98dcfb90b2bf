#!/usr/bin/env bash
# Installs the Debian 12 packages Tavro builds, runs and tests with. Does nothing when they
# are all present already; uses sudo when not run as root.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    qt6-base-dev
    qt6-wayland
    libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev
    libv4l-dev libasound2-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    clang libclang-rt-14-dev
    clang-format-14
    ffmpeg xvfb xdotool
    desktop-file-utils appstream
    pulseaudio pulseaudio-utils libasound2-plugins
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update
$sudo apt-get install -y --no-install-recommends "${missing[@]}"
