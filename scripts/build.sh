#!/usr/bin/env bash
# Set up and build: installs the Debian packages the project needs (when run as root and any is
# missing), configures into build/ and builds with two jobs.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(build-essential cmake pkg-config liblzma-dev lzma-dev libfreetype-dev fonts-ipaexfont-gothic
          libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libstb-dev
          libcli11-dev libsqlite3-dev libcpp-httplib-dev xz-utils)
source scripts/apt.sh
install_missing "${packages[@]}"

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j2
