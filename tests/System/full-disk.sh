#!/bin/bash
# A full disk in the middle of anything loses nothing.
. "$(dirname "$0")/environment.sh"
need_fuse
need_root_and_loop
image ext4 48M
v=$work/disk/volume
mkdir "$v"
headers 200 "$work/original"
# A file whose expansion will not fit once the disk is full.
head -c 12000000 < <(yes 'the quick brown fox jumps over the lazy dog') >"$work/original/large.txt"
cp -a "$work/original/." "$v"
mount_volume "$v"
must "$ctl" compress -- "$v" >/dev/null
fill_disk() { dd if=/dev/zero of="$work/disk/filler" bs=64k status=none 2>/dev/null; }
fill_disk
echo more 2>/dev/null >>"$v/large.txt" && fail "a file was opened for writing that cannot be expanded on a full disk"
[[ $(status_of "$v/large.txt") == compressed ]] || fail "the large file changed its state"
same_checksums "$work/original" "$v" "contents after a failed expansion"
"$ctl" decompress -- "$v" >/dev/null 2>&1; code=$?
[[ $code -eq 3 ]] || fail "decompress on a full disk ended with $code"
same_checksums "$work/original" "$v" "contents after a decompress on a full disk"
[[ -z $(find "$v" -name '*.slimtmp') ]] || fail "work files were left"
rm "$work/disk/filler"
must "$ctl" decompress -- "$v" >/dev/null
fill_disk
"$ctl" compress -- "$v" >/dev/null 2>&1; code=$?
[[ $code -eq 0 || $code -eq 3 ]] || fail "compress on a full disk ended with $code"
same_checksums "$work/original" "$v" "contents after a compress on a full disk"
rm "$work/disk/filler"
# The unattended run, and a store for which there is no room.
must "$ctl" decompress -- "$v" >/dev/null
find "$v" -type f -exec touch -d '1 hour ago' {} +
must "$ctl" add "$v" >/dev/null
fill_disk
"$QUILLBROOK_BIN/quillbrook" --auto-recompress >/dev/null; code=$?
[[ $code -le 1 ]] || fail "the unattended run on a full disk ended with $code"
same_checksums "$work/original" "$v" "contents after an unattended run on a full disk"
[[ -z $(find "$v" -name '*.slimtmp') ]] || fail "the unattended run left work files"
XDG_DATA_HOME=$work/disk/there must "$ctl" add "$v" >/dev/null
fill_disk
XDG_DATA_HOME=$work/disk/there "$QUILLBROOK_BIN/quillbrook" --auto-recompress >"$work/out"; code=$?
[[ $code -le 1 ]] && grep -qF '登録項目 1 件' "$work/out" || fail "the store on a full disk is not read: $code $(cat "$work/out")"
fill_disk
XDG_DATA_HOME=$work/disk/data "$QUILLBROOK_BIN/quillbrook" --auto-recompress >/dev/null 2>"$work/errors"; code=$?
[[ $code -eq 1 && $(cat "$work/errors") == "Failed to create ModelContainer: "* ]] || fail "a store on a full disk: $code $(cat "$work/errors")"
rm "$work/disk/filler"
must "$QUILLBROOK_BIN/quillbrook" --auto-recompress >/dev/null
same_checksums "$work/original" "$v" "contents after the unattended run that followed"
truncate -s 0 "$v/large.txt" || fail "emptying needs no space"
unmount_volume "$v"
must "$ctl" volume check "$v" >/dev/null
must umount "$work/disk"
echo "passed"
