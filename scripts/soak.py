#!/usr/bin/env python3
"""Soak of the two hosts: random statements of the language, from a grammar
and a fixed seed, through qzconsole -batch sessions and through one long
qzdesktop session driven over its WebSocket. Reports each process's resident
memory (VmRSS) after a warm-up and at the end, and fails when it grew by 1 MB
or more, or when a session did not run all its statements.

  python3 scripts/soak.py [--build build/release] [--statements 1000000]
                          [--sessions 10] [--desktop-statements 1000000]

The console runs its share as a script (-batch "run('part.cx')"); the script
stops at two marks, after the warm-up and at its end, printing "@@soak" and
waiting in input() for a line, so that the memory is read while the session
stands still. The desktop is sent the statements a batch per message and is
read at its prompt, when it has finished the batch before.

Every statement that may fail runs inside try: an uncaught error would end a
script early, and the count of marks reached shows that it did not.
"""
import argparse
import base64
import os
import random
import re
import socket
import struct
import subprocess
import sys
import tempfile
import time

LIMIT_KB = 1024  # growth allowed after the warm-up

# ---- the statements ----

NUM = ["a%d" % k for k in range(8)]
CELL = ["c%d" % k for k in range(4)]
STRUCT = ["s%d" % k for k in range(4)]
TEXT = ["t%d" % k for k in range(4)]
FUNC = ["f%d" % k for k in range(3)]
FIELDS = ["alpha", "beta", "gamma", "delta"]
WORDS = ["soak", "it''s", "x y z", "", "%d", "line", "ABC", "tab\\t"]


class Grammar:
    """A random statement of the language, one line each. Variables come from
    fixed sets of names by kind, and every growth is capped, so that the
    workspace stays the same size however long the run."""

    def __init__(self, seed):
        self.r = random.Random(seed)

    def pick(self, seq):
        return seq[self.r.randrange(len(seq))]

    def small(self):
        return str(self.r.randint(1, 9))

    def number(self):
        k = self.r.randrange(6)
        if k == 0:
            return "%.3g" % self.r.uniform(-100, 100)
        if k == 1:
            return self.pick(["pi", "eps", "Inf", "-Inf", "NaN", "true", "false"])
        return str(self.r.randint(-20, 20))

    def text(self):
        return "'%s'" % self.pick(WORDS)

    def expr(self, depth=0):
        k = self.r.randrange(12 if depth < 3 else 3)
        if k == 0:
            return self.number()
        if k == 1:
            return self.pick(NUM)
        if k == 2:
            return "%s(%s)" % (self.pick(NUM), self.pick(["end", "1", ":", "end-1", self.small()]))
        if k == 3:
            return "(%s %s %s)" % (self.expr(depth + 1), self.pick(["+", "-", ".*", "./", "*", ".^", "==", "<", "&", "|"]),
                                   self.expr(depth + 1))
        if k == 4:
            return "%s(%s)" % (self.pick(["sum", "abs", "floor", "cumsum", "max", "min", "numel", "mean", "round",
                                          "any", "sqrt", "prod", "fix", "double", "int8", "uint16", "single",
                                          "logical", "isempty", "length"]), self.expr(depth + 1))
        if k == 5:
            return "mod(%s, %s)" % (self.expr(depth + 1), self.small())
        if k == 6:
            return "[%s %s; %s %s]" % tuple(self.expr(depth + 1) for _ in range(4))
        if k == 7:
            return "%s(%s, %s)" % (self.pick(["zeros", "ones", "rand", "eye"]), self.small(), self.small())
        if k == 8:
            return "(%s:%s)" % (self.small(), self.pick(["10", "2:20", "-1:1", "12"]))
        if k == 9:
            return "reshape(1:6, %s)" % self.pick(["2, 3", "3, 2", "1, 6", "6, 1", "4, 2"])
        if k == 10:
            return "%s(%s)" % (self.pick(FUNC), self.expr(depth + 1))
        return "-%s'" % self.expr(depth + 1)

    def statement(self):
        k = self.r.randrange(100)
        a, b = self.pick(NUM), self.pick(NUM)
        c, s, t, f = self.pick(CELL), self.pick(STRUCT), self.pick(TEXT), self.pick(FUNC)
        fld = self.pick(FIELDS)
        quiet = ";" if self.r.randrange(10) else ""
        if k < 14:
            body = "%s = %s%s" % (a, self.expr(), quiet)
        elif k < 22:
            body = "%s(%s) = %s;" % (a, self.pick([self.small(), "end+1", "end", "2, 3", ":, 1"]), self.expr(2))
        elif k < 25:
            body = "%s(%s) = [];" % (a, self.pick(["1", "end", "2:3", ":"]))
        elif k < 33:
            body = self.pick([
                "%s = {%s, %s, %s}%s" % (c, self.expr(2), self.text(), b, quiet),
                "%s{%s} = %s;" % (c, self.small(), self.expr(2)),
                "%s(%s) = [];" % (c, self.small()),
                "x = %s{%s};" % (c, self.small()),
                "x = cellfun(@numel, %s);" % c,
                "x = cellfun(@(v) class(v), %s, 'UniformOutput', false);" % c,
                "%s = num2cell(%s);" % (c, self.expr(2)),
                "x = cell2mat(%s);" % c,
                "x = iscell(%s) + numel(%s);" % (c, c),
            ])
        elif k < 42:
            body = self.pick([
                "%s.%s = %s%s" % (s, fld, self.expr(2), quiet),
                "%s(%s).%s = %s;" % (s, self.pick(["1", "2", "3"]), fld, self.text()),
                "x = %s.%s;" % (s, fld),
                "%s = rmfield(%s, '%s');" % (s, s, fld),
                "x = fieldnames(%s);" % s,
                "x = isfield(%s, '%s');" % (s, fld),
                "%s = struct('%s', {%s, %s});" % (s, fld, self.expr(2), self.text()),
                "%s.%s.inner = {%s};" % (s, fld, b),
                "x = isstruct(%s);" % s,
            ])
        elif k < 52:
            body = self.pick([
                "%s = %s;" % (t, self.text()),
                "%s = [%s %s];" % (t, t, self.text()),
                "%s = upper(%s);" % (t, t),
                "%s = strrep(%s, 's', 'S');" % (t, t),
                "%s = sprintf('%%d-%%s|', %s, %s);" % (t, self.expr(2), self.text()),
                "%s = num2str(%s);" % (t, self.expr(2)),
                "%s = mat2str(%s);" % (t, self.expr(2)),
                "%s = strjoin(strsplit(%s, ' '), '_');" % (t, t),
                "%s = char(%s + 64);" % (t, self.small()),
                "x = double(%s);" % t,
                "%s = strcat(%s, %s);" % (t, t, self.text()),
            ]) + " %s = %s(1:min(end, 40));" % (t, t)
        elif k < 64:
            n = self.small()
            body = self.pick([
                "if %s > 0, %s = 1; elseif %s < 0, %s = -1; else, %s = 0; end" % (self.expr(2), a, self.expr(2), a, a),
                "for k = 1:%s, %s(k) = k^2; end" % (n, a),
                "n = 0; while n < %s, n = n + 1; %s = n; end" % (n, a),
                "switch mod(%s, 3), case 0, %s = 'zero'; case {1, 2}, %s = 'some'; otherwise, %s = 'none'; end"
                % (n, t, t, t),
                "for v = {%s, %s}, x = v{1}; end" % (self.text(), b),
                "for k = 1:3, if k == %s, break; end, %s = k; end" % (self.pick(["1", "2", "4"]), a),
                "for k = 1:4, if mod(k, 2), continue, end, %s(k) = k; end" % a,
            ])
        elif k < 76:
            body = self.pick([
                "%s = @(x) x.^2 + %s;" % (f, self.small()),
                "%s = @(x) [x %s];" % (f, self.small()),
                "%s = @(x) sum(x(:)) * %s;" % (f, self.number()),
                "%s = %s(%s);" % (a, f, self.expr(2)),
                "%s = arrayfun(%s, 1:%s, 'UniformOutput', false);" % (c, f, self.small()),
                "%s = func2str(%s);" % (t, f),
                "%s = feval(@%s, %s);" % (a, self.pick(["sum", "numel", "abs", "max"]), b),
                "%s = str2func('%s');" % (f, self.pick(["numel", "@(v) v + 1", "abs"])),
                "x = is_function_handle(%s);" % f,
            ])
        elif k < 88:
            body = self.pick([
                "error('soak:id%s', 'failure %%d here', %s);" % (self.small(), self.small()),
                "x = %s(%d);" % (a, self.r.randint(100, 1000)),
                "x = [1 2] + [1 2 3];",
                "undefined_soak_fn(%s);" % self.small(),
                "x = %s.nofield;" % s,
                "x = {1}; x = x{2};",
                "rethrow(struct('message', 'again', 'identifier', 'soak:re'));",
                "x = ones(2, 3) * ones(2, 3);",
                "error('a message of its own');",
            ])
            catch = self.pick(["catch, end", "catch err, %s = err.message; end" % t,
                               "catch err, %s = err.identifier; end" % t, "catch, x = lasterr; end"])
            return "try, %s %s" % (body, catch)
        elif k < 94:
            body = self.pick(["%s" % a, "%s" % c, "%s" % s, "disp(%s)" % t, "%s" % t, "fprintf('%%d\\n', numel(%s));" % a,
                              "disp(%s)" % self.expr(1), "class(%s)" % b, "%s" % f])
        elif k < 97:
            body = "%s = %s(1:min(end, 30));" % (a, a)
        else:
            body = self.pick(["clear %s" % a, "%s = [];" % c, "%s = struct();" % s, "x = whos;"])
        return "try, %s%s catch, end" % (body, "" if body.endswith(";") else ",")


# ---- memory ----

def rss_kb(pid):
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    raise RuntimeError("no VmRSS for %d" % pid)


# ---- the console ----

def console_session(qzconsole, statements, gen, folder, index):
    path = os.path.join(folder, "soak_part%d.cx" % index)
    warm = max(1, statements // 10)
    with open(path, "w") as out:
        for n in range(statements):
            if n == warm:
                out.write("fprintf('@@soak warm\\n'); input('', 's');\n")
            out.write(gen.statement() + "\n")
        out.write("fprintf('@@soak end\\n'); input('', 's');\n")
    started = time.time()
    p = subprocess.Popen([qzconsole, "-batch", "run('%s')" % path], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, cwd=folder)
    marks = {}
    for raw in p.stdout:
        line = raw.decode("utf-8", "replace").rstrip("\n")
        m = re.match(r"^@@soak (\w+)$", line)
        if m:
            marks[m.group(1)] = rss_kb(p.pid)
            p.stdin.write(b"\n")
            p.stdin.flush()
        elif line.startswith("Error"):
            print("  console %d: %s" % (index, line))
    p.stdin.close()
    status = p.wait()
    os.remove(path)
    if "warm" not in marks or "end" not in marks:
        raise RuntimeError("console session %d stopped early (status %d)" % (index, status))
    return marks["warm"], marks["end"], time.time() - started


# ---- the desktop, over a minimal WebSocket client ----

class WebSocket:
    """Text messages over RFC 6455 with a plain socket: the client masks what
    it sends; fragments are joined; a ping is answered."""

    def __init__(self, port, token):
        self.sock = socket.create_connection(("127.0.0.1", port))
        key = base64.b64encode(os.urandom(16)).decode()
        request = ("GET /ws?token=%s HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                   "Sec-WebSocket-Key: %s\r\nSec-WebSocket-Version: 13\r\nOrigin: http://127.0.0.1:%d\r\n\r\n"
                   % (token, port, key, port))
        self.sock.sendall(request.encode())
        self.buf = b""
        while b"\r\n\r\n" not in self.buf:
            chunk = self.sock.recv(4096)
            if not chunk:
                raise RuntimeError("the server closed during the upgrade")
            self.buf += chunk
        head, self.buf = self.buf.split(b"\r\n\r\n", 1)
        if not head.startswith(b"HTTP/1.1 101"):
            raise RuntimeError("upgrade refused: " + head.decode("latin-1"))

    def _read(self, n):
        while len(self.buf) < n:
            chunk = self.sock.recv(1 << 16)
            if not chunk:
                raise RuntimeError("the server closed the connection")
            self.buf += chunk
        out, self.buf = self.buf[:n], self.buf[n:]
        return out

    def _frame(self, opcode, payload):
        mask = os.urandom(4)
        n = len(payload)
        if n < 126:
            head = struct.pack("!BB", 0x80 | opcode, 0x80 | n)
        elif n < 65536:
            head = struct.pack("!BBH", 0x80 | opcode, 0x80 | 126, n)
        else:
            head = struct.pack("!BBQ", 0x80 | opcode, 0x80 | 127, n)
        # XOR with the mask a word at a time: fast enough in pure Python.
        words = int.from_bytes(mask * ((n + 3) // 4), "big")
        masked = (int.from_bytes(payload + b"\0" * (-n % 4), "big") ^ words).to_bytes(n + (-n % 4), "big")[:n]
        self.sock.sendall(head + mask + masked)

    def send(self, text):
        self._frame(1, text.encode())

    def receive(self):
        parts = []
        while True:
            b0, b1 = self._read(2)
            n = b1 & 0x7F
            if n == 126:
                n = struct.unpack("!H", self._read(2))[0]
            elif n == 127:
                n = struct.unpack("!Q", self._read(8))[0]
            payload = self._read(n)
            opcode = b0 & 0x0F
            if opcode == 9:
                self._frame(10, payload)
                continue
            if opcode == 8:
                raise RuntimeError("the server closed: %r" % payload[2:])
            if opcode in (0, 1, 2):
                parts.append(payload)
                if b0 & 0x80:
                    return b"".join(parts).decode("utf-8", "replace")


def desktop_session(qzdesktop, statements, gen, per_message):
    p = subprocess.Popen([qzdesktop], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    line = p.stdout.readline().decode()
    m = re.search(r"http://127\.0\.0\.1:(\d+)/\?token=(\w+)", line)
    if not m:
        p.kill()
        raise RuntimeError("qzdesktop said: " + line)
    ws = WebSocket(int(m.group(1)), m.group(2))
    started = time.time()
    errors = 0

    def await_prompt():
        nonlocal errors
        while True:
            msg = ws.receive()
            if msg.startswith("p"):
                return
            if msg.startswith("e") and "Error" in msg:
                errors += 1
            elif msg.startswith("q"):
                raise RuntimeError("the desktop session ended")

    # The prompt the session sends when it first waits, or has waited since before we came.
    ws.send("x1;")
    await_prompt()
    warm_at = statements // 10
    sent = 0
    warm = None
    while sent < statements:
        if warm is None and sent >= warm_at:
            warm = rss_kb(p.pid)
        n = min(per_message, statements - sent)
        ws.send("x" + "\n".join(gen.statement() for _ in range(n)))
        await_prompt()
        sent += n
    end = rss_kb(p.pid)
    ws.send("xexit")
    try:
        p.wait(timeout=10)
    except subprocess.TimeoutExpired:
        p.kill()
    return warm, end, time.time() - started, errors


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--build", default="build/release")
    ap.add_argument("--statements", type=int, default=1000000, help="through the console, in all")
    ap.add_argument("--sessions", type=int, default=10)
    ap.add_argument("--desktop-statements", type=int, default=1000000)
    ap.add_argument("--per-message", type=int, default=100)
    ap.add_argument("--seed", type=int, default=20261125)
    args = ap.parse_args()
    qzconsole = os.path.join(args.build, "apps/qzconsole/qzconsole")
    qzdesktop = os.path.join(args.build, "apps/qzdesktop/qzdesktop")
    failed = False
    gen = Grammar(args.seed)
    with tempfile.TemporaryDirectory(prefix="soak.") as folder:
        per_session = args.statements // args.sessions if args.sessions else 0
        for i in range(args.sessions if per_session else 0):
            warm, end, seconds, = console_session(os.path.abspath(qzconsole), per_session, gen, folder, i)
            grew = end - warm
            failed |= grew >= LIMIT_KB
            print("qzconsole session %d: %d statements in %.0f s; VmRSS %d kB after warm-up, %d kB at the end, "
                  "growth %+d kB" % (i + 1, per_session, seconds, warm, end, grew), flush=True)
    if args.desktop_statements:
        warm, end, seconds, errors = desktop_session(qzdesktop, args.desktop_statements, gen, args.per_message)
        grew = end - warm
        failed |= grew >= LIMIT_KB
        print("qzdesktop session: %d statements in %.0f s (%d uncaught errors); VmRSS %d kB after warm-up, "
              "%d kB at the end, growth %+d kB" % (args.desktop_statements, seconds, errors, warm, end, grew), flush=True)
    print("soak: %s (limit: growth under %d kB)" % ("FAILED" if failed else "passed", LIMIT_KB))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
