"""The helper as a process with a home of its own, and what can be seen of it from outside."""
import dataclasses
import json
import os
import pathlib
import re
import resource
import signal
import socket
import statistics
import struct
import subprocess
import time

CONTAINER = "Q4T7LWX2PN.xyz.tallvek.Zephlon"
PATIENCE = 30  # seconds; only ever waited out by a failing run
LOOKS = 20     # of a footprint, over more than one pass over the processes


class Broken(Exception):
    """The helper did what it must not do."""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def connect(port):
    """Blocking, which is faster than a time limit of Python's own; the kernel keeps the limit."""
    client = socket.socket()
    client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVTIMEO, struct.pack("ll", PATIENCE, 0))
    client.setsockopt(socket.SOL_SOCKET, socket.SO_SNDTIMEO, struct.pack("ll", PATIENCE, 0))
    try:
        client.connect(("127.0.0.1", port))
    except OSError:
        client.close()
        raise
    return client


def read_all(client):
    reply = b""
    try:
        while piece := client.recv(65536):
            reply += piece
    except BlockingIOError:
        raise Broken(f"no answer in {PATIENCE} s") from None
    return reply


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
        return b"GET " + path.encode() + b" HTTP/1.1\r\nX-ZQM-Token: " + self.token + b"\r\n\r\n"

    def get(self, path):
        return exchange(self.port, self.request(path)).partition(b"\r\n\r\n")[2]

    def snapshot(self):
        return json.loads(self.get("/api/snapshot"))


def environment(home, **more):
    """The caller's, but nothing in it that would configure the helper or its requests."""
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith(("ZQM_", "XDG_")) and not name.lower().endswith("_proxy")}
    return kept | {"HOME": str(home), "XDG_DATA_HOME": str(home), "XDG_CONFIG_HOME": str(home)} | more


def quiet_machine(folder):
    """A root directory that shows this machine without its processes but this one: what other users start and end must
    not count as growth."""
    root = pathlib.Path(folder) / "root"
    (root / "proc").mkdir(parents=True)
    for name in os.listdir("/proc"):
        if not name.isdigit() or int(name) == os.getpid():
            (root / "proc" / name).symlink_to(f"/proc/{name}")
    for name in ("sys", "etc"):
        (root / name).symlink_to(f"/{name}")
    return root


@dataclasses.dataclass
class Footprint:
    """Over a few seconds: what is held and not just passing."""
    memory: int             # KiB of the process's own, in the middle
    descriptors: list[int]  # least and most
    threads: list[int]

    def growth_since(self, earlier):
        return {"memory": self.memory - earlier.memory,
                "descriptors": max(0, self.descriptors[0] - earlier.descriptors[1]),
                "threads": max(0, self.threads[0] - earlier.threads[1])}


class Helper:
    """Ends with the `with` block, and must then end by SIGTERM, with status 0 and nothing on standard error: there a
    sanitizer would report."""

    def __init__(self, program, home, *options, port=None, interval=None, most_files=None, **more):
        self.server = Server(port or free_port())
        self.home = pathlib.Path(home)
        self.token_file = self.home / CONTAINER / "helper-token"
        if interval:
            (self.home / "ZQMHelper").mkdir(exist_ok=True)
            (self.home / "ZQMHelper" / "defaults.json").write_text(json.dumps({"updateInterval": interval}))
        limit = (lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (most_files,) * 2)) if most_files else None
        self.process = subprocess.Popen([program, "--port", str(self.server.port), *options], preexec_fn=limit,
                                        env=environment(home, **more), stdout=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE)
        self.pid = self.process.pid

    def __enter__(self):
        try:
            self.wait_until_serving()
        except BaseException:
            self.kill()
            raise
        return self

    def __exit__(self, kind, fault, trace):
        if kind or self.process.returncode is not None:
            self.kill()
        else:
            self.stop()

    def wait_until_serving(self):
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline and self.process.poll() is None:
            try:
                self.server.token = self.token_file.read_bytes()
                if self.server.get("/api/snapshot").startswith(b'{"cpu"'):
                    return
            except OSError:
                pass
            time.sleep(0.02)
        raise Broken("does not serve")

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        try:
            errors = self.process.communicate(timeout=PATIENCE)[1].decode(errors="replace")
        except subprocess.TimeoutExpired:
            self.kill()
            raise Broken("does not end at SIGTERM") from None
        if self.process.returncode or errors:
            raise Broken(f"ended with status {self.process.returncode}\n{errors}")

    def kill(self):
        self.process.kill()
        with self.process:  # waits, and closes what it was read by
            pass

    def proc(self, name):
        return pathlib.Path(f"/proc/{self.pid}/{name}").read_text()

    def memory(self, kind):
        return int(re.search(rf"^{kind}:\s+(\d+)", self.proc("smaps_rollup"), re.M)[1])

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def cpu_seconds(self):
        fields = self.proc("stat").rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def footprint(self):
        time.sleep(1.5)  # by then no connection is waited for any more
        memory, descriptors, threads = [], [], []
        for _ in range(LOOKS):
            memory.append(self.memory("Anonymous"))
            descriptors.append(self.descriptors())
            threads.append(len(os.listdir(f"/proc/{self.pid}/task")))
            time.sleep(0.15)
        return Footprint(int(statistics.median(memory)), [min(descriptors), max(descriptors)],
                         [min(threads), max(threads)])
