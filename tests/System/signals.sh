#!/bin/bash
# Stopped by a signal, or with nobody left to read its results: the program says so, and everything is whole.
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
headers 500 "$work/original"
cp -a "$work/original" "$v"
all_is_whole() { # WHEN
  local inside=$v
  ! pgrep -f -- "$ctl .*compress .* $work/" >/dev/null || fail "$1: the program is still there"
  [[ -z $(find "$v" -name '*.slimtmp') ]] || fail "$1: work files were left"
  mountpoint -q "$v" || { inside=$work/expanded; rm -rf "$inside"; cp -a "$v" "$inside"; must "$ctl" decompress -- "$inside" >/dev/null; }
  same_checksums "$work/original" "$inside" "contents after $1"
}
# stopped_by SIGNAL CODE VERB: once it has begun
stopped_by() {
  rm -f "$work/log"
  # What a script starts in the background ignores SIGINT otherwise.
  env --default-signal=INT "$ctl" "$3" --jobs 1 --json -- "$v" >"$work/log" 2>"$work/errors" & local pid=$! code
  until [[ -s $work/log ]]; do kill -0 "$pid" || fail "$3 told nothing"; sleep 0.01; done
  kill "-$1" "$pid"
  wait "$pid"; code=$?
  [[ $code -eq $2 ]] || fail "$3 stopped by $1 ended with $code: $(cat "$work/errors")"
  local done_count; done_count=$(grep -c '"outcome":"done"' "$work/log")
  [[ $done_count -lt 500 ]] || fail "$3 was through already"
  all_is_whole "$3 and $1"
  echo "$3 stopped by $1 after $done_count files"
}
without_reader() { # VERB
  "$ctl" "$1" --json -- "$v" 2>/dev/null | head -n 1 >/dev/null
  local code=${PIPESTATUS[0]}
  [[ $code -eq 141 ]] || fail "$1 into a closed pipe ended with $code"
  all_is_whole "$1 into a closed pipe"
}
mount_volume "$v"
stopped_by INT 130 compress
stopped_by TERM 143 compress
without_reader compress
must "$ctl" compress -- "$v" >/dev/null
stopped_by INT 130 decompress
unmount_volume "$v"
stopped_by TERM 143 decompress
without_reader decompress
must "$ctl" volume check "$v" >/dev/null
echo "passed"
