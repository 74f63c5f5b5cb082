#!/bin/bash
# The engine beside its parts, beside a bare rewrite, and beside cp -a, on copies of FOLDER, in one run.
#
#   benchmarks/engine.sh FOLDER
#   ROUNDS=5   WORK=build/bench.engine
set -euo pipefail
[[ $# -eq 1 && -d $1 ]] || { sed -n '2,5s/^# \{0,1\}//p' "$0" >&2; exit 2; }
folder=$(realpath "$1")
cd "$(dirname "$0")/.."
cmake --build --preset release --target EngineBenchmark quillbrookctl quillbrook-volume >/dev/null
bin=$PWD/build/release/bin
mkdir -p "${WORK:-build/bench.engine}"; work=$(realpath "${WORK:-build/bench.engine}")
finish() { mountpoint -q "$work/volume" && "$bin/quillbrookctl" volume unmount "$work/volume" >/dev/null; rm -rf "$work"; }
trap finish EXIT
start=$(date +%s.%N)
cp -a "$folder" "$work/plain"
end=$(date +%s.%N)
find "$work/plain" -type f -printf '%s\n' | awk -v t="$(awk "BEGIN { print $end - $start }")" \
  '{ n++; s += $1 } END { printf "cp -a: %d files, %.0f MB in %.1f s: %.0f files/s, %.1f MB/s (not synced)\n", n, s / 1e6, t, n / t, s / 1e6 / t }'
cp -a "$folder" "$work/volume"
sync
"$bin/quillbrookctl" volume mount "$work/volume" >/dev/null
"$bin/EngineBenchmark" "$work/volume" "$work/plain" "${ROUNDS:-5}"
