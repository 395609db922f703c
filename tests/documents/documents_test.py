"""What the documents say is so: each command is run by a test, the agent's lines work, the log says what is quoted.

Arguments: the project's folder, a build tree, its relay program and its sample provider.
"""

import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import tomllib
import unittest
import urllib.error
import urllib.request

root, tree, relay_program, provider_program = (pathlib.Path(argument) for argument in sys.argv[1:5])
DOCUMENTS = ["README.md", "CONTRIBUTING.md", "packaging/README.md", *map(str, (root / "docs").glob("*.md"))]
COMMAND = re.compile(r"(\./(run|test|bench/)|(apt|brew|cmake|ctest|curl|ferrin-[a-z-]+|sv|systemctl) [^─]).*")
CLOSED = b"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"

# Commands that a test runs, as they stand or in its own surroundings.
RUN_BY = {
    "apt install ./build/release/package/ferrin-relay_*.deb": "package.life",
    "cmake --preset release": "package.life",
    "cmake --build --preset release": "package.life",
    'cmake --install build/release --prefix "$HOME/ferrin-relay"': "package.life",
    "ferrin-relay --apply-reference-config": "package.life",
    "ferrin-sample-provider --help": "clients.sample_provider",
}
# Commands of the scripts at the root, and what each of them hands over to in the end.
STARTS = {
    "./run": "bin/ferrin-relay",
    "./run demo": "tools/demo.sh build/release",
    "./run package": "packaging/pack build/release",
    "./test": "ctest --preset dev",
    "./test -R WriteRestricted": "ctest --preset dev -R WriteRestricted",
    "./bench/fuzz 30": "tests/proxy/readings.py build/release/libexec/ferrin-relay/ferrin-third-party-proxy",
    "./bench/soak 10": "tests/proxy/storm.py build/dev/libexec/ferrin-relay/ferrin-third-party-proxy 300",
    "./bench/run": "python3 bench/bench.py",
}
# Commands that are tried below, in a way that builds nothing.
TRIED = {
    "cmake --preset dev": ["cmake", "-N", "--preset", "dev"],
    "cmake --build --preset dev --target ferrin_core_tests": ["ninja", "-C", tree, "-n", "ferrin_core_tests"],
    "ctest --preset dev -R WriteRestricted": ["ctest", "--preset", "dev", "-N", "-R", "WriteRestricted"],
    "curl http://127.0.0.1:8787/healthz": None,  # see test_the_agents_lines
}


def text_of(document):
    return (root / document).read_text()


def blocks(text):
    return re.findall(r"^ *```\n(.*?)^ *```", text, re.MULTILINE | re.DOTALL)


def commands():
    for document in DOCUMENTS:
        text = text_of(document)
        lines = [line.strip() for block in blocks(text) for line in block.splitlines()]
        quoted = re.findall(r"`([^`\n]+)`", re.sub(r"^ *```.*?^ *```", "", text, flags=re.MULTILINE | re.DOTALL))
        for line in [*lines, *quoted]:
            command = re.split(r"\s{2,}", line)[0]
            if COMMAND.fullmatch(command):
                yield command


def eventually(condition):
    deadline = time.monotonic() + 20
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"not within 20 s: {condition}")
        time.sleep(0.01)


class Relay:
    def __init__(self, test, upstream, *, key="sk-test", port=0):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ferrin-test-"))
        test.addCleanup(shutil.rmtree, self.folder)
        if key:
            (self.folder / "key").write_text(key)
        self.log = self.folder / "log"
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                [relay_program, "--host", "127.0.0.1", "--port", str(port), "--upstream", upstream, "--api-key-file",
                 self.folder / "key", "--timeout", "1"], stdout=log, stderr=log)
        test.addCleanup(self.process.wait)
        test.addCleanup(self.process.terminate)
        eventually(lambda: b"\n" in self.log.read_bytes())
        self.port = (re.findall(r":(\d+)/v1, forwarding", self.log.read_text()) or [port])[0]

    def ask(self, path, **fields):
        try:
            request = urllib.request.Request(f"http://127.0.0.1:{self.port}{path}", headers=fields)
            with urllib.request.urlopen(request, timeout=20) as answer:
                return answer.read().decode()
        except (OSError, urllib.error.HTTPError):
            return ""  # the log is what counts


class Upstream:
    """Answers every connection with the same bytes once a request has come; with none, it is silent."""

    def __init__(self, test, answer):
        self.listener = socket.create_server(("127.0.0.1", 0))
        test.addCleanup(self.listener.close)
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}"
        threading.Thread(target=self.serve, args=(answer,), daemon=True).start()

    def serve(self, answer):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            with connection:
                connection.recv(65536)
                connection.sendall(answer)
                while not answer and connection.recv(65536):
                    pass


class Commands(unittest.TestCase):
    def test_each_is_run_by_a_test(self):
        listed = subprocess.run(["ctest", "--test-dir", tree, "-N"], text=True, stdout=subprocess.PIPE, check=True).stdout
        self.assertEqual(set(commands()), RUN_BY.keys() | STARTS.keys() | TRIED.keys())
        for test in set(RUN_BY.values()):
            self.assertRegex(listed, rf": {re.escape(test)}\n")

    def test_scripts_hand_over_as_told(self):
        """In a copy whose steps only say what they were asked for."""
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder)
            for script in ("run", "test", "bench/run", "bench/fuzz", "bench/soak"):
                (copy / script).parent.mkdir(exist_ok=True)
                shutil.copy(root / script, copy / script)
            bootstrap = text_of("tools/bootstrap.sh") + "\n".join(
                f"{step}() {{ :; }}" for step in ("install_packages", "install_node_packages", "build", "cmake"))
            for step in ("tools/demo.sh", "packaging/pack", "tests/fuzz/fuzz", "tests/proxy/readings.py", "ctest", "python3",
                         "build/release/bin/ferrin-relay"):
                (copy / step).parent.mkdir(parents=True, exist_ok=True)
                (copy / step).write_text('#!/bin/sh\necho "$0 $*"\n')
                (copy / step).chmod(0o700)
            (copy / "tools/bootstrap.sh").write_text(bootstrap)
            environment = os.environ | {"PATH": f"{copy}:{os.environ['PATH']}"}
            for command, expected in STARTS.items():
                with self.subTest(command):
                    done = subprocess.run(command, shell=True, cwd=copy, env=environment, text=True, check=True,
                                          stdout=subprocess.PIPE).stdout
                    last = done.splitlines()[-1].replace(f"{copy}/", "").strip()
                    self.assertIn(expected, last, done)

    def test_the_inner_loop(self):
        for command, check in TRIED.items():
            if check:
                with self.subTest(command):
                    done = subprocess.run(check, cwd=root, stdout=subprocess.PIPE, text=True, check=True).stdout
                    self.assertNotIn("Total Tests: 0", done)


class Arrows(unittest.TestCase):
    def test_a_folder_includes_what_the_page_says(self):
        libraries = "agentconfig core providertest relay"
        arrows = {"core": "", "relay": "core", "agentconfig": "core", "providertest": "core", "proxy": "",
                  "tools/sampleprovider": "", "app": libraries, "app/qt": libraries + " app"}
        for folder, others in arrows.items():
            texts = [file.read_text() for file in (root / folder).iterdir() if file.suffix in {".cpp", ".h", ".mm"}]
            included = set(re.findall(r'^#include "(.+)/', "\n".join(texts), re.MULTILINE)) - {folder}
            with self.subTest(folder):
                self.assertEqual(included, set(others.split()))


class Lines(unittest.TestCase):
    def test_the_agents_lines(self):
        relay = Relay(self, Upstream(self, b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok").url)
        own = next(block for block in blocks(text_of("README.md")) if "openai_base_url" in block)
        lines = tomllib.loads(own)
        self.assertEqual(lines["model_provider"], "openai")
        path = lines["openai_base_url"].removeprefix("http://127.0.0.1:8787")
        self.assertEqual(relay.ask(path + "/models"), "ok")
        self.assertIn('"status":"ok"', relay.ask("/healthz"))
        for line in own.splitlines():
            self.assertIn(line.strip(), text_of("packaging/linux/ferrin-relay.1.in"))

    def provoked(self):
        """The log after everything that the table tells of."""
        ok = Relay(self, "http://127.0.0.1:9")
        ok.ask("/models")
        ok.ask("/v1/models", Origin="https://page.example")
        ok.ask("/v1/models")
        relays = [ok, Relay(self, "http://127.0.0.1:9", port=ok.port)]
        secure = subprocess.Popen([provider_program, "--key-file", ok.folder / "key", "--tls-self-made", ok.folder / "own.pem"],
                                  stdout=subprocess.PIPE, text=True)
        self.addCleanup(secure.communicate)
        self.addCleanup(secure.terminate)
        for upstream, key in (
                (secure.stdout.readline().split()[2].rstrip(","), "sk-test"), ("http://127.0.0.1:9", ""),
                (Upstream(self, b"HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n").url, "sk-wrong"),
                (Upstream(self, b"").url, "sk-test"), (Upstream(self, CLOSED).url, "sk-test")):
            relays.append(Relay(self, upstream, key=key))
            relays[-1].ask("/v1/models")
        for relay in relays:
            relay.process.terminate()
            relay.process.wait()
        return "".join(relay.log.read_text() for relay in relays).replace(f"port {ok.port}:", "port 8787:")

    def of_the_script(self):
        script = text_of("resources/proxy.py.in").replace("@BUILT_PROGRAM@", "").replace("sleep 30", "")
        script = script.replace("/usr/", "/nowhere/")
        return subprocess.run(["sh", "-c", script, "/bin/proxy.py"], stderr=subprocess.PIPE, text=True, check=False).stderr

    def test_the_log_says_what_the_table_quotes(self):
        log = self.provoked() + self.of_the_script()
        table = text_of("README.md").partition("## When something")[2].partition("\n## ")[0]
        rows = re.findall(r"^\| .*? \| `([^|]*)` \|", table, re.MULTILINE)
        self.assertGreater(len(rows), 9)
        for line in rows:
            pattern = "^" + ".+".join(map(re.escape, line.split("…"))) + "$"
            with self.subTest(line):
                self.assertRegex(log, re.compile(pattern, re.MULTILINE))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
