"""Plays conversations.txt, whose head explains its lines."""

import contextlib
import itertools
import pathlib
import re

from peers import Connection, eventually
from tables import filled, unescaped
from tls import TlsTest


def conversations(file):
    """Name and lines of each."""
    for conversation in pathlib.Path(__file__).with_name(file).read_text().split("\n--- ")[1:]:
        name, _, lines = conversation.partition("\n")
        yield name, lines.strip()


class Player(TlsTest):
    """Plays conversations between a client, the relay and self.upstream."""

    def setUp(self):
        super().setUp()
        self.own = self.identity("api.example")

    def converse(self, relay, lines):
        ends = {"L": relay, "C": None, "U": None}
        new = {"C": lambda: Connection(relay.port), "U": self.upstream.accept}
        lines = filled(lines, RELAY=f"127.0.0.1:{relay.port}", PORT=relay.port)
        for (side, kind), neighbours in itertools.groupby(lines.splitlines(), lambda line: line[:2]):
            end = ends[side] = ends[side] or new[side]()
            self.play(end, kind, [line[3:] for line in neighbours])
            if kind == "=":
                ends[side] = None
        self.assertFalse(any(end and end.buffer for end in (ends["C"], ends["U"])) or not self.upstream.silent(0.02))

    def play(self, end, kind, lines):
        """Lines of one kind at once."""
        text = unescaped("".join(line[:-1] if line.endswith("\\") else line + r"\r\n" for line in lines))
        if kind in ">:":
            for piece in text if kind == ":" else [text]:
                end.send(piece)
        elif kind == "<":
            self.assertEqual(end.read(len(text)), text)
        elif kind == "?":
            self.assert_refused(end.message(), lines[0])
        elif kind == "!":
            certificate = self.own if lines == ["api.example"] else self.identity(lines[0])
            with contextlib.suppress(OSError):  # the relay may not like it
                end.socket = self.context(certificate).wrap_socket(end.socket, server_side=True)
        elif kind == "~":
            for line in lines:
                pattern = ".*".join(map(re.escape, line.split("...")))
                self.assertTrue(eventually(lambda: re.search(rf"Z {pattern}$", end.log(), re.MULTILINE)), f"{line}\n{end.log()}")
        elif text.startswith("sees"):
            self.assertEqual(end.rest(), text[5:-2])
        else:
            getattr(end, lines[0])()


class Conversations(Player):
    def test_pass_byte_for_byte(self):
        relay = self.start(self.upstream.url + "/base/v1")
        for name, lines in conversations("conversations.txt"):
            with self.subTest(name):
                self.converse(relay, lines.replace("@UPSTREAM@", self.upstream.url[7:]))
