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
RECORDING = """#!/bin/sh
{ printf '%s' "${0##*/}"; printf ' [%s]' "$@"; echo; } >>"${0%/*}/calls"
[ "${0##*/}" != macdeployqt ] || install -D /dev/null "$1/Contents/Frameworks/QtCore.framework/inner.dylib"
"""


class Image(unittest.TestCase):
    def pack(self, **variables):
        """The calls, with short names for what is packed."""
        with tempfile.TemporaryDirectory() as folder:
            for tool in ("codesign", "hdiutil", "macdeployqt", "xcrun"):
                pathlib.Path(folder, tool).write_text(RECORDING)
                pathlib.Path(folder, tool).chmod(0o755)
            environment = {"PATH": f"{folder}:{os.environ['PATH']}"} | variables
            self.assertTrue(subprocess.check_output([script, tree], env=environment, text=True).endswith(f"{image}\n"))
            text = pathlib.Path(folder, "calls").read_text()
        for path, name in ((app.parent, "FOLDER"), ("FOLDER/Ferrin Relay.app", "APP"), (image, "DMG"),
                           ("APP/Contents/Helpers/ferrin-third-party-proxy", "HELPER")):
            text = text.replace(str(path), name)
        return text.splitlines()

    def test_the_bundle_is_whole_and_signed_from_the_inside_out(self):
        sign = "codesign [--force] [--sign] [-]"
        self.assertEqual(self.pack(), ["macdeployqt [APP] [-executable=HELPER]",
                                       f"{sign} [APP/Contents/Frameworks/QtCore.framework]", f"{sign} [HELPER]", f"{sign} [APP]",
                                       "hdiutil [create] [-quiet] [-volname] [Ferrin Relay] [-srcfolder] [FOLDER] "
                                       "[-format] [UDZO] [DMG]"])
        contents = {str(file.relative_to(app.parent)) for file in app.parent.rglob("*") if not file.is_dir() or file.is_symlink()}
        self.assertEqual(contents, {"Applications"} | {f"Ferrin Relay.app/Contents/{file}" for file in (
            "Info.plist", "MacOS/Ferrin Relay", "Helpers/ferrin-third-party-proxy", "Resources/AppIcon.icns",
            "Resources/copyright", "Resources/proxy.py", "Frameworks/QtCore.framework/inner.dylib")})
        self.assertIn("built='' #", (app / "Contents/Resources/proxy.py").read_text())
        facts = {"CFBundleIdentifier": "com.ferrin.Relay", "CFBundleExecutable": "Ferrin Relay", "CFBundleIconFile": "AppIcon",
                 "LSUIElement": True, "CFBundleVersion": version, "LSMinimumSystemVersion": "13.0"}
        found = plistlib.loads((app / "Contents/Info.plist").read_bytes())
        self.assertEqual(found | facts, found)

    def test_signs_and_has_notarised_what_it_is_told_to(self):
        calls = self.pack(FERRIN_SIGN_IDENTITY="Developer ID Application: X", FERRIN_NOTARY_PROFILE="profile")
        sign = "codesign [--force] [--timestamp] [--options] [runtime] [--sign] [Developer ID Application: X]"
        self.assertEqual([call for call in calls[2:] if "hdiutil" not in call],
                         [f"{sign} [HELPER]", f"{sign} [APP]", f"{sign} [DMG]",
                          "xcrun [notarytool] [submit] [DMG] [--keychain-profile] [profile] [--wait]",
                          "xcrun [stapler] [staple] [DMG]"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
