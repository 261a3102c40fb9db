#!/usr/bin/env python3
"""Checks the dynamic symbols a shared library exports against written rules.

Usage: check_exports.py LIBRARY RULES

Each defined dynamic symbol (nm -D --defined-only -C) must match no "deny"
pattern and at least one "allow" pattern of the rules file. Rules are lines
"allow REGEX" or "deny REGEX" (Python regular expressions, searched in the
demangled name); a line starting with "#" is a comment. Prints every offending symbol and exits
1 when there is one.
"""
import re
import subprocess
import sys


def read_rules(path):
    allow, deny = [], []
    with open(path) as f:
        for number, line in enumerate(f, 1):
            line = line.strip()
            if not line or line.startswith('#'):
                continue
            kind, _, pattern = line.partition(' ')
            if kind not in ('allow', 'deny') or not pattern.strip():
                sys.exit(f"{path}:{number}: expected 'allow REGEX' or 'deny REGEX'")
            (allow if kind == 'allow' else deny).append(re.compile(pattern.strip()))
    return allow, deny


def exported_symbols(library):
    out = subprocess.run(['nm', '-D', '--defined-only', '-C', library],
                         check=True, capture_output=True, text=True).stdout
    symbols = []
    for line in out.splitlines():
        # "<address> <type> <name>"; the name may hold blanks.
        parts = line.split(' ', 2)
        if len(parts) == 3:
            symbols.append(parts[2])
    return symbols


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    library, rules = sys.argv[1], sys.argv[2]
    allow, deny = read_rules(rules)
    symbols = exported_symbols(library)
    bad = []
    for name in symbols:
        if any(p.search(name) for p in deny) or not any(p.search(name) for p in allow):
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
