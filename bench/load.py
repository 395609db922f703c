"""What asks the proxies, and what answers them."""

import contextlib
import http.client
import json
import re
import subprocess

from processes import pinned, wait_until_listening
from proxies import LOAD, LOAD_CORE, Provider


class Certificate:
    """A self-signed one for `name`: `pem` holds it with its key, `roots` is what it is verified by."""

    def __init__(self, folder, name="localhost", file="provider"):
        self.roots, self.pem, key = (folder / f"{file}-{part}.pem" for part in ("roots", "pair", "key"))
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-keyout", key, "-out", self.roots, "-days", "2", "-subj", f"/CN={name}",
                        "-addext", f"subjectAltName=DNS:{name}"], check=True, capture_output=True)
        self.pem.write_text(self.roots.read_text() + key.read_text())


def on_core(core, *words, ahead=False):
    return [*pinned(core, ahead), str(LOAD), *map(str, filter(None, words))]


def run_load(core, *words, limit=60):
    done = subprocess.run(on_core(core, *words), capture_output=True, text=True, timeout=limit)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(map(str, words))}: {done.stderr.strip()}")
    return json.loads(done.stdout.splitlines()[-1])


class Load:
    """The load tool around one proxy, as its clients and its provider: it runs when it is told to, for as long. It is
    started at once; `with` waits until it is ready."""

    def __init__(self, *words, core=LOAD_CORE, ahead=False):
        self.command = on_core(core, *words, ahead=ahead)
        self.process = subprocess.Popen(self.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True)

    def __enter__(self):
        self.expect()
        return self

    def expect(self):
        """The next line; the tool ends by itself when its peer keeps it waiting."""
        line = self.process.stdout.readline()
        if not line:
            raise RuntimeError(f"{' '.join(self.command)}: {self.process.stderr.read().strip()}")
        return line

    def run(self, milliseconds):
        self.process.stdin.write(f"{milliseconds}\n")
        self.process.stdin.flush()
        return json.loads(self.expect())

    def __exit__(self, *failure):
        self.process.stdin.close()
        try:
            self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()
        self.process.stderr.close()


@contextlib.contextmanager
def serving_provider(certificate=None):
    """The load tool as a provider on the load's core."""
    provider = Provider(certificate and certificate.roots)
    process = subprocess.Popen(on_core(LOAD_CORE, "serve", provider.port, certificate and certificate.pem),
                               stdout=subprocess.DEVNULL)
    try:
        wait_until_listening(provider.port, process)
        yield provider
    finally:
        process.terminate()
        process.wait()


def wrk(port, connections, seconds, path="/v1/small"):
    done = subprocess.run([*pinned(LOAD_CORE), "wrk", "-t1", f"-c{connections}", f"-d{seconds}s",
                           f"http://127.0.0.1:{port}{path}"], capture_output=True, text=True, timeout=60)
    if "Non-2xx" in done.stdout:
        raise RuntimeError(done.stdout)
    return int(re.search(r"(\d+) requests in", done.stdout).group(1))


@contextlib.contextmanager
def client_of(port):
    with contextlib.closing(http.client.HTTPConnection("127.0.0.1", port, timeout=20)) as client:
        client.connect()
        yield client


def ask(client, path="/v1/models"):
    """Status and body of an answer on `client`, a connection to a proxy."""
    client.request("GET", path)
    answer = client.getresponse()
    return answer.status, answer.read()


def answered(client, path="/v1/models"):
    """The body of an answer that has to be a good one."""
    status, body = ask(client, path)
    if status != 200:
        raise RuntimeError(f"{path}: {status} {body[:200]}")
    return body
