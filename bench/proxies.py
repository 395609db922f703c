"""The proxies, each as a process that is used in `with`."""

import os
import pathlib
import signal
import subprocess
import time

from processes import free_port, pinned, wait_until_listening

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "release"
LOAD = BUILD / "bin" / "ferrin-bench-load"
RELAY = BUILD / "libexec" / "ferrin-relay" / "ferrin-third-party-proxy"
KEY = "sk-bench"
PROXY_CORE, LOAD_CORE = "0", "1"


class Provider:
    """Where a proxy forwards to: its port, and if it speaks TLS, what it is verified by."""

    def __init__(self, roots=None):
        self.port, self.roots = free_port(), roots

    @property
    def url(self):
        return f"{'https' if self.roots else 'http'}://{'localhost' if self.roots else '127.0.0.1'}:{self.port}"


class Proxy:
    """One proxy as a process. Used in `with`; `port` is where it listens, `started` how long that took."""

    name = ""
    settles = 0.15  # seconds until it has done what it does behind its start
    ahead = False

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

    def environment(self):
        roots = self.provider.roots
        return {"SSL_CERT_FILE": str(roots), "NODE_EXTRA_CA_CERTS": str(roots)} if roots else {}

    def __enter__(self):
        output = open(self.folder / f"{self.name}.log", "ab")
        self.process = subprocess.Popen([*pinned(self.core, self.ahead), *map(str, self.command())], stdout=output,
                                        stderr=output, stdin=subprocess.DEVNULL, env=os.environ | self.environment())
        self.started = wait_until_listening(self.port, self.process)
        time.sleep(self.settles)
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
    program = RELAY

    def command(self):
        key = self.folder / "key"
        if not key.exists():  # as another relay may be reading it
            key.write_text(KEY + "\n")
        return [self.program, "--host", "127.0.0.1", "--port", self.port, "--upstream", self.provider.url + "/v1",
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


class Caddy(Proxy):
    name = "caddy"

    def command(self):
        tls = f"tls_server_name localhost\n\t\t\ttls_trusted_ca_certs {self.provider.roots}" if self.provider.roots else ""
        scheme = "https" if self.provider.roots else "http"
        configuration = self.fill_in("Caddyfile", URL=f"{scheme}://127.0.0.1:{self.provider.port}", TLS=tls)
        return ["caddy", "run", "--adapter", "caddyfile", "--config", configuration]

    def environment(self):
        return {"GOMAXPROCS": "1", "XDG_DATA_HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder)}


class Node(Proxy):
    name = "node"

    def command(self):
        return ["node", ROOT / "bench" / "peers" / "node-proxy.mjs", self.port, self.provider.url]


class Forwarder(Proxy):
    """No proxy at all: bytes from one socket to the other, by the fewest calls to the system and to the TLS library. The
    limit for all of them."""

    name = "forwarder"

    def command(self):
        return [LOAD, "forward", self.port, self.provider.port, *filter(None, [self.provider.roots])]


PROXIES = [Relay, Nginx, Haproxy, Caddy, Node]
WITH_LIMIT = [*PROXIES, Forwarder]


def taking_turns(kinds, turn):
    """The same proxies, beginning with another one each round."""
    turn %= len(kinds)
    return kinds[turn:] + kinds[:turn]
