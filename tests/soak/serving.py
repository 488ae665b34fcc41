"""Scenarios of a helper that serves: many requests, connections that idle, too many, or break off."""
import contextlib
import json
import resource
import subprocess
import sys
import time

from soak.clients import PONG, connect_idlers, cut_off, latencies, percentile99, serve_mixed
from soak.helper import Broken, Helper, connect, exchange, quiet_machine, read_all


def requests(run):
    """A million requests, every answer checked, while more samples are due than there can be."""
    with Helper(run.program, run.home(), "--root", quiet_machine(run.folder), interval=0.1) as helper:
        serve_mixed(helper.server, run.requests // 10)
        early = helper.footprint()
        begin, count = time.monotonic(), run.requests - run.requests // 10
        samples = serve_mixed(helper.server, count)
        run.note(f"{count / (time.monotonic() - begin):.0f} requests/s, {samples:.1f} samples/s")
        run.check_growth(early, helper.footprint())


def idlers(run):
    """2,500 connections that waste the helper's time beside a ping each 100 ms."""
    count = 2500
    with Helper(run.program, run.home()) as helper:
        before = helper.footprint()
        with connect_idlers(helper.server, count):
            times = latencies(helper.server, "/api/ping", run.amount(600, 80), 0.1)
            run.note(f"{helper.descriptors()} descriptors")
            if helper.descriptors() < count / 2:
                raise Broken("the silent connections are not there")
        run.check("ping p99", percentile99(times) * 1000, 50 * run.slowness, " ms")
        after = helper.footprint()
        run.check("descriptors +", after.growth_since(before)["descriptors"], 0)
        run.check("threads +", after.growth_since(before)["threads"], 0)


def lingerers(run):
    """Connections that stay open after their answers, which the helper must close by itself within two seconds."""
    with Helper(run.program, run.home()) as helper, contextlib.ExitStack() as held:
        before = helper.footprint()
        for _ in range(100):
            held.enter_context(connect(helper.server.port)).sendall(helper.server.request("/api/ping"))
        time.sleep(2 * run.slowness)
        run.check("descriptors +", helper.footprint().growth_since(before)["descriptors"], 0)


@contextlib.contextmanager
def busy_process():
    """Its pid; it leads in the processor's time before long."""
    with subprocess.Popen([sys.executable, "-c", "while True: pass"]) as process:
        try:
            yield process.pid
        finally:
            process.kill()


def crowd(helper, seconds):
    """200 connections, and a ping and a snapshot queued behind them: the share of a processor that they cost, the
    seconds from their end to the ping's answer, and the snapshot of that moment."""
    server = helper.server
    with contextlib.ExitStack() as clients, contextlib.ExitStack() as queued:
        for _ in range(200):
            clients.enter_context(connect(server.port))
        ping, snapshot = queued.enter_context(connect(server.port)), queued.enter_context(connect(server.port))
        ping.sendall(server.request("/api/ping"))
        snapshot.sendall(server.request("/api/snapshot"))
        time.sleep(1)
        begin, cpu = time.monotonic(), helper.cpu_seconds()
        time.sleep(seconds)
        share = (helper.cpu_seconds() - cpu) / (time.monotonic() - begin)
        clients.close()
        begin = time.monotonic()
        if read_all(ping) != PONG:
            raise Broken("the queued ping is not answered")
        delay = time.monotonic() - begin
        return share, delay, json.loads(read_all(snapshot).partition(b"\r\n\r\n")[2])


def descriptors(run):
    """Room for 64 descriptors and 200 connections, known at start and cut down while running."""
    with Helper(run.program, run.home(), most_files=64) as helper:
        with busy_process() as new:
            share, delay, snapshot = crowd(helper, run.amount(20, 6))
        run.check("limit of 64: cpu", share * 100, 5 * run.slowness, " %")
        run.check("ping after", delay, 1, " s")
        run.check("age of the sample", time.time() - snapshot["timestamp"], 2.5, " s")
        if new not in [process["pid"] for process in snapshot["processes"]["cpu"]]:
            raise Broken("no descriptor was left to see a new process by")
    with Helper(run.program, run.home("other")) as helper:
        resource.prlimit(helper.pid, resource.RLIMIT_NOFILE, (64, 64))
        share, delay, _ = crowd(helper, run.amount(20, 4))
        run.check("cut to 64: cpu", share * 100, 5 * run.slowness, " %")
        run.check("ping after", delay, 1, " s")


def cut_off_often(server, count):
    """Half by resets, half by half-closes, at each moment of a request to each route."""
    moments = ["connected", "part", "whole", "answering", "answered"]
    paths = ["/api/ping", "/api/snapshot", "/api/diagnostics"]
    for i in range(2 * count):
        cut_off(server, paths[i % 3], moments[i % 5], i % 2 == 0)


def resets(run):
    """Clients that go away in the midst of a request."""
    count = run.amount(10_000, 1000)
    with Helper(run.program, run.home(), "--root", quiet_machine(run.folder)) as helper:
        cut_off_often(helper.server, count // 10)
        early = helper.footprint()
        cut_off_often(helper.server, count - count // 10)
        run.note(f"{count} resets and {count} half-closes")
        run.check_growth(early, helper.footprint())
        if exchange(helper.server.port, helper.server.request("/api/ping")) != PONG:
            raise Broken("no ping afterwards")


SCENARIOS = [requests, idlers, lingerers, descriptors, resets]
