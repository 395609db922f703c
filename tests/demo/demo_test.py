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
        environment = os.environ | {"TMPDIR": str(self.folder)}
        self.demo = subprocess.Popen(
            [script, tree], env=environment, start_new_session=True, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.addCleanup(self.demo.stdout.close)

    def outcome(self):
        """The exit status, the output, and its last line."""
        output, _ = self.demo.communicate(timeout=60)
        return self.demo.returncode, output, output.splitlines()[-1]

    def assertNothingIsLeft(self):
        self.assertEqual(list(self.folder.glob("ferrin-demo*")), [])
        running = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                running.append((process / "cmdline").read_text().replace("\0", " "))
            except OSError:
                pass  # it has ended meanwhile
        self.assertEqual([line for line in running if str(self.folder) in line], [])

    def test_shows_the_whole_job(self):
        self.start()
        status, output, last = self.outcome()
        self.assertEqual(status, 0, output)
        self.assertRegex(last, r"^Demo succeeded: .*first byte after \d+ ms")
        for line in ("reference configuration applied", "and came back word by word.", "service:  run:",
                     '"answered":1'):
            self.assertIn(line, output)

    def test_says_who_holds_the_port(self):
        with socket.create_server(("127.0.0.1", 8787)):
            self.start()
            status, output, last = self.outcome()
        self.assertEqual(status, 1, output)
        self.assertRegex(last, rf"^Demo failed: port 8787 is in use by \S+, process {os.getpid()},")

    def test_a_failed_step_is_the_outcome(self):
        programs = self.folder / "tree" / "bin"
        programs.mkdir(parents=True)
        (programs / "ferrin-sample-provider").symlink_to(tree / "bin" / "ferrin-sample-provider")
        (programs / "ferrin-relay").write_text("#!/bin/sh\necho refused >&2\nexit 1\n")
        (programs / "ferrin-relay").chmod(0o700)
        self.start(programs.parent)
        status, output, last = self.outcome()
        self.assertEqual((status, last), (1, "Demo failed: refused"), output)

    def test_an_interrupt_stops_everything(self):
        self.start()
        for line in self.demo.stdout:
            if line.startswith("3. "):
                break
        self.assertIsNone(self.demo.poll())
        os.killpg(self.demo.pid, signal.SIGINT)
        status, output, last = self.outcome()
        self.assertEqual((status, last), (130, "Demo stopped before its end"), output)
        with socket.create_server(("127.0.0.1", 8787)):
            pass


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
