#!/usr/bin/env bash
# The 32-bit build's dependencies: g++-multilib from apt, and the i386 libraries the library,
# the writers and the tests link (liblzma, FreeType with its runtime libraries, GoogleTest)
# unpacked from their Debian packages into a private folder, so that the host's own packages
# stay as they are (a mirror whose i386 index lags the amd64 one cannot then block the build).
# Usage: scripts/m32-deps.sh FOLDER   (as root when g++-multilib is missing)
set -euo pipefail
dest=$(realpath -m "${1:?folder}")
packages=(liblzma5 liblzma-dev libfreetype6 libfreetype-dev libbrotli1 libbrotli-dev libpng16-16
          libpng-dev zlib1g zlib1g-dev libgtest-dev libgmock-dev)

source "$(dirname "$0")/apt.sh"
export DEBIAN_FRONTEND=noninteractive
if ! installed g++-multilib ||
   ! dpkg --print-foreign-architectures | grep -qx i386; then
  [ "$(id -u)" -eq 0 ] || { echo "run as root to install g++-multilib and add i386" >&2; exit 1; }
  dpkg --add-architecture i386
  apt_update
  apt-get install -y g++-multilib
elif ! apt-cache show libgtest-dev:i386 >/dev/null 2>&1; then
  apt_update
fi

if [ -f "$dest/.complete" ]; then exit 0; fi
rm -rf "$dest" && mkdir -p "$dest/debs"
(cd "$dest/debs" && apt-get download "${packages[@]/%/:i386}")
for deb in "$dest"/debs/*.deb; do dpkg-deb -x "$deb" "$dest"; done
touch "$dest/.complete"
echo "i386 libraries unpacked into $dest"
