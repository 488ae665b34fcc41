#!/usr/bin/env python3
"""Drives the real client beside the real helper and beside servers that are none.
Usage: zephlon_test.py HELPER ZEPHLON MACHINES"""
import contextlib
import json
import os
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

MACHINES, ZEPHLON, HELPER = sys.argv.pop(3), sys.argv.pop(2), sys.argv.pop(1)
TOKEN = "0F0E0D0C-0B0A-4908-8706-050403020100"
PATIENCE = 30  # seconds; only ever waited out by a failing test


@contextlib.contextmanager
def serving(response):
    """A port whose every request gets `response`; None: no answer at all."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        def serve():
            with contextlib.suppress(OSError), contextlib.ExitStack() as silent:
                while True:
                    client = server.accept()[0]
                    if response is None:
                        silent.enter_context(client)
                        continue
                    with client:
                        client.recv(65536)
                        client.sendall(response)

        threading.Thread(target=serve, daemon=True).start()
        yield server.getsockname()[1]
        server.shutdown(socket.SHUT_RDWR)


def ok(body):
    return b"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + body


class ZephlonTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.environment = dict(os.environ, XDG_DATA_HOME=folder.name, XDG_CONFIG_HOME=folder.name, TZ="UTC")
        self.token = self.home / "Q4T7LWX2PN.xyz.tallvek.Zephlon" / "helper-token"

    def write_token(self):
        self.token.parent.mkdir(exist_ok=True)
        self.token.write_text(TOKEN)

    def zephlon(self, *arguments, port=1, status=0, **options):
        options.setdefault("stdout", subprocess.PIPE)
        done = subprocess.run([ZEPHLON, "--port", str(port), *arguments], env=self.environment, timeout=PATIENCE,
                              stderr=subprocess.PIPE, text=True, **options)
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertNotIn(TOKEN, (done.stdout or "") + done.stderr)
        self.assertEqual(done.stderr.count("\n"), 0 if status == 0 else 1, done.stderr)
        return done.stdout if status == 0 else done.stderr

    def snapshot_of_helper(self, machine):
        """What the real helper serves of a described machine, and its port."""
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        helper = subprocess.Popen([HELPER, "--port", str(port), "--machine", f"{MACHINES}/{machine}.json"],
                                  env=self.environment, stdout=subprocess.DEVNULL)
        self.addCleanup(helper.wait)
        self.addCleanup(helper.kill)
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            done = subprocess.run([ZEPHLON, "--port", str(port), "status", "--json"], env=self.environment,
                                  capture_output=True)
            if done.returncode == 0 and json.loads(done.stdout)["power"]["totalWatts"] > 0:  # a rate
                return done.stdout, port
        self.fail("the helper does not serve")

    def test_each_way_of_not_being_answered_has_its_status(self):
        self.assertIn("has not run yet", self.zephlon("status", status=3))
        self.write_token()
        self.assertIn("no helper listens on 127.0.0.1:1", self.zephlon("status", status=3))
        for response, status, words in [
                (b"HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\n\r\n{}", 5, "refuses the token"),
                (b"HTTP/1.1 404 Not Found\r\n\r\n{}", 6, "does not know"),
                (b"SSH-2.0-OpenSSH\r\n", 6, "does not answer as the helper"),
                (b"", 6, "does not answer as the helper"),
                (ok(b'{"error":"engine not started"}'), 3, "still starting"),
                (ok(b"{}"), 6, "another version: cpu: missing"),
                (ok(b'{"cpu":\xff'), 6, "another version: not JSON"),
                (b"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}", 3, "broke off"),
                (ok(b" " * (5 << 20)), 6, "has no end"),
                (None, 4, "does not answer")]:
            with self.subTest(words), serving(response) as port:
                self.assertIn(words, self.zephlon("status", port=port, status=status))
        for unusable in (lambda: self.token.symlink_to("/etc/hostname"), self.token.mkdir,
                         lambda: self.token.write_text("two\r\nlines")):
            self.token.unlink(missing_ok=True) if not self.token.is_dir() else self.token.rmdir()
            unusable()
            self.zephlon("status", status=5)
        if os.geteuid() == 0:
            self.token.write_text(TOKEN)
            os.chown(self.token, 65534, -1)
            self.assertIn("belongs to another user", self.zephlon("status", status=5))

    def test_shows_what_the_helper_serves(self):
        line, port = self.snapshot_of_helper("laptop-third-kind")
        served = json.loads(line)
        text = self.zephlon("status", port=port)
        self.assertEqual([row.split()[0] for row in text.splitlines() if not row.startswith(" ")],
                         ["Load", "CPU", "GPU", "Memory", "Network", "Disk", "Power", "Battery"])
        self.assertIn("8 P cores 4.16 GHz", text)
        self.assertNotIn("\033", text)
        self.assertTrue(self.zephlon("diagnostics", port=port).startswith("=== Zephlon Diagnostics ===\n"))
        self.assertIn("invalid url", self.zephlon("diagnostics", "--send", port=port, status=1))
        with open("/dev/full", "w", encoding="utf-8") as full:
            self.assertIn("cannot write", self.zephlon("status", port=port, status=1, stdout=full))

        entry = {"pid": 7, "name": "\u001b[31m\u202eevil\n\u0085", "value": 1572864.0}
        served["processes"] = dict.fromkeys(served["processes"], [entry, dict(entry, pid=8)])
        self.write_token()
        with serving(ok(json.dumps(served).encode())) as port:
            self.assertEqual(json.loads(self.zephlon("status", "--json", port=port)), served)
            rows = self.zephlon("top", "memory", "--count", "1", port=port).splitlines()
            self.assertEqual([re.split("  +", row.strip()) for row in rows],
                             [["PID", "MEMORY", "NAME"], ["7", "1.50 MiB", "?[31m?evil??"]])
            self.assertNotIn("\033", self.zephlon("status", port=port))
        for wrong in (["top"], ["top", "heat"], ["top", "cpu", "--count", "0"], ["frob"], [],
                      ["--port", "0", "status"]):
            self.zephlon(*wrong, status=2)


if __name__ == "__main__":
    unittest.main()
