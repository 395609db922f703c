"""Starts, first requests, idling, and what cost and memory follow from."""

import contextlib
import pathlib
import subprocess
import time

from load import answered, client_of, serving_provider, wrk
from processes import context_switches, cpu_seconds, resident_bytes
from proxies import LOAD, Nginx, PROXIES, Provider, Relay, taking_turns


def timed_answer(client):
    start = time.monotonic()
    answered(client)
    return (time.monotonic() - start) * 1000


def measure_first_request(results, folder, certificate, turn):
    with serving_provider(certificate) as provider:
        for kind in taking_turns(PROXIES, turn):
            with kind(folder, provider) as proxy, client_of(proxy.port) as client:
                results.add("first request over TLS ms", kind.name, timed_answer(client))


def measure_pauses(results, folder, certificate):
    """A request after a pause in which servers and the relay let idle connections go, and what spares the handshake."""
    with (serving_provider(certificate) as provider, Relay(folder, provider) as relay,
          client_of(relay.port) as client):
        results.add("request over TLS ms: the first, a whole handshake", "relay", timed_answer(client))
        results.add("request over TLS ms: the second, on the same connection", "relay", timed_answer(client))
        answered(client, "/v1/once")
        results.add("request over TLS ms: on a new connection, resumed", "relay", timed_answer(client))


def measure_start(results, folder, turn):
    provider = Provider(pathlib.Path("/etc/ssl/certs/ca-certificates.crt"))
    for kind in taking_turns(PROXIES, turn):
        with kind(folder, provider) as proxy:
            results.add("start to listening ms, with the system's roots", kind.name, proxy.started * 1000)
            results.add("resident KiB, idle", kind.name, resident_bytes(proxy.pid) / 1024)


def measure_idle(results, folder, seconds):
    with serving_provider() as provider, contextlib.ExitStack() as running:
        proxies = [running.enter_context(kind(folder, provider)) for kind in PROXIES]
        for proxy in proxies:
            wrk(proxy.port, 1, 1)
        time.sleep(55)  # until connections kept for another request have been let go: the relay keeps its own for 50 s
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
                    results.add(f"KiB more with {connections} idle connections", kind.name, growth(proxy, connections))


def growth(proxy, connections):
    before = resident_bytes(proxy.pid)
    load = subprocess.Popen([LOAD, "hold", str(proxy.port), str(connections), "2", "/v1/small"],
                            stdout=subprocess.DEVNULL)
    time.sleep(1.5)
    grown = (resident_bytes(proxy.pid) - before) / 1024
    load.wait()
    return grown
