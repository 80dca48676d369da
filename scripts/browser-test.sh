#!/usr/bin/env bash
# The browser test of "navdb serve": installs Chromium and npm when missing (as root), installs
# the pinned playwright-core into tests/browser, builds the demo database from the committed cut,
# serves it on a free port, drives the page in headless Chromium and writes the screenshot of
# the README (docs/serve.png, or SCREENSHOT).
#   [SCREENSHOT=out.png] bash scripts/browser-test.sh
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/apt.sh
# By their commands: npm may come with a nodejs from outside Debian, which the npm package
# conflicts with.
need=()
[ -x /usr/bin/chromium ] || need+=(chromium)
command -v npm >/dev/null || need+=(npm)
[ ${#need[@]} -eq 0 ] || install_missing --no-install-recommends "${need[@]}"
[ -f build/CMakeCache.txt ] || bash scripts/build.sh
cmake --build build -j2 --target navdb
navdb=build/tools/navdb/navdb

work=build/browser-test
rm -rf "$work"
mkdir -p "$work"
"$navdb" demo "$work/demo" --data tools/navdb/demo/cut --quiet >"$work/demo.log"
(cd tests/browser && npm ci --no-audit --no-fund --loglevel=error)

"$navdb" serve "$work/demo/db" --port 0 >"$work/serve.log" 2>&1 &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true' EXIT
url=
for _ in $(seq 100); do
  url=$(sed -n 's|.*\(http://[^ ]*/\).*|\1|p' "$work/serve.log")
  [ -n "$url" ] && break
  kill -0 "$server" 2>/dev/null || { cat "$work/serve.log" >&2; exit 1; }
  sleep 0.1
done
[ -n "$url" ] || { echo "navdb serve did not start" >&2; exit 1; }

screenshot=${SCREENSHOT:-docs/serve.png}
mkdir -p "$(dirname "$screenshot")"
node tests/browser/serve.test.js "$url" "$screenshot" よこはま
