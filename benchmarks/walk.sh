#!/bin/bash
# The walk with inspection beside find(1), which looks at as much of each file: the median of five, warm, output to
# nothing. On the host file system, through a mounted volume, and there once more when every file is compressed.
#
#   benchmarks/walk.sh FOLDER      FOLDER is made, used and removed again
#   FOLDERS=5000   FILES=20 (in each)   ROUNDS=5
set -euo pipefail
[[ $# -eq 1 ]] || { sed -n '2,6s/^# \{0,1\}//p' "$0" >&2; exit 2; }
cd "$(dirname "$0")/.."
cmake --build --preset release --target quillbrookctl quillbrook-volume >/dev/null
ctl=$PWD/build/release/bin/quillbrookctl
mkdir -p "$1"; tree=$(realpath "$1")/walk
finish() {
  mountpoint -q "$tree" && "$ctl" volume unmount "$tree" >/dev/null 2>&1
  rm -rf "$tree"
}
trap finish EXIT
printf -v text 'the quick brown fox jumps over the lazy dog %.0s' {1..140}
for ((i = 0; i < ${FOLDERS:-5000}; ++i)); do
  folder=$tree/$((i / 100))/$i
  mkdir -p "$folder"
  for ((j = 0; j < ${FILES:-20}; ++j)); do printf '%s %s\n' "$text" "$i $j" >"$folder/file$j.txt"; done
done
# seconds COMMAND...: the median of its rounds, the first of which is not counted
seconds() {
  local round start
  for ((round = 0; round <= ${ROUNDS:-5}; ++round)); do
    start=$EPOCHREALTIME
    "$@" >/dev/null 2>&1
    [[ $round -eq 0 ]] || echo "$EPOCHREALTIME $start" | awk '{ print $1 - $2 }'
  done | sort -g | awk '{ all[NR] = $1 } END { print all[int((NR + 1) / 2)] }'
}
# No file is so large: every one is looked at, none is printed.
row() {
  local peer ours
  peer=$(seconds find "$tree" -printf '%s %b %T@ %p\n')
  ours=$(seconds "$ctl" search "$tree" --min-size 1e9)
  printf '%-24s %8.3f %8.3f %8.2f\n' "$1" "$peer" "$ours" "$(awk -v a="$ours" -v b="$peer" 'BEGIN { print a / b }')"
}
printf '%-24s %8s %8s %8s\n' "seconds" find walk ratio
row "host"
"$ctl" volume mount "$tree" >/dev/null
row "volume"
"$ctl" compress -- "$tree" >/dev/null
row "volume, all compressed"
