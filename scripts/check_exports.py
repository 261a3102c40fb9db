#!/usr/bin/env python3
"""Checks the dynamic symbols a shared library exports against written rules.

Usage: check_exports.py LIBRARY RULES

Each defined dynamic symbol (nm -D --defined-only -C) must match no "deny"
pattern and at least one "allow" pattern of the rules file. Rules are lines
"allow REGEX", "deny REGEX" (Python regular expressions, searched in the
demangled name) or "deny-mangled REGEX" (searched in the mangled name, where
the namespace of a template function is not hidden behind its return type);
a line starting with "#" is a comment. Prints every offending symbol and exits
1 when there is one.
"""
import re
import subprocess
import sys


def read_rules(path):
    allow, deny, deny_mangled = [], [], []
    with open(path) as f:
        for number, line in enumerate(f, 1):
            line = line.strip()
            if not line or line.startswith('#'):
                continue
            kind, _, pattern = line.partition(' ')
            lists = {'allow': allow, 'deny': deny, 'deny-mangled': deny_mangled}
            if kind not in lists or not pattern.strip():
                sys.exit(f"{path}:{number}: expected 'allow REGEX', 'deny REGEX' or 'deny-mangled REGEX'")
            lists[kind].append(re.compile(pattern.strip()))
    return allow, deny, deny_mangled


def exported_symbols(library):
    """(mangled, demangled) pairs of the defined dynamic symbols."""
    out = subprocess.run(['nm', '-D', '--defined-only', library],
                         check=True, capture_output=True, text=True).stdout
    # "<address> <type> <name>"; a versioned name ends in "@VERSION".
    mangled = [line.split(' ', 2)[2].split('@', 1)[0] for line in out.splitlines() if line.count(' ') >= 2]
    demangled = subprocess.run(['c++filt'], input='\n'.join(mangled), check=True,
                               capture_output=True, text=True).stdout.splitlines()
    return list(zip(mangled, demangled))


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    library, rules = sys.argv[1], sys.argv[2]
    allow, deny, deny_mangled = read_rules(rules)
    symbols = exported_symbols(library)
    bad = []
    for mangled, name in symbols:
        if (any(p.search(mangled) for p in deny_mangled) or any(p.search(name) for p in deny)
                or not any(p.search(name) for p in allow)):
            bad.append(name)
    print(f"{library}: {len(symbols)} exported symbols")
    for name in bad:
        print(f"  not allowed: {name}")
    if bad:
        print(f"{len(bad)} exported symbols break the rules in {rules}")
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())
