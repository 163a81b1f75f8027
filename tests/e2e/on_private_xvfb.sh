#!/bin/sh
# Runs a command on a private Xvfb server. The server picks a free display
# number itself (-displayfd) and tells it through a pipe, so several of these
# can start at the same moment without racing for one number.
set -eu
dir=$(mktemp -d "${TMPDIR:-/tmp}/kw_xvfb_XXXXXX")
mkfifo "$dir/number"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$dir/number" 2>"$dir/server.log" &
server=$!
cleanup() {
    kill "$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
    rm -rf "$dir"
}
trap cleanup EXIT INT TERM
number=""
read -r number <"$dir/number" || true
if [ -z "$number" ]; then
    echo "on_private_xvfb: Xvfb did not start:" >&2
    cat "$dir/server.log" >&2
    exit 1
fi
status=0
DISPLAY=":$number" "$@" || status=$?
exit "$status"
