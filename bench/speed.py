"""Processor time, rates and delays of requests and events."""

import contextlib
import time

from goals import counted
from load import Load, run_load, serving_provider, wrk
from processes import cpu_seconds, resident_bytes
from proxies import PROXY_CORE, Provider, WITH_LIMIT, taking_turns

# Below saturation: there a quicker proxy finds fewer events at each wait and looks dearer.
REQUEST_LOADS = ((1, 1000), (32, 10000), (256, 10000))  # connections, requests per second
EVENT_LOADS = ((1, 1), (50, 10), (500, 50))  # streams, milliseconds between two events of one
KEEPS_UP = 0.98
SLICES = 10  # of each load
DEFERRED = 0.15  # seconds; a proxy's later work, its log above all, belongs to the load that caused it


@contextlib.contextmanager
def all_running(folder, tls, turn, *load_words):
    """Every proxy with a load of its own: (kind, proxy, load) each."""
    with contextlib.ExitStack() as stack:
        running = []
        for kind in taking_turns(WITH_LIMIT, turn):
            provider = Provider(tls and tls.roots)
            proxy = stack.enter_context(kind(folder, provider))
            words = (load_words[0], provider.port, proxy.port, *load_words[1:], tls and tls.pem)
            running.append((kind, proxy, stack.enter_context(Load(*words))))
        yield running


def costs(running, seconds):
    """Of each: processor time in seconds, how much its load counted, and how much was due, if there is a rate.

    The load goes from one to the next in slices, so that what else happens on the machine meets all alike.
    """
    before = [cpu_seconds(proxy.pid) for _, proxy, _ in running]
    outcomes = [[] for _ in running]
    for number in range(SLICES):
        for index in taking_turns(list(range(len(running))), number):
            outcomes[index].append(running[index][2].run(seconds * 1000 // SLICES))
    time.sleep(DEFERRED)
    used = [cpu_seconds(proxy.pid) - start for start, (_, proxy, _) in zip(before, running)]
    counts, due = ([sum(run.get(word, 0) for run in runs) for runs in outcomes] for word in ("count", "due"))
    return list(zip(used, counts, due))


def both_ways(certificate):
    return ((None, ""), (certificate, " over TLS"))


def measure_requests(results, folder, certificate, seconds, turn):
    for tls, way in both_ways(certificate):
        for connections, rate in REQUEST_LOADS:
            measure = f"CPU µs per request{way}, {counted(connections, 'connection')}"
            with all_running(folder, tls, turn, "requests", connections, rate) as running:
                for (kind, *_), (used, count, due) in zip(running, costs(running, seconds)):
                    results.add(measure, kind.name, used / count * 1e6)
                    if count < KEEPS_UP * due:
                        results.fell_behind(measure, kind.name, count / seconds)


def measure_events(results, folder, certificate, seconds, turn):
    for tls, way in both_ways(certificate):
        for streams, interval in EVENT_LOADS:
            with all_running(folder, tls, turn, "streams", streams, interval) as running:
                for (kind, proxy, _), (used, count, _) in zip(running, costs(running, seconds)):
                    results.add(f"CPU µs per event{way}, {counted(streams, 'stream')}", kind.name, used / count * 1e6)
                    if streams == 500 and kind.name != "forwarder":
                        results.add(f"resident KiB{way}, 500 streams", kind.name, resident_bytes(proxy.pid) / 1024)


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
