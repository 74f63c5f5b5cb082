#!/bin/bash
# The disk takes every write and then fails to keep it: an ext4 image whose own disk is full. What cannot be written back
# must never have replaced what was there.
. "$(dirname "$0")/environment.sh"
need_fuse
need_root_and_loop
mkdir -p "$work/below" "$work/disk" "$work/original"
must mount -t tmpfs -o size=140M none "$work/below"
# Every block is there to begin with: journal and tables keep theirs, and only data are lost.
head -c 128M /dev/zero >"$work/below/image"
must mkfs.ext4 -q -F -E nodiscard,lazy_itable_init=0 "$work/below/image"
mount -o loop "$work/below/image" "$work/disk" || skip "cannot mount a loop device with ext4"
v=$work/disk/volume
mkdir "$v"
# Neither compresses to nothing. The first is replaced in memory, the second piece by piece.
head -c 9000000 /dev/urandom | base64 | head -c 12000000 >"$work/original/whole"
head -c 14000000 /dev/urandom | base64 | head -c 18000000 >"$work/original/piecewise"
(cd "$work/original" && sha256sum ./*) >"$work/sums"
# wrong WORDS: goes on, so that one run tells all that is wrong
wrong() { echo "$where: $*" | tee -a "$work/wrong" >&2; }
contents_are_kept() { # WHEN
  echo 3 >/proc/sys/vm/drop_caches
  (cd "$v" && sha256sum --status -c "$work/sums") || wrong "a file is not what it was $*"
}
# Opening for writing expands; the byte written is the one that is there.
rewrite() {
  local name code=0
  for name in whole piecewise; do
    head -c 1 "$work/original/$name" | dd of="$v/$name" conv=notrunc status=none || code=3
  done
  return $code
}
# try_to VERB outside|in COMMAND...: a mount, while nothing but the blocks that the image has already can be written
try_to() {
  where="$1 $2 a mount"
  cp "$work/original/"* "$v"
  mount_volume "$v"
  [[ $1 == compress ]] || must "$ctl" compress -- "$v" >/dev/null
  [[ $2 == in ]] || unmount_volume "$v"
  sync -f "$work/disk"; fstrim "$work/disk" || skip "the loop device cannot give space back"
  dd if=/dev/zero of="$work/below/filler" bs=64k status=none 2>/dev/null
  "${@:3}" >"$work/out" 2>&1; local code=$? name
  [[ $code -eq 3 ]] || { cat "$work/out" >&2; wrong "ended with $code"; }
  for name in "$v"/*.slimtmp; do
    [[ ! -e $name ]] || getfattr -n user.com.studiomerlin.quillbrook.slimtmp "$name" &>/dev/null || wrong "left an unmarked work file"
  done
  [[ $2 == outside ]] || contents_are_kept "at once"
  rm "$work/below/filler"
  # A journal that could not be kept either takes a new mount.
  [[ $2 == outside ]] || unmount_volume "$v"
  must umount "$work/disk"
  must mount -o loop "$work/below/image" "$work/disk"
  mount_volume "$v"
  contents_are_kept "mounted again"
  "${@:3}" >"$work/out" 2>&1 || { cat "$work/out" >&2; wrong "the next attempt failed"; }
  contents_are_kept "after the next attempt"
  unmount_volume "$v"
  rm "$v"/*
}
try_to decompress outside "$ctl" decompress -- "$v"
try_to decompress in "$ctl" decompress -- "$v"
try_to rewrite in rewrite
try_to compress in "$ctl" compress -- "$v"
must umount "$work/disk"
must umount "$work/below"
[[ ! -s $work/wrong ]] || fail "$(wc -l <"$work/wrong") things were wrong"
echo "passed"
