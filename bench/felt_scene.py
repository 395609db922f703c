"""felt_scene.py runit|systemd: applies the relay for the first time, applies it again at rest and with streams running,
and stops it, as a fresh user whose port is probed all the while. The last line printed has the milliseconds, as JSON.
"""

import contextlib
import http.client
import json
import os
import pathlib
import socket
import subprocess
import sys
import threading
import time

PORT, STREAMS = 8787, 10
# Seconds. Nobody applies again within a second of a start; runsv would then wait a second itself.
INTERVAL, SETTLED, PATIENCE = 0.005, 1.2, 20.0
STAGE = pathlib.Path(__file__).parent
PROGRAMS = STAGE / "bin"
HOME = pathlib.Path(os.environ["HOME"])


def health():
    """What the relay says about itself; None while it does not answer."""
    try:
        with contextlib.closing(http.client.HTTPConnection("127.0.0.1", PORT, timeout=0.25)) as client:
            client.request("GET", "/healthz")
            answer = client.getresponse()
            return json.loads(answer.read()) if answer.status == 200 else None
    except (OSError, http.client.HTTPException):
        return None


class Prober(threading.Thread):
    """Probes the port at every interval, until it is closed."""

    def __init__(self):
        super().__init__(daemon=True)
        self.probes = []  # when each began, and whether it was answered
        self.ended = threading.Event()
        self.start()

    def run(self):
        due = time.monotonic()
        while not self.ended.wait(max(0.0, due - time.monotonic())):
            began = time.monotonic()
            self.probes.append((began, health() is not None))
            due = max(due + INTERVAL, time.monotonic())

    def await_steady(self, answers=True):
        """Returns once all probes of a while had that outcome."""
        def steady():
            recent = [answered == answers for began, answered in list(self.probes) if began > time.monotonic() - SETTLED]
            return len(recent) > 5 and all(recent)
        begun = time.monotonic()
        time.sleep(SETTLED)
        await_that(steady, f"the port {'answers' if answers else 'is silent'}", begun)

    def first_answer_since(self, start):
        return next(began for began, answered in list(self.probes) if began > start and answered)

    def silent_since(self, start):
        """Seconds without an answer: from each first probe that failed to the next that was answered."""
        total, failed = 0.0, None
        for began, answered in [probe for probe in list(self.probes) if probe[0] > start]:
            if not answered and failed is None:
                failed = began
            elif answered and failed is not None:
                total, failed = total + began - failed, None
        return total


def await_that(condition, what, begun=None):
    begun = begun or time.monotonic()
    while not condition():
        if time.monotonic() - begun > PATIENCE:
            raise RuntimeError(f"waited in vain: {what}")
        time.sleep(0.01)


@contextlib.contextmanager
def running(*command):
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
        try:
            yield process
        finally:
            process.kill()


@contextlib.contextmanager
def streams():
    with running(PROGRAMS / "ferrin-bench-load", "hold", str(PORT), str(STREAMS), "60", "/v1/stream"):
        await_that(lambda: (health() or {}).get("requests_in_flight", 0) >= STREAMS, "the streams run")
        yield


def timed(program, *arguments):
    """When it was started, and how long it took."""
    start = time.monotonic()
    subprocess.run([PROGRAMS / program, *arguments], check=True, stdout=subprocess.DEVNULL, timeout=30)
    return start, time.monotonic() - start


def save_provider(port):
    secrets = HOME / ".ferrin" / "secrets"
    secrets.mkdir(parents=True, mode=0o700)
    (secrets / "openai-proxy-upstream.url").write_text(f"http://127.0.0.1:{port}/v1")
    (secrets / "openai-proxy-upstream.token").write_text("sk-bench")


def reapplied(prober):
    start, _ = timed("ferrin-relay", "--apply-reference-config")
    prober.await_steady()
    return prober.silent_since(start)


def play():
    """Seconds by measure, under the names that goals.py knows."""
    felt, prober = {}, Prober()
    start, _ = timed("ferrin-relay", "--apply-reference-config")
    prober.await_steady()
    felt["first apply to first answer"] = prober.first_answer_since(start) - start
    felt["port silent, re-apply at rest"] = reapplied(prober)
    with streams():
        felt["port silent, re-apply with 10 streams"] = reapplied(prober)
    with streams():
        _, felt["stop with 10 streams"] = timed("ferrin-bench-stop")
        prober.await_steady(answers=False)
    prober.ended.set()
    return felt


@contextlib.contextmanager
def systemd():
    listening = pathlib.Path(os.environ["XDG_RUNTIME_DIR"], "systemd", "private")
    with running("/lib/systemd/systemd", "--user"):
        await_that(listening.exists, "systemd --user listens")
        yield


def main():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    save_provider(port)
    manager = systemd() if sys.argv[1] == "systemd" else contextlib.nullcontext()
    with manager, running(PROGRAMS / "ferrin-bench-load", "serve", str(port)):
        felt = play()
    print(json.dumps({measure: seconds * 1000 for measure, seconds in felt.items()}))


if __name__ == "__main__":
    main()
