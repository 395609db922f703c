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
    def assert_ends(self, status, last, interrupted=False):
        """With that status, a last line that matches, and nothing left; returns the whole output."""
        with tempfile.TemporaryDirectory(prefix="ferrin-test-") as folder:
            with subprocess.Popen([script, tree], env=os.environ | {"TMPDIR": folder}, start_new_session=True, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT) as demo:
                if interrupted:
                    self.assertTrue(any(line.startswith("3. ") for line in demo.stdout))
                    os.killpg(demo.pid, signal.SIGINT)
                output, _ = demo.communicate(timeout=60)
            self.assertEqual(demo.returncode, status, output)
            self.assertRegex(output.splitlines()[-1], last)
            self.assertEqual(os.listdir(folder), [])
            self.assertNotEqual(subprocess.run(["pgrep", "--full", folder], check=False).returncode, 0)
        return output

    def test_shows_the_whole_job(self):
        output = self.assert_ends(0, r"^Demo succeeded: .*first byte after \d+ ms")
        for line in ("reference configuration applied", "and came back word by word.", "service:  run:", '"answered":1'):
            self.assertIn(line, output)

    def test_an_interrupt_stops_everything(self):
        self.assert_ends(130, "^Demo stopped before its end$", interrupted=True)
        socket.create_server(("127.0.0.1", 8787)).close()

    def test_says_who_holds_the_port(self):
        with socket.create_server(("127.0.0.1", 8787)):
            self.assert_ends(1, rf"^Demo failed: port 8787 is in use by \S+, process {os.getpid()},")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
