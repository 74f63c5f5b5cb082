#!/usr/bin/env python3
"""Programs at work in a folder while its files are swapped underneath or its daemon is killed.

  workload.py contend FOLDER SECONDS SEED   several roles at once, each a process that keeps in memory what its files must
                                            hold and compares every byte; copies of that stay in FOLDER.copies
  workload.py compare FOLDER                with those copies
  workload.py record FOLDER JOURNAL SEED [synced]
                                            appends to files and notes in JOURNAL, elsewhere, how long each is after every
                                            write (synced: fsync) that returned; ends when a call fails
  workload.py verify FOLDER JOURNAL [synced]
                                            every file is at least that long, and every byte right (synced: or zero behind
                                            that length, as ext4 itself leaves what was never waited for)
"""
import contextlib, mmap, multiprocessing, os, random, struct, sys, time

# Text that a compressor can make smaller, with no two lines alike: a byte of another file or place is noticed.
TEXT = b''.join(b'%08x the quick brown fox jumps over the lazy dog\n' % (n * 0x9E3779B1 & 0xFFFFFFFF) for n in range(80_000))


def text(rng, limit):
    start = rng.randrange(len(TEXT) - limit)
    return TEXT[start:start + rng.randint(1, limit)]


@contextlib.contextmanager
def opened(path, flags):
    fd = os.open(path, flags | os.O_CLOEXEC, 0o644)
    try:
        yield fd
    finally:
        os.close(fd)


def must_be(found, expected, what):
    if found == expected:
        return
    first = next((i for i, (a, b) in enumerate(zip(found, expected)) if a != b), min(len(found), len(expected)))
    sys.exit('%s: differs first at %d; %d bytes expected, %d found' % (what, first, len(expected), len(found)))


class Guarded:
    """One file of one role, and what it must hold."""

    def __init__(self, path):
        self.path, self.expected = path, bytearray()

    def check(self, when, fd=None):
        with open(self.path if fd is None else fd, 'rb', closefd=fd is None) as f:
            f.seek(0)
            must_be(f.read(), self.expected, '%s %s' % (self.path, when))

    def write(self, fd, data, offset):
        assert os.pwrite(fd, data, offset) == len(data), 'short write'
        self.expected[len(self.expected):] = bytes(max(0, offset - len(self.expected)))
        self.expected[offset:offset + len(data)] = data

    def fill(self, rng):
        with opened(self.path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC) as fd:
            self.expected.clear()
            self.write(fd, text(rng, 200_000), 0)


def append(file, rng):
    with opened(file.path, os.O_WRONLY | os.O_APPEND) as fd:
        for _ in range(rng.randint(1, 5)):
            record = text(rng, 3000)
            assert os.write(fd, record) == len(record), 'short write'
            file.expected += record


def overwrite(file, rng):
    if rng.random() < 0.3:
        size = rng.randrange(300_000)
        os.truncate(file.path, size)
        file.expected = file.expected[:size].ljust(size, b'\0')
    with opened(file.path, os.O_RDWR) as fd:
        for _ in range(rng.randint(1, 4)):
            file.write(fd, text(rng, 70_000), rng.randrange(len(file.expected) + 1))
            if rng.random() < 0.3:
                file.check('through the writing handle', fd)


def save_like_an_editor(file, rng):
    new = Guarded(file.path + '.new')
    new.fill(rng)
    os.rename(new.path, file.path)
    file.expected = new.expected


def change_under_another_name(file, rng):
    own, file.path = file.path, file.path + '.other'
    is_link = rng.random() < 0.5
    (os.link if is_link else os.rename)(own, file.path)
    append(file, rng)
    file.check('under its other name')
    os.unlink(file.path) if is_link else os.rename(file.path, own)
    file.path = own


def unlink_while_open(file, rng):
    with opened(file.path, os.O_RDWR) as fd:
        os.unlink(file.path)
        file.check('after it was unlinked', fd)
        file.write(fd, text(rng, 5000), len(file.expected))
        file.check('written after it was unlinked', fd)
    file.fill(rng)


def map_shared(file, rng):
    if not file.expected:
        return
    with opened(file.path, os.O_RDWR) as fd, mmap.mmap(fd, len(file.expected)) as mapped:
        for _ in range(rng.randint(1, 20)):
            at = rng.randrange(len(mapped))
            mapped[at] = file.expected[at] = rng.randrange(65, 91)
        if rng.random() < 0.5:
            mapped.flush()
        must_be(mapped[:], file.expected, file.path + ' through the mapping')


ROLES = [append, overwrite, save_like_an_editor, change_under_another_name, unlink_while_open, map_shared]


def play(role, folder, deadline, seed):
    rng = random.Random('%s %s' % (seed, role.__name__))
    files = [Guarded('%s/%s.%d' % (folder, role.__name__, i)) for i in range(4)]
    for file in files:
        file.fill(rng)
    operations = 0
    while time.monotonic() < deadline:
        file = rng.choice(files)
        file.check('before a change')
        # Left alone for a moment, so that the file is compressed now and then in between.
        time.sleep(rng.uniform(0, 0.03))
        role(file, rng)
        if rng.random() < 0.5:
            file.check('after a change')
        if len(file.expected) > 400_000:
            file.fill(rng)
        operations += 1
    for file in files:
        file.check('at the end')
        with open('%s.copies/%s' % (folder, os.path.basename(file.path)), 'wb') as copy:
            copy.write(file.expected)
    print('%s: %d operations, every byte where it belongs (seed %s)' % (role.__name__, operations, seed))


def contend(folder, seconds, seed):
    os.makedirs(folder + '.copies', exist_ok=True)
    deadline = time.monotonic() + float(seconds)
    players = [multiprocessing.Process(target=play, args=(role, folder, deadline, seed)) for role in ROLES]
    for player in players:
        player.start()
    for player in players:
        player.join()
    sys.exit(any(player.exitcode for player in players))


def compare(folder):
    names = os.listdir(folder + '.copies')
    for name in names:
        with open('%s.copies/%s' % (folder, name), 'rb') as copy, open('%s/%s' % (folder, name), 'rb') as file:
            must_be(file.read(), copy.read(), file.name)
    sys.exit(not names)


# The journal is one row of lengths, rewritten in place: the page cache keeps it when the writer dies.
JOURNAL = struct.Struct('8Q')


def lengths_in(journal):
    with open(journal, 'a+b') as f:
        f.seek(0)
        return list(JOURNAL.unpack(f.read().ljust(JOURNAL.size, b'\0')))


def recorded(file, start, end):
    """What the file of that number holds there: the text over and over, from a place of its own."""
    first, count = (file * 1_000_003 + start) % len(TEXT), end - start
    if first + count <= len(TEXT):
        return TEXT[first:first + count]
    return (TEXT[first:] + TEXT * (count // len(TEXT) + 1))[:count]


def record(folder, journal, seed, synced=None):
    lengths = lengths_in(journal)
    rng = random.Random(seed)
    with opened(journal, os.O_WRONLY) as notes:
        while True:
            file = rng.randrange(len(lengths))
            try:
                with opened('%s/record.%d' % (folder, file), os.O_WRONLY | os.O_CREAT) as fd:
                    for _ in range(rng.randint(1, 6)):
                        data = recorded(file, lengths[file], lengths[file] + rng.randint(1, 20_000))
                        lengths[file] += os.pwrite(fd, data, lengths[file])
                        if synced:
                            os.fsync(fd)
                        os.pwrite(notes, JOURNAL.pack(*lengths), 0)
            except OSError:
                return


def verify(folder, journal, synced=None):
    lengths = lengths_in(journal)
    assert any(lengths), 'nothing was recorded'
    for file, length in enumerate(lengths):
        path = '%s/record.%d' % (folder, file)
        if length == 0 and not os.path.exists(path):
            continue
        with open(path, 'rb') as f:
            found = f.read()
        expected = recorded(file, 0, max(len(found), length))
        if synced:
            behind = bytes(b and e for b, e in zip(found[length:], expected[length:]))
            expected = expected[:length] + behind
        must_be(found, expected, '%s, of which %d bytes were recorded,' % (path, length))


if __name__ == '__main__':
    verbs = {'contend': (contend, [5]), 'compare': (compare, [3]), 'record': (record, [5, 6]), 'verify': (verify, [4, 5])}
    verb, counts = verbs.get(sys.argv[1] if len(sys.argv) > 1 else '', (None, []))
    if len(sys.argv) not in counts:
        sys.exit(__doc__)
    verb(*sys.argv[2:])
