"""What asks the proxies, and what answers them."""

import contextlib
import json
import re
import subprocess

from processes import free_port, wait_until_listening
from proxies import BUILD, KEY, LOAD, LOAD_CORE, Provider

SAMPLE_PROVIDER = BUILD / "bin" / "ferrin-sample-provider"


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


def wrk(port, connections, seconds, path="/v1/small"):
    done = subprocess.run(["taskset", "-c", LOAD_CORE, "wrk", "-t1", f"-c{connections}", f"-d{seconds}s",
                           f"http://127.0.0.1:{port}{path}"], capture_output=True, text=True, timeout=60)
    if "Non-2xx" in done.stdout:
        raise RuntimeError(done.stdout)
    return int(re.search(r"(\d+) requests in", done.stdout).group(1))
