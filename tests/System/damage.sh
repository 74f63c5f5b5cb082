#!/bin/bash
# Flipped bits: every one of the state, and some of the data, each in a copy of its own. An I/O error or the right bytes
# through the mount, and the check names every copy.
#   SEED=1
. "$(dirname "$0")/environment.sh"
need_fuse
v=$work/volume
use_seed
mkdir -p "$v/below/deep" "$work/originals"
head -c 9000 /usr/include/stdlib.h >"$work/originals/inline"
yes "$(head -c 20000 /usr/include/stdlib.h)" | head -c 100000 >"$work/originals/fork"
cp "$work/originals/inline" "$v"
cp "$work/originals/fork" "$v/below/deep"
mount_volume "$v"
must "$ctl" compress -- "$v" >/dev/null
unmount_volume "$v"
must python3 - "$seed" "$v/inline" "$v/below/deep/fork" <<'PY'
import os, random, sys
STATE = 'user.quillbrook.state'
rng = random.Random(sys.argv[1])
def flipped(data, bit):
    return data[:bit // 8] + bytes([data[bit // 8] ^ 1 << bit % 8]) + data[bit // 8 + 1:]
for name in sys.argv[2:]:
    state, data = os.getxattr(name, STATE), open(name, 'rb').read()
    copies = {'state.%d' % bit: (flipped(state, bit), data) for bit in range(8 * len(state))}
    copies |= {'data.%d' % bit: (state, flipped(data, bit)) for bit in rng.sample(range(8 * len(data)), 200)}
    for suffix, (state_of_copy, data_of_copy) in copies.items():
        with open('%s.%s' % (name, suffix), 'wb') as f:
            f.write(data_of_copy)
        os.setxattr('%s.%s' % (name, suffix), STATE, state_of_copy)
PY
names_them_all() { # FOLDER WHEN
  "$ctl" volume check --json "$1" >"$work/check"; local code=$?
  [[ $code -eq 4 ]] || fail "$2: check ended with $code"
  same <(find "$1" -name '*.state.*' -o -name '*.data.*' | LC_ALL=C sort) \
    <(grep '"damage":true' "$work/check" | sed 's/.*"path":"\([^"]*\)".*/\1/' | LC_ALL=C sort) "$2: check names other files"
}
names_them_all "$v" "not mounted"
mount_volume "$v"
names_them_all "$v" mounted
must python3 - "$v" "$work/originals" <<'PY'
import errno, os, sys
failed = right = 0
for where, folders, files in os.walk(sys.argv[1]):
    for name in files:
        path = os.path.join(where, name)
        try:
            with open(path, 'rb') as f:
                assert f.read() == open(os.path.join(sys.argv[2], name.split('.')[0]), 'rb').read(), path
            right += 1
        except OSError as error:
            assert error.errno == errno.EIO, (path, error)
            failed += 1
print('%d copies cannot be read, %d are right' % (failed, right))
assert failed > 1000, failed
PY
names_them_all "$v/below" "below a mount"
unmount_volume "$v"
echo "passed"
