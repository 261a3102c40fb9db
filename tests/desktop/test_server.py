#!/usr/bin/env python3
"""qzdesktop without a browser: the token, the origin check, malformed and
oversized messages (each closes only its own connection), and a statement's
output over the WebSocket. Usage: test_server.py QZDESKTOP"""
import sys
import unittest

from desktop_support import Closed, Desktop, WebSocket, http_get

BINARY = None


class Server(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desktop = Desktop(BINARY)

    @classmethod
    def tearDownClass(cls):
        cls.log = cls.desktop.stop()

    def page(self):
        ws = WebSocket(self.desktop.port, self.desktop.token, self.desktop.origin())
        self.assertEqual(ws.status, 101)
        ws.until("p")
        return ws

    def test_requests_need_the_token(self):
        d = self.desktop
        cases = [("/", 403), ("/?token=", 403), ("/?token=" + "0" * 32, 403), ("/desktop.js", 403),
                 ("/?token=" + d.token, 200), ("/desktop.js?token=" + d.token, 200),
                 ("/file?path=/etc/hostname", 403), ("/../CMakeLists.txt?token=" + d.token, 404)]
        for target, status in cases:
            with self.subTest(target=target):
                self.assertEqual(http_get(d.port, target)[0], status)
        # The page's cookie stands for the token.
        cookie = {"Cookie": "other=1; qzdesktop_token_%d=%s" % (d.port, d.token)}
        self.assertEqual(http_get(d.port, "/desktop.css", cookie)[0], 200)
        self.assertEqual(http_get(d.port, "/desktop.css", {"Cookie": "qzdesktop_token_%d=bad" % d.port})[0], 403)

    def test_upgrade_needs_token_and_own_origin(self):
        d = self.desktop
        cases = [(None, d.origin(), 403), (d.token, "http://evil.example", 403),
                 (d.token, "http://localhost:%d" % d.port, 403), (d.token, None, 403),
                 (d.token, d.origin(), 101)]
        for token, origin, status in cases:
            with self.subTest(token=token, origin=origin):
                ws = WebSocket(d.port, token, origin)
                self.assertEqual(ws.status, status)
                ws.close()

    def test_statement_output_is_the_display(self):
        ws = self.page()
        ws.send("x" + "x = 1")
        out, prompt = ws.until("p")
        self.assertEqual(out, "\nx =\n\n     1\n\n")
        self.assertEqual(prompt, "p>> ")
        # Output, then the error in its markers, then the variables and the prompt, in that order.
        ws.send("xa = 5\ndir /no/such/folder")
        messages = []
        while not messages or messages[-1][0] != "p":
            messages.append(ws.recv())
        self.assertEqual(len(messages), 4)
        self.assertEqual(messages[0], "o\na =\n\n     5\n\n")
        self.assertEqual(messages[1], "e{\bError: The folder /no/such/folder cannot be read.}\b \n")
        self.assertTrue(messages[2].startswith("va\t1x1\tdouble\n"))  # names in order, "a" first
        self.assertEqual(messages[3], "p>> ")
        ws.close()

    def test_bad_messages_close_only_their_connection(self):
        cases = [("", "an empty message"), ("z1", "a message of an unknown kind"), ("r80", "a size that is not two numbers"),
                 ("r0 24", "a size that is not two numbers from 1 to 10000"), ("kq", "a key that is not a code"),
                 ("iX", "an interrupt with text"), ("hbad topic", "a help topic that is not one word"),
                 (b"\xff\xfe", None), ("x" + "1" * (1 << 20), None)]
        for data, reason in cases:
            with self.subTest(data=data[:20]):
                keeper = self.page()
                bad = self.page()
                if isinstance(data, bytes):
                    bad.send(data)  # not UTF-8: the WebSocket layer refuses it
                else:
                    bad.send(data)
                with self.assertRaises(Closed) as closed:
                    while True:
                        bad.recv()
                if reason is not None:
                    self.assertEqual(closed.exception.code, 1008)
                    self.assertEqual(closed.exception.reason, reason)
                bad.close()
                # The other page and the session go on.
                keeper.send("xy = 2;")
                keeper.until("p")
                keeper.send("xy")
                out, _ = keeper.until("p")
                self.assertEqual(out, "\ny =\n\n     2\n\n")
                keeper.close()

    def test_binary_message_closes_its_connection(self):
        bad = self.page()
        bad.send(b"x1", opcode=2)
        with self.assertRaises(Closed) as closed:
            while True:
                bad.recv()
        self.assertEqual(closed.exception.reason, "a binary message")
        bad.close()


if __name__ == "__main__":
    BINARY = sys.argv.pop(1)
    result = unittest.main(exit=False).result
    log = getattr(Server, "log", "")
    # Every refused connection leaves its reason in the log.
    for reason in ("an empty message", "a message over the size limit", "a binary message"):
        if reason not in log:
            print("the log lacks %r:\n%s" % (reason, log))
            sys.exit(1)
    sys.exit(0 if result.wasSuccessful() else 1)
