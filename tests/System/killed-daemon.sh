#!/bin/bash
# kill -9 of the daemon during writes, expansions and a compress loop: nothing that a write() had returned for is lost.
#   ROUNDS=6   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
headers 60 "$v"
cp -a "$v" "$work/original"
for ((round = 1; round <= ${ROUNDS:-6}; round++)); do
  mount_volume "$v"
  pid=$(daemon_of "$v"); [[ -n $pid ]] || fail "the daemon does not say who it is"
  (while "$ctl" compress -- "$v"; do :; done >/dev/null 2>&1) & background+=($!)
  "$bin/acknowledged" write "$v" "$work/journal" "$((${SEED:-1} * 100 + round))" & writer=$!
  # Opening for writing expands; the byte written is the one that is there.
  (while :; do for f in $(find "$v/." -name '*.h' | shuf -n 5); do dd if="$f" bs=1 count=1 status=none | dd of="$f" conv=notrunc status=none; done; done >/dev/null 2>&1) &
  background+=($!)
  sleep "0.$((RANDOM % 8 + 1))"
  kill -9 "$pid"
  wait "$writer" || fail "the writer could not keep its journal"
  for job in "${background[@]}"; do kill "$job" 2>/dev/null; wait "$job" 2>/dev/null; done; background=()
  while pgrep -f "$ctl compress -- $v" >/dev/null; do sleep 0.1; done
  mount_volume "$v"
  must "$bin/acknowledged" verify "$v" "$work/journal"
  (cd "$v" && checksums . | grep -v record >"$work/now"); (cd "$work/original" && checksums . >"$work/then")
  diff "$work/then" "$work/now" >"$work/difference" || { head -5 "$work/difference" >&2; fail "round $round: headers differ"; }
  must "$ctl" volume check "$v" >/dev/null
  unmount_volume "$v"
done
# The last crash is left as it is: without any mount everything comes back.
mount_volume "$v"; must "$ctl" compress -- "$v" >/dev/null
pid=$(daemon_of "$v")
(for f in $(find "$v/." -name '*.h'); do dd if="$f" bs=1 count=1 status=none | dd of="$f" conv=notrunc status=none; done >/dev/null 2>&1) & background+=($!)
sleep 0.2; kill -9 "$pid"; wait "${background[0]}" 2>/dev/null; background=()
umount -l "$v" 2>/dev/null || fusermount3 -uz "$v"
must "$ctl" volume restore "$v" >/dev/null
must "$bin/acknowledged" verify "$v" "$work/journal"
(cd "$v" && checksums . | grep -v record >"$work/now")
diff "$work/then" "$work/now" >/dev/null || fail "headers differ after restore without a mount"
echo "passed"
