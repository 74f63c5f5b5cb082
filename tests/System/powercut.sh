#!/bin/bash
# Cuts the power (the file system is shut down without flushing its log) while the engine works in a volume and on
# compressed files outside a mount, and while programs write, and looks at every file afterwards.
#   FILESYSTEMS="ext4 ext4:noauto_da_alloc,commit=1 xfs"   CUTS=3 (each)   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
need_root_and_loop
command -v xfs_io >/dev/null || skip "xfs_io (xfsprogs) is not installed"
use_seed
headers 80 "$work/original"
headers 25 "$work/few"
v=$work/disk/volume attempts=0
# start_on_copies COMMAND...: copies of the compressed files, each on the disk before the command turns it back where it
# lies, outside any mount, until the power goes; the last one is $work/last.COMMAND.
start_on_copies() {
  local n copy last=$work/last.${*: -1} seed=$RANDOM
  rm -f "$last"
  for ((RANDOM = seed, n = 1; ; n++)); do
    copy=$work/disk/copy.${*: -1}.$n
    cp -a "$work/disk/containers" "$copy" && sync -f "$work/disk" && echo "$copy" >"$last" && "$@" "$copy" || break
    sleep "0.$((RANDOM % 5))"  # in which others' fsync sends the log out, but not what was never waited for
    rm -rf "${copy%.*}.$((n - 1))"
  done &>/dev/null & background+=($!)
}
copies_are_whole() {
  local copy
  for copy in $(cat "$work"/last.*); do
    must "$ctl" volume check "$copy" >/dev/null
    must "$ctl" volume restore "$copy" >/dev/null
    same_checksums "$work/few" "$copy" "$kind, cut $round: a copy outside the mount"
  done
  rm -rf "$work/disk/copy."*
}
same_as_original() { same <(checksums "$work/original") <(checksums "$v" | grep -v ' \./record\.') "$kind, cut $round: $1"; }
for kind in ${FILESYSTEMS:-ext4 ext4:noauto_da_alloc,commit=1 xfs}; do
  fs=${kind%%:*} options=${kind#"$fs"}; options=${options#:}
  image "$fs" 400M "$options"
  cp -a "$work/original" "$v"
  cp -a "$work/few" "$work/disk/containers"
  mount_volume "$work/disk/containers"; must "$ctl" compress -- "$work/disk/containers" >/dev/null; unmount_volume "$work/disk/containers"
  sync -f "$v"
  rm -f "$work/journal"
  for ((round = 1; round <= ${CUTS:-3}; round++)); do
    mount_volume "$v"
    start_engine "$v"; start_rewriting "$v"; start_on_copies "$ctl" decompress; start_on_copies "$ctl" volume restore
    "$here/workload.py" record "$v" "$work/journal" "$RANDOM" synced & writer=$!
    until [[ -s $work/journal && -s $work/last.decompress && -s $work/last.restore ]]; do kill -0 "$writer" || fail "nothing is written"; sleep 0.05; done
    sleep "$((RANDOM % 2)).$((RANDOM % 9 + 1))"
    pid=$(daemon_of "$v")
    # An fsync that returns in the very moment of the cut may tell what is not so, on a bare ext4 too.
    cp "$work/journal" "$work/journal.before"
    must xfs_io -x -c shutdown "$work/disk"
    kill -9 "$pid"; end_engine -KILL
    wait "$writer" || fail "the writer could not keep its journal"
    mv "$work/journal.before" "$work/journal"
    umount -l "$v" 2>/dev/null
    while ! umount "$work/disk" 2>/dev/null; do sleep 0.1; ((++attempts % 200)) || fail "the file system stays busy"; done
    must mount -o "loop${options:+,$options}" "$work/image" "$work/disk"
    mount_volume "$v"
    same_as_original "contents after the power came back"
    must "$here/workload.py" verify "$v" "$work/journal" synced
    unmount_volume "$v"
    must "$ctl" volume check "$v" >"$work/check" || { cat "$work/check"; fail "$kind, cut $round: check"; }
    copies_are_whole
    echo "$kind: cut $round survived"
  done
  must "$ctl" volume restore "$v" >/dev/null
  same_as_original "contents after restore"
  must "$here/workload.py" verify "$v" "$work/journal" synced
  must umount "$work/disk"
done
echo "passed"
