"""The relay and the application's own request, each through the same proxies, as Debian has them.

Arguments: tinyproxy, microsocks, and the program that asks directly.
"""

import os
import socket
import subprocess
import sys
import unittest

from peers import KEY, eventually, surrounded, unproxied
from tls import TlsTest

TINYPROXY, MICROSOCKS, ASK = sys.argv[1:4]
PASSWORD = "p-s.s"
ADDRESS = "127.0.0.5"  # the proxies' side towards the upstream
ANSWER = 'HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 23\r\n\r\n{"output_text":"Hello"}'


class RealProxies(TlsTest):
    """Names are found by the proxies; the relay and the direct request need it for socks5:// only."""

    def setUp(self):
        super().setUp()
        self.own = self.identity("api.example")
        file = self.folder / "addresses"
        file.write_text("127.0.0.1\n")
        self.finding = surrounded(FERRIN_ADDRESSES=str(file))

    def running(self, program):
        """Where such a proxy listens."""
        with socket.create_server(("127.0.0.1", 0)) as briefly:
            port = briefly.getsockname()[1]
        file = self.folder / f"tinyproxy-{port}"
        file.write_text(f"Listen 127.0.0.1\nPort {port}\nBind {ADDRESS}\nBasicAuth me {PASSWORD}\n")
        arguments = {TINYPROXY: ["-d", "-c", file],
                     MICROSOCKS: ["-i", "127.0.0.1", "-p", str(port), "-b", ADDRESS, "-u", "me", "-P", PASSWORD]}
        process = subprocess.Popen([program, *arguments[program]], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   env=unproxied() | self.finding)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.assertTrue(eventually(lambda: not socket.socket().connect_ex(("127.0.0.1", port))))
        return f"127.0.0.1:{port}"

    def asking(self, url, variables):
        """The relay's answer and the direct one, to be read when the upstream has answered."""
        relay = self.start(url, environment=variables)
        yield relay, relay.client("POST /v1/responses", body="{}").message
        direct = subprocess.Popen([ASK, f"{url}/responses", self.own, KEY, "20000", "20000"], stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, text=True, env=unproxied() | variables)
        yield relay, lambda: direct.communicate(timeout=20)[0]

    def test_carry_both_to_the_provider(self):
        for program, scheme in ((TINYPROXY, "http"), (MICROSOCKS, "socks5"), (MICROSOCKS, "socks5h")):
            place = self.running(program)
            for url in (f"http://api.example:{self.upstream.port}", f"https://api.example:{self.upstream.port}/v1"):
                variables = {"all_proxy": f"{scheme}://me:p%2ds.s@{place}", "SSL_CERT_FILE": str(self.own), "NO_PROXY": "x.test"}
                variables |= self.finding if scheme == "socks5" else {}
                for relay, answer in self.asking(url, variables):
                    with self.subTest(f"{scheme} {url} {answer.__name__}"):
                        side = self.upstream.accept()
                        self.assertEqual(side.socket.getpeername()[0], ADDRESS)
                        if url.startswith("https"):
                            head, _ = self.serve(side, self.context(self.own), ANSWER)
                        else:
                            head = side.until()
                            side.send(ANSWER)
                        self.assertIn("\r\nAuthorization: Bearer sk-test-key\r\n", head)
                        self.assertNotIn("Proxy-Auth", head)
                        self.assertIn("Hello", answer())
                relay.logs(f"upstream=new via={place} end=complete\n")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
