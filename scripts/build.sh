#!/usr/bin/env bash
# Set up and build: installs the Debian packages the project needs (when run as root and any is
# missing), configures into build/ and builds with two jobs.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(build-essential cmake pkg-config liblzma-dev lzma-dev libfreetype-dev fonts-ipaexfont-gothic
          libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libstb-dev
          libcli11-dev libsqlite3-dev libcpp-httplib-dev xz-utils)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "missing packages: ${missing[*]} (run as root to install them)" >&2
    exit 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  # A mirror whose foreign-architecture lists lag fails the update; the lists it has still serve.
  apt-get update || echo "apt-get update reported errors; going on with the lists it has" >&2
  apt-get install -y "${missing[@]}"
fi

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j2
