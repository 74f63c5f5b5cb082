#!/bin/bash
# Writers, appenders, renamers, unlinkers, linkers and mappers against compress and decompress loops.
#   CONTENTION_SECONDS=8   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
mkdir "$v"
mount_volume "$v"
start_engine "$v"
# On a slow machine the engine comes late into its stride: goes on until enough files were swapped under the programs.
for _ in 1 2 3 4 5; do
  must "$here/workload.py" contend "$v" "${CONTENTION_SECONDS:-8}" "${SEED:-1}"
  done_count=$(grep -c '"outcome":"done"' "$work/engine.log")
  [[ $done_count -le 20 ]] || break
done
end_engine
[[ $done_count -gt 20 ]] || fail "the engine swapped only $done_count files: nothing was tested"
unknown=$(grep '"outcome":"failed"' "$work/engine.log" | grep -v -e fileNotFound -e 'No such file' -e 'rename: .*busy' | head -3)
[[ -z $unknown ]] || fail "the engine failed in a way that contention does not explain: $unknown"
echo "$done_count swaps"
must "$here/workload.py" compare "$v"
unmount_volume "$v"
must "$ctl" volume check "$v" >/dev/null
must "$ctl" volume restore "$v" >/dev/null
must "$here/workload.py" compare "$v"
echo "passed"
