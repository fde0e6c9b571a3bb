#!/usr/bin/env bash
# Installs every build and test dependency from Debian's packages.
# Safe to run again; needs root (or sudo) on Debian 12.
set -euo pipefail

packages=(
    build-essential cmake pkg-config ninja-build
    juce-modules-source-data
    libsqlite3-dev zlib1g-dev libminizip-dev libcurl4-openssl-dev libssl-dev
    nlohmann-json3-dev libpugixml-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    libsndfile1-dev libsmf-dev
    libfreetype-dev libpng-dev libjpeg-dev libx11-dev libxext-dev libxrandr-dev
    libxinerama-dev libxcursor-dev
    clang-format
)

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ "${#missing[@]}" -gt 0 ]; then
    export DEBIAN_FRONTEND=noninteractive
    $SUDO apt-get update
    $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
