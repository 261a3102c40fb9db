"""Starts qzdesktop for a test and talks to it: a small WebSocket client
(RFC 6455, text frames, enough for the protocol) and raw HTTP requests."""
import base64
import os
import re
import socket
import struct
import subprocess


class Desktop:
    """A running qzdesktop; its address is read from the line it prints."""

    def __init__(self, binary, *args):
        # Standard input is a pipe held open and never written: the desktop reads
        # everything from the page, and a read of stdin would hang the test.
        self.proc = subprocess.Popen([binary, *args], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, text=True)
        line = self.proc.stdout.readline()
        m = re.search(r"http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]+)", line)
        if not m:
            self.proc.kill()
            raise RuntimeError("no address in %r; stderr: %s" % (line, self.proc.stderr.read()))
        self.port = int(m.group(1))
        self.token = m.group(2)
        self.url = m.group(0)

    def origin(self):
        return "http://127.0.0.1:%d" % self.port

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(10)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.proc.stdin.close()
        self.proc.stdout.close()
        log = self.proc.stderr.read()
        self.proc.stderr.close()
        return log


def http_get(port, target, headers=None):
    """The status code and body of one GET."""
    s = socket.create_connection(("127.0.0.1", port), timeout=10)
    lines = ["GET %s HTTP/1.1" % target, "Host: 127.0.0.1:%d" % port, "Connection: close"]
    lines += ["%s: %s" % kv for kv in (headers or {}).items()]
    s.sendall(("\r\n".join(lines) + "\r\n\r\n").encode())
    data = b""
    while True:
        chunk = s.recv(65536)
        if not chunk:
            break
        data += chunk
    s.close()
    head, _, body = data.partition(b"\r\n\r\n")
    return int(head.split(b" ")[1]), body


class Closed(Exception):
    """The server closed the connection; code and reason as it sent them."""

    def __init__(self, code, reason):
        super().__init__("closed %s %s" % (code, reason))
        self.code = code
        self.reason = reason


class WebSocket:
    def __init__(self, port, token, origin, path="/ws"):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=30)
        key = base64.b64encode(os.urandom(16)).decode()
        target = path + ("?token=" + token if token is not None else "")
        request = ("GET %s HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                   "Sec-WebSocket-Key: %s\r\nSec-WebSocket-Version: 13\r\n" % (target, port, key))
        if origin is not None:
            request += "Origin: %s\r\n" % origin
        self.sock.sendall((request + "\r\n").encode())
        head = b""
        while b"\r\n\r\n" not in head:
            chunk = self.sock.recv(1)
            if not chunk:
                break
            head += chunk
        self.status = int(head.split(b" ")[1]) if head else 0
        self.buffer = b""

    def send(self, text, opcode=1):
        payload = text.encode() if isinstance(text, str) else text
        header = bytes([0x80 | opcode])
        n = len(payload)
        if n < 126:
            header += bytes([0x80 | n])
        elif n < 65536:
            header += bytes([0x80 | 126]) + struct.pack(">H", n)
        else:
            header += bytes([0x80 | 127]) + struct.pack(">Q", n)
        mask = os.urandom(4)
        masked = bytes(b ^ mask[i % 4] for i, b in enumerate(payload)) if n < 1 << 16 else \
            (int.from_bytes(payload, "big") ^ int.from_bytes((mask * (n // 4 + 1))[:n], "big")).to_bytes(n, "big")
        self.sock.sendall(header + mask + masked)

    def _read(self, n):
        while len(self.buffer) < n:
            chunk = self.sock.recv(1 << 20)
            if not chunk:
                raise Closed(None, "connection dropped")
            self.buffer += chunk
        out, self.buffer = self.buffer[:n], self.buffer[n:]
        return out

    def recv(self):
        """One whole text message; raises Closed at a close frame."""
        data = b""
        while True:
            b0, b1 = self._read(2)
            n = b1 & 0x7F
            if n == 126:
                n = struct.unpack(">H", self._read(2))[0]
            elif n == 127:
                n = struct.unpack(">Q", self._read(8))[0]
            payload = self._read(n)
            opcode = b0 & 0x0F
            if opcode == 8:
                code = struct.unpack(">H", payload[:2])[0] if len(payload) >= 2 else None
                raise Closed(code, payload[2:].decode(errors="replace"))
            if opcode in (9, 10):
                continue
            data += payload
            if b0 & 0x80:
                return data.decode()

    def until(self, kind):
        """Messages up to and including the first of `kind`; the output text on the way."""
        out = []
        while True:
            m = self.recv()
            if m[0] in "oe":
                out.append(m[1:])
            if m[0] == kind:
                return "".join(out), m

    def close(self):
        self.sock.close()
