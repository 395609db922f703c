#!/usr/bin/env python3
"""Measures the relay beside other proxies on the same cores, and writes docs/benchmarks.md with a chart.

The proxy under test has core 0 to itself, the load and the provider share core 1; for latencies everything is on
core 0, as a wake-up between cores costs more than the proxies differ by. Every round measures all proxies one after
the other; figures are medians over the rounds. Processor time is the kernel's own count in nanoseconds
(/proc/PID/schedstat).
"""

import argparse
import contextlib
import datetime
import json
import os
import pathlib
import platform
import re
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "release"
LOAD = BUILD / "bin" / "ferrin-bench-load"
SAMPLE_PROVIDER = BUILD / "bin" / "ferrin-sample-provider"
RELAY = BUILD / "libexec" / "ferrin-relay" / "ferrin-third-party-proxy"
KEY = "sk-bench"
PROXY_CORE, LOAD_CORE = "0", "1"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_until_listening(port, process, limit=20.0):
    """Seconds until `port` accepts connections."""
    start = time.monotonic()
    while time.monotonic() - start < limit:
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) == 0:
                return time.monotonic() - start
        if process.poll() is not None:
            raise RuntimeError(f"{process.args} ended with status {process.returncode}")
        time.sleep(0.0002)
    raise RuntimeError(f"{process.args} does not listen")


def descendants(pid):
    children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    return [pid] + [each for child in children for each in descendants(int(child))]


def cpu_seconds(pid):
    total = 0
    for process in descendants(pid):
        for task in pathlib.Path(f"/proc/{process}/task").iterdir():
            total += int((task / "schedstat").read_text().split()[0])
    return total / 1e9


def resident_bytes(pid):
    pages = sum(int(pathlib.Path(f"/proc/{process}/statm").read_text().split()[1]) for process in descendants(pid))
    return pages * os.sysconf("SC_PAGESIZE")


def context_switches(pid):
    total = 0
    for process in descendants(pid):
        status = pathlib.Path(f"/proc/{process}/status").read_text()
        total += sum(int(count) for count in re.findall(r"ctxt_switches:\s+(\d+)", status))
    return total


class Provider:
    """Where a proxy forwards to: its port, and how it is to be verified if it speaks TLS."""

    def __init__(self, port, roots=None):
        self.port, self.roots = port, roots

    @property
    def url(self):
        return f"{'https' if self.roots else 'http'}://{'localhost' if self.roots else '127.0.0.1'}:{self.port}"


class Proxy:
    """One proxy as a process. Used in `with`; `port` is where it listens, `started` how long that took."""

    name = ""

    def __init__(self, folder, provider, core=PROXY_CORE):
        self.folder, self.provider, self.core = folder, provider, core
        self.port = free_port()

    def fill_in(self, template, **values):
        text = (ROOT / "bench" / "peers" / template).read_text()
        for name, value in {"PORT": self.port, "FOLDER": self.folder, **values}.items():
            text = text.replace(f"@{name}@", str(value))
        path = self.folder / f"{self.name}-{template}"
        path.write_text(text)
        return path

    def __enter__(self):
        output = open(self.folder / f"{self.name}.log", "ab")
        environment = dict(os.environ)
        if self.provider.roots:
            environment["SSL_CERT_FILE"] = str(self.provider.roots)
            environment["NODE_EXTRA_CA_CERTS"] = str(self.provider.roots)
        self.process = subprocess.Popen(["taskset", "-c", self.core, *map(str, self.command())], stdout=output,
                                        stderr=output, stdin=subprocess.DEVNULL, env=environment)
        self.started = wait_until_listening(self.port, self.process)
        time.sleep(0.15)
        return self

    def __exit__(self, *failure):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(6)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    @property
    def pid(self):
        return self.process.pid


class Relay(Proxy):
    name = "relay"

    def command(self):
        key = self.folder / "key"
        key.write_text(KEY + "\n")
        return [RELAY, "--host", "127.0.0.1", "--port", self.port, "--upstream", self.provider.url + "/v1",
                "--api-key-file", key, "--timeout", "600"]


class Nginx(Proxy):
    name = "nginx"

    def command(self):
        configuration = self.fill_in("nginx.conf", UPSTREAM=f"127.0.0.1:{self.provider.port}",
                                     SCHEME="https" if self.provider.roots else "http",
                                     ROOTS=self.provider.roots or "/etc/ssl/certs/ca-certificates.crt")
        return ["nginx", "-c", configuration]


class Haproxy(Proxy):
    name = "haproxy"

    def command(self):
        tls = f"ssl verify required ca-file {self.provider.roots} sni str(localhost)" if self.provider.roots else ""
        configuration = self.fill_in("haproxy.cfg", UPSTREAM=f"127.0.0.1:{self.provider.port}", SERVER_TLS=tls)
        return ["haproxy", "-db", "-f", configuration]


class Node(Proxy):
    name = "node"

    def command(self):
        return ["node", ROOT / "bench" / "peers" / "node-proxy.mjs", self.port, self.provider.url]


class Forwarder(Proxy):
    """No proxy at all: bytes from one socket to the other, by the fewest system calls. The limit for all of them."""

    name = "forwarder"

    def command(self):
        return [LOAD, "forward", self.port, self.provider.port]


PROXIES = [Relay, Nginx, Haproxy, Node]
WITH_LIMIT = [*PROXIES, Forwarder]


def run_load(core, *words, limit=60):
    done = subprocess.run(["taskset", "-c", core, LOAD, *map(str, words)], capture_output=True, text=True,
                          timeout=limit)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(map(str, words))}: {done.stderr.strip()}")
    return json.loads(done.stdout.splitlines()[-1])


@contextlib.contextmanager
def serving_provider():
    """The load tool as a provider on the load's core."""
    port = free_port()
    process = subprocess.Popen(["taskset", "-c", LOAD_CORE, LOAD, "serve", str(port)], stdout=subprocess.DEVNULL)
    try:
        wait_until_listening(port, process)
        yield Provider(port)
    finally:
        process.terminate()
        process.wait()


@contextlib.contextmanager
def tls_provider(folder, *options):
    """The sample provider behind TLS, with a certificate that the proxies are told to trust."""
    port, roots, key = free_port(), folder / "roots.pem", folder / "provider-key"
    key.write_text(KEY + "\n")
    process = subprocess.Popen(["taskset", "-c", LOAD_CORE, SAMPLE_PROVIDER, "--key-file", key, "--port", str(port),
                                "--prefix", "/v1", "--tls-self-made", roots, *options], stdout=subprocess.DEVNULL)
    try:
        wait_until_listening(port, process)
        yield Provider(port, roots)
    finally:
        process.terminate()
        process.wait()


class Results:
    """values[measure][proxy]: one number a round."""

    def __init__(self):
        self.values = {}

    def add(self, measure, proxy, value):
        self.values.setdefault(measure, {}).setdefault(proxy, []).append(value)
        print(f"  {measure:<44} {proxy:<8} {value:10.2f}", flush=True)

    def median(self, measure, proxy):
        found = self.values.get(measure, {}).get(proxy)
        return statistics.median(found) if found else None


def wrk(port, connections, seconds, path="/v1/small"):
    done = subprocess.run(["taskset", "-c", LOAD_CORE, "wrk", "-t1", f"-c{connections}", f"-d{seconds}s",
                           f"http://127.0.0.1:{port}{path}"], capture_output=True, text=True, timeout=60)
    if "Non-2xx" in done.stdout:
        raise RuntimeError(done.stdout)
    return int(re.search(r"(\d+) requests in", done.stdout).group(1))


def measure_requests(results, folder, seconds):
    with serving_provider() as provider:
        for connections in (32, 256):
            for kind in WITH_LIMIT:
                with kind(folder, provider) as proxy:
                    wrk(proxy.port, connections, 1)
                    before, start = cpu_seconds(proxy.pid), time.monotonic()
                    requests = wrk(proxy.port, connections, seconds)
                    used, took = cpu_seconds(proxy.pid) - before, time.monotonic() - start
                    results.add(f"CPU µs per request, {connections} connections", kind.name, used / requests * 1e6)
                    results.add(f"requests per second, {connections} connections", kind.name, requests / took)
            requests = wrk(provider.port, connections, seconds)
            results.add(f"requests per second, {connections} connections", "direct", requests / seconds)


def measure_latency(results, folder, requests):
    listen = free_port()
    direct = run_load(PROXY_CORE, "latency", listen, listen, requests)["p50"]
    results.add("latency µs, one connection, one core", "direct", direct)
    for kind in WITH_LIMIT:
        listen = free_port()
        with kind(folder, Provider(listen)) as proxy:
            run_load(PROXY_CORE, "latency", listen, proxy.port, requests // 10)
            p50 = run_load(PROXY_CORE, "latency", listen, proxy.port, requests)["p50"]
            results.add("latency added µs, one connection, one core", kind.name, p50 - direct)


def measure_streams(results, folder, seconds):
    for streams, interval in ((1, 1), (50, 10), (500, 50)):
        for kind in WITH_LIMIT:
            listen = free_port()
            with kind(folder, Provider(listen)) as proxy:
                before = cpu_seconds(proxy.pid)
                events = run_load(LOAD_CORE, "streams", listen, proxy.port, streams, interval, seconds)["count"]
                used = cpu_seconds(proxy.pid) - before
                results.add(f"CPU µs per event, {streams} streams", kind.name, used / events * 1e6)
    for streams, interval in ((1, 1), (50, 50)):
        listen = free_port()
        direct = run_load(PROXY_CORE, "streams", listen, listen, streams, interval, seconds)["p50"]
        results.add(f"event delay µs, {streams} streams, one core", "direct", direct)
        for kind in WITH_LIMIT:
            listen = free_port()
            with kind(folder, Provider(listen)) as proxy:
                p50 = run_load(PROXY_CORE, "streams", listen, proxy.port, streams, interval, seconds)["p50"]
                results.add(f"event delay added µs, {streams} streams, one core", kind.name, p50 - direct)


def measure_tls(results, folder):
    with tls_provider(folder, "--events", "200", "--interval-ms", "100") as provider:
        for kind in PROXIES:
            with kind(folder, provider) as proxy:
                load = subprocess.Popen([LOAD, "hold", str(proxy.port), "500", "5", "/v1/responses"],
                                        stdout=subprocess.DEVNULL)
                time.sleep(4)
                results.add("resident KiB, 500 streams over TLS", kind.name, resident_bytes(proxy.pid) / 1024)
                load.wait()
    with tls_provider(folder) as provider:
        for kind in PROXIES:
            with kind(folder, provider) as proxy:
                results.add("first request over TLS ms", kind.name, first_request_seconds(proxy.port) * 1000)


def first_request_seconds(port):
    start = time.monotonic()
    with socket.create_connection(("127.0.0.1", port)) as client:
        ask(client, port)
    return time.monotonic() - start


def ask(client, port):
    client.sendall(f"GET /v1/models HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n\r\n".encode())
    answer = client.recv(65536)
    if not answer.startswith(b"HTTP/1.1 200"):
        raise RuntimeError(answer[:200])


def measure_pauses(results, folder):
    """A request after a pause in which servers and the relay let idle connections go, and what spares the handshake."""
    def timed(client, port):
        start = time.monotonic()
        ask(client, port)
        return (time.monotonic() - start) * 1000

    with tls_provider(folder) as provider, Relay(folder, provider) as staying, Relay(folder, provider) as leaving:
        with socket.create_connection(("127.0.0.1", staying.port)) as client:
            results.add("request over TLS ms: the first, a whole handshake", "relay", timed(client, staying.port))
            first_request_seconds(leaving.port)
            time.sleep(22)
            results.add("request over TLS ms: after a pause, client stayed", "relay", timed(client, staying.port))
        results.add("request over TLS ms: after a pause, new client", "relay",
                    first_request_seconds(leaving.port) * 1000)


def measure_start(results, folder):
    provider = Provider(free_port())
    provider.roots = pathlib.Path("/etc/ssl/certs/ca-certificates.crt")
    for kind in PROXIES:
        with kind(folder, provider) as proxy:
            results.add("start to listening ms, with the system's roots", kind.name, proxy.started * 1000)
            results.add("resident KiB, idle", kind.name, resident_bytes(proxy.pid) / 1024)


def measure_idle(results, folder, seconds):
    with serving_provider() as provider, contextlib.ExitStack() as running:
        proxies = [running.enter_context(kind(folder, provider)) for kind in PROXIES]
        for proxy in proxies:
            wrk(proxy.port, 1, 1)
        time.sleep(25)  # until connections kept for another request have been let go
        before = [(cpu_seconds(proxy.pid), context_switches(proxy.pid)) for proxy in proxies]
        time.sleep(seconds)
        for proxy, (cpu, switches) in zip(proxies, before):
            results.add("idle: CPU µs", proxy.name, (cpu_seconds(proxy.pid) - cpu) * 1e6)
            results.add("idle: context switches", proxy.name, context_switches(proxy.pid) - switches)


def measure_sizes(results, folder):
    """What cost follows from: the number of open connections, and the size of a body."""
    with serving_provider() as provider:
        for kind in (Relay, Nginx):
            for size in (1024, 65536, 1 << 20, 64 << 20):
                with kind(folder, provider) as proxy:
                    before = cpu_seconds(proxy.pid)
                    count = wrk(proxy.port, 4, 2, f"/v1/bytes/{size}")
                    used = cpu_seconds(proxy.pid) - before
                    results.add(f"CPU µs per answer of {size} bytes", kind.name, used / max(count, 1) * 1e6)
            for connections in (1, 100, 1000):
                with kind(folder, provider) as proxy:
                    before = resident_bytes(proxy.pid)
                    load = subprocess.Popen([LOAD, "hold", str(proxy.port), str(connections), "2", "/v1/small"],
                                            stdout=subprocess.DEVNULL)
                    time.sleep(1.5)
                    grown = (resident_bytes(proxy.pid) - before) / 1024
                    load.wait()
                    results.add(f"KiB more with {connections} idle connections", kind.name, grown)


TARGETS = [  # measure, against what, ratio to reach, whether a higher figure is the better one
    ("CPU µs per request, 32 connections", "nginx", 0.70, False),
    ("CPU µs per request, 256 connections", "nginx", 0.70, False),
    ("requests per second, 32 connections", "nginx", 1.25, True),
    ("requests per second, 256 connections", "nginx", 1.25, True),
    ("latency added µs, one connection, one core", "nginx", 0.65, False),
    ("CPU µs per event, 1 streams", "nginx", 0.80, False),
    ("CPU µs per event, 50 streams", "nginx", 0.80, False),
    ("CPU µs per event, 500 streams", "nginx", 0.80, False),
    ("event delay added µs, 1 streams, one core", "nginx", 0.80, False),
    ("event delay added µs, 50 streams, one core", "nginx", 0.80, False),
    ("resident KiB, 500 streams over TLS", "nginx", 0.60, False),
    ("start to listening ms, with the system's roots", "nginx", 0.60, False),
    ("first request over TLS ms", "nginx", 1.00, False),
]


def version_of(command, pattern):
    done = subprocess.run(command, capture_output=True, text=True)
    found = re.search(pattern, done.stdout + done.stderr)
    return found.group(1) if found else "?"


def machine():
    model = re.search(r"model name\s*:\s*(.+)", pathlib.Path("/proc/cpuinfo").read_text())
    versions = ", ".join(f"{name} {version_of([name, flag], pattern)}" for name, flag, pattern in (
        ("nginx", "-v", r"nginx/(\S+)"), ("haproxy", "-v", r"version (\S+)"), ("node", "--version", r"v(\S+)")))
    name = model.group(1) if model else platform.machine()
    return f"{name}, {os.cpu_count()} cores, Linux {platform.release()}; {versions}"


def report(results, rounds):
    lines = ["# Benchmarks", "", f"Made by `./bench/run` on {datetime.date.today().isoformat()}: {machine()}.",
             f"Medians of {rounds} rounds in which the proxies took turns. See [bench/bench.py](../bench/bench.py) for how.",
             "", "`forwarder` is no proxy: it passes bytes on with the fewest system calls, and so shows the limit.", "",
             "| measure | relay | nginx | ratio | to reach | reached | forwarder / nginx |", "|---|---|---|---|---|---|---|"]
    ratios = []
    for measure, peer, wanted, higher in TARGETS:
        own, other = results.median(measure, "relay"), results.median(measure, peer)
        ratio = own / other
        reached = ratio >= wanted if higher else ratio <= wanted
        ratios.append((measure, ratio, wanted))
        least = results.median(measure, "forwarder")
        limit = "" if least is None else f"{least / other:.2f}"
        lines.append(f"| {measure} | {own:.2f} | {other:.2f} | {ratio:.2f} | {'≥' if higher else '≤'} {wanted:.2f} | "
                     f"{'yes' if reached else 'no'} | {limit} |")
    for measure in ("idle: CPU µs", "idle: context switches"):
        own = results.median(measure, "relay")
        lines.append(f"| {measure}, 30 s | {own:.0f} | {results.median(measure, 'nginx'):.0f} | | 0 | "
                     f"{'yes' if own == 0 else 'no'} | |")
    names = ["relay", "nginx", "haproxy", "node", "forwarder", "direct"]
    lines += ["", "## All figures", "", "| measure | " + " | ".join(names) + " |", "|---" * (len(names) + 1) + "|"]
    for measure in results.values:
        cells = [results.median(measure, name) for name in names]
        lines.append(f"| {measure} | " + " | ".join("" if cell is None else f"{cell:.2f}" for cell in cells) + " |")
    lines += ["", (ROOT / "bench" / "notes.md").read_text().rstrip(), "", "![The relay against nginx, by measure](benchmarks.svg)", ""]
    return "\n".join(lines), ratios


def draw(ratios, folder, target):
    data = folder / "ratios.dat"
    data.write_text("".join(f'"{measure}" {ratio:.3f} {wanted:.3f}\n' for measure, ratio, wanted in ratios))
    script = f"""
set terminal svg size 900,520 font 'sans-serif,12' background rgb 'white'
set output '{target}'
set title 'The relay against nginx (1.0): ratio, and what is to be reached'
set style fill solid 0.8 noborder
set xrange [0:2]
set yrange [-1:{len(ratios)}] reverse
set grid xtics lc rgb '#dddddd'
set lmargin 46
set key bottom right
plot '{data}' using ($2/2):0:($2/2):(0.35):yticlabels(1) with boxxyerror lc rgb '#3b7dd8' title 'relay / nginx', \\
     '{data}' using 3:0 with points pt 7 ps 0.8 lc rgb '#d8503b' title 'to reach'
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=int, default=2, help="of load per proxy and measure")
    parser.add_argument("--only", help="a part of the name of the measurement to make, printed and not written")
    given = parser.parse_args()
    results = Results()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="ferrin-bench-"))
    every_round = {"requests": lambda: measure_requests(results, folder, given.seconds),
                   "latency": lambda: measure_latency(results, folder, 4000),
                   "streams": lambda: measure_streams(results, folder, (given.seconds + 1) // 2),
                   "start": lambda: measure_start(results, folder),
                   "tls": lambda: measure_tls(results, folder)}
    once = {"pauses": lambda: measure_pauses(results, folder), "sizes": lambda: measure_sizes(results, folder),
            "idle": lambda: measure_idle(results, folder, 30)}
    try:
        for number in range(1, given.rounds + 1):
            print(f"Round {number} of {given.rounds}", flush=True)
            for name, measurement in every_round.items():
                if not given.only or given.only in name:
                    measurement()
        for name, measurement in once.items():
            if not given.only or given.only in name:
                measurement()
        if not given.only:
            text, ratios = report(results, given.rounds)
            (ROOT / "docs" / "benchmarks.md").write_text(text)
            draw(ratios, folder, ROOT / "docs" / "benchmarks.svg")
            print(text)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
