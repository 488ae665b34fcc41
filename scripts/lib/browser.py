"""Headless Chromium with a home of its own, for the scripts that need to know what a real browser does."""
import json
import os
import select
import time

from programs import PATIENCE, Program


class Browser(Program):
    """Chromium, spoken to through a pair of pipes."""
    name = "chromium"

    def command(self):
        to_browser, self.writing = os.pipe()
        self.reading, from_browser = os.pipe()
        self.ends = (to_browser, from_browser)
        self.calls = 0
        self.events = []  # what it has told beside its answers
        self.rest = b""
        return ["bash", "-c", f'exec chromium "$@" 3<&{to_browser} 4>&{from_browser}', "bash",
                "--headless", "--no-sandbox", "--disable-gpu", "--remote-debugging-pipe", "--no-first-run",
                "--no-proxy-server", "--disable-background-networking", "--disable-component-update",
                f"--user-data-dir={self.home}/profile", "--disable-features=LocalNetworkAccessChecks",
                "--host-resolver-rules=MAP *.example 127.0.0.1, MAP * ~NOTFOUND, EXCLUDE 127.0.0.1"]

    def popen_options(self):
        return {"pass_fds": self.ends}

    def is_serving(self):
        for end in self.ends:
            os.close(end)
        return self.call("Browser.getVersion")

    def receive(self, deadline):
        while b"\0" not in self.rest:
            if not select.select([self.reading], [], [], max(0, deadline - time.monotonic()))[0]:
                raise SystemExit("the browser does not answer")
            piece = os.read(self.reading, 1 << 20)
            if not piece:
                raise SystemExit("the browser has ended")
            self.rest += piece
        message, _, self.rest = self.rest.partition(b"\0")
        return json.loads(message)

    def call(self, method, session=None, **parameters):
        self.calls += 1
        message = {"id": self.calls, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        os.write(self.writing, json.dumps(message).encode() + b"\0")
        deadline = time.monotonic() + PATIENCE
        while (answer := self.receive(deadline)).get("id") != self.calls:
            self.events.append(answer)
        if "error" in answer:
            raise SystemExit(f"{method}: {answer['error']}")
        return answer["result"]

    def open_window(self, url, width, height):
        target = self.call("Target.createTarget", url=url)["targetId"]
        session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self.call("Emulation.setDeviceMetricsOverride", session, width=width, height=height, deviceScaleFactor=1,
                  mobile=False)
        return session

    def open_page(self, url):
        target = self.call("Target.createTarget", url=url)["targetId"]
        session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        deadline = time.monotonic() + PATIENCE
        while self.evaluate(session, "document.readyState + ' ' + location.href") != f"complete {url}":
            if time.monotonic() > deadline:
                raise SystemExit(f"{url} does not open")
            time.sleep(0.05)
        return session

    def evaluate(self, session, expression):
        answer = self.call("Runtime.evaluate", session, expression=expression, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in answer:
            raise SystemExit(f"{expression[:60]}: {answer['exceptionDetails']}")
        return answer["result"].get("value")
