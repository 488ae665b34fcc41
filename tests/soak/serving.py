"""Scenarios of a helper that serves: many requests and resets, connections that idle, too many."""
import contextlib
import resource
import time

from harness import Broken, connect, read_all
from soak.clients import PONG, connect_idlers, serve_mixed, slowest
from soak.footprint import count, cpu_seconds, quiet_machine


def requests(run):
    """A million requests, every answer checked, and resets, while more samples are due than there can be."""
    with run.helper("--root", quiet_machine(run.folder), interval=0.1) as helper:
        serve_mixed(helper.server, run.requests // 10)
        with run.no_growth(helper):
            begin, rest = time.monotonic(), run.requests - run.requests // 10
            samples = serve_mixed(helper.server, rest)
            run.note(f"{rest / (time.monotonic() - begin):.0f} requests/s, {samples:.1f} samples/s")


def idlers(run):
    """2,500 connections that waste the helper's time beside a ping each 100 ms."""
    connections = 2500
    with run.helper() as helper, run.no_growth(helper, memory=False), connect_idlers(helper.server, connections):
        run.check("ping p99", slowest(helper.server, "/api/ping", run.amount(600, 80), 0.1), 50 * run.slowness, " ms")
        run.note(f"{count(helper, 'fd')} descriptors")
        if count(helper, "fd") < connections / 2:
            raise Broken("the silent connections are not there")


def lingerers(run):
    """Connections that stay open after their answers, which the helper must close by itself within two seconds."""
    with run.helper() as helper, contextlib.ExitStack() as held, run.no_growth(helper, memory=False):
        for _ in range(100):
            held.enter_context(connect(helper.server.port)).sendall(helper.server.request("/api/ping"))
        time.sleep(2 * run.slowness)


def descriptors(run):
    """200 connections to a helper whose room is cut to 64 descriptors while it runs."""
    with run.helper() as helper:
        resource.prlimit(helper.pid, resource.RLIMIT_NOFILE, (64, 64))
        with contextlib.ExitStack() as queued, contextlib.ExitStack() as clients:
            for _ in range(200):
                clients.enter_context(connect(helper.server.port))
            ping = queued.enter_context(connect(helper.server.port))
            ping.sendall(helper.server.request("/api/ping"))
            time.sleep(1)
            begin, cpu = time.monotonic(), cpu_seconds(helper)
            time.sleep(run.amount(20, 5))
            share = (cpu_seconds(helper) - cpu) / (time.monotonic() - begin)
            run.check("cpu", share * 100, 5 * run.slowness, " %")
            clients.close()
            begin = time.monotonic()
            if read_all(ping) != PONG:
                raise Broken("the queued ping is not answered")
            run.check("ping after", time.monotonic() - begin, 1, " s")


SCENARIOS = [requests, idlers, lingerers, descriptors]
