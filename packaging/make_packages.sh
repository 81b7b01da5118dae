#!/usr/bin/env bash
# ./dev package: a Release build without tests or benchmarks in BUILD_DIR,
# the Debian packages made from it, their paths, and lintian's report.
# Compiler and linker flags are Debian's hardening defaults (dpkg-buildflags).
#
# usage: packaging/make_packages.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

build=$1
log() { printf '\033[1m==> %s\033[0m\n' "$*" >&2; }

export CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
export LDFLAGS="$(dpkg-buildflags --get LDFLAGS)"
log "configuring a Release build in $build"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DTALVO_BUILD_TESTS=OFF -DTALVO_BUILD_BENCH=OFF >&2
log "building"
cmake --build "$build" -j2 >&2
log "cpack -G DEB"
rm -f "$build"/packages/*.deb
cpack -G DEB -B "$build/packages" --config "$build/CPackConfig.cmake" >&2
debs=("$build"/packages/*.deb)
log "lintian"
lintian --fail-on error "${debs[@]}" >&2
for deb in "${debs[@]}"; do
    readlink -f "$deb"
done
