"""Scenarios of starts: again on the same port, and many at once on one token."""
import contextlib
import random
import re
import time

from soak.clients import PONG, serve_mixed
from soak.helper import Broken, Helper, connect, exchange, free_port

TOKEN = re.compile(rb"[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")


def restarts(run):
    """Ends the helper in the midst of connections, by SIGKILL and SIGTERM in turn, and starts it on the same port."""
    rounds, home, port = run.amount(20, 4), run.home(), free_port()
    longest = 0
    with contextlib.ExitStack() as open_connections:
        for i in range(rounds + 1):
            begin = time.monotonic()
            with Helper(run.program, home, port=port) as helper:
                longest = max(longest, time.monotonic() - begin)
                if i == rounds:
                    break
                serve_mixed(helper.server, run.amount(5000, 500))
                open_connections.close()
                for _ in range(50):
                    open_connections.enter_context(connect(port))
                if i % 2 == 0:
                    helper.kill()
                else:
                    helper.stop()
    run.note(f"listened {rounds} times of {rounds} on port {port}")
    run.check("longest start", longest, 10, " s")


def start_together(run, home, count):
    """Starts helpers on one home and kills a third of them on their way; the survivors must agree with the file."""
    helpers = [Helper(run.program, home) for _ in range(count)]
    try:
        doomed = helpers[:count // 3]
        for helper in random.sample(doomed, len(doomed)):
            time.sleep(random.uniform(0, 0.01))
            helper.kill()
        for helper in helpers[len(doomed):]:
            helper.wait_until_serving()
        token = helpers[0].token_file.read_bytes()
        if not TOKEN.fullmatch(token):
            raise Broken(f"the file holds {token!r}")
        for helper in helpers[len(doomed):]:
            helper.server.token = token
            if exchange(helper.server.port, helper.server.request("/api/ping")) != PONG:
                raise Broken("a helper has another token than the file")
        left = [path.name for path in helpers[0].token_file.parent.iterdir()]
        if left != ["helper-token"]:
            raise Broken(f"the container holds {left}")
        for helper in helpers[len(doomed):]:
            helper.stop()
    finally:
        for helper in helpers:
            helper.kill()


def token(run):
    """Simultaneous starts that share a container."""
    rounds, together = run.amount(40, 4), 12
    for i in range(rounds):
        start_together(run, run.home(f"home{i}"), together)
    run.note(f"{rounds} times {together} starts, a third of them killed on the way: one token each time")


SCENARIOS = [restarts, token]
