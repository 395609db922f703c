"""What the package holds, by the tools that Debian and desktops check it with.

Arguments: the folder of the sources, the tree of a release build, and the version.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sources, tree, version = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]


def output(*command):
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return done.stdout + (f"(status {done.returncode})" if done.returncode else "")


class Content(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.root = pathlib.Path(folder.name)
        cls.share = cls.root / "usr/share"
        cls.package = next((tree / "package").glob(f"ferrin-relay_{version}_*.deb"))
        subprocess.run(["dpkg-deb", "-x", cls.package, cls.root], check=True)

    def test_the_checkers_find_nothing(self):
        for command in (["lintian", "--allow-root", "--fail-on", "error,warning", self.package],
                        ["desktop-file-validate", self.share / "applications/com.ferrin.Relay.desktop"],
                        ["sh", "-c", 'man --warnings -E UTF-8 -Tutf8 -Z -l "$0" >/dev/null',
                         self.share / "man/man1/ferrin-relay.1.gz"]):
            self.assertEqual(output(*command), "", command)
        self.assertIn("Validation was successful", output("appstreamcli", "validate-tree", "--no-net", self.root))

    def test_every_place_names_the_one_version(self):
        newest = re.search(r"(?m)^## (\S+) – (\d{4}-\d\d-\d\d)$", (sources / "CHANGELOG.md").read_text())
        self.assertEqual(newest and newest[1], version)
        self.assertIn(f'<release version="{version}" date="{newest[2]}"/>',
                      (self.share / "metainfo/com.ferrin.Relay.metainfo.xml").read_text())
        for file, line in (("man/man1/ferrin-relay.1.gz", f'"Ferrin Relay {version}"'),
                           ("doc/ferrin-relay/changelog.gz", f"ferrin-relay ({version}) ")):
            self.assertIn(line, output("zcat", self.share / file))

    def test_icons_have_the_names_that_are_asked_for(self):
        source = (sources / "app/qt/TraySymbol.cpp").read_text()
        entry = (self.share / "applications/com.ferrin.Relay.desktop").read_text()
        symbolic = re.findall(r'"(com\.ferrin\.Relay-\w+-symbolic)"', source)
        self.assertEqual(len(symbolic), 2)
        for icon in [f"symbolic/apps/{name}" for name in symbolic] + [
                "scalable/apps/" + re.search("(?m)^Icon=(.*)$", entry)[1]]:
            self.assertTrue((self.share / f"icons/hicolor/{icon}.svg").is_file(), icon)

    def test_programs_are_hardened_and_stripped(self):
        for program in ("usr/bin/ferrin-relay", "usr/libexec/ferrin-relay/ferrin-third-party-proxy"):
            text = output("readelf", "-hlSdW", self.root / program)
            for mark in (r"Type: +DYN", "GNU_RELRO", "BIND_NOW", r"GNU_STACK.* RW "):
                self.assertRegex(text, mark, program)
            self.assertNotIn(".symtab", text, program)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
