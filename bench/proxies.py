"""The proxies, each as a process that is used in `with`."""

import os
import pathlib
import signal
import subprocess
import time

from processes import free_port, wait_until_listening

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "release"
LOAD = BUILD / "bin" / "ferrin-bench-load"
RELAY = BUILD / "libexec" / "ferrin-relay" / "ferrin-third-party-proxy"
KEY = "sk-bench"
PROXY_CORE, LOAD_CORE = "0", "1"


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
