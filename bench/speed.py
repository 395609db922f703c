"""Processor time, rates and delays of requests and events."""

import time

from goals import counted
from load import Load, run_load, serving_provider, wrk
from processes import cpu_seconds, resident_bytes
from proxies import PROXY_CORE, Provider, WITH_LIMIT, taking_turns

# Below saturation: there a quicker proxy finds fewer events at each wait and looks dearer.
REQUEST_LOADS = ((1, 1000), (32, 10000), (256, 10000))  # connections, requests per second
EVENT_LOADS = ((1, 1), (50, 10), (500, 50))  # streams, milliseconds between two events of one
KEEPS_UP = 0.98
DEFERRED = 0.15  # seconds; a proxy's later work, its log above all, belongs to the run that caused it


def cost(proxy, load, milliseconds):
    """Processor time of one run in seconds, and what the load counted."""
    before = cpu_seconds(proxy.pid)
    outcome = load.run(milliseconds)
    time.sleep(DEFERRED)
    return cpu_seconds(proxy.pid) - before, outcome


def both_ways(certificate):
    return ((None, ""), (certificate, " over TLS"))


def measure_requests(results, folder, certificate, seconds, turn):
    for tls, way in both_ways(certificate):
        for connections, rate in REQUEST_LOADS:
            measure = f"CPU µs per request{way}, {counted(connections, 'connection')}"
            for kind in taking_turns(WITH_LIMIT, turn):
                provider = Provider(tls and tls.roots)
                with kind(folder, provider) as proxy, Load("requests", provider.port, proxy.port, connections, rate,
                                                           tls and tls.pem) as load:
                    used, outcome = cost(proxy, load, seconds * 1000)
                results.add(measure, kind.name, used / outcome["count"] * 1e6)
                if outcome["count"] < KEEPS_UP * outcome["due"]:
                    results.fell_behind(measure, kind.name, outcome["count"] / seconds)


def measure_events(results, folder, certificate, seconds, turn):
    for tls, way in both_ways(certificate):
        for streams, interval in EVENT_LOADS:
            for kind in taking_turns(WITH_LIMIT, turn):
                provider = Provider(tls and tls.roots)
                with kind(folder, provider) as proxy, Load("streams", provider.port, proxy.port, streams, interval,
                                                           tls and tls.pem) as load:
                    used, outcome = cost(proxy, load, seconds * 1000)
                    memory = resident_bytes(proxy.pid)
                results.add(f"CPU µs per event{way}, {counted(streams, 'stream')}", kind.name,
                            used / outcome["count"] * 1e6)
                if streams == 500 and kind.name != "forwarder":
                    results.add(f"resident KiB{way}, 500 streams", kind.name, memory / 1024)


def measure_saturation(results, folder, seconds, turn):
    with serving_provider() as provider:
        for connections in (32, 256):
            measure = f"requests per second, {counted(connections, 'connection')}"
            for kind in taking_turns(WITH_LIMIT, turn):
                with kind(folder, provider) as proxy:
                    wrk(proxy.port, connections, 1)
                    start = time.monotonic()
                    requests = wrk(proxy.port, connections, seconds)
                    results.add(measure, kind.name, requests / (time.monotonic() - start))
            results.add(measure, "direct", wrk(provider.port, connections, seconds) / seconds)


def measure_latency(results, folder, requests, turn):
    provider = Provider()
    direct = run_load(PROXY_CORE, "latency", provider.port, provider.port, requests)["p50"]
    results.add("latency µs, one connection, one core", "direct", direct)
    for kind in taking_turns(WITH_LIMIT, turn):
        provider = Provider()
        with kind(folder, provider) as proxy:
            run_load(PROXY_CORE, "latency", provider.port, proxy.port, requests // 10)
            p50 = run_load(PROXY_CORE, "latency", provider.port, proxy.port, requests)["p50"]
            results.add("latency added µs, one connection, one core", kind.name, p50 - direct)


def measure_delays(results, folder, seconds, turn):
    for streams, interval in ((1, 1), (50, 50)):
        provider = Provider()
        with Load("streams", provider.port, provider.port, streams, interval, core=PROXY_CORE) as load:
            direct = load.run(seconds * 1000)["p50"]
        results.add(f"event delay µs, {counted(streams, 'stream')}, one core", "direct", direct)
        for kind in taking_turns(WITH_LIMIT, turn):
            provider = Provider()
            with kind(folder, provider) as proxy, Load("streams", provider.port, proxy.port, streams, interval,
                                                       core=PROXY_CORE) as load:
                p50 = load.run(seconds * 1000)["p50"]
            results.add(f"event delay added µs, {counted(streams, 'stream')}, one core", kind.name, p50 - direct)
