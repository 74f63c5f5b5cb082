#!/bin/bash
# The unattended run: what it says, what it leaves alone, and that nothing is lost whatever happens to it.
. "$(dirname "$0")/environment.sh"
need_fuse
app=$QUILLBROOK_BIN/quillbrook
v=$work/volume store=$XDG_DATA_HOME/Quillbrook/store.sqlite
# run CODE [FIGURES]: the run ends so; its figures are files tried, succeeded, failed, harmless, without gain
run() {
  "$app" --auto-recompress >"$work/out" 2>"$work/errors"; local code=$?
  [[ $code -eq $1 ]] || fail "the run ended with $code instead of $1: $(cat "$work/out" "$work/errors")"
  [[ $# -lt 2 ]] || [[ $(figures) == "$2" ]] || fail "the run counted $(figures) instead of $2"
}
figures() { sed -nE 's/.*走査 ([0-9]+) 件 \/ 成功 ([0-9]+) \/ 失敗 ([0-9]+) \/ 既圧縮スキップ ([0-9]+) \/ 縮まずスキップ ([0-9]+) .*/\1 \2 \3 \4 \5/p' "$work/out"; }
compressed_count() { "$ctl" inspect --json -- "$v" | grep -cF '"status":"compressed"'; }

# --- what needs nothing, and an empty registry ---
(cd / && env -i "$app" --help >"$work/help" && env -i "$app" -V >"$work/version") || fail "help or version without any environment"
[[ $(head -1 "$work/help") == "Quillbrook — macOS の透過圧縮 (decmpfs) を扱う GUI アプリ" ]] || fail "help: $(head -1 "$work/help")"
grep -qxE 'Quillbrook [0-9.]+ \(build [0-9]+\)' "$work/version" || fail "version: $(cat "$work/version")"
[[ ! -e $XDG_DATA_HOME && ! -e $XDG_CONFIG_HOME ]] || fail "help or version made something"
run 0 "0 0 0 0 0"
sed 's/所要 [0-9.]* 秒/所要 T 秒/' "$work/out" >"$work/told"
same "$work/told" - "the lines of an empty registry" <<'LINES'
[Quillbrook] --auto-recompress: 登録項目 0 件を走査します
[Quillbrook] --auto-recompress 完了: 走査 0 件 / 成功 0 / 失敗 0 / 既圧縮スキップ 0 / 縮まずスキップ 0 / 削減 0 B / 所要 T 秒
LINES
[[ ! -s $work/errors && ! -e $XDG_CONFIG_HOME ]] || fail "an unattended run is no launch"
"$app" 2>"$work/errors"; [[ $? -eq 1 && -s $work/errors ]] || fail "without a window it has to say so"
[[ $("$ctl" defaults get launchCount) == 1 ]] || fail "that was a launch"

# --- a real tree, before and after it is mounted ---
headers 400 "$work/original"
find "$work/original" -type f -exec touch -d '2 hours ago' {} +
mapfile -t all < <(cd "$work/original" && find . -type f | LC_ALL=C sort)
touch -d '29 minutes ago' "$work/original/${all[0]}"
touch -d '31 minutes ago' "$work/original/${all[1]}"
(cd "$work/original" && mv "${all[2]}" "$(dirname "${all[2]}")/.hidden")
cp -a "$work/original" "$v"
must "$ctl" add "$v" >/dev/null
run 1 "398 0 398 0 0"
same_checksums "$work/original" "$v" "contents after a run outside a volume"
[[ -z $(find "$v" -name '*.slimtmp') ]] || fail "a run outside a volume left work files"
mount_volume "$v"
run 0 "398 398 0 0 0"
[[ $(compressed_count) -eq 398 && $(status_of "$v/${all[0]}") == uncompressed && $(status_of "$v/${all[1]}") == compressed ]] \
  || fail "other files were compressed than those left alone for half an hour"
same_checksums "$work/original" "$v" "contents after a run"
run 0 "0 0 0 0 0"
echo "one line" | tee -a "$work/original/${all[5]}" >>"$v/${all[5]}"
run 0 "0 0 0 0 0"
touch -d '1 hour ago' "$v/${all[5]}"
"$ctl" recompress >"$work/out" || fail "recompress ended with $?"
[[ $(figures) == "1 1 0 0 0" ]] || fail "a file that was written to is not compressed again: $(cat "$work/out")"
same_checksums "$work/original" "$v" "contents after an append and a run"

# --- places that are gone, streams that take nothing ---
mkdir "$work/gone" && echo text >"$work/gone.txt"
must "$ctl" add "$work/gone" "$work/gone.txt" >/dev/null
rm -r "$work/gone" "$work/gone.txt"
run 0 "0 0 0 0 0"
grep -qF '登録項目 3 件' "$work/out" || fail "items that are gone are items still"
must "$ctl" remove /__unresolved__/gone /__unresolved__/gone.txt >/dev/null
must "$ctl" decompress -- "$v" >/dev/null
"$app" --auto-recompress > >(exec true); code=$?
[[ $code -eq 0 && $(compressed_count) -eq 398 ]] || fail "a run whose lines nobody reads ended with $code"
"$app" --auto-recompress >/dev/full 2>"$work/errors"; code=$?
[[ $code -eq 1 && -s $work/errors ]] || fail "a run whose lines cannot be written ended with $code"

# --- stopped and killed ---
must "$ctl" decompress -- "$v" >/dev/null
use_seed
"$app" --auto-recompress >"$work/out" 2>"$work/errors" & pid=$!
until [[ $(compressed_count) -gt 5 ]]; do kill -0 $pid || fail "the run was over at once"; done
kill -TERM $pid; wait $pid; code=$?
[[ $code -eq 143 && -s $work/errors && -z $(figures) ]] || fail "a stopped run ended with $code: $(cat "$work/out")"
[[ -z $(find "$v" -name '*.slimtmp') ]] || fail "a stopped run left work files"
for ((round = 0; round < 12; ++round)); do
  "$app" --auto-recompress >/dev/null 2>&1 & pid=$!
  sleep "0.0$((RANDOM % 90 + 10))"
  kill -KILL $pid 2>/dev/null; wait $pid 2>/dev/null
  same_checksums "$work/original" "$v" "contents after kill number $round"
done
run 0
[[ $(compressed_count) -eq 398 ]] || fail "the run after the kills did not finish the work"
same_checksums "$work/original" "$v" "contents after the run behind the kills"

# --- a store that does not do ---
python3 - "$store" <<'PYTHON' &
import sqlite3, sys, time
store = sqlite3.connect(sys.argv[1])
# Readers go on beside a writer; not beside one who wants it for himself.
store.execute("PRAGMA locking_mode=EXCLUSIVE")
store.execute("BEGIN EXCLUSIVE")
open(sys.argv[1] + ".held", "w").close()
time.sleep(60)
PYTHON
background+=($!)
until [[ -e $store.held ]]; do sleep 0.05; done
run 1
grep -q '^Failed to create ModelContainer: \|^ERROR: 登録項目の読み込みに失敗しました: ' "$work/errors" || fail "a locked store: $(cat "$work/errors")"
end_background
rm "$store.held"
run 0
# Who must not write the store must not read it alone either.
if [[ $EUID -ne 0 ]]; then chmod 444 "$store"; elif ! chattr +i "$store" 2>/dev/null; then echo "SKIPPED: no file can be made immutable here"; fi
if ! { true >>"$store"; } 2>/dev/null; then
  run 1
  [[ $(cat "$work/errors") == "Failed to create ModelContainer: "* && ! -s $work/out ]] || fail "a read-only store: $(cat "$work/errors")"
fi
if [[ $EUID -ne 0 ]]; then chmod 600 "$store"; else chattr -i "$store" 2>/dev/null; fi
run 0
echo "no database" >"$store"
rm -f "$store"-*
run 1
[[ $(cat "$work/errors") == "Failed to create ModelContainer: "* && $(cat "$store") == "no database" ]] || fail "a damaged store: $(cat "$work/errors")"
(cd / && "$app" --version >/dev/null) || fail "the version with a damaged store"
unmount_volume "$v"
must "$ctl" volume check "$v" >/dev/null
echo "passed"
