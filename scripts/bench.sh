#!/usr/bin/env bash
# Installs what is missing, builds, runs kestrelwing-bench and writes the
# figures with a description of the machine to bench/RESULTS.md.
# scripts/bench.sh --quick runs small sizes only and writes nothing.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/deps.sh"
"$here/scripts/build.sh"
bin="$here/${KW_BUILD_DIR:-build}/bin/kestrelwing-bench"
if [ "${1:-}" = "--quick" ]; then
  exec "$bin" --quick
fi
out="$(mktemp)"
start=$(date +%s)
"$bin" | grep -v -E '^(Framebuffer complete|Video card)' | tee "$out"
seconds=$(( $(date +%s) - start ))
{
  echo "# Benchmark results"
  echo
  echo "Produced by \`scripts/bench.sh\` on $(date -u +%Y-%m-%d), in ${seconds} s."
  echo
  echo "## Machine"
  echo
  echo "- CPU: $(lscpu | sed -n 's/^Model name: *//p' | head -1), $(nproc) cores"
  echo "- Memory: $(free -g | awk '/^Mem:/ {print $2}') GiB"
  echo "- OS: $(. /etc/os-release; echo "$PRETTY_NAME")"
  echo "- OpenGL: Mesa software rendering (llvmpipe) on a headless EGL context; no GPU"
  echo
  echo "## Figures"
  echo
  echo "One line per figure: name, value, unit. \`.ratio\` lines are ours divided by the peer"
  echo "measured in the same run (above 1 means faster than the peer)."
  echo
  echo '```'
  cat "$out"
  echo '```'
} > "$here/bench/RESULTS.md"
rm -f "$out"
echo "wrote bench/RESULTS.md"
