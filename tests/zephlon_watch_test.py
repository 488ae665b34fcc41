#!/usr/bin/env python3
"""Drives `zephlon watch` through pseudo-terminals against the real helper.

Usage: zephlon_watch_test.py ZEPHLON HELPER"""
import fcntl
import os
import pathlib
import re
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

ZEPHLON, HELPER = sys.argv.pop(1), sys.argv.pop(1)
MACHINE = pathlib.Path(__file__).parent.parent / "machines" / "laptop-efficiency-performance.json"
PATIENCE = 30  # seconds; only ever waited out by a failing test
LEFT = b"\x1b[?1049l"  # the alternate screen; what xterm and its kin understand


class Terminal:
    """A program on a terminal of its own, of which everything that it writes is kept."""

    def __init__(self, command, environment, columns=80, rows=24):
        self.master, slave = os.openpty()
        self.resize(columns, rows)
        self.before = termios.tcgetattr(slave)
        self.slave = slave
        self.written = b""
        self.program = subprocess.Popen(command, env=environment, stdin=slave, stdout=slave, stderr=slave,
                                        start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))

    def resize(self, columns, rows):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def read(self, seconds):
        if select.select([self.master], [], [], seconds)[0]:
            self.written += os.read(self.master, 65536)

    def expect(self, text, since=0):
        begin = pressed = time.monotonic()
        while text not in self.written[since:]:
            assert time.monotonic() < begin + PATIENCE, f"no {text} in {self.written[since:]}"
            self.read(0.1)
            if time.monotonic() > pressed + 1:  # all of it, not only the cells that differ from the text before
                self.press(b"\x0c")
                pressed = time.monotonic()
        return self.written.index(text, since) + len(text)

    def press(self, keys):
        os.write(self.master, keys)

    def status(self):
        deadline = time.monotonic() + PATIENCE
        while self.program.poll() is None and time.monotonic() < deadline:
            self.read(0.05)
        self.read(0)
        return self.program.poll()

    def is_as_before(self):
        return termios.tcgetattr(self.slave) == self.before

    def close(self):
        self.program.kill()
        self.program.wait()
        os.close(self.master)
        os.close(self.slave)


class WatchTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.environment = dict(os.environ, XDG_DATA_HOME=folder.name, XDG_CONFIG_HOME=folder.name + "/config",
                                TERM="xterm-256color", LC_ALL="C.UTF-8", NO_COLOR="",
                                ASAN_OPTIONS="detect_leaks=0")  # curses never gives all back
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]

    def helper(self):
        helper = subprocess.Popen([HELPER, "--port", str(self.port), "--machine", str(MACHINE)], env=self.environment,
                                  stdout=subprocess.PIPE, text=True)
        self.addCleanup(helper.stdout.close)
        self.addCleanup(helper.wait)
        self.addCleanup(helper.kill)
        for line in helper.stdout:
            if "scheduleTimer" in line:
                return helper
        self.fail("the helper does not start")

    def watch(self, command=None, **environment):
        command = command or [ZEPHLON, "--port", str(self.port), "watch"]
        terminal = Terminal(command, dict(self.environment, **environment))
        self.addCleanup(terminal.close)
        return terminal

    def test_every_end_leaves_the_terminal_as_it_was(self):
        self.helper()
        ends = [("key", key) for key in (b"q", b"\x03", b"\x1c")]
        ends += [("signal", name) for name in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGUSR1)]
        for kind, end in ends:
            with self.subTest(end=end):
                terminal = self.watch()
                terminal.expect(b"WindowServer")
                self.assertFalse(terminal.is_as_before())
                terminal.press(end) if kind == "key" else terminal.program.send_signal(end)
                self.assertEqual(terminal.status(), 0)
                self.assertTrue(terminal.is_as_before())
                self.assertIn(b"\x1b[?25h", terminal.written[-200:])  # the cursor is seen again
                self.assertIn(LEFT, terminal.written[-200:])
        gone = self.watch()
        gone.expect(b"WindowServer")
        os.close(gone.master)
        os.close(gone.slave)
        gone.master, gone.slave = os.openpty()
        self.assertEqual(gone.program.wait(PATIENCE), 0)
        stuck = self.watch()
        stuck.expect(b"WindowServer")
        termios.tcflow(stuck.slave, termios.TCOOFF)
        time.sleep(1.5)  # into the middle of a picture
        stuck.program.send_signal(signal.SIGTERM)
        self.assertEqual(stuck.program.wait(PATIENCE), 1)
        self.assertTrue(stuck.is_as_before())

    def test_stops_and_goes_on(self):
        self.helper()
        script = f"set -m; {ZEPHLON} --port {self.port} watch; echo [stopped]; stty -a; fg; echo [ended $?]"
        terminal = self.watch(["bash", "--norc", "-c", script])
        terminal.expect(b"WindowServer")
        terminal.press(b"\x1a")
        stopped = terminal.expect(b"[stopped]")
        self.assertIn(LEFT, terminal.written)
        terminal.expect(b"WindowServer", stopped)
        self.assertRegex(terminal.written[stopped:], rb"[^-]icanon[^-]*[^-]echo ")
        terminal.press(b"q")
        terminal.expect(b"[ended 0]")

    def test_says_that_the_helper_is_away_until_it_is_back(self):
        terminal = self.watch()
        terminal.expect(b"the helper has not run yet")
        helper = self.helper()
        seen = terminal.expect(b"WindowServer")
        helper.kill()
        seen = terminal.expect(b"no helper listens on 127.0.0.1:", seen)
        self.helper()
        terminal.expect(b"zephlon", seen)
        helper = socket.socket()  # one that accepts and says nothing
        self.addCleanup(helper.close)
        helper.bind(("127.0.0.1", 0))
        helper.listen()
        silent = self.watch([ZEPHLON, "--port", str(helper.getsockname()[1]), "watch"])
        silent.expect(b"does not answer")
        begin = time.monotonic()
        silent.press(b"q")
        self.assertEqual(silent.status(), 0)
        self.assertLess(time.monotonic() - begin, 5)

    def test_takes_every_size_and_key(self):
        self.helper()
        terminal = self.watch()
        seen = terminal.expect(b"WindowServer")
        for columns, rows in ((20, 5), (1, 1), (300, 100), (2, 30), (200, 2), (500, 500), (80, 24)):
            terminal.resize(columns, rows)
            terminal.press(b"\t\x1b[D\x1bOC\x1b[Z3x\x0c")
            begin, seen = seen, terminal.expect(b"z", seen)  # of "zephlon"
        terminal.expect(b"Sockets", begin)
        terminal.press(b"q")
        self.assertEqual(terminal.status(), 0)

    def test_uses_what_the_terminal_has(self):
        self.helper()
        cases = (({}, True, "38;5;", "⣀"), ({"NO_COLOR": "1"}, False, None, "⣀"),
                 ({"TERM": "xterm"}, True, "\x1b[32m", "⣀"), ({"TERM": "vt100"}, False, None, "⣀"),
                 ({"LC_ALL": "C"}, True, "38;5;", "--"),
                 ({"TERM": "linux"}, True, "\x1b[32m", ".."))
        for environment, is_coloured, colour, mark in cases:
            with self.subTest(environment):
                terminal = self.watch(**environment)
                terminal.expect(b"WindowServer")
                terminal.expect(mark.encode())
                terminal.press(b"q")
                self.assertEqual(terminal.status(), 0)
                text = terminal.written.decode()
                self.assertEqual(bool(re.search(r"\x1b\[[0-9;]*(?<![0-9])(3[1-7]|38;5;\d+)[;m]", text)), is_coloured)
                self.assertTrue(not colour or colour in text)
                self.assertEqual(text.isascii(), environment.get("LC_ALL") == "C")
        for environment, pipe in (({"TERM": "dumb"}, False), ({"TERM": "unheard-of"}, False), ({}, True)):
            command = [ZEPHLON, "--port", str(self.port), "watch"]
            terminal = self.watch(["sh", "-c", " ".join(command) + (" | cat" if pipe else "; exit $?")], **environment)
            self.assertEqual(terminal.status(), 0 if pipe else 1)
            self.assertRegex(terminal.written, rb"\A\r?zephlon: .*terminal.*\r\n\Z")


if __name__ == "__main__":
    unittest.main(verbosity=2)
