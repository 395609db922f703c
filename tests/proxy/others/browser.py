#!/usr/bin/env python3
"""Whether web pages reach the provider through the relay: browser.py CHROMIUM

A page tries everything that a page can send, once as a foreign site and once as one of this computer, to the relay by
its address, its name, and a name that was bound to its address. All of it must arrive, be refused and be unreadable.
"""

import http.server
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading

from peers import Relay, Upstream, eventually
from tables import filled

CHROMIUM = sys.argv[1]
HOSTS = ["127.0.0.1", "localhost", "rebound.example"]
PAGES = ["foreign.example", "127.0.0.1"]
PAGE = (pathlib.Path(__file__).parent / "browser.html").read_text()
WAYS = re.findall(r"^  (\w+)[:,]", PAGE, re.MULTILINE)


class Site(http.server.BaseHTTPRequestHandler):
    """The attacker's: the page, and what the page could read of the relay's answers."""

    def do_GET(self):
        host = self.headers["Host"].rpartition(":")[0]
        if self.path == "/settled":  # is answered when the relay has had all that this page sends
            eventually(lambda: all(each in self.server.relay.log() for each in attempts(host)))
        last = f"http://{PAGES[1]}:{self.server.relay.port}/v1/navigation"
        next_page = last if host == PAGES[1] else f"http://{PAGES[1]}:{self.server.server_port}/"
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(filled(PAGE, SETTING=[HOSTS, self.server.relay.port, host, next_page]).encode())

    def do_POST(self):
        self.server.read.append(self.rfile.read(int(self.headers["Content-Length"])).decode())
        self.send_response(204)
        self.end_headers()


def attempts(page):
    return [f"/v1/{page}/{host}/{way} 403" for host in HOSTS for way in WAYS]


def browse(folder, port, done):
    names = ", ".join(f"MAP {name} 127.0.0.1" for name in ("foreign.example", "rebound.example"))
    browser = subprocess.Popen(
        [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync", "--remote-debugging-port=0",
         f"--user-data-dir={folder}/profile", f"--host-resolver-rules={names}", f"http://{PAGES[0]}:{port}/"],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    eventually(lambda: done() or browser.poll() is not None, 60)
    os.killpg(browser.pid, signal.SIGKILL)  # Debian's program is a script that waits for the browser
    browser.wait()


def main(folder):
    provider, site = Upstream(), http.server.ThreadingHTTPServer(("127.0.0.1", 0), Site)
    site.read, site.relay = [], Relay(provider.url, timeout=2)
    threading.Thread(target=site.serve_forever, daemon=True).start()
    browse(folder, site.server_port, lambda: "/v1/navigation" in site.relay.log())
    site.relay.stop()
    told = site.relay.log()
    expected = [*attempts(PAGES[0]), *attempts(PAGES[1]), "/v1/navigation 403"]
    failures = [f"not refused: {line}" for line in re.findall(r"^.* /v1/(?!.* 403 ).*", told, re.MULTILINE)]
    failures += [f"never came: {each}" for each in expected if each not in told]
    failures += [f"read by the page: {each}" for each in site.read if each != "[]"]
    failures += [] if provider.silent(0) and len(site.read) == 2 else ["the provider was asked, or a page not shown"]
    print(*failures, f"{len(expected)} attempts", told if failures else "", sep="\n")
    return 1 if failures else 0


with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as temporary:
    sys.exit(main(temporary))
