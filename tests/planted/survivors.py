#!/usr/bin/env python3
"""For each fault the full suite caught: which of the tests that failed on it
are still in the worktree's tests with a body identical to BASE's. A fault with
such a survivor fails the trimmed suite in that same test; one without must be
run against the trimmed suite (planted_faults.sh with PF_SIDES=trimmed PF_IDS=...).

usage: tests/planted/survivors.py [BASE]   (after a run of the full side)
"""
import os, re, subprocess, sys

here = os.path.dirname(os.path.abspath(__file__))
repo = os.path.dirname(os.path.dirname(here))
base = sys.argv[1] if len(sys.argv) > 1 else 'dc610ab'
logs = os.path.join(repo, 'build', 'pf', 'logs')
TEST = re.compile(r'^(TEST|TEST_F|TEST_P)\((\w+),\s*(\w+)\)')


def blocks(text):
    """{Suite.Name: body} of the TEST blocks of a file's text."""
    out, lines, i = {}, text.split('\n'), 0
    while i < len(lines):
        m = TEST.match(lines[i])
        if m:
            j = i
            while not lines[j].startswith('}'):
                j += 1
            out[m.group(2) + '.' + m.group(3)] = '\n'.join(lines[i:j + 1])
            i = j
        i += 1
    return out


def folder_blocks(folder, commit):
    found = {}
    if commit:
        names = subprocess.check_output(['git', '-C', repo, 'ls-tree', '-r', '--name-only', commit, 'tests/' + folder],
                                        text=True).split()
        for n in names:
            if n.endswith('.cpp'):
                found.update(blocks(subprocess.check_output(['git', '-C', repo, 'show', commit + ':' + n], text=True)))
    else:
        d = os.path.join(repo, 'tests', folder)
        for n in sorted(os.listdir(d)):
            if n.endswith('.cpp'):
                found.update(blocks(open(os.path.join(d, n)).read()))
    return found


full = {}
for line in open(os.path.join(repo, 'build', 'pf', 'results.full.tsv')):
    f = line.rstrip('\n').split('\t')
    if f[0] != 'clean' and f[3] == 'caught':
        full[f[0]] = f[1]
cache = {}
need = []
for fault, spec in sorted(full.items()):
    failed, kept = set(), set()
    for folder in spec.split('+'):
        if folder not in cache:
            cache[folder] = (folder_blocks(folder, base), folder_blocks(folder, None))
        old, new = cache[folder]
        path = os.path.join(logs, fault + '.full.' + folder)
        for line in open(path, errors='replace'):
            m = re.match(r'^\[  FAILED  \] (\S+)', line)
            if not m or ' tests, listed below' in line:
                continue
            name = m.group(1).rstrip(',')
            # A parameterised test: "Rules/Suite.Name/row3" is the block "Suite.Name".
            name = re.sub(r'^\w+/', '', name)
            name = re.sub(r'/\w+$', '', name)
            failed.add(folder + ':' + name)
            if name in new and name in old and new[name] == old[name]:
                kept.add(folder + ':' + name)
    # A crash or timeout names no failing test: it must be run.
    verdict = 'survives' if kept else 'RUN'
    if not kept:
        need.append(fault)
    print(f'{fault:6} {spec:20} failed {len(failed):3}  unchanged survivors {len(kept):3}  {verdict}'
          + ('' if kept else '  (failed: ' + ', '.join(sorted(failed)) + ')'))
print('\nto run against the trimmed suite: PF_IDS="' + ' '.join(need) + '"')
