#!/usr/bin/env python3
"""Whether web pages reach the provider through the relay: browser.py RELAY CHROMIUM

A page tries everything that a page can send, once as a foreign site and once as one of this computer, to the relay by
its address, its name, and a name that was bound to its address. All of it must arrive, be refused and be unreadable.
"""

import http.server
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

RELAY, CHROMIUM = sys.argv[1:]
HOSTS = ["127.0.0.1", "localhost", "rebound.example"]
PAGES = ["foreign.example", "127.0.0.1"]
PAGE = """<!doctype html><body><script>
const [hosts, port, site, next] = @SETTING@;
const read = [];
const tag = (name, attributes) => document.body.append(Object.assign(document.createElement(name), attributes));
const request = (name, url, options) =>
  fetch(url, options).then((answer) => { if (answer.type !== 'opaque') read.push(name); }, () => {});
const form = (action) => {
  tag('iframe', { name: action });
  tag('form', { action, target: action, method: 'post' });
  document.querySelector('form:last-of-type').submit();
};
const ways = {
  nocors: (url) => request('nocors', url, { mode: 'no-cors' }),
  plain: (url) => request('plain', url, { method: 'POST', mode: 'no-cors', body: '{}' }),
  cors: (url) => request('cors', url),
  asked: (url) => request('asked', url, { method: 'POST', headers: { 'X-Api-Key': 'k' }, body: '{}' }),
  beacon: (url) => navigator.sendBeacon(url, '{}'),
  image: (src) => tag('img', { src }),
  script: (src) => tag('script', { src }),
  style: (href) => tag('link', { href, rel: 'stylesheet' }),
  frame: (src) => tag('iframe', { src }),
  form,
  events: (url) => new EventSource(url),
  socket: (url) => new WebSocket(url.replace('http', 'ws')),
};
for (const host of hosts)
  for (const [name, way] of Object.entries(ways)) way(`http://${host}:${port}/v1/${site}/${host}/${name}`);
onload = async () => {
  await fetch('/settled');
  await fetch('/done', { method: 'POST', body: JSON.stringify(read) });
  location = next;
};
</script>"""
WAYS = re.findall(r"^  (\w+)[:,]", PAGE, re.MULTILINE)


class Site(http.server.BaseHTTPRequestHandler):
    """The attacker's: the page, and what the page could read of the relay's answers."""

    def do_GET(self):
        host = self.headers["Host"].rpartition(":")[0]
        if self.path == "/settled":  # is answered when the relay has had all that this page sends
            wait_for(lambda: all(each in self.server.told() for each in attempts(host)), 20)
        body = self.server.page(host).encode()
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(body)

    def do_POST(self):
        self.server.read.append(self.rfile.read(int(self.headers["Content-Length"])).decode())
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


def attempts(page):
    return [f"/v1/{page}/{host}/{way} 403" for host in HOSTS for way in WAYS]


def started_relay(folder, provider):
    (folder / "key").write_text("sk-browser")
    log = folder / "relay.log"
    command = [RELAY, "--host", "127.0.0.1", "--port", "0", "--api-key-file", folder / "key", "--timeout", "2",
               "--upstream", f"http://127.0.0.1:{provider.getsockname()[1]}"]
    process = subprocess.Popen(command, stdout=open(log, "wb"))
    wait_for(lambda: "forwarding to" in log.read_text() or process.poll() is not None)
    return process, log, int(re.search(r":(\d+)/v1, forwarding", log.read_text())[1])


def wait_for(condition, limit=60):
    end = time.monotonic() + limit
    while not condition() and time.monotonic() < end:
        time.sleep(0.02)


def browse(folder, port, done):
    names = ", ".join(f"MAP {name} 127.0.0.1" for name in ("foreign.example", "rebound.example"))
    browser = subprocess.Popen(
        [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync", "--remote-debugging-port=0",
         f"--user-data-dir={folder / 'profile'}", f"--host-resolver-rules={names}", f"http://{PAGES[0]}:{port}/"],
        stdout=subprocess.DEVNULL, stderr=open(folder / "browser.log", "wb"), start_new_session=True)
    wait_for(lambda: done() or browser.poll() is not None)
    os.killpg(browser.pid, signal.SIGKILL)  # Debian's program is a script that waits for the browser
    browser.wait()


def main(folder):
    provider = socket.create_server(("127.0.0.1", 0))
    relay, log, relay_port = started_relay(folder, provider)
    site = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Site)
    port = site.server_address[1]
    last = f"http://127.0.0.1:{relay_port}/v1/navigation"
    following = {PAGES[0]: f"http://{PAGES[1]}:{port}/", PAGES[1]: last}
    site.read, site.told = [], log.read_text
    site.page = lambda host: PAGE.replace("@SETTING@", str([HOSTS, relay_port, host, following.get(host, last)]))
    threading.Thread(target=site.serve_forever, daemon=True).start()
    browse(folder, port, lambda: "/v1/navigation" in log.read_text())
    relay.terminate()
    relay.wait(20)
    told = log.read_text()
    failures = [f"not refused: {line}" for line in told.splitlines() if "/v1/" in line and "403" not in line
                and "forwarding" not in line]
    expected = [*attempts(PAGES[0]), *attempts(PAGES[1]), "/v1/navigation 403"]
    failures += [f"never came: {each}" for each in expected if each not in told]
    if site.read != ["[]", "[]"]:
        failures.append(f"read by the page: {site.read}")
    provider.setblocking(False)
    try:
        provider.accept()
        failures.append("the provider was asked")
    except BlockingIOError:
        pass
    print(*failures, f"{len(expected)} attempts", sep="\n")
    if failures:
        print(told, (folder / "browser.log").read_text()[-2000:])
    return 1 if failures else 0


with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as temporary:
    sys.exit(main(pathlib.Path(temporary)))
