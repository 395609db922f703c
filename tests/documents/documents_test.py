"""What the documents say is so: each command is run by a test, the agent's lines work, the log says what is quoted.

Arguments: the project's folder, a build tree, its relay program and its sample provider.
"""

import contextlib
import os
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import threading
import tomllib
import unittest

root, tree, relay_program, provider_program = (pathlib.Path(argument) for argument in sys.argv[1:5])
DOCUMENTS = [root / "README.md", root / "CONTRIBUTING.md", root / "packaging/README.md", *(root / "docs").glob("*.md")]
COMMAND = re.compile(r"(\./(run|test|bench/)|(apt|brew|cmake|ctest|curl|ferrin-[a-z-]+|sv|systemctl) [^─]).*")
# Bash reads this first: the scripts' steps do nothing, and the last one is only named.
ONLY_SAID = """source() { builtin source "$@"; install_packages() { :; }; install_node_packages() { :; }; build() { :; }; }
cmake() { :; }
python3() { echo "python3 $*"; }
exec() { echo "$*"; exit; }"""


def output(*command, **options):
    return subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options).stdout


def rows(name):
    """The lines of a table beside this file."""
    return [line for line in pathlib.Path(__file__).with_name(name).read_text().splitlines() if not line.startswith("#")]


def blocks(text):
    return re.findall(r"^ *```\n(.*?)^ *```", text, re.MULTILINE | re.DOTALL)


def commands(text):
    quoted = re.findall(r"`([^`\n]+)`", re.sub(r"^ *```.*?^ *```", "", text, flags=re.MULTILINE | re.DOTALL))
    for line in [line.strip() for block in blocks(text) for line in block.splitlines()] + quoted:
        command = re.split(r"\s{2,}", line)[0]
        if COMMAND.fullmatch(command):
            yield command


class Documents(unittest.TestCase):
    def test_each_command_is_run_by_a_test_or_hands_over_as_told(self):
        known = dict(re.split(r"\s{2,}", line) for line in rows("commands.txt"))
        self.assertEqual({command for file in DOCUMENTS for command in commands(file.read_text())}, set(known))
        tests = output("ctest", "--test-dir", tree, "-N")
        with tempfile.NamedTemporaryFile("w") as first:
            first.write(ONLY_SAID)
            first.flush()
            for command, step in known.items():
                if step.startswith("test "):
                    self.assertIn(f": {step[5:]}\n", tests)
                else:
                    said = output(*command.split(), cwd=root, env=os.environ | {"BASH_ENV": first.name})
                    self.assertEqual(said.splitlines()[-1].replace(f"{root}/", ""), step)

    def test_a_folder_includes_what_the_architecture_page_says(self):
        arrows = dict(line.split(":") for line in rows("includes.txt"))
        parts = {folder.partition("/")[0] for folder in arrows}
        found = {str(file.parent.relative_to(root)) for part in parts for file in (root / part).rglob("*.[chm]*")}
        self.assertEqual(found, set(arrows))
        above = set()
        for folder, others in arrows.items():
            texts = "".join(file.read_text() for file in (root / folder).glob("*.[chm]*"))
            self.assertEqual(set(re.findall(r'(?m)^#include "(.+)/', texts)) - {folder}, set(others.split()), folder)
            self.assertLessEqual(set(others.split()), above, folder)
            above.add(folder)

    @contextlib.contextmanager
    def running(self, *command, proxy=""):
        """Where it says that it listens; what it says goes to the log."""
        own = {name: value for name, value in os.environ.items() if not name.lower().endswith("_proxy")}
        environment = own | {"all_proxy": proxy}
        with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
            try:
                self.log += process.stdout.readline()
                yield re.search(r"https?://[^ /]+|$", self.log.splitlines()[-1])[0]
            finally:
                process.terminate()
                self.log += process.stdout.read()

    def relay(self, upstream, port="0", proxy=""):
        return self.running(relay_program, "--host", "127.0.0.1", "--port", port, "--upstream", upstream,
                            "--api-key-file", self.key, "--timeout", "3", proxy=proxy)

    def test_the_agents_lines_work_and_the_log_says_what_the_table_quotes(self):
        folder = tempfile.TemporaryDirectory(prefix="ferrin-test-")
        self.addCleanup(folder.cleanup)
        self.key, self.log = pathlib.Path(folder.name, "key"), ""
        self.key.write_text("sk-test")
        readme = (root / "README.md").read_text()
        own = tomllib.loads(next(block for block in blocks(readme) if "openai_base_url" in block))
        self.assertEqual(own["model_provider"], "openai")
        base = own["openai_base_url"].removeprefix("http://127.0.0.1:8787")
        asking = ["curl", "-sS", "--json", '{"model": "m", "input": "x", "stream": true}']
        statuses = [f"--status {status}" for status in (401, 402, 404, 429)]
        for options in ("", *statuses, "--delay-ms 60000", "--break-after 3 --break-with fin", "--tls-self-made /dev/null"):
            provider = self.running(provider_program, "--key-file", self.key, *options.split())
            with provider as upstream, self.relay(upstream) as relay:
                answer = output(*asking, f"{relay}{base}/responses")
                self.assertEqual("response.completed" in answer, not options, answer)
        with self.relay("https://bücher.example") as relay:
            self.assertIn("upstream_address_unusable", output(*asking, relay + base))
        with self.relay("http://127.0.0.1:9") as relay:
            self.assertIn('"status":"ok"', output("curl", "-sS", relay + "/healthz"))
            for arguments in ([relay + base], [relay + "/models"], [relay + base, "-H", "Origin: https://page.example"]):
                output(*asking, *arguments)
            port = relay.rpartition(":")[2]
            with self.relay("http://127.0.0.1:9", port):
                self.key.unlink()
                output(*asking, relay + base)
        self.key.write_text("sk-test")
        with socket.create_server(("127.0.0.1", 0)) as proxy:
            def refuse():
                with proxy.accept()[0] as side:
                    side.recv(4096)
                    side.sendall(b"HTTP/1.1 407 Login\r\n\r\n")
            threading.Thread(target=refuse).start()
            for port_of_proxy in (9, proxy.getsockname()[1]):
                with self.relay("https://provider.example", proxy=f"http://127.0.0.1:{port_of_proxy}") as relay:
                    output(*asking, relay + base)
        script = (root / "resources/proxy.py.in").read_text().replace("@BUILT_PROGRAM@", "").replace("/usr/", "/nowhere/")
        self.log += output("sh", "-c", script.replace("sleep 30", "false"), "/bin/proxy.py")
        rows = re.findall(r"(?m)^\| .*? \| `([^|]*)` \|", readme.partition("## When something")[2].partition("\n## ")[0])
        self.assertGreater(len(rows), 9)
        for line in rows:
            pattern = ".+".join(map(re.escape, line.replace("8787", port).split("…")))
            with self.subTest(line):
                self.assertRegex(self.log, f"(?m)^{pattern}$")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
