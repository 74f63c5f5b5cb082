#!/bin/bash
# kill -9 of the daemon during writes, expansions and a compress loop: nothing that a write() had returned for is lost.
#   ROUNDS=6   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
use_seed
headers 60 "$v"
cp -a "$v" "$work/original"
nothing_is_lost() { # WHEN
  must "$here/workload.py" verify "$v" "$work/journal"
  same <(checksums "$work/original") <(checksums "$v" | grep -v ' \./record\.') "$1: headers differ"
}
for ((round = 1; round <= ${ROUNDS:-6}; round++)); do
  mount_volume "$v"
  pid=$(daemon_of "$v"); [[ -n $pid ]] || fail "the daemon does not say who it is"
  start_engine "$v"; start_rewriting "$v"
  "$here/workload.py" record "$v" "$work/journal" "$RANDOM" & writer=$!
  until [[ -s $work/journal ]]; do kill -0 "$writer" || fail "nothing is written"; sleep 0.05; done
  sleep "0.$((RANDOM % 8 + 1))"
  kill -9 "$pid"
  wait "$writer" || fail "the writer could not keep its journal"
  end_engine
  mount_volume "$v"
  nothing_is_lost "round $round"
  must "$ctl" volume check "$v" >/dev/null
  unmount_volume "$v"
done
# The last crash is left as it is: without any mount everything comes back.
mount_volume "$v"; must "$ctl" compress -- "$v" >/dev/null
pid=$(daemon_of "$v")
start_rewriting "$v"; sleep 0.2
kill -9 "$pid"; end_background
umount -l "$v" 2>/dev/null || fusermount3 -uz "$v"
must "$ctl" volume restore "$v" >/dev/null
nothing_is_lost "restored without a mount"
echo "passed"
