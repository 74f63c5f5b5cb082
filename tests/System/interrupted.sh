#!/bin/bash
# The real program killed at its system calls, and given errors by them: the user's file is whole every time.
#   CALLS=2 (of each kind; 0: all of them, for an hour)   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
command -v strace >/dev/null || skip "strace is not installed"
strace -o /dev/null true 2>/dev/null || skip "strace may not trace here"
v=$work/volume
mkdir "$v"
mount_volume "$v"
use_seed
# One whose payload stands in the value, one with a fork, one that is replaced piece by piece.
for size in 9000 200000 16777216; do
  yes "$(head -c 60000 /usr/include/stdlib.h)" | head -c "$size" >"$work/$size"
  for verb in compress decompress; do
    must "$here/interrupted.py" "$ctl" "$verb" "$v" "$work/$size" "${CALLS:-2}" "$seed"
  done
  rm -f "$v/file"
  cp --preserve=all "$work/$size" "$v/file.$size"
  chmod 640 "$v/file.$size"
  must "$ctl" compress -- "$v/file.$size" >/dev/null
done
unmount_volume "$v"
must "$ctl" volume check "$v" >/dev/null
mkdir "$work/bare"
for size in 9000 200000 16777216; do
  must "$here/interrupted.py" "$ctl" decompress "$work/bare" "$work/$size" "${CALLS:-2}" "$seed" "$v/file.$size"
done
echo "passed"
