"""./run demo, short of installing and building: what it shows, what it leaves, and how it fails.

Arguments: the script and the tree of a release build.
"""

import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

script, tree = (pathlib.Path(argument) for argument in sys.argv[1:3])


class Demo(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="ferrin-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.addCleanup(self.assertNothingIsLeft)

    def start(self, tree=tree):
        self.demo = subprocess.Popen(
            [script, tree], env=os.environ | {"TMPDIR": str(self.folder)}, start_new_session=True, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.addCleanup(self.demo.stdout.close)

    def assertEnds(self, status, last):
        """With that status and a last line that matches; returns the whole output."""
        output, _ = self.demo.communicate(timeout=60)
        self.assertEqual(self.demo.returncode, status, output)
        self.assertRegex(output.splitlines()[-1], last)
        return output

    def assertNothingIsLeft(self):
        self.assertEqual(list(self.folder.glob("ferrin-demo*")), [])
        left = subprocess.run(["pgrep", "--full", "--list-full", self.folder], capture_output=True, text=True, check=False)
        self.assertEqual(left.stdout, "")

    def test_shows_the_whole_job(self):
        self.start()
        output = self.assertEnds(0, r"^Demo succeeded: .*first byte after \d+ ms")
        for line in ("reference configuration applied", "and came back word by word.", "service:  run:",
                     '"answered":1'):
            self.assertIn(line, output)

    def test_says_who_holds_the_port(self):
        with socket.create_server(("127.0.0.1", 8787)):
            self.start()
            self.assertEnds(1, rf"^Demo failed: port 8787 is in use by \S+, process {os.getpid()},")

    def test_a_failed_step_is_the_outcome(self):
        programs = self.folder / "tree/bin"
        programs.mkdir(parents=True)
        (programs / "ferrin-sample-provider").symlink_to(tree / "bin/ferrin-sample-provider")
        (programs / "ferrin-relay").write_text("#!/bin/sh\necho refused >&2\nexit 1\n")
        (programs / "ferrin-relay").chmod(0o700)
        self.start(programs.parent)
        self.assertEnds(1, "^Demo failed: refused$")

    def test_an_interrupt_stops_everything(self):
        self.start()
        self.assertTrue(any(line.startswith("3. ") for line in self.demo.stdout))
        os.killpg(self.demo.pid, signal.SIGINT)
        self.assertEnds(130, "^Demo stopped before its end$")
        socket.create_server(("127.0.0.1", 8787)).close()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
