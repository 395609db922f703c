"""The bundle and disk image of macOS, as far as they can be had on Linux: packed from the cross-compiled tree, whose
programs are empty, with stand-ins that record what Apple's tools are asked for.

Arguments: the script that packs, that tree, and the version.
"""

import json
import os
import pathlib
import plistlib
import subprocess
import sys
import tempfile
import unittest

script, tree, version = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
app, image = tree / "package/image/Ferrin Relay.app", tree / f"package/Ferrin-Relay-{version}.dmg"
RECORDING = """#!/bin/sh
{ printf '%s' "${0##*/}"; printf ' [%s]' "$@"; echo; } >>"${0%/*}/calls"
[ "${0##*/}" != macdeployqt ] || install -D /dev/null "$1/Contents/Frameworks/QtCore.framework/inner.dylib"
"""


def beside(name):
    """What the file beside this one holds: what is expected."""
    return pathlib.Path(__file__).with_name(name).read_text()


class Image(unittest.TestCase):
    def test_the_bundle_is_whole_and_signed_from_the_inside_out(self):
        with tempfile.TemporaryDirectory() as folder:
            for tool in ("codesign", "hdiutil", "macdeployqt", "xcrun"):
                pathlib.Path(folder, tool).write_text(RECORDING)
                pathlib.Path(folder, tool).chmod(0o755)
            environment = {"PATH": f"{folder}:{os.environ['PATH']}", "FERRIN_SIGN_IDENTITY": "X", "FERRIN_NOTARY_PROFILE": "P"}
            self.assertTrue(subprocess.check_output([script, tree], env=environment, text=True).endswith(f"{image}\n"))
            calls = pathlib.Path(folder, "calls").read_text()
        self.assertEqual(calls.replace(str(tree / "package"), "@").replace(version, "VERSION"), beside("calls.txt"))
        files = sorted(str(file.relative_to(app / "Contents")) for file in app.rglob("*") if file.is_file())
        self.assertEqual(files, beside("bundle.txt").splitlines())
        self.assertIn("built='' #", (app / "Contents/Resources/proxy.py").read_text())
        found = plistlib.loads((app / "Contents/Info.plist").read_bytes())
        self.assertEqual(found | json.loads(beside("facts.json")) | {"CFBundleVersion": version}, found)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
