#!/usr/bin/env bash
# Measures the stripped library and a clean build of everything but the tests, without a compiler cache, on two cores.
# Writes both into README.md. The tree is built in a folder of its own, which is removed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly SIZE_LIMIT=$((2 * 1024 * 1024))
readonly SECONDS_LIMIT=180
readonly CORES=2

build=$(mktemp -d)
trap 'rm -rf "$build"' EXIT
cmake --preset release -B "$build" -DPTP_CFG_TESTS=OFF -DPTP_CFG_BENCH=OFF >/dev/null

started=$(date +%s.%N)
CCACHE_DISABLE=1 taskset --cpu-list 0-$((CORES - 1)) cmake --build "$build" -j "$CORES" >/dev/null
seconds=$(awk -v from="$started" -v to="$(date +%s.%N)" 'BEGIN { printf "%.0f", to - from }')

library="$build/lib/libptp_cfg.so"
strip -o "$build/stripped" "$library"
bytes=$(stat -c %s "$build/stripped")

verdict() { (($1 <= $2)) && echo holds || echo "**missed**"; }
{
    echo "Taken on $(date -u +%Y-%m-%d), load average at the end $(cut -d ' ' -f 1 /proc/loadavg)."
    echo
    echo "| | measured | limit | |"
    echo "|---|---:|---:|---|"
    echo "| libptp_cfg.so, stripped | $bytes bytes | $SIZE_LIMIT bytes | $(verdict "$bytes" "$SIZE_LIMIT") |"
    echo "| clean build on $CORES cores | $seconds s | $SECONDS_LIMIT s | $(verdict "$seconds" "$SECONDS_LIMIT") |"
} | bench/replace_section size
sed -n '/^<!-- size -->$/,/^<!-- end of size -->$/p' bench/README.md
