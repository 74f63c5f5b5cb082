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
# timed WHAT COMMAND...: how long it takes over the whole folder, and its speed beside that of cp -a
copying=
timed() {
  local what=$1 start end; shift
  start=$(date +%s.%N)
  "$@" >/dev/null
  end=$(date +%s.%N)
  : "${copying:=$(awk "BEGIN { print $end - $start }")}"
  find "$work/plain" -type f -printf '%s\n' | awk -v t="$(awk "BEGIN { print $end - $start }")" -v copying="$copying" -v what="$what" \
    '{ n++; s += $1 } END { printf "%s: %d files, %.0f MB in %.1f s: %.0f files/s, %.1f MB/s, %.2f of cp -a\n", what, n, s / 1e6, t, n / t, s / 1e6 / t, copying / t }'
}
timed "cp -a (not synced)" cp -a "$folder" "$work/plain"
cp -a "$folder" "$work/volume"
sync
"$bin/quillbrookctl" volume mount "$work/volume" >/dev/null
timed "compress" "$bin/quillbrookctl" compress -- "$work/volume"
timed "decompress" "$bin/quillbrookctl" decompress -- "$work/volume"
"$bin/EngineBenchmark" "$work/volume" "$work/plain" "${ROUNDS:-5}"
