#!/usr/bin/env python3
"""Files of every kind, name and size that has ever been trouble, and a manifest of everything a program can see of them.

  tree.py make FOLDER [large]     large: one file of 2,147,483,647 bytes too
  tree.py manifest FOLDER         one line an entry: name, kind, owner, mode, times, links, content, attributes
"""
import hashlib, os, stat, subprocess, sys

SIZES = [0, 1, 4095, 4096, 16384, 16385, 65536, 65537, 16777215, 16777216]


def text(size, seed):
    line = (b'%08x the quick brown fox jumps over the lazy dog\n' % seed) * 1500
    return (line * (size // len(line) + 1))[:size]


def put(folder, name, content):
    path = os.path.join(folder, name)
    with open(path, 'wb') as f:
        f.write(content)
    os.utime(path, ns=(1_000_000_000_123_456_789, 1_100_000_000_987_654_321))
    return path


def attributes(path, count):
    """As many as there is room for; the number that were set."""
    for i in range(count):
        try:
            os.setxattr(path, b'user.a%03d' % i, b'v%d' % i)
        except OSError:
            return i
    return count


def make(folder, large):
    folder = os.fsencode(folder)
    os.makedirs(folder, exist_ok=True)
    for size in SIZES + ([2147483647] if large else []):
        if size > 100_000_000:
            path = os.path.join(folder, b'size.%d' % size)
            with open(path, 'wb') as f:
                chunk = b''.join(text(1 << 16, i) for i in range(64))
                for _ in range(size // len(chunk)):
                    f.write(chunk)
                f.write(chunk[:size % len(chunk)])
        else:
            put(folder, b'size.%d' % size, text(size, size))
    put(folder, b'random.4000', os.urandom(4000))
    put(folder, b'random.70000', os.urandom(70000))
    put(folder, b'not utf-8 \xff\xfe\x80', text(20000, 1))
    put(folder, b'line\nfeed', text(20000, 2))
    put(folder, b'n' * 255, text(20000, 3))                # no room for ".slimtmp" behind it
    put(folder, b'n' * 247, text(20000, 4))                # the longest with room
    put(folder, 'ファイル'.encode(), text(20000, 5))
    put(folder, b'-option', text(20000, 6))
    with open(os.path.join(folder, b'hole'), 'wb') as f:
        f.write(text(10000, 7)); f.seek(5_000_000); f.write(text(10000, 8)); f.truncate(9_000_000)
    path = put(folder, b'linked', text(20000, 9)); os.link(path, path + b'.other')
    os.symlink(b'size.16385', os.path.join(folder, b'symlink'))
    os.symlink(b'nowhere', os.path.join(folder, b'dangling'))
    os.mkfifo(os.path.join(folder, b'fifo'))
    path = put(folder, b'set-id', text(20000, 10)); os.chmod(path, 0o6755)
    path = put(folder, b'sticky', text(20000, 11)); os.chmod(path, 0o1640)
    path = put(folder, b'read-only', text(20000, 12)); os.chmod(path, 0o444)
    path = put(folder, b'secret', text(20000, 13)); os.chmod(path, 0o600)
    if os.geteuid() == 0:
        path = put(folder, b'foreign', text(20000, 14)); os.chown(path, 12345, 23456)
        path = put(folder, b'capable', text(20000, 15))
        subprocess.run([b'setcap', b'cap_net_raw+ep', path], check=False)
        path = put(folder, b'trusted', text(20000, 16)); os.setxattr(path, b'trusted.mark', b'1')
    path = put(folder, b'acl', text(20000, 17))
    subprocess.run([b'setfacl', b'-m', b'u:12345:r,g:23456:rw', path], check=False)
    path = put(folder, b'attributes', text(20000, 18)); attributes(path, int(os.environ.get('ATTRIBUTES', '100')))
    path = put(folder, b'empty attribute', text(20000, 19)); os.setxattr(path, b'user.empty', b'')
    path = put(folder, b'attributes full', text(20000, 20)); attributes(path, 4000)
    os.makedirs(os.path.join(folder, b'a/b/c'))
    put(folder, b'a/b/c/deep', text(30000, 21))


def manifest(folder):
    folder = os.fsencode(folder)
    lines = []
    for where, folders, files in os.walk(folder):
        if b'.quillbrook-volume' in folders:
            folders.remove(b'.quillbrook-volume')
        for name in folders + files:
            path = os.path.join(where, name)
            s = os.lstat(path)
            about = [os.path.relpath(path, folder), stat.filemode(s.st_mode), s.st_uid, s.st_gid, s.st_nlink]
            if not stat.S_ISDIR(s.st_mode):
                about += [s.st_size, s.st_mtime_ns]
            if stat.S_ISLNK(s.st_mode):
                about.append(os.readlink(path))
            if stat.S_ISREG(s.st_mode):
                digest = hashlib.sha256()
                with open(path, 'rb') as f:
                    while chunk := f.read(1 << 20):
                        digest.update(chunk)
                about.append(digest.hexdigest())
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
