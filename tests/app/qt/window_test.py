"""The application as people use it: its window through assistive technology, its tray item through a panel,
with a service manager (runit), a relay and a provider that are real, in a private home.

Arguments: the tree of a release build, and the folder for the screenshots.
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.request

from desktop import Desktop, Window, eventually

tree, screenshots = (pathlib.Path(argument) for argument in sys.argv[1:3])
LABEL = "com.ferrin.third-party-proxy"
KEY = "sk-of-the-provider"
STOPPED_MENU = [("Open Ferrin Relay", True), ("---", True), ("Relay is stopped", False), ("Restore OpenAI", True),
                ("---", True), ("Quit Ferrin Relay", True)]
RUNNING_MENU = [("Stop relay", True) if entry[0] == "Relay is stopped" else entry for entry in STOPPED_MENU]
CUSTOM = 'model_provider = "custom"\nopenai_base_url = "http://127.0.0.1:8787/v1"\n'
OFFICIAL = 'model_provider = "openai"\n'


def x(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout.split()


def relay_answers():
    try:
        with urllib.request.urlopen("http://127.0.0.1:8787/healthz", timeout=5) as answer:
            return answer.status == 200
    except OSError:
        return False


class User:
    """Somebody with a home of their own, by the user database too, and no systemd."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="ferrin-user-")
        self.home = pathlib.Path(self.folder.name) / "home"
        self.home.mkdir()
        self.ferrin = self.home / ".ferrin"
        passwd, group = self.home.parent / "passwd", self.home.parent / "group"
        passwd.write_text(f"someone:x:{os.getuid()}:{os.getgid()}::{self.home}:/bin/sh\n")
        group.write_text(f"someone:x:{os.getgid()}:\n")
        self.runtime = self.home.parent / "runtime"
        self.runtime.mkdir(mode=0o700)
        self.environment = {
            "LD_PRELOAD": "libnss_wrapper.so", "NSS_WRAPPER_PASSWD": str(passwd), "NSS_WRAPPER_GROUP": str(group),
            "HOME": str(self.home), "XDG_RUNTIME_DIR": str(self.runtime), "PATH": "/usr/bin:/bin",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}

    def start(self, program=tree / "bin/ferrin-relay", **more):
        shared = {name: os.environ[name] for name in ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "FONTCONFIG_FILE")}
        environment = {name: value for name, value in (self.environment | shared | more).items() if value}
        return subprocess.Popen([program], env=environment, stderr=subprocess.PIPE, text=True)

    def end(self):
        service = self.home / ".local/share/ferrin-relay/sv" / LABEL
        if service.exists():
            subprocess.run(["sv", "-w", "7", "force-shutdown", service], stdout=subprocess.DEVNULL, check=False)
            eventually(lambda: not relay_answers())
        self.folder.cleanup()


class WindowTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        screenshots.mkdir(parents=True, exist_ok=True)
        cls.desktop = Desktop()
        cls.addClassCleanup(cls.desktop.end)
        cls.start_provider()

    @classmethod
    def start_provider(cls):
        folder = tempfile.TemporaryDirectory(prefix="ferrin-provider-")
        cls.addClassCleanup(folder.cleanup)
        key = pathlib.Path(folder.name) / "key"
        key.write_text(KEY + "\n")
        provider = subprocess.Popen([tree / "bin/ferrin-sample-provider", "--key-file", key, "--prefix", "/v1", "--echo"],
                                    stdout=subprocess.PIPE, text=True)
        cls.addClassCleanup(provider.stdout.close)
        cls.addClassCleanup(provider.wait)
        cls.addClassCleanup(provider.terminate)
        cls.url = provider.stdout.readline().split()[-1]

    def setUp(self):
        self.desktop.colours.set("light")
        self.desktop.show_tray()
        self.addCleanup(self.desktop.hide_tray)
        self.user = User()
        self.addCleanup(self.user.end)

    @property
    def tray(self):
        return self.desktop.tray

    def start(self, **environment):
        self.process = self.user.start(**environment)
        self.addCleanup(self.finish, self.process)
        self.window = Window(self.process)
        self.window.find("push button", "Save profile")

    def finish(self, process):
        if process.poll() is None:
            process.terminate()
        _, errors = process.communicate(timeout=20)
        self.assertEqual(errors, "")

    def start_with_tray(self, **environment):
        self.start(**environment)
        eventually(lambda: self.tray.item)

    def launch_again(self):
        second = self.user.start()
        self.assertEqual(second.communicate(timeout=20), (None, ""))
        self.assertEqual(second.returncode, 0)

    def window_id(self):
        found = x("xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid), "--name", "^Ferrin Relay$")
        return next((window for window in found if self.geometry(window)["WIDTH"] >= 520), None)

    @staticmethod
    def geometry(window):  # an icon in an X11 tray is a window of the same name
        pairs = (pair.split("=") for pair in x("xdotool", "getwindowgeometry", "--shell", window))
        return {"WIDTH": 0} | {name: int(value) for name, value in pairs}

    def is_open(self):
        return self.window_id() is not None

    def close_by_keyboard(self):
        x("xdotool", "windowactivate", "--sync", self.window_id(), "key", "--clearmodifiers", "alt+F4")

    def close_window(self):
        self.close_by_keyboard()
        eventually(lambda: not self.is_open())

    def take_screenshot(self, name, scheme="light"):
        self.settle()
        subprocess.run(["import", "-window", self.window_id(), screenshots / f"{name}-{scheme}.png"], check=True)

    def take_screenshots(self, name):
        """In light and dark; the window changes between them while it is open."""
        self.take_screenshot(name, "light")
        self.desktop.colours.set("dark")
        eventually(lambda: self.brightness() < 0.4)
        self.take_screenshot(name, "dark")
        self.desktop.colours.set("light")
        eventually(lambda: self.brightness() > 0.6)

    def picture(self):
        return subprocess.run(["import", "-window", self.window_id(), "-depth", "8", "rgb:-"],
                              capture_output=True, check=True).stdout

    def settle(self):
        """Until nothing moves any more."""
        pictures = [self.picture()]

        def same():
            pictures.append(self.picture())
            return pictures[-1] == pictures[-2]
        eventually(same)

    def brightness(self):
        picture = self.picture()
        return sum(picture[::97]) / len(picture[::97]) / 255

    def status(self):
        return self.window.texts()[-1]

    def wait_for_status(self, text):
        eventually(lambda: self.status() == text)

    def save_profile(self, name="Sample provider"):
        self.window.type("Profile name", name)
        self.window.type("Provider URL", self.url + "/")
        self.window.type("API key", KEY)
        self.window.press("Save profile")
        self.wait_for_status(f"Loaded {name}. The key is stored securely.")

    def apply(self):
        self.window.press("Restart ChatGPT after applying", "check box")
        self.window.press("Apply and start")
        self.wait_for_status("Running: relay is ready; Ferrin configuration was left unchanged")
        eventually(relay_answers)

    def test_starts_on_an_empty_home(self):
        self.start_with_tray()
        self.assertEqual(self.window.texts(), ["Ferrin Relay", "已保存配置", "Provider URL", "API key", "Model",
                                               "Direct provider test", "Relay is stopped"])
        self.assertEqual(self.window.text("Profile name"), "默认")
        self.assertEqual(self.window.text("Model"), "gpt-5.6-terra")
        self.assertFalse(self.window.is_enabled("Send to provider"))
        self.assertEqual(self.tray.menu(), STOPPED_MENU)
        self.take_screenshots("first-start")
        self.assertFalse(self.user.ferrin.exists())

    def test_applies_a_provider_tries_it_and_stops_from_the_menu(self):
        self.start_with_tray()
        stopped = self.tray.symbol()
        self.save_profile()
        self.take_screenshots("saved")
        self.apply()
        self.assertTrue(self.window.is_enabled("Stop relay"))
        self.assertEqual(eventually(lambda: self.tray.menu() == RUNNING_MENU), True)
        self.assertNotEqual(self.tray.symbol(), stopped)

        self.window.type("Prompt", "Say this back to me,\nword by word.")
        self.window.press("Send to provider")
        eventually(lambda: self.window.has("text", "Response"))
        self.assertEqual(self.window.text("Response"), "Say this back to me,\nword by word.")
        self.take_screenshots("running")

        self.tray.choose("Stop relay")
        eventually(lambda: self.window.is_enabled("Apply and start"))
        eventually(lambda: self.tray.menu() == STOPPED_MENU)
        eventually(lambda: self.tray.symbol() == stopped)
        self.assertFalse(relay_answers())
        self.take_screenshots("stopped")

    def test_names_its_symbols_where_they_are_installed(self):
        with tempfile.TemporaryDirectory() as prefix:
            subprocess.run(["cmake", "--install", tree, "--prefix", prefix], stdout=subprocess.DEVNULL, check=True)
            data = pathlib.Path(prefix) / "share"
            self.start_with_tray(program=f"{prefix}/bin/ferrin-relay", XDG_DATA_DIRS=f"{data}:/usr/share")
            self.assertEqual(self.tray.property("Title"), "Ferrin Relay")
            self.assertEqual(self.tray.property("IconName"), "com.ferrin.Relay-stopped-symbolic")
            for state in ("running", "stopped"):
                symbol = data / f"icons/hicolor/symbolic/apps/com.ferrin.Relay-{state}-symbolic.svg"
                # Panels that recolour a symbol fill all of its shapes.
                self.assertNotRegex(symbol.read_text(), 'stroke=|fill="none"')

    def test_hides_after_applying_when_chatgpt_is_restarted(self):
        self.start_with_tray()
        self.save_profile()
        self.window.press("Apply and start")
        eventually(lambda: not self.is_open())
        self.assertTrue(eventually(relay_answers))
        self.tray.choose("Open Ferrin Relay")
        eventually(self.is_open)
        self.assertTrue(self.window.find("push button", "Stop relay"))

    def test_restores_the_official_configuration(self):
        self.user.ferrin.mkdir()
        (self.user.ferrin / "config.toml").write_text(CUSTOM)
        self.start_with_tray()
        self.window.press("Stop relay")  # the configuration alone counts as one that runs
        self.save_profile()
        self.apply()
        self.tray.choose("Restore OpenAI")
        eventually(lambda: self.tray.menu() == STOPPED_MENU)
        self.assertFalse(relay_answers())
        self.assertEqual((self.user.ferrin / "config.toml").read_text().strip(), OFFICIAL.strip())
        self.take_screenshots("restored")

    def test_says_that_there_is_no_configuration_to_restore(self):
        self.start_with_tray()
        self.save_profile()
        self.apply()
        self.tray.choose("Restore OpenAI")
        self.window.find("label", "未找到 ~/.ferrin/config.toml")
        self.take_alert_screenshot()
        self.tray.choose("Stop relay")  # the alert comes first
        self.window.press("OK")
        eventually(lambda: not self.window.has("label", "未找到 ~/.ferrin/config.toml"))
        self.assertEqual(self.tray.menu(), RUNNING_MENU)
        self.assertTrue(relay_answers())

    def take_alert_screenshot(self):
        for scheme in ("light", "dark"):
            self.desktop.colours.set(scheme)
            self.settle()
            subprocess.run(["import", "-window", "root", "-crop", "700x800+200+300",
                            screenshots / f"alert-{scheme}.png"], check=True)

    def test_is_one_application_however_often_it_is_launched(self):
        self.start_with_tray()
        self.close_window()
        self.launch_again()
        eventually(self.is_open)
        self.process.kill()  # what it leaves behind is in nobody's way
        self.process.wait()
        self.start()

    def test_leaves_the_relay_running_when_it_quits(self):
        self.start_with_tray()
        self.save_profile()
        self.apply()
        self.tray.choose("Quit Ferrin Relay")
        self.assertEqual(self.process.wait(timeout=20), 0)
        self.assertTrue(relay_answers())
        self.start_with_tray()
        self.assertTrue(self.window.find("push button", "Stop relay"))
        self.window.press("Stop relay")
        self.wait_for_status("Relay stopped. Profiles and keys were kept.")
        self.assertFalse(relay_answers())

    def test_finds_a_tray_that_comes_late_or_comes_back(self):
        self.desktop.hide_tray()
        self.start()
        for _ in range(2):
            self.desktop.show_tray()
            eventually(lambda: self.tray.item)
            self.assertEqual(self.tray.menu(), STOPPED_MENU)
            self.desktop.hide_tray()

    def test_shows_its_window_when_the_tray_has_gone_for_good(self):
        self.start_with_tray()
        self.close_window()
        self.desktop.hide_tray()
        self.desktop.show_tray()
        eventually(lambda: self.tray.item)
        self.assertFalse(self.is_open())
        self.desktop.hide_tray()
        eventually(self.is_open)
        self.close_by_keyboard()
        self.assertEqual(self.process.wait(timeout=20), 0)

    def test_is_its_window_where_there_is_no_tray(self):
        self.desktop.hide_tray()
        self.start()
        self.launch_again()
        self.assertTrue(self.is_open())
        self.close_by_keyboard()
        self.assertEqual(self.process.wait(timeout=20), 0)

    def test_goes_to_an_x11_tray_where_that_is_all_there_is(self):
        self.desktop.hide_tray()
        tray = self.start_x11_tray()
        self.start()
        self.close_window()
        self.launch_again()
        eventually(self.is_open)
        self.close_window()
        tray.terminate()
        eventually(self.is_open)
        self.start_x11_tray()
        self.close_window()
        self.assertIsNone(self.process.poll())

    def start_x11_tray(self):
        tray = subprocess.Popen(["trayer"], stderr=subprocess.DEVNULL)
        self.addCleanup(tray.wait)
        self.addCleanup(tray.terminate)
        eventually(lambda: x("xdotool", "search", "--class", "trayer"))
        return tray

    def test_ends_what_it_is_doing_before_it_goes(self):
        self.start_with_tray()
        self.save_profile()
        self.window.press("Apply and start")
        eventually(lambda: not self.window.has("push button", "Apply and start"))
        self.tray.choose("Quit Ferrin Relay")
        self.assertEqual(self.process.wait(timeout=20), 0)
        self.assertTrue(eventually(relay_answers))

    def test_shows_where_the_keyboard_is(self):
        self.start_with_tray()
        self.window.type("Prompt", "p")
        x("xdotool", "windowactivate", "--sync", self.window_id())
        self.settle()
        pictures = set()
        for step in range(10):
            pictures.add(self.picture())
            self.take_screenshot(f"focus-{step}")
            before = self.picture()
            x("xdotool", "key", "Tab")
            eventually(lambda: self.picture() != before)
        self.assertEqual(len(pictures), 10)

    def test_says_in_one_line_that_there_is_no_display(self):
        for display, reason in ((None, "neither WAYLAND_DISPLAY nor DISPLAY is set"), (":7654", "DISPLAY=:7654")):
            process = self.user.start(DISPLAY=display)
            _, errors = process.communicate(timeout=20)
            self.assertEqual((process.returncode, errors), (1, f"ferrin-relay: no display can be used ({reason})\n"))

    def test_takes_whatever_is_put_into_it(self):
        self.start_with_tray()
        self.save_profile("名字很长的配置 " + "with a name that doesn't end " * 12 + "here")
        self.window.type("Prompt", "".join(f"line {number} of what the provider is asked\n" for number in range(5000)))
        self.window.press("Send to provider")
        eventually(lambda: self.window.has("text", "Response"), 30)
        self.window.press("Restart ChatGPT after applying", "check box")
        self.take_screenshots("long-texts")

    def test_can_be_seen_at_every_scale(self):
        for scale, width in (("1.5", 780), ("2", 1040)):
            self.start(QT_SCALE_FACTOR=scale)
            self.assertEqual(self.geometry(self.window_id())["WIDTH"], width)
            self.take_screenshots(f"scale-{scale}")
            self.finish(self.process)

    def test_costs_little_and_nothing_while_it_waits_for_a_tray(self):
        self.desktop.hide_tray()
        self.start()
        self.settle()
        process = pathlib.Path("/proc") / str(self.process.pid)
        fields = (process / "stat").read_text().rpartition(")")[2].split()
        seconds = (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
        memory = int((process / "statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE") / 2**20
        print(json.dumps({"start to window, s of CPU": seconds, "resident, MiB": round(memory, 1)}))
        self.assertLess(seconds, 0.3)
        self.assertLess(memory, 80)

        def wakings():
            return [line for task in sorted((process / "task").iterdir())
                    for line in (task / "status").read_text().splitlines() if line.startswith("voluntary")]
        time.sleep(5)  # past the time that it gives one kind of tray before it takes the other
        before = wakings()
        time.sleep(2)
        self.assertEqual(wakings(), before)
        self.desktop.show_tray()
        eventually(lambda: self.tray.item)


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
