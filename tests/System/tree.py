#!/usr/bin/env python3
"""Files of every kind, name and size that has ever been trouble, and a manifest of everything a program can see of them.

  tree.py make FOLDER [large]     large: one file of 2,147,483,647 bytes too
  tree.py manifest FOLDER         one line an entry: name, kind, owner, mode, links, size, times, content, attributes
"""
import errno, hashlib, os, stat, subprocess, sys, time

SIZES = [0, 1, 4095, 4096, 16384, 16385, 65536, 65537, 16777215, 16777216]
NAMES = [b'not utf-8 \xff\xfe\x80', b'line\nfeed', 'ファイル'.encode(), b'-option',
         b'n' * 255,                                       # no room for ".slimtmp" behind it
         b'n' * 247]                                       # the longest with room


def text(size, seed):
    line = (b'%08x the quick brown fox jumps over the lazy dog\n' % seed) * 1500
    return (line * (size // len(line) + 1))[:size]


def put(name, content):
    """A file of these pieces."""
    with open(name, 'wb') as f:
        for piece in content:
            f.write(piece)
    age(name)


def age(name):
    """Times of its own. Reading leaves an access time alone that is later than all others, and not long ago."""
    os.utime(name, ns=(int(time.time() + 3600) * 10**9 + 123_456_789, 1_100_000_000_987_654_321))


def attributes(name, count):
    for i in range(count):
        os.setxattr(name, b'user.a%03d' % i, b'v%d' % i)


def fill_attributes(name):
    """Until there is no room for the smallest more, or for as many as some file systems have room for."""
    try:
        attributes(name, 4000)
        return
    except OSError as error:
        assert error.errno == errno.ENOSPC, error
    try:
        for i in range(256):
            os.setxattr(name, b'user.%d' % i, b'')
    except OSError as error:
        assert error.errno == errno.ENOSPC, error
    else:
        sys.exit('attributes find room where there was none')


def run_if_possible(*command):
    """What this file system or user can do: the rest is told."""
    ended = subprocess.run(command, stderr=subprocess.PIPE, text=True)
    if ended.returncode and ('not supported' in ended.stderr or 'not permitted' in ended.stderr):
        print('SKIPPED:', ended.stderr.strip(), file=sys.stderr)
    else:
        ended.check_returncode()


def make(folder, large):
    os.makedirs(folder, exist_ok=True)
    os.chdir(folder)
    for size in SIZES:
        put('size.%d' % size, [text(size, size)])
    if large:
        whole, rest = divmod(2147483647, 1 << 22)
        piece = b''.join(text(1 << 16, i) for i in range(64))
        put('size.2147483647', [piece] * whole + [piece[:rest]])
    for size in 4000, 70000:
        put('random.%d' % size, [os.urandom(size)])
    os.makedirs('a/b/c')
    os.mkfifo('fifo')
    os.symlink('size.16385', 'symlink')
    os.symlink('nowhere', 'dangling')
    # Files of an ordinary size, and what is then done to them.
    changes = {
        'a/b/c/deep': lambda name: None,
        'linked': lambda name: os.link(name, 'linked.other'),
        'set-id': lambda name: os.chmod(name, 0o6755),
        'sticky': lambda name: os.chmod(name, 0o1640),
        'read-only': lambda name: os.chmod(name, 0o444),
        'secret': lambda name: os.chmod(name, 0o600),
        'acl': lambda name: run_if_possible('setfacl', '-m', 'u:12345:r,g:23456:rw', name),
        'attributes': lambda name: attributes(name, int(os.environ.get('ATTRIBUTES', '100'))),
        'empty attribute': lambda name: os.setxattr(name, 'user.empty', b''),
        'attributes full': fill_attributes}
    if os.geteuid() == 0:
        changes |= {
            'foreign': lambda name: os.chown(name, 12345, 23456),
            'capable': lambda name: run_if_possible('setcap', 'cap_net_raw+ep', name),
            'trusted': lambda name: os.setxattr(name, 'trusted.mark', b'1')}
    changes |= dict.fromkeys(NAMES, lambda name: None)
    for seed, (name, change) in enumerate(changes.items()):
        put(name, [text(20000, seed)])
        change(name)
    with open('hole', 'wb') as f:
        f.write(text(10000, 100)); f.seek(5_000_000); f.write(text(10000, 101)); f.truncate(9_000_000)
    age('hole')


def manifest(folder):
    os.chdir(folder)
    lines = []
    for where, folders, files in os.walk(b'.'):
        if b'.quillbrook-volume' in folders:
            folders.remove(b'.quillbrook-volume')
        for path in (os.path.join(where, name) for name in folders + files):
            s = os.lstat(path)
            about = [path, stat.filemode(s.st_mode), s.st_uid, s.st_gid, s.st_nlink]
            if not stat.S_ISDIR(s.st_mode):
                about += [s.st_size, s.st_mtime_ns]
            if stat.S_ISLNK(s.st_mode):
                about.append(os.readlink(path))
            if stat.S_ISREG(s.st_mode):
                with open(path, 'rb') as f:
                    about.append(hashlib.file_digest(f, 'sha256').hexdigest())
                about.append(s.st_atime_ns)
                about += sorted((n, os.getxattr(path, n)) for n in os.listxattr(path)
                                if not n.startswith('user.quillbrook.'))
            lines.append(repr(about))
    print('\n'.join(sorted(lines)))


if __name__ == '__main__':
    if len(sys.argv) < 3 or sys.argv[1] not in ('make', 'manifest'):
        sys.exit(__doc__)
    if sys.argv[1] == 'make':
        make(sys.argv[2], 'large' in sys.argv[3:])
    else:
        manifest(sys.argv[2])
