#!/usr/bin/env bash
# The one list of Debian packages this project needs to build, test and run its demo.
# Idempotent: does nothing when every package is already installed. Arguments name extra packages
# that one script needs (the sanitizer build needs clang).
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkgconf ccache clang-format
  qt6-base-dev qt6-base-dev-tools qt6-serialport-dev qt6-svg-dev qt6-tools-dev qt6-tools-dev-tools
  libssh-dev libcurl4-openssl-dev libpugixml-dev libarchive-dev zlib1g-dev liblua5.4-dev
  libkissfft-dev libgtest-dev libgmock-dev libbenchmark-dev
  python3-pyftpdlib socat tcpdump poppler-utils fonts-dejavu-core xvfb xauth libxcb-cursor0
  "$@"
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
