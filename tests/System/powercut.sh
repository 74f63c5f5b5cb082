#!/bin/bash
# Cuts the power (the file system is shut down without flushing its log) while the engine works in a volume and while
# programs write there, and looks at every file afterwards.
#   FILESYSTEMS="ext4 ext4:noauto_da_alloc,commit=1 xfs"   CUTS=3 (each)   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
need_root_and_loop
command -v xfs_io >/dev/null || skip "xfs_io (xfsprogs) is not installed"
RANDOM=${SEED:-1}
headers 80 "$work/original"
v=$work/disk/volume attempts=0
for kind in ${FILESYSTEMS:-ext4 ext4:noauto_da_alloc,commit=1 xfs}; do
  fs=${kind%%:*} options=${kind#"$fs"}; options=${options#:}
  image "$fs" 400M "$options"
  cp -a "$work/original" "$v"; sync -f "$v"
  for ((round = 1; round <= ${CUTS:-3}; round++)); do
    mount_volume "$v"
    start_engine "$v"; start_rewriting "$v"
    sleep "$((RANDOM % 2)).$((RANDOM % 9 + 1))"
    pid=$(daemon_of "$v")
    must xfs_io -x -c shutdown "$work/disk"
    kill -9 "$pid"; end_engine -KILL
    umount -l "$v" 2>/dev/null
    while ! umount "$work/disk" 2>/dev/null; do sleep 0.1; ((++attempts % 200)) || fail "the file system stays busy"; done
    must mount -o "loop${options:+,$options}" "$work/image" "$work/disk"
    mount_volume "$v"
    same_checksums "$work/original" "$v" "$kind, cut $round: contents after the power came back"
    unmount_volume "$v"
    must "$ctl" volume check "$v" >"$work/check" || { cat "$work/check"; fail "$kind, cut $round: check"; }
    echo "$kind: cut $round survived"
  done
  must "$ctl" volume restore "$v" >/dev/null
  same_checksums "$work/original" "$v" "$kind: contents after restore"
  must umount "$work/disk"
done
echo "passed"
