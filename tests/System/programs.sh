#!/bin/bash
# Every other program reads, writes and copies a compressed folder as the ordinary one it was.
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
cp -a /usr/include "$work/original"
ln "$work/original/stdio.h" "$work/original/another name of stdio.h"
mkdir "$work/original/links"
ln "$work/original/stdlib.h" "$work/original/links/stdlib.h"
ln -s ../stdlib.h "$work/original/links/symbolic"
ln -s nowhere "$work/original/links/dangling"
python3 - "$work/original/data.sqlite" <<'PY'
import sqlite3, sys
with sqlite3.connect(sys.argv[1]) as c:
    c.execute('create table t (k integer primary key, v text)')
    c.executemany('insert into t (v) values (?)', [('row %d ' % i * 20,) for i in range(3000)])
PY
cp -a "$work/original" "$v"
before=$(used "$v")
mount_volume "$v"
must "$ctl" compress -- "$v" >/dev/null
same_checksums "$work/original" "$v" "contents after compress"
[[ $(used "$v") -lt $((before * 3 / 4)) ]] || fail "du shows no saving: $before before, $(used "$v") now"
a_compressed_file() { "$ctl" inspect --json -- "$v" | python3 -c '
import json, sys
found = (f["path"] for f in map(json.loads, sys.stdin) if f.get("status") == "compressed" and f["path"].endswith(".h"))
print(next(found))'; }

must cp -a "$v" "$work/copied"; same_checksums "$work/original" "$work/copied" "cp -a"
tar -C "$v" -cf - . | tar -C "$work/original" -df - >"$work/difference" || fail "tar: $(head -n 3 "$work/difference")"
must rsync -aHcn --delete --out-format=%n "$work/original/" "$v/" >"$work/difference"
! grep -v '/$' "$work/difference" || fail "rsync -c finds differences"
found_in() { (cd "$1" && grep -rn 'define .*SIZE' . | LC_ALL=C sort); }
same <(found_in "$work/original") <(found_in "$v") "grep -r finds something else"
rm -rf "$work/copied"

[[ $(status_of "$v/zlib.h") == compressed ]] || fail "zlib.h is not compressed"
echo '#include <zlib.h>
int main() { return zlibVersion() == nullptr; }' >"$work/program.cc"
must "${CXX:-g++}" -nostdinc++ -I"$v" -fsyntax-only -MMD -MF "$work/read" "$work/program.cc"
grep -qF "$v/zlib.h" "$work/read" || fail "the compiler has read another zlib.h"

repository=$v/linux
unchanged_for_git() {
  must git -C "$repository" fsck --no-progress
  must git -C "$repository" status --porcelain >"$work/difference"
  [[ ! -s $work/difference ]] || fail "git sees changes after $1"
}
(cd "$repository" && git init -q . && git add -A && git -c user.name=n -c user.email=e commit -qm all) || fail "git cannot commit"
unchanged_for_git "its own commit"
must "$ctl" compress -- "$v" >/dev/null
unchanged_for_git "a compression"
rm -rf "$repository/.git"

file=$(a_compressed_file)
echo '/* appended */' >>"$file"
[[ $(tail -n 1 "$file") == '/* appended */' && $(status_of "$file") != compressed ]] || fail "an appended line"
file=$(a_compressed_file)
sed -i '1s/^/\/\* an editor that renames *\/ /' "$file" && [[ $(head -c 30 "$file") == '/* an editor that renames */ '* ]] || fail "sed -i"
file=$(a_compressed_file)
printf 'IN PLACE' | dd of="$file" bs=1 seek=100 conv=notrunc status=none
[[ $(dd if="$file" bs=1 skip=100 count=8 status=none) == 'IN PLACE' ]] || fail "an editor that writes in place"

[[ $(status_of "$v/data.sqlite") == compressed ]] || fail "the database is not compressed"
file=$(a_compressed_file)
must python3 - "$v/data.sqlite" "$file" "$work/original${file#"$v"}" <<'PY'
import mmap, sqlite3, sys
def answer(connection, question): return connection.execute(question).fetchone()[0]
# Open before the first write, over two transactions.
early = sqlite3.connect(sys.argv[1])
assert answer(early, 'select count(*) from t') == 3000
for turn in range(2):
    with early:
        early.execute('insert into t (v) values (?)', ('turn %d' % turn,))
late = sqlite3.connect(sys.argv[1])
assert answer(late, 'select count(*) from t') == 3002 and answer(late, 'pragma integrity_check') == 'ok'

want = bytearray(open(sys.argv[3], 'rb').read())
with open(sys.argv[2], 'rb') as r, mmap.mmap(r.fileno(), 0, prot=mmap.PROT_READ) as reader:
    assert reader[:] == want
    with open(sys.argv[2], 'r+b') as f, mmap.mmap(f.fileno(), 0) as writer:
        writer[10:15] = want[10:15] = b'QUILL'
        writer.flush()
        assert reader[:] == want, 'a mapping does not see what another wrote'
assert open(sys.argv[2], 'rb').read() == want
PY

# The same with the program of that name.
[[ $(sqlite3 "$v/data.sqlite" "insert into t (v) values ('by the program'); select count(*) from t; pragma integrity_check") == $'3003\nok' ]] || fail "sqlite3"
# A restore waits for the disk after every file: those that stand here are enough.
find "$v" -mindepth 1 -maxdepth 1 -type d -exec rm -rf {} +
checksums "$v" >"$work/mounted"
unmount_volume "$v"
must "$ctl" volume check "$v" >/dev/null
must "$ctl" volume restore "$v" >/dev/null
same "$work/mounted" <(checksums "$v") "contents after a restore"
echo "passed"
