#!/usr/bin/env bash
# Installs every system package the project builds, tests and benchmarks with.
# Idempotent: when everything is present it only asks dpkg and returns.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    qt6-base-dev qt6-l10n-tools
    liblua5.3-dev lua5.3
    libsndfile1-dev libsoxr-dev
    libfftw3-dev libkissfft-dev
    libtag1-dev nlohmann-json3-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    sox libsox-fmt-mp3
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "setup: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done"
