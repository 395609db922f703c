"""The bundle and disk image of macOS, as far as they can be had on Linux: packed from the cross-compiled tree, whose
programs are empty, with stand-ins that record what Apple's tools are asked for.

Arguments: the script that packs, that tree, and the version.
"""

import os
import pathlib
import plistlib
import subprocess
import sys
import tempfile
import unittest

script, tree, version = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
app, image = tree / "package/image/Ferrin Relay.app", tree / f"package/Ferrin-Relay-{version}.dmg"
helper = app / "Contents/Helpers/ferrin-third-party-proxy"
RECORDING = """#!/bin/sh
{ printf '%s' "${0##*/}"; printf ' [%s]' "$@"; echo; } >>"${0%/*}/calls"
[ "${0##*/}" != macdeployqt ] || install -D /dev/null "$1/Contents/Frameworks/QtCore.framework/inner.dylib"
"""


class Image(unittest.TestCase):
    def test_the_bundle_is_whole_and_signed_from_the_inside_out(self):
        with tempfile.TemporaryDirectory() as folder:
            for tool in ("codesign", "hdiutil", "macdeployqt", "xcrun"):
                pathlib.Path(folder, tool).write_text(RECORDING)
                pathlib.Path(folder, tool).chmod(0o755)
            environment = {"PATH": f"{folder}:{os.environ['PATH']}", "FERRIN_SIGN_IDENTITY": "X", "FERRIN_NOTARY_PROFILE": "P"}
            self.assertTrue(subprocess.check_output([script, tree], env=environment, text=True).endswith(f"{image}\n"))
            calls = pathlib.Path(folder, "calls").read_text()
        sign = "codesign [--force] [--timestamp] [--options] [runtime] [--sign] [X]"
        self.assertEqual(calls.splitlines(), [
            f"macdeployqt [{app}] [-executable={helper}]", f"{sign} [{app}/Contents/Frameworks/QtCore.framework]",
            f"{sign} [{helper}]", f"{sign} [{app}]",
            f"hdiutil [create] [-quiet] [-volname] [Ferrin Relay] [-srcfolder] [{app.parent}] [-format] [UDZO] [{image}]",
            f"{sign} [{image}]", f"xcrun [notarytool] [submit] [{image}] [--keychain-profile] [P] [--wait]",
            f"xcrun [stapler] [staple] [{image}]"])
        contents = {str(file.relative_to(app / "Contents")) for file in app.rglob("*") if file.is_file()}
        self.assertEqual(contents, {"Info.plist", "MacOS/Ferrin Relay", "Helpers/ferrin-third-party-proxy",
                                    "Resources/AppIcon.icns", "Resources/copyright", "Resources/proxy.py",
                                    "Frameworks/QtCore.framework/inner.dylib"})
        self.assertIn("built='' #", (app / "Contents/Resources/proxy.py").read_text())
        facts = {"CFBundleIdentifier": "com.ferrin.Relay", "CFBundleExecutable": "Ferrin Relay", "CFBundleIconFile": "AppIcon",
                 "LSUIElement": True, "CFBundleVersion": version, "LSMinimumSystemVersion": "13.0"}
        found = plistlib.loads((app / "Contents/Info.plist").read_bytes())
        self.assertEqual(found | facts, found)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
