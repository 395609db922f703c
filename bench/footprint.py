"""Memory, starts, first requests, idling, and what cost follows from."""

import contextlib
import pathlib
import socket
import subprocess
import time

from load import serving_provider, tls_provider, wrk
from processes import context_switches, cpu_seconds, free_port, resident_bytes
from proxies import LOAD, Nginx, PROXIES, Provider, Relay


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
