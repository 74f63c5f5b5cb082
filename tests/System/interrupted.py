#!/usr/bin/env python3
"""Compresses or decompresses one file over and over, each time killed at, or with an error from, another of its system calls.

  interrupted.py CTL VERB FOLDER CONTENT COUNT SEED [CONTAINER]

FOLDER is a mounted volume, or, for decompress, one that is not mounted, with CONTAINER a compressed file that holds CONTENT.
Calls are drawn until COUNT of them have ended in a kill and as many in a failure; 0 takes them all, with every error.
"""
import collections, json, os, random, re, shutil, subprocess, sys

MARKER = 'user.com.studiomerlin.quillbrook.slimtmp'
ERRORS = 'EIO', 'ENOSPC', 'EACCES'

ctl, verb, folder, content, count, seed = sys.argv[1:7]
container = sys.argv[7] if len(sys.argv) > 7 else None
file, work, foreign = (os.path.join(folder, name) for name in ('file', 'file.slimtmp', 'foreign.slimtmp'))
whole = open(content, 'rb').read()


def run(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)


def attempt(path, operation=verb):
    """What one more attempt says: done, or the name of the error."""
    result = json.loads(run(ctl, operation, '--json', '--', path).stdout.splitlines()[0])
    return 'done' if result['outcome'] == 'done' else result['error']


def read(path):
    with open(path, 'rb') as f:
        return f.read()


def is_container(path):
    """Whether these are the stored bytes of a compressed file: never so through a mount."""
    return read(path)[:4] == b'fpmc'


def set_up():
    for path in file, work:
        if os.path.lexists(path):
            os.unlink(path)
    if container:
        run('cp', '--preserve=all', container, file)
        return
    shutil.copyfile(content, file)
    os.chmod(file, 0o640)
    if verb == 'decompress':
        assert attempt(file, 'compress') == 'done'


def look():
    """After an interruption. Returns what the next attempt says."""
    assert read(foreign) == b'foreign', 'a foreign work file was touched'
    assert container or read(file) == whole, 'the file is not whole'
    unmarked = os.path.exists(work) and MARKER not in os.listxattr(work)
    if unmarked and os.path.getsize(work) > 0:
        # Whole already, or the old file after the exchange: nothing that is unmarked may be worthless.
        spare = file + '.spare'
        shutil.move(work, spare)
        if is_container(spare):
            assert attempt(spare, 'decompress') == 'done'
        assert read(spare) == whole, 'an unmarked work file is not whole'
        shutil.move(spare, work)
    said = attempt(file)
    if said == 'temporaryFileConflict':
        assert unmarked, 'a conflict with our own work file'
        os.unlink(work)
        assert attempt(file) in ('done', 'alreadyCompressed', 'notCompressed')
    else:
        assert said in ('done', 'alreadyCompressed', 'notCompressed'), said
        if said != 'done' and os.path.exists(work):
            assert unmarked
            os.unlink(work)
    assert read(file) == whole, 'the file is not whole after the next attempt'
    assert not os.path.exists(work), 'a work file was left'
    return said


def calls_of_one_run():
    """Every (name, n) that is a thread's n-th call of that name once the file has been named. strace counts by thread, so
    without those that another thread, loading libraries, has made as often before."""
    log = content + '.strace'
    set_up()
    subprocess.run(['strace', '-f', '-e', 'trace=%file,%desc', '-o', log, ctl, verb, '--jobs', '1', '--', file],
                   check=True, stdout=subprocess.DEVNULL)
    numbers, before, found, probes = collections.Counter(), None, set(), {}
    for line in open(log, errors='replace'):
        thread, name = re.match(r'(\d+) +(\w+)?', line).groups()
        if name in (None, 'mmap', 'poll'):  # the second half of a call, and what touches no file
            continue
        numbers[thread, name] += 1
        # A sanitizer sees by writing into a pipe of its own whether it may read some memory.
        probe = re.search(r'pipe2?\(\[(\d+), (\d+)\]', line)
        if probe:
            probes[thread] = set(probe.groups())
        descriptor = re.search(r'(?:write|close)\((\d+)', line)
        if probe or descriptor and descriptor.group(1) in probes.get(thread, ()):
            if name == 'close':
                probes[thread].discard(descriptor.group(1))
            continue
        if before is None and '"file"' in line:
            before = collections.Counter()
            for (_, each), number in numbers.items():
                before[each] = max(before[each], number)
        if before is not None and numbers[thread, name] > before[name]:
            found.add((name, numbers[thread, name]))
    return sorted(found)


def interrupt(name, number, how):
    set_up()
    ended = run('strace', '-f', '-o', '/dev/null', '-e', 'trace=' + name,
                '-e', 'inject=%s:%s:when=%d' % (name, how, number), ctl, verb, '--jobs', '1', '--', file)
    try:
        # An error from chmod is logged, and that is all.
        assert ended.returncode != -9 or os.stat(file).st_mode & 0o7777 == 0o640, 'the mode is another one'
        assert ended.returncode == -9 or not os.path.exists(work), 'a work file was left'
        said = look()
    except AssertionError as wrong:
        sys.exit('%s of %s, %s at call %d of %s (%s): %s' % (verb, content, how, number, name, ended.returncode, wrong))
    return ended.returncode, said


with open(foreign, 'wb') as f:
    f.write(b'foreign')
calls = calls_of_one_run()
rng = random.Random(seed)


def drawn(hows):
    every = [(name, number, how) for name, number in calls for how in hows]
    return every if count == '0' else rng.sample(every, len(every))


def tried(hows, has_landed):
    """Threads take turns, so a call may come before it is looked for: goes on until COUNT have been met."""
    outcomes = []
    for each in drawn(hows):
        outcomes.append(interrupt(*each))
        if count != '0' and sum(map(has_landed, outcomes)) == int(count):
            break
    return outcomes


kills = tried(['signal=KILL'], lambda outcome: outcome[0] == -9)
errors = tried(['error=' + error for error in ERRORS], lambda outcome: outcome[0] != 0)
killed = sum(code == -9 for code, _ in kills)
failed = sum(code not in (0, -9) for code, _ in errors)
# Most errors are in calls that it can do without.
for met, outcomes, share in (killed, kills, 2 / 3), (failed, errors, 1 / 6):
    expected = met == int(count) if count != '0' else met > len(outcomes) * share
    assert expected, 'the calls are not where they were: %d of %d interruptions met' % (met, len(outcomes))
said = collections.Counter(said for _, said in kills + errors)
print('%s of %s: %d calls; killed at %d, %d of %d errors failed it; the next attempt: %s' % (
    verb + (' outside a mount' if container else ''), os.path.basename(content), len(calls), killed, failed, len(errors),
    ', '.join('%s %d' % each for each in said.most_common())))
