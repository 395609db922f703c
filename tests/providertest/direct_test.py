"""The application's own request, as the window shows its end.

In a network of its own, where every way to elsewhere ends at once. Arguments: the program that asks, and ways.txt.
"""

import json
import os
import re
import subprocess
import sys
import time
import unittest

from peers import PATIENCE, Upstream, unproxied
from tls import TlsTest

ASK, WAYS = sys.argv[1:3]
HELLO = 'HTTP/1.1 200 OK\r\nContent-Length: 23\r\n\r\n{"output_text":"Hello"}'
FOUND = "HTTP/1.1 307 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: "
FAILED = "请求失败："


def shown(process):
    text = process.communicate(timeout=PATIENCE)[0]
    assert process.returncode == 0 and "sk-" not in text, text
    return text.rstrip("\n")


class Direct(TlsTest):
    def ask(self, url="", certificate="", prompt="p", key="sk-secret", limit=60_000, patience=60_000, **variables):
        process = subprocess.Popen([ASK, url or f"{self.upstream.url}/responses", certificate, key, str(limit), str(patience)],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=unproxied() | variables)
        self.addCleanup(process.kill)
        process.stdin.write(prompt)
        process.stdin.close()
        process.stdin = None
        return process

    def test_is_posted_as_it_is_and_the_key_never_to_a_server_that_it_is_sent_on_to(self):
        other, prompt = Upstream(), 500_000 * "p"
        asked = self.ask(prompt=prompt)
        for server, answer in ((self.upstream, FOUND + "/second\r\n\r\n"), (self.upstream, f"{FOUND}{other.url}\r\n\r\n"),
                               (other, HELLO)):
            side = server.accept()
            head, _, body = side.message().partition("\r\n\r\n")
            self.assertRegex(head, r"^POST /(responses|second)? HTTP/1.1\r\n(?s:.*)\r\nContent-Type: application/json\b")
            self.assertEqual("\r\nAuthorization: Bearer sk-secret" in head, server is self.upstream)
            self.assertIn(prompt, json.loads(body)["input"])
            side.send(answer)
        self.assertEqual(shown(asked), "Hello")

    def test_that_goes_wrong_is_explained_without_the_key(self):
        for answer, reason in (("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{", "99 bytes"), ("220 mail ready\r\n", "HTTP/0.9"),
                               (FOUND + "file:///etc/passwd\r\n\r\n", "rotocol")):
            asked, side = self.ask(), self.upstream.accept()
            side.message()
            side.send(answer)
            side.close()
            self.assertIn(reason, shown(asked))
        for url in ("localhost/responses", "http:///responses", "file:///etc/passwd"):
            self.assertEqual(shown(self.ask(url)), FAILED + "unsupported URL")
        self.assertEqual(shown(self.ask(key="sk-secret\r\nX-Other: 1")),
                         FAILED + "Authorization: line breaks and control characters can't be sent")

    def test_is_told_only_to_a_server_that_is_trusted(self):
        url = self.upstream.url.replace("http://127.0.0.1", "https://localhost")
        for certificate, expected in ((self.own, "Hello"), ("", FAILED + "SSL certificate problem: self-signed certificate")):
            asked, side = self.ask(url, certificate), self.upstream.accept()
            try:
                self.serve(side, self.context(self.own), HELLO)
            except OSError:
                self.assertEqual(certificate, "")
            self.assertEqual(shown(asked), expected)

    def test_is_given_up_on_silence_awaited_while_something_comes_and_dropped_with_its_client(self):
        answered = self.ask(limit=700)
        slow = self.upstream.accept()
        unanswered = self.ask(limit=700)
        silent = [self.upstream.accept()]
        dropped = self.ask(patience=100)
        silent.append(self.upstream.accept())
        slow.send(HELLO[:39])
        for start in 39, 47, 55:
            time.sleep(0.4)
            slow.send(HELLO[start:start + 8])
        self.assertEqual([shown(asked) for asked in (answered, unanswered, dropped)],
                         ["Hello", FAILED + "the request timed out", "never called back"])

    def test_goes_the_way_that_the_relay_goes(self):
        with open(WAYS) as file:
            rows = [line.rstrip("\n").split(" | ") for line in file if line.strip() and not line.startswith("#")]
        for name, url, variables, expected in rows:
            with self.subTest(name):
                reason = shown(self.ask(url, **dict(each.split("=", 1) for each in variables.split(" ") if each)))
                meets_proxy = re.search(r"[pq]\.test|proxy", reason)
                if expected == "direct":
                    self.assertIsNone(meets_proxy)
                elif expected.startswith("none: "):
                    self.assertIsNotNone(meets_proxy)
                else:  # libcurl names no port where it fails to find the host
                    host, _, port = expected.split()[1].rpartition(":")
                    self.assertIn(host if host == "p.test" else f" {host.strip('[]')} port {port} ", reason)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
