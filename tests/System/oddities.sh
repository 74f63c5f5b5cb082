#!/bin/bash
# Names, sizes, kinds and attributes of every sort come through compress and decompress as they were.
#   LARGE=1   with a file of 2,147,483,647 bytes, and its memory
. "$(dirname "$0")/environment.sh"
need_fuse
one_tree() { # FOLDER
  local v=$1 before code name
  must "$here/tree.py" make "$v" ${LARGE:+large}
  must "$here/tree.py" manifest "$v" >"$work/then"
  unchanged_by() { must "$here/tree.py" manifest "$v" >"$work/now"; same "$work/then" "$work/now" "$v: something changed by $1"; }
  before=$(used "$v")
  mount_volume "$v"
  # The file without room for a work file's name, and the one without room for attributes, fail in words; the rest goes well.
  "$ctl" compress --json -- "$v" >"$work/log"; code=$?
  [[ $code -eq 3 ]] || fail "compress ended with $code"
  python3 - "$work/log" <<'PY' || fail "other files failed than those without room"
import json, os, sys
results = [json.loads(line) for line in open(sys.argv[1])]
failed = {os.path.basename(r['path']): r['detail'] for r in results if r.get('outcome') == 'failed'}
print(failed)
assert 'create slimtmp' in failed.pop('n' * 255)
assert set(failed) <= {'attributes full'}
PY
  unchanged_by compress
  [[ $(used "$v") -lt $((before / 2)) ]] || fail "$v: $before bytes before, $(used "$v") after"
  for name in size.65537 $'line\nfeed' capable foreign "$(printf 'n%.0s' {1..247})" attributes; do
    [[ ! -e $v/$name || $(status_of "$v/$name") == compressed ]] || fail "$name is not compressed"
  done
  must "$ctl" decompress --json -- "$v" >"$work/log"
  unchanged_by decompress
  "$ctl" compress --json -- "$v" >"$work/log"
  unmount_volume "$v"
  must "$ctl" volume check "$v" >/dev/null
  must "$ctl" volume restore "$v" >/dev/null
  unchanged_by restore
  echo "$v: passed"
}
one_tree "$work/volume"
if [[ $EUID -eq 0 && -e /dev/loop-control && -z ${LARGE:-} ]]; then
  for fs in xfs btrfs; do
    command -v "mkfs.$fs" >/dev/null || continue
    rm -f "$work/image"
    image "$fs" 600M
    ATTRIBUTES=200 one_tree "$work/disk/volume"
    must umount "$work/disk"
  done
fi
if [[ -n ${LARGE:-} ]]; then
  mount_volume "$work/volume"
  python3 - "$ctl" "$work/volume/size.2147483647" <<'PY' || fail "memory grows with the file"
import os, subprocess, sys
def peak(*command):
    child = subprocess.Popen([sys.argv[1], *command], stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    assert status == 0, (command, status)
    return usage.ru_maxrss / 1024
idle = peak('--version')
for verb in 'compress', 'decompress':
    used = peak(verb, '--jobs', '1', '--', sys.argv[2])
    print('%s of 2,147,483,647 bytes: %.1f MiB, idle %.1f MiB' % (verb, used, idle))
    assert used - idle <= 24, (verb, used, idle)
PY
  unmount_volume "$work/volume"
fi
echo "passed"
