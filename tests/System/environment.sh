# Sourced by the scripts of this folder: a temp folder, the programs under test, and a way out that leaves nothing mounted.
#   $here   this folder   $work   a fresh folder   $ctl   quillbrookctl
set -uo pipefail
here=$(dirname "$0") ctl=${QUILLBROOK_BIN:?the folder of the programs}/quillbrookctl
# A leak at the end of a process that was told to die says nothing about the test; its real errors still end it.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0}

skip() { echo "SKIPPED: $*"; exit 77; }
fail() { echo "FAILED: $*" >&2; exit 1; }
must() { "$@" || fail "$* (exit $?)"; }
need_fuse() { [[ -w /dev/fuse ]] && command -v fusermount3 >/dev/null || skip "/dev/fuse is missing or closed, or fusermount3 is not installed"; }
need_root_and_loop() { [[ $EUID -eq 0 && -e /dev/loop-control ]] || skip "needs root and loop devices"; }

work=$(mktemp -d "${TMPDIR:-/tmp}/quillbrook.$(basename "$0" .sh).XXXXXX")
export XDG_RUNTIME_DIR=$work/runtime XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data XDG_STATE_HOME=$work/state
mkdir -p -m 700 "$XDG_RUNTIME_DIR"
background=()
end_background() { local job; for job in "${background[@]}"; do kill "$job"; wait "$job"; done 2>/dev/null; background=(); }
cleanup() {
  end_background
  # Innermost first; what is stale or busy goes lazily.
  awk -v w="$work/" 'index($5, w) == 1 { print $5 }' /proc/self/mountinfo | sort -r | while read -r m; do umount -l "$m"; done
  rm -rf "$work"
}
trap cleanup EXIT

mount_volume() { must "$ctl" volume mount "$@" >/dev/null; }
unmount_volume() { must "$ctl" volume unmount "$1" >/dev/null; }
# Goes on in the background until end_engine: the engine over FOLDER, there and back, its lines in $work/engine.log.
start_engine() { while :; do "$ctl" compress --json -- "$1"; "$ctl" decompress --json -- "$1"; done >"$work/engine.log" 2>&1 & background+=($!); }
# Its last call may still be on its way out; with a signal it is told to end.
end_engine() { end_background; while pkill "${1:--0}" -f -- "$ctl .*compress .* $work/"; do sleep 0.1; done; }
# What is random follows from it; a background job needs one of its own.
use_seed() { seed=${SEED:-1}; RANDOM=$seed; echo "seed $seed"; }
# Opening for writing expands; the byte written is the one that is there.
start_rewriting() {
  local seed=$RANDOM files f
  mapfile -t files < <(find "$1/." -name '*.h' | LC_ALL=C sort)
  {
    RANDOM=$seed
    while f=${files[RANDOM % ${#files[@]}]}; do dd if="$f" bs=1 count=1 status=none | dd of="$f" conv=notrunc status=none; done
  } 2>/dev/null & background+=($!)
}
daemon_of() { "$ctl" volume list --json | python3 -c '
import json, sys
for line in sys.stdin:
    v = json.loads(line)
    if v.get("mountPoint") == sys.argv[1]: print(v["daemon"])' "$1"; }
checksums() { (cd "$1" && find . -path ./.quillbrook-volume -prune -o -type f ! -name '*.slimtmp' -print0 | LC_ALL=C sort -z | xargs -0 -r sha256sum); }
# same FILE FILE WORDS
same() { diff "$1" "$2" >"$work/difference" || { head -5 "$work/difference" | cut -c1-300 >&2; fail "$3"; }; }
same_checksums() { same <(checksums "$1") <(checksums "$2") "$3"; }
used() { du -s --block-size=1 "$1" | cut -f1; }
status_of() { "$ctl" inspect --json -- "$1" | python3 -c 'import json, sys; print(json.loads(sys.stdin.readline())["status"])'; }
# headers COUNT TO: that many of this machine's header files
headers() {
  mkdir -p "$2"
  (cd /usr/include && find . -type f -size +8k -print0 | LC_ALL=C sort -z | head -z -n "$1" | xargs -0 cp -a --parents -t "$2")
}
# image FS SIZE [MOUNT-OPTIONS]: a file system of its own at $work/disk
image() {
  truncate -s "$2" "$work/image"
  case $1 in
    ext4) mkfs.ext4 -q -F "$work/image" ;;
    xfs) mkfs.xfs -q -f "$work/image" ;;
    btrfs) mkfs.btrfs -q -f "$work/image" >/dev/null ;;
  esac || skip "cannot make a file system of type $1"
  mkdir -p "$work/disk"
  mount -o "loop${3:+,$3}" "$work/image" "$work/disk" || skip "cannot mount a loop device with $1"
}
