#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test (unit, GL and end-to-end).
# Needs no display and no GPU: GL tests use a headless Mesa context and the
# end-to-end tests start their own Xvfb server.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/deps.sh"
"$here/scripts/build.sh"
cd "$here/${KW_BUILD_DIR:-build}"
# Unit tests and the halves of the end-to-end suite run side by side.
ctest --output-on-failure --timeout 600 -j "${KW_TEST_JOBS:-3}" "$@"
