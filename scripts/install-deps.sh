#!/usr/bin/env bash
# Installs the Debian packages the build needs, and only those that are missing.
# Safe to run again: a machine that has everything makes no apt-get call at all.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libboost-dev libboost-thread-dev libboost-serialization-dev
  libboost-iostreams-dev libboost-date-time-dev libboost-regex-dev
  libtbb-dev libncurses-dev libicu-dev libedit-dev
  libopenblas-dev liblapacke-dev
  libgtest-dev libgmock-dev libbenchmark-dev libarchive-dev
  tmux abigail-tools dpkg-dev python3 doxygen
  chromium chromium-driver python3-selenium
)
# The fuzz targets need clang and its libFuzzer runtime.
if [ "${1:-}" = "fuzz" ]; then
  packages+=(clang)
fi

missing=()
for p in "${packages[@]}"; do
  # Cheap local check first: dpkg knows without touching the network.
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "need root or sudo to install ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
