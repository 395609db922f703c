"""Processor time, rates and delays of requests and events."""

import time

from load import run_load, serving_provider, wrk
from processes import cpu_seconds, free_port
from proxies import LOAD_CORE, PROXY_CORE, Provider, WITH_LIMIT


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
