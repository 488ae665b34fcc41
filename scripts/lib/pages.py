"""What `zephlon web` and its page cost beside others of their kind, for scripts/bench."""
import time

from browser import Browser
from peers import Glances, Netdata, ask_every_second
from programs import Helper, Web

SETTLING = 15  # seconds
PAGES = 10


def cost(program, seconds, turn=lambda: None):
    """Percent of a processor while `turn` is done once a second, and MiB PSS."""
    begin, cpu = time.monotonic(), program.cpu_seconds()
    for second in range(1, seconds + 1):
        turn()
        time.sleep(max(0, begin + second - time.monotonic()))
    return {"cpu_percent": (program.cpu_seconds() - cpu) / (time.monotonic() - begin) * 100,
            "pss_mib": program.pss_kib() / 1024}


def page_cost(url, seconds):
    """Of a browser with the page in its only window, less one with an empty page; when its first picture was there."""
    with Browser() as browser:
        session = browser.open_window("about:blank", 1280, 800)
        time.sleep(SETTLING)
        empty = cost(browser, seconds)
        browser.call("Page.navigate", session, url=url)
        time.sleep(SETTLING)
        page = cost(browser, seconds)
        first = browser.evaluate(session, "performance.getEntriesByName('first-picture')[0]?.startTime ?? "
                                          "performance.getEntriesByName('first-contentful-paint')[0]?.startTime ?? -1")
    return {"cpu_percent": page["cpu_percent"] - empty["cpu_percent"], "pss_mib": page["pss_mib"] - empty["pss_mib"],
            "first_picture_ms": first}


def compare(seconds):
    results = {"servers": {}, "pages": {}}
    with Helper() as helper, Web(helper) as web:
        time.sleep(SETTLING)
        results["servers"]["zephlon web, no page"] = cost(web, seconds)
        for count in (1, PAGES):
            def ask(count=count):
                for _ in range(count):
                    web.exchange("/api/now")
            results["servers"][f"zephlon web, asked as by {count}"] = cost(web, seconds, ask)
        results["pages"]["zephlon web"] = page_cost(web.url, seconds)
    for kind in (Glances, Netdata):
        with kind() as program:
            ask_every_second(program, SETTLING)
            results["servers"][f"{kind.name}, asked"] = cost(program, seconds, program.exchange)
            if kind is Netdata:  # Debian's glances has no page
                results["pages"]["netdata"] = page_cost(f"http://127.0.0.1:{program.port}/", seconds)
    return results


def print_table(results):
    for name, row in results["servers"].items():
        print(f"{name:30} {row['cpu_percent']:8.3f} % CPU {row['pss_mib']:8.2f} MiB PSS")
    for name, row in results["pages"].items():
        print(f"page of {name:22} {row['cpu_percent']:8.2f} % CPU {row['pss_mib']:8.1f} MiB PSS in the browser, "
              f"first picture after {row['first_picture_ms']:.0f} ms")
    ours, theirs = (results["pages"][name]["cpu_percent"] for name in ("zephlon web", "netdata"))
    print(f"{'met' if ours <= theirs / 2 else 'MISSED':7} the page's CPU is {ours / theirs:.2f} of netdata's, at most 0.5")
