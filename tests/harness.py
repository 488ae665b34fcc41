"""The real programs as processes with a home and a port of their own: started, waited for, asked, and ended at the end.

They are those of the build folder ZQM_BUILD, of build/release without it."""
import contextlib
import dataclasses
import json
import os
import pathlib
import signal
import socket
import socketserver
import struct
import subprocess
import tempfile
import threading
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("ZQM_BUILD", ROOT / "build" / "release"))
HELPER, ZEPHLON = BUILD / "ZQMHelper", BUILD / "zephlon"
CONTAINER = "Q4T7LWX2PN.xyz.tallvek.Zephlon"
PATIENCE = 30  # seconds; only ever waited out when something is wrong


class Broken(AssertionError):
    """A program did what it must not do."""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def until(condition, complaint="waited in vain"):
    """The first value of `condition` that is true; a connection that is refused is none."""
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        with contextlib.suppress(OSError):
            if value := condition():
                return value
        time.sleep(0.02)
    raise Broken(complaint)


def environment(home, **more):
    """The caller's, but nothing in it that would configure the programs or their requests."""
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith(("ZQM_", "XDG_", "SUDO_")) and not name.lower().endswith("_proxy")}
    return kept | {"HOME": str(home), "XDG_DATA_HOME": str(home), "XDG_CONFIG_HOME": str(home)} | more


def connect(port):
    """Blocking, which is faster than a time limit of Python's own; the kernel keeps the limit."""
    client = socket.create_connection(("127.0.0.1", port))
    for limit in (socket.SO_RCVTIMEO, socket.SO_SNDTIMEO):
        client.setsockopt(socket.SOL_SOCKET, limit, struct.pack("ll", PATIENCE, 0))
    return client


def read_all(client):
    try:
        return b"".join(iter(lambda: client.recv(1 << 20), b""))
    except BlockingIOError:
        raise Broken(f"no answer in {PATIENCE} s") from None


def exchange(port, request):
    with connect(port) as client:
        client.sendall(request)
        return read_all(client)


@dataclasses.dataclass
class Server:
    """What a client has to know."""
    port: int
    token: bytes = b""

    def request(self, path):
        return b"GET %s HTTP/1.1\r\nX-ZQM-Token: %s\r\n\r\n" % (path.encode(), self.token)

    def get(self, path):
        head, _, body = exchange(self.port, self.request(path)).partition(b"\r\n\r\n")
        if head[9:12] != b"200":
            raise ConnectionError(f"{path} got {head[:80]!r}")
        return body

    def snapshot(self):
        return json.loads(self.get("/api/snapshot"))


class Helper:
    """As a context it serves from the start, and must end by SIGTERM with status 0 and nothing on standard error: there
    a sanitizer would report."""

    def __init__(self, home, *options, program=HELPER, before=(), port=None, interval=None, variables=None, **popen):
        self.server = Server(port or free_port())
        self.token_file = pathlib.Path(home) / CONTAINER / "helper-token"
        if interval:
            preferences = pathlib.Path(home) / "ZQMHelper" / "defaults.json"
            preferences.parent.mkdir(exist_ok=True)
            preferences.write_text(json.dumps({"updateInterval": interval}))
        popen = {"stdout": subprocess.DEVNULL, "stderr": subprocess.PIPE} | popen
        self.process = subprocess.Popen([*before, program, "--port", str(self.server.port), *options],
                                        env=environment(home, **(variables or {})), **popen)
        self.pid = self.process.pid

    def __enter__(self):
        try:
            return self.wait_until_serving()
        except BaseException:
            self.kill()
            raise

    def __exit__(self, kind, fault, trace):
        self.kill() if kind or self.process.returncode is not None else self.stop()

    def wait_until_serving(self, is_wanted=bool):
        """Until there is a snapshot, one that `is_wanted`."""
        def serves():
            if self.process.poll() is not None:
                raise Broken("the helper has ended")
            self.server.token = self.token_file.read_bytes()
            snapshot = self.server.snapshot()
            return "cpu" in snapshot and is_wanted(snapshot)
        until(serves, "the helper does not serve")
        return self

    def stop(self, by=signal.SIGTERM):
        self.process.send_signal(by)
        try:
            errors = self.process.communicate(timeout=PATIENCE)[1] or b""
        except subprocess.TimeoutExpired:
            self.kill()
            raise Broken(f"the helper does not end at {by}") from None
        if self.process.returncode or errors:
            raise Broken(f"the helper ended with status {self.process.returncode}\n{errors.decode(errors='replace')}")

    def kill(self):
        self.process.kill()
        with self.process:  # waits, and closes what it was read by
            pass


def ok(body):
    return b"HTTP/1.1 200 OK\r\n\r\n" + body.encode(errors="surrogateescape")


class FakeServer(socketserver.ThreadingTCPServer):
    """Gives every request `reply`; None: says nothing until it is closed."""
    daemon_threads = True

    def __init__(self, reply):
        self.reply, self.requests, self.closed = reply, 0, threading.Event()
        super().__init__(("127.0.0.1", 0), None)
        self.port = self.server_address[1]
        threading.Thread(target=self.serve_forever, args=(0.02,), daemon=True).start()

    def finish_request(self, request, _):
        self.received = request.recv(16384)
        self.requests += bool(self.received)
        self.closed.wait(PATIENCE) if self.reply is None else request.sendall(self.reply)

    def handle_error(self, *_):
        """A client may leave before the reply's end."""

    def __exit__(self, *_):
        self.closed.set()
        self.shutdown()
        self.server_close()


class ProgramTest(unittest.TestCase):
    """A test with a home that its programs share, and a port for its helper."""

    def setUp(self):
        self.home = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.environment = environment(self.home, TZ="UTC0", LC_ALL="C.UTF-8")
        self.token = self.home / CONTAINER / "helper-token"
        self.preferences = self.home / "ZQMHelper" / "defaults.json"
        self.port = free_port()

    def leave_token(self):
        self.token.parent.mkdir(exist_ok=True)
        self.token.write_text("SECRET-TOKEN")

    def start_helper(self, *options, **more):
        helper = Helper(self.home, *options, port=self.port, **more)
        self.addCleanup(helper.kill)
        return helper

    def start_machine(self, name):
        """A helper on a described machine, once it tells rates."""
        helper = self.start_helper("--machine", ROOT / "machines" / f"{name}.json")
        return helper.wait_until_serving(lambda snapshot: snapshot["power"]["systemWatts"] > 0)

    def spawn(self, *command, **more):
        process = subprocess.Popen(command, env=self.environment | more, text=True, stdout=subprocess.PIPE)
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def zephlon(self, *words, port=None, status=0, **options):
        """What it prints: its output, or its one line of complaint when it ends with another status than 0."""
        options = {"stdout": subprocess.PIPE, "env": self.environment} | options
        done = subprocess.run([ZEPHLON, "--port", str(port or self.port), *words], timeout=PATIENCE, text=True,
                              stderr=subprocess.PIPE, **options)
        self.assertEqual(done.returncode, status, (words, done.stderr))
        self.assertRegex(done.stderr, r"\Azephlon: [^\n]+\n\Z" if status else r"\A\Z", words)
        self.assertNotIn("SECRET", (done.stdout or "") + done.stderr)
        return done.stderr if status else done.stdout
