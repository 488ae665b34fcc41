"""Clients: many that ask and check every answer, some that misbehave."""
import contextlib
import json
import multiprocessing
import signal
import socket
import struct
import time

from harness import Broken, connect, exchange

FORBIDDEN = b"HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}"
NOT_FOUND = FORBIDDEN.replace(b"403 Forbidden", b"404 Not Found")
PROCESSES = 4
OLDEST = 10  # seconds; of a sample that is served
forked = multiprocessing.get_context("fork")


def answer(body):
    return (b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n"
            b"Content-Length: %d\r\nConnection: close\r\n\r\n" % len(body)) + body


PONG = answer(b'{"ok":true}')


class Snapshots:
    """Judges answers to /api/snapshot: whole, in order and of now."""

    def __init__(self):
        self.last, self.times = b"", [0]

    def __call__(self, reply):
        if reply == self.last:
            return True
        self.last, body = reply, reply.partition(b"\r\n\r\n")[2]
        snapshot = json.loads(body)
        self.times.append(snapshot["timestamp"])
        return (reply == answer(body) and list(snapshot)[0] == "cpu" and list(snapshot)[-1] == "processes" and
                self.times[-2] <= self.times[-1] and time.time() - OLDEST < self.times[-1] <= time.time())


def mix(server, snapshots):
    """Half ping, a quarter snapshot, a quarter refused or unknown: requests with what judges the answer."""
    ping, snapshot = server.request("/api/ping"), server.request("/api/snapshot")
    for bad, expected in ((ping.replace(server.token, b"0" * len(server.token)), FORBIDDEN),
                          (b"GET /api/snapshot HTTP/1.1\r\n\r\n", FORBIDDEN),
                          (server.request("/api/snapshot?now"), NOT_FOUND),
                          (b"GET /else HTTP/1.1\r\n".ljust(40_000, b"x"), NOT_FOUND)):  # more than is looked at
        yield from ((ping, PONG.__eq__), (snapshot, snapshots), (ping, PONG.__eq__), (bad, expected.__eq__))


def reset(port, request):
    """Goes away while the answer comes."""
    with connect(port) as client:
        client.sendall(request)
        client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def ask_mixed(server, count):
    """One client, which breaks off at every tenth request: its faults and how many samples it has seen."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    snapshots, faults = Snapshots(), []
    requests = list(mix(server, snapshots))
    for i in range(count):
        request, judge = requests[i % len(requests)]
        try:
            if i % 10 == 9:
                reset(server.port, request)
            reply = exchange(server.port, request)
            fault = None if judge(reply) else reply[:200]
        except (OSError, ValueError, KeyError) as error:
            fault = error
        if fault is not None:
            faults.append(f"{request[:120]!r} got {fault!r}")
    return faults, len(set(snapshots.times)) - 1


def serve_mixed(server, count):
    """Has `count` requests served, checks each answer; samples seen per second."""
    begin = time.monotonic()
    with forked.Pool(PROCESSES) as pool:
        results = pool.starmap(ask_mixed, [(server, count // PROCESSES)] * PROCESSES)
    if faults := [fault for found, _ in results for fault in found]:
        raise Broken(f"{len(faults)} wrong answers, the first: {faults[0]}")
    return max(seen for _, seen in results) / (time.monotonic() - begin)


def slowest(server, path, count, pause):
    """Milliseconds that 99 of 100 requests do not exceed; all answers must be right."""
    times = []
    for _ in range(count):
        begin = time.monotonic()
        server.get(path)
        times.append(time.monotonic() - begin)
        time.sleep(pause)
    return sorted(times)[int(count * 0.99)] * 1000


@contextlib.contextmanager
def running(target, *arguments):
    process = forked.Process(target=target, args=arguments, daemon=True)
    process.start()
    try:
        yield
    finally:
        process.kill()
        process.join()
