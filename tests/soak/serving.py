"""Scenarios of a helper that serves: many requests and resets, and connections that say nothing."""
import contextlib
import time

from harness import connect
from soak.clients import serve_mixed, slowest
from soak.footprint import footprint, quiet_machine


def requests(run):
    """A million requests, every answer checked, and resets, while more samples are due than there can be."""
    with run.helper("--root", quiet_machine(run.folder), interval=0.1) as helper:
        serve_mixed(helper.server, run.requests // 10)
        with run.no_growth(helper):
            begin, rest = time.monotonic(), run.requests - run.requests // 10
            samples = serve_mixed(helper.server, rest)
            run.note(f"{rest / (time.monotonic() - begin):.0f} requests/s, {samples:.1f} samples/s")


def burst(run):
    """Ping beside thousands of silent connections, whose memory is given back when they have gone."""
    with run.helper() as helper, contextlib.ExitStack() as clients:
        before = footprint(helper)
        for _ in range(run.amount(15_000, 4000)):
            clients.enter_context(connect(helper.server.port))
        run.check("ping p99", slowest(helper.server, "/api/ping", 100, 0.01), 50 * run.slowness, " ms")
        clients.close()
        time.sleep(3 * run.slowness)
        grown = footprint(helper).growth_since(before)
        run.check("descriptors +", grown["descriptors"], 0)
        run.check("memory +", grown["memory"], 1024 if run.preset == "release" else 1 << 20, " KiB")


SCENARIOS = [requests, burst]
