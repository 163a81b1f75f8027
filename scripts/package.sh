#!/usr/bin/env bash
# Builds the Debian package kestrelwing_<version>_<arch>.deb into the build
# folder (or KW_PACKAGE_DIR): installs what is missing, builds, then lets
# CPack wrap the install tree (under /usr) with dependencies found by
# dpkg-shlibdeps. Install it with: apt install ./kestrelwing_*.deb
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/deps.sh"
"$here/scripts/build.sh"
build="$here/${KW_BUILD_DIR:-build}"
out="${KW_PACKAGE_DIR:-$build}"
mkdir -p "$out"
out="$(cd "$out" && pwd)"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$out"
rm -rf "$out/_CPack_Packages"
ls -1 "$out"/kestrelwing_*.deb
