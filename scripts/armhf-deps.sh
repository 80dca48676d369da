#!/usr/bin/env bash
# The ARM (armhf) cross build's dependencies: the cross compiler and qemu-user from apt, and the
# armhf libraries the library, the writers and the tests link (liblzma, FreeType with its runtime
# libraries, GoogleTest) plus the LZMA SDK sources, unpacked from their Debian packages into a
# private folder, so that no armhf package is installed on the host. The C library itself is the
# cross compiler's; only the character set converters (gconv, for the tests that compare with
# iconv) are taken from the armhf C library package, which the cross one lacks.
# Usage: scripts/armhf-deps.sh FOLDER   (as root when the compiler or qemu-user is missing)
set -euo pipefail
dest=$(realpath -m "${1:?folder}")
packages=(liblzma5 liblzma-dev libfreetype6 libfreetype-dev libbrotli1 libbrotli-dev libpng16-16
          libpng-dev zlib1g zlib1g-dev libgtest-dev libgmock-dev)
tools=(g++-arm-linux-gnueabihf qemu-user)

source "$(dirname "$0")/apt.sh"

export DEBIAN_FRONTEND=noninteractive
missing=()
for t in "${tools[@]}"; do installed "$t" || missing+=("$t"); done
if [ ${#missing[@]} -gt 0 ] || ! dpkg --print-foreign-architectures | grep -qx armhf; then
  [ "$(id -u)" -eq 0 ] || { echo "run as root to install ${tools[*]} and add armhf" >&2; exit 1; }
  dpkg --add-architecture armhf
  apt_update
  [ ${#missing[@]} -eq 0 ] || apt-get install -y --no-install-recommends "${missing[@]}"
elif [ ! -f "$dest/.complete" ] && ! apt-cache show libgtest-dev:armhf >/dev/null 2>&1; then
  apt_update
fi

if [ -f "$dest/.complete" ]; then exit 0; fi
rm -rf "$dest" && mkdir -p "$dest/debs"
# lzma-dev (the SDK's C sources) is architecture-independent.
(cd "$dest/debs" && apt-get download "${packages[@]/%/:armhf}" lzma-dev && apt-get download libc6:armhf)
for deb in "$dest"/debs/*.deb; do
  case $(basename "$deb") in
    libc6_*) dpkg-deb -x "$deb" "$dest/libc6"
             mv "$dest/libc6/usr/lib/arm-linux-gnueabihf/gconv" "$dest/gconv"
             rm -rf "$dest/libc6" ;;
    *) dpkg-deb -x "$deb" "$dest" ;;
  esac
done
touch "$dest/.complete"
echo "armhf libraries unpacked into $dest"
