#!/bin/bash
# --read-only stops the engine too, and --allow-other lets another user read.
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
headers 40 "$work/original"
cp -a "$work/original" "$v"
mount_volume "$v"
must "$ctl" compress -- "$v" >/dev/null
echo 'an ordinary file, and a line that another repeats: an ordinary file, and a line that another repeats' | tee "$work/original/ordinary" >"$v/ordinary"
yes "$(cat "$v/ordinary")" | head -c 50000 | tee "$work/original/worthwhile" >"$v/worthwhile"
unmount_volume "$v"
what_lies_there() { (cd "$v" && find . -type f -printf '%p %i %s %m %T@ %C@\n' && getfattr -R -d -m '^user' -e hex .) | LC_ALL=C sort; }
what_lies_there >"$work/before"
mount_volume --read-only "$v"
for verb in compress decompress; do
  "$ctl" "$verb" --json -- "$v" >"$work/log"; code=$?
  [[ $code -eq 3 ]] || fail "$verb in a read-only mount ended with $code"
  grep -q '"detail":".*Read-only file system' "$work/log" || fail "$verb does not say why: $(head -n 1 "$work/log")"
  ! grep -q '"outcome":"done"' "$work/log" || fail "$verb changed a file in a read-only mount"
done
rm -f "$v/ordinary" 2>/dev/null && fail "a file was removed through a read-only mount"
same_checksums "$work/original" "$v" "contents through a read-only mount"
unmount_volume "$v"
same "$work/before" <(what_lies_there) "a read-only mount changed something"

[[ $EUID -eq 0 ]] || { echo "another user: SKIPPED, needs root"; echo "passed"; exit; }
chmod 711 "$work"
chmod -R a+rX "$v"
chmod 600 "$v/worthwhile"
as_another() { setpriv --reuid 65534 --regid 65534 --clear-groups "$@"; }
mount_volume "$v"
as_another ls "$v" &>/dev/null && fail "another user reaches into a mount without --allow-other"
unmount_volume "$v"
mount_volume --allow-other "$v"
same <(checksums "$v" | grep -v ' \./worthwhile$') <(export -f checksums; as_another bash -c "checksums '$v'" 2>/dev/null) "what another user reads"
as_another cat "$v/worthwhile" &>/dev/null && fail "another user reads what is not theirs to read"
as_another touch "$v/new" 2>/dev/null && fail "another user writes into the folder"
unmount_volume "$v"
echo "passed"
