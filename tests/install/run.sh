#!/usr/bin/env bash
# Installs a build into a temporary prefix and checks what a host program sees there: the
# installed files, that each header compiles alone, the library's SONAME, and a consumer program built twice (as a CMake project
# with find_package, and with g++ and pkg-config) that must run and pass its own checks.
# Usage: run.sh <build dir> <work dir> <libdir> <version> <soversion> <c++ compiler> [flags]
set -euo pipefail

build=$1 work=$2 libdir=$3 version=$4 soversion=$5 cxx=$6 flags=${7:-}
here=$(cd "$(dirname "$0")" && pwd)
prefix=$work/prefix

fail() { echo "FAILED: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$prefix" >"$work/install.log"

# Files: the umbrella header and the headers it includes, by their folders; no internal helper
# header; the library with its SONAME; the package files.
inc=$prefix/include/SearchProc
for f in SearchProc.h foundation/CommonProc.h foundation/Export.h codec/MarlinDataProc.h \
         search/SearchArrivalProc.h search/LocationData.h geo/DistanceProc.h; do
  [ -f "$inc/$f" ] || fail "header $f not installed"
done
for f in foundation/ReadAt.h foundation/TableFile.h foundation/IndexSearch.h foundation/Alloc.h \
         codec/CodecDetail.h search/GenreFilter.h search/PoiPage.h; do
  [ ! -e "$inc/$f" ] || fail "internal header $f installed"
done
# Every installed header compiles on its own, with only the installed tree on the path.
while IFS= read -r h; do
  echo "#include <$h>" | "$cxx" -std=c++17 -Wall -Wextra -Werror -fsyntax-only -I"$inc" -x c++ - \
    || fail "installed header $h does not compile on its own"
done < <(cd "$inc" && find . -name '*.h' | sed 's|^\./||' | sort)
lib=$prefix/$libdir/libSearchProc.so
[ -f "$lib.$version" ] || fail "$lib.$version not installed"
[ -L "$lib" ] || fail "$lib (link for the linker) not installed"
soname=$(objdump -p "$lib.$version" | awk '$1 == "SONAME" { print $2 }')
[ "$soname" = "libSearchProc.so.$soversion" ] || fail "SONAME is '$soname'"
[ -e "$prefix/$libdir/$soname" ] || fail "$soname not installed"
[ -f "$prefix/$libdir/cmake/SearchProc/SearchProcConfig.cmake" ] || fail "CMake package missing"
[ -f "$prefix/$libdir/pkgconfig/searchproc.pc" ] || fail "searchproc.pc missing"

# 1. A CMake project using find_package(SearchProc).
cmake -S "$here/consumer" -B "$work/cmake-build" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$flags" \
  -DSEARCHPROC_EXPECTED_VERSION="$version" >"$work/cmake-configure.log"
cmake --build "$work/cmake-build" >"$work/cmake-build.log"
mkdir "$work/db-cmake"
"$work/cmake-build/consumer" "$work/db-cmake"

# 2. A plain compiler command with the flags pkg-config gives.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
[ "$(pkg-config --modversion searchproc)" = "$version" ] || fail "pkg-config version"
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++17 -Wall -Wextra -Werror $flags "$here/consumer/main.cpp" \
  $(pkg-config --cflags --libs searchproc) -o "$work/pc-consumer"
mkdir "$work/db-pkgconfig"
LD_LIBRARY_PATH=$prefix/$libdir "$work/pc-consumer" "$work/db-pkgconfig"

rm -rf "$work"
echo "install test passed"
