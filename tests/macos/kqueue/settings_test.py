"""The relay of macOS goes by the system's settings, which ../frameworks/model/Frameworks.cpp has in files."""

import plistlib
import re
import ssl

from peers import LAST, OK, surrounded
from tls import TlsTest


class Settings(TlsTest):
    def setUp(self):
        super().setUp()
        self.settings = self.folder / "settings"

    def set(self, **settings):
        self.settings.write_bytes(plistlib.dumps(settings))

    def set_proxy(self, kind):
        self.set(proxies=[{"type": kind, "host": "127.0.0.1", "port": self.upstream.port}])

    def test_the_proxy_counts_from_the_next_new_connection_on(self):
        addresses, port = self.folder / "addresses", self.upstream.port
        proxy = f"127.0.0.1:{port}"
        addresses.write_text("127.0.0.1\n")
        self.set_proxy("http")
        variables = surrounded(FERRIN_ADDRESSES=str(addresses), FERRIN_SETTINGS=str(self.settings))
        self.start("http://a.direct", environment=variables).logs(" upstream a.direct, started by")
        relay = self.start(f"http://api.example:{port}", environment=variables)
        through, change = f"http://api.example:{port}", " the proxy settings have changed: upstream api.example"
        for kind, target, said, answer in (
                ("http", through, f" upstream api.example via {proxy}, started by", OK),
                ("none", through, f"upstream=reused via={proxy} end=complete", LAST),
                ("none", "", f"{change}\n", LAST),
                ("https", through, f"{change} via {proxy}\n", LAST),
                ("automatic", "", f"{change}, the system's automatic proxy configuration is not followed\n", LAST)):
            with self.subTest(said):
                self.set_proxy(kind)
                client = relay.client()
                side = side if "reused" in said else self.upstream.accept()
                self.assertTrue(side.until().startswith(f"GET {target}/a HTTP/1.1\r\n"))
                side.send(answer)
                self.assertTrue(client.message().endswith("ok"))
                relay.logs(said)
        running = relay.joined(self.upstream)
        self.set_proxy("socks")
        client = relay.client()
        side = self.upstream.accept()
        self.assertEqual(side.read(3), "\5\1\0")
        side.send("\5\0")
        self.assertEqual(side.read(4), "\5\1\0\3")  # the proxy looks the name up
        self.complete(*running)
        self.assertEqual(running[1].rest(), "")  # not kept: it went another way
        self.set_proxy("none")
        kept = relay.joined(self.upstream)
        self.complete(*kept)
        self.set_proxy("http")
        for more in (("Connection: Upgrade", "Upgrade: websocket"), ()):  # the first takes no kept connection anyway
            client = relay.client("GET /v1/ws", *more)
            self.assertTrue(self.upstream.accept().until().startswith(f"GET {through}/ws "))

    def trusts(self, **keychain):
        """Whether the upstream's certificate is trusted, for which folders of the keychain have these settings."""
        der = lambda file: ssl.PEM_cert_to_DER_cert(re.search("(?s)-----BEGIN CERT.*", file.read_text())[0])
        another, own = der(self.other), der(self.own)
        self.set(**{"anchors": [(another, [])]} | {name: [(another, []), (own, settings)] for name, settings in keychain.items()})
        relay = self.start(f"https://localhost:{self.upstream.port}", environment={"FERRIN_SETTINGS": str(self.settings)})
        client, side = relay.client(), self.upstream.accept()
        try:
            self.serve(side, self.context(self.own), LAST)
        except OSError:
            relay.logs('cause="connect: certificate not trusted')
            return False
        return client.message() == OK

    def test_the_keychains_settings_say_who_is_trusted(self):
        self.other = self.identity("other.example")
        trusted, denied, no_opinion, as_root = ({"result": result} for result in (1, 3, 4, 2))
        for_mail, for_one_host = {"policy": {"purpose": "mail"}}, {"policy": {"purpose": "TLS"}, "name": "host.example"}
        for name, keychain, expected in (
                ("nothing", {}, False),
                ("an anchor", {"anchors": []}, True),
                ("trusted by the user", {"user": [trusted]}, True),
                ("trusted by an administrator, without settings", {"admin": []}, True),
                ("an anchor that the user denies", {"anchors": [], "user": [denied]}, False),
                ("an anchor that an administrator denies for one host", {"anchors": [], "admin": [denied | for_one_host]}, False),
                ("the user comes first", {"admin": [denied], "user": [trusted]}, True),
                ("the user has no opinion", {"admin": [denied], "user": [no_opinion]}, False),
                ("for another purpose", {"user": [trusted | for_mail]}, False),
                ("for one host", {"user": [trusted | for_one_host]}, False),
                ("the first setting that concerns TLS counts", {"user": [denied | for_mail, as_root]}, True)):
            with self.subTest(name):
                self.assertEqual(self.trusts(**keychain), expected)
