"""Clients: many that ask and check every answer, some that misbehave."""
import contextlib
import json
import multiprocessing
import os
import signal
import socket
import struct
import time

from soak.helper import PATIENCE, Broken, connect, exchange, read_all

FORBIDDEN = b"HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}"
NOT_FOUND = b"HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}"
PROCESSES = 4
OLDEST = 10  # seconds; of a sample that is served
forked = multiprocessing.get_context("fork")


def ok(body):
    return (b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n"
            b"Content-Length: %d\r\nConnection: close\r\n\r\n" % len(body)) + body


PONG = ok(b'{"ok":true}')


class Snapshots:
    """Judges answers to /api/snapshot: whole, in order and of now."""

    def __init__(self):
        self.last = b""
        self.times = [0]

    def __call__(self, reply):
        if reply == self.last:
            return True
        body = reply.partition(b"\r\n\r\n")[2]
        if reply != ok(body):
            return False
        snapshot = json.loads(body)
        self.last = reply
        self.times.append(snapshot["timestamp"])
        return (list(snapshot)[0] == "cpu" and list(snapshot)[-1] == "processes" and
                self.times[-2] <= self.times[-1] and time.time() - OLDEST < self.times[-1] <= time.time())


def mix(server, snapshots):
    """Half ping, a quarter snapshot, a quarter refused or unknown: requests with what judges the answer."""
    ping, snapshot = server.request("/api/ping"), server.request("/api/snapshot")
    bad = [(ping.replace(server.token, b"0" * len(server.token)), FORBIDDEN),
           (b"GET /api/snapshot HTTP/1.1\r\n\r\n", FORBIDDEN),
           (server.request("/api/snapshot?now"), NOT_FOUND),
           (b"GET /else HTTP/1.1\r\n".ljust(40_000, b"x"), NOT_FOUND)]  # more than is looked at
    requests = []
    for request, expected in bad:
        requests += [(ping, PONG.__eq__), (snapshot, snapshots), (ping, PONG.__eq__), (request, expected.__eq__)]
    return requests


def ask_mixed(server, count):
    """One client: its faults and how many samples it has seen."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    snapshots = Snapshots()
    requests = mix(server, snapshots)
    faults = []
    for i in range(count):
        request, judge = requests[i % len(requests)]
        try:
            reply = exchange(server.port, request)
            if not judge(reply):
                faults.append(f"{request[:120]!r} got {reply[:200]!r}")
        except (OSError, ValueError, KeyError) as fault:
            faults.append(f"{request[:120]!r} got {fault!r}")
    return faults, len(set(snapshots.times)) - 1


def serve_mixed(server, count):
    """Has `count` requests served, checks each answer; samples seen per second."""
    begin = time.monotonic()
    with forked.Pool(PROCESSES) as pool:
        results = pool.starmap(ask_mixed, [(server, count // PROCESSES)] * PROCESSES)
    faults = [fault for found, _ in results for fault in found]
    if faults:
        raise Broken(f"{len(faults)} wrong answers, the first: {faults[0]}")
    return max(seen for _, seen in results) / (time.monotonic() - begin)


def latencies(server, path, count, pause):
    """Seconds that each of `count` requests took, in ascending order; all answers must be right."""
    request, times = server.request(path), []
    for _ in range(count):
        begin = time.monotonic()
        reply = exchange(server.port, request)
        times.append(time.monotonic() - begin)
        if not reply.startswith(b"HTTP/1.1 200 OK\r\n"):
            raise Broken(f"{path} got {reply[:200]!r}")
        time.sleep(pause)
    return sorted(times)


def percentile99(ascending):
    return ascending[int(len(ascending) * 0.99)]


class Idler:
    """A connection that wastes the helper's time, over and over."""
    LIFE = 2  # seconds

    def __init__(self, server, habit):
        self.server, self.habit, self.client = server, habit, None

    def step(self, now):
        try:
            if not self.client or (self.habit != "silent" and now > self.end):
                self.open(now)
            elif self.habit in ("drips", "drips after its request"):
                self.client.send(b"G")
        except OSError:  # the helper has closed
            self.close()

    def open(self, now):
        self.close()
        self.client = connect(self.server.port)
        self.client.setblocking(False)
        self.end = now + self.LIFE
        if self.habit in ("drips after its request", "half-closes after its request"):
            self.client.send(self.server.request("/api/snapshot"))
        if self.habit.startswith("half-closes"):
            self.client.shutdown(socket.SHUT_WR)

    def close(self):
        if self.client:
            self.client.close()
        self.client = None


def idle(server, count, ready):
    """Never ends: half silent, half of the other habits."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    os.nice(10)
    habits = ["silent", "drips", "silent", "half-closes", "silent", "drips after its request", "silent",
              "half-closes after its request"]
    idlers = [Idler(server, habits[i % len(habits)]) for i in range(count)]
    while True:
        for idler in idlers:
            idler.step(time.monotonic())
        ready.set()
        time.sleep(0.1)


@contextlib.contextmanager
def connect_idlers(server, count):
    ready = forked.Event()
    process = forked.Process(target=idle, args=(server, count, ready), daemon=True)
    process.start()
    try:
        if not ready.wait(PATIENCE):
            raise Broken("the connections are not taken")
        yield
    finally:
        process.kill()
        process.join()


def cut_off(server, path, moment, by_reset):
    """Goes away at a moment of a request, by a reset or by ending its side; what was asked must then be answered."""
    request = server.request(path)
    sent = {"connected": b"", "part": request[:12]}.get(moment, request)
    with connect(server.port) as client:
        client.sendall(sent)
        reply = client.recv(1) if moment == "answering" else read_all(client) if moment == "answered" else b""
        if by_reset:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            return
        client.shutdown(socket.SHUT_WR)
        reply += read_all(client)
    body = reply.partition(b"\r\n\r\n")[2]
    expected = {"connected": b"", "part": NOT_FOUND}.get(moment, ok(body))
    if reply != expected or (sent == request and not body):
        raise Broken(f"{path}, half-closed when {moment}: {reply[:200]!r}")
