#!/bin/bash
# Writers, appenders, renamers, unlinkers, linkers and mappers against compress and decompress loops.
#   CONTENTION_SECONDS=8   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
mkdir "$v"
mount_volume "$v"
(while :; do
  "$ctl" compress --json -- "$v"; "$ctl" decompress --json -- "$v"
done >"$work/engine.log" 2>&1) &
background+=($!)
must "$bin/contention" "$v" "${CONTENTION_SECONDS:-8}" "${SEED:-1}"
kill "${background[0]}"; wait "${background[0]}" 2>/dev/null; background=()
# The engine's last call may still be on its way out; nothing may be in the folder but the roles' files afterwards.
while pgrep -f "$ctl .*$v" >/dev/null; do sleep 0.1; done
done_count=$(grep -c '"outcome":"done"' "$work/engine.log")
[[ $done_count -gt 20 ]] || fail "the engine swapped only $done_count files: nothing was tested"
unknown=$(grep '"outcome":"failed"' "$work/engine.log" | grep -v -e fileNotFound -e 'errno=2 ' -e 'rename: errno=16 ' | head -3)
[[ -z $unknown ]] || fail "the engine failed in a way that contention does not explain: $unknown"
echo "$done_count swaps"
must "$bin/contention" --verify "$v" "$v.copies"
unmount_volume "$v"
must "$ctl" volume check "$v" >/dev/null
must "$ctl" volume restore "$v" >/dev/null
must "$bin/contention" --verify "$v" "$v.copies"
echo "passed"
