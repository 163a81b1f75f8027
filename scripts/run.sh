#!/usr/bin/env bash
# Installs what is missing, builds, and starts Kestrelwing: scripts/run.sh [FILE]
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/deps.sh"
"$here/scripts/build.sh"
exec "$here/${KW_BUILD_DIR:-build}/bin/kestrelwing" "$@"
