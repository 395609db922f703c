"""The application as people use it: its window through assistive technology, its tray item through a panel,
with a service manager (runit), a relay and a provider that are real, in a private home.

Arguments: the tree of a release build, and the folder for the screenshots.
"""

import os
import pathlib
import platform
import resource
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.request

from desktop import Desktop, Window, eventually

tree, screenshots = (pathlib.Path(argument) for argument in sys.argv[1:3])
KEY = "sk-of-the-provider"
STOPPED_MENU = [("Open Ferrin Relay", True), ("---", True), ("Relay is stopped", False), ("Restore OpenAI", True),
                ("---", True), ("Quit Ferrin Relay", True)]
RUNNING_MENU = [("Stop relay", True) if entry[0] == "Relay is stopped" else entry for entry in STOPPED_MENU]
NO_CONFIGURATION = "未找到 ~/.ferrin/config.toml"
# The system calls that wait, and which of their arguments says how long: poll in milliseconds, ppoll and futex by a pointer.
WAITS = {"x86_64": {"7": 3, "271": 3, "202": 4}, "aarch64": {"73": 3, "98": 4}}[platform.machine()]


def x(*command):
    return subprocess.run(("xdotool", *command), capture_output=True, text=True, check=False).stdout.split()


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
        place = pathlib.Path(self.folder.name)
        place.chmod(0o700)
        self.home = place / "home"
        self.ferrin = self.home / ".ferrin"
        self.home.mkdir()
        (place / "passwd").write_text(f"someone:x:{os.getuid()}:{os.getgid()}::{self.home}:/bin/sh\n")
        (place / "group").write_text(f"someone:x:{os.getgid()}:\n")
        self.environment = {
            "LD_PRELOAD": "libnss_wrapper.so", "NSS_WRAPPER_PASSWD": f"{place}/passwd",
            "NSS_WRAPPER_GROUP": f"{place}/group", "HOME": str(self.home), "XDG_RUNTIME_DIR": str(place),
            "PATH": "/usr/bin:/bin", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}

    def start(self, **more):
        shared = {name: os.environ[name] for name in ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "FONTCONFIG_FILE")}
        environment = {name: value for name, value in (self.environment | shared | more).items() if value}
        return subprocess.Popen([tree / "bin/ferrin-relay"], env=environment, stderr=subprocess.PIPE, text=True)

    def end(self):
        for service in self.home.glob(".local/share/ferrin-relay/sv/*"):
            subprocess.run(["sv", "-w", "7", "force-shutdown", service], stdout=subprocess.DEVNULL, check=False)
            eventually(lambda: not relay_answers())
        self.folder.cleanup()


class WindowTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        screenshots.mkdir(parents=True, exist_ok=True)
        if os.getuid() == 0:
            resource.setrlimit(resource.RLIMIT_CORE, (1, 1))  # something for the application to lower
        cls.desktop = Desktop()
        cls.addClassCleanup(cls.desktop.end)
        with tempfile.NamedTemporaryFile("w") as key:
            key.write(KEY)
            key.flush()
            provider = subprocess.Popen(
                [tree / "bin/ferrin-sample-provider", "--key-file", key.name, "--prefix", "/v1", "--echo"],
                stdout=subprocess.PIPE, text=True)
            cls.url = provider.stdout.readline().split()[-1]
        for end in (provider.stdout.close, provider.wait, provider.terminate):
            cls.addClassCleanup(end)

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
        self.assertEqual(process.communicate(timeout=20)[1], "")

    def start_with_tray(self):
        self.start()
        eventually(lambda: self.tray.item)

    def launch_again(self):
        second = self.user.start()
        self.assertEqual(second.communicate(timeout=20), (None, ""))
        self.assertEqual(second.returncode, 0)
        eventually(self.open_window)

    def open_window(self):
        """Its identifier. An icon in an X11 tray is a window of the same name, but a small one."""
        windows = x("search", "--onlyvisible", "--pid", str(self.process.pid), "--name", "^Ferrin Relay$")
        return next((window for window in windows if self.width(window) >= 520), None)

    @staticmethod
    def width(window):
        return next((int(line[6:]) for line in x("getwindowgeometry", "--shell", window) if line.startswith("WIDTH=")), 0)

    def press_key(self, *keys):
        x("windowactivate", "--sync", self.open_window(), "key", "--clearmodifiers", *keys)

    def close_window(self):
        self.press_key("alt+F4")
        eventually(lambda: not self.open_window())

    def close_application(self):
        self.press_key("alt+F4")
        self.assertEqual(self.process.wait(timeout=20), 0)

    def quit(self):
        self.tray.choose("Quit Ferrin Relay")
        self.assertEqual(self.process.wait(timeout=20), 0)

    def picture(self, *crop):
        """Of the window, or of a part of the screen, once nothing moves any more."""
        taken = [b"", b"-"]

        def is_still():
            window = "root" if crop else eventually(self.open_window)
            taken.append(subprocess.run(["import", "-window", window, *crop, "-depth", "8", "ppm:-"],
                                        capture_output=True, check=True).stdout)
            return taken[-1] == taken[-2]
        eventually(is_still)
        return taken[-1]

    @staticmethod
    def keep(picture, name):
        subprocess.run(["convert", "ppm:-", screenshots / f"{name}.png"], input=picture, check=True)

    def is_dark(self):
        return sum(sample := self.picture()[::97]) < 128 * len(sample)

    def take_screenshots(self, name, *crop):
        """In light and dark; the window changes between them while it is open."""
        for scheme in ("light", "dark"):
            self.desktop.colours.set(scheme)
            eventually(lambda: self.is_dark() == (scheme == "dark"))
            self.keep(self.picture(*crop), f"{name}-{scheme}")
        self.desktop.colours.set("light")

    def wait_for_status(self, text):
        eventually(lambda: self.window.texts()[-1] == text)

    def wait_for_menu(self, menu):
        eventually(lambda: self.tray.menu() == menu)

    def save_profile(self, name="Sample provider"):
        self.window.type("Profile name", name)
        self.window.type("Provider URL", self.url + "/")
        self.window.type("API key", KEY, "password text")
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
        self.assertEqual((self.window.text("Profile name"), self.window.text("Model")), ("默认", "gpt-5.6-terra"))
        self.assertFalse(self.window.is_enabled("Send to provider"))
        self.assertEqual((self.tray.property("Title"), self.tray.menu()), ("Ferrin Relay", STOPPED_MENU))
        self.take_screenshots("first-start")
        self.assertEqual(list(self.user.home.iterdir()), [])
        self.window.type("API key", KEY, "password text")
        self.assertNotIn("sk", self.window.text("API key", "password text"))
        limits = pathlib.Path(f"/proc/{self.process.pid}/limits").read_text()
        self.assertRegex(limits, r"Max core file size +0 ")

    def test_applies_a_provider_tries_it_and_stops_from_the_menu(self):
        self.start_with_tray()
        stopped = self.tray.symbol()
        self.save_profile()
        self.take_screenshots("saved")
        self.apply()
        self.assertTrue(self.window.is_enabled("Stop relay"))
        self.wait_for_menu(RUNNING_MENU)
        self.assertNotEqual(self.tray.symbol(), stopped)

        self.window.type("Prompt", "Say this back to me,\nword by word.")
        self.window.press("Send to provider")
        self.assertEqual(self.window.text("Response"), "Say this back to me,\nword by word.")
        self.take_screenshots("running")

        self.tray.choose("Stop relay")
        self.window.find("push button", "Apply and start")
        self.wait_for_menu(STOPPED_MENU)
        eventually(lambda: self.tray.symbol() == stopped)
        self.assertFalse(relay_answers())
        self.take_screenshots("stopped")

    def test_has_symbols_that_panels_can_recolour(self):
        """They fill every shape of a symbol."""
        for state in ("running", "stopped"):
            symbol = pathlib.Path(__file__).parents[3] / f"resources/icons/com.ferrin.Relay-{state}-symbolic.svg"
            self.assertNotRegex(symbol.read_text(), 'stroke=|fill="none"')

    def test_hides_after_applying_and_ends_what_it_is_doing_before_it_goes(self):
        self.start_with_tray()
        self.save_profile()
        self.window.press("Apply and start")
        eventually(lambda: not self.open_window())
        eventually(relay_answers)
        self.tray.choose("Open Ferrin Relay")
        self.window.press("Stop relay")
        self.window.press("Apply and start")
        eventually(lambda: not self.window.has("push button", "Apply and start"))
        self.quit()
        eventually(relay_answers)

    def test_restores_the_official_configuration_if_there_is_one(self):
        self.start_with_tray()
        self.save_profile()
        self.apply()
        self.tray.choose("Restore OpenAI")
        self.window.find("label", NO_CONFIGURATION)
        self.take_screenshots("alert", "-crop", "700x800+200+300", "+repage")
        self.tray.choose("Stop relay")  # the alert comes first
        self.window.press("OK")
        eventually(lambda: not self.window.has("label", NO_CONFIGURATION))
        self.assertEqual(self.tray.menu(), RUNNING_MENU)
        self.assertTrue(relay_answers())

        configuration = self.user.ferrin / "config.toml"
        configuration.write_text('model_provider = "custom"\nopenai_base_url = "http://127.0.0.1:8787/v1"\n')
        self.tray.choose("Restore OpenAI")
        self.wait_for_menu(STOPPED_MENU)
        self.assertFalse(relay_answers())
        self.assertEqual(configuration.read_text().strip(), 'model_provider = "openai"')
        self.take_screenshots("restored")

    def test_is_one_application_however_often_it_is_launched(self):
        self.start_with_tray()
        self.close_window()
        self.launch_again()
        self.process.kill()  # what it leaves behind is in nobody's way
        self.process.wait()
        self.start()

    def test_leaves_the_relay_running_when_it_quits(self):
        self.start_with_tray()
        self.save_profile()
        self.apply()
        self.quit()
        self.assertTrue(relay_answers())
        self.start_with_tray()
        self.window.press("Stop relay")
        self.wait_for_status("Relay stopped. Profiles and keys were kept.")
        self.assertFalse(relay_answers())

    def test_follows_the_tray_and_is_its_window_where_there_is_none(self):
        self.desktop.hide_tray()
        self.start()
        for _ in range(2):
            self.desktop.show_tray()
            eventually(lambda: self.tray.item)
            self.assertEqual(self.tray.menu(), STOPPED_MENU)
            if self.open_window():
                self.close_window()
                self.desktop.hide_tray()
        self.assertIsNone(self.open_window(), "a panel may start again")
        self.desktop.hide_tray()
        eventually(self.open_window)
        self.close_application()

        self.start()
        self.launch_again()
        self.close_application()

    def test_goes_to_an_x11_tray_where_that_is_all_there_is(self):
        self.desktop.hide_tray()
        tray = self.start_x11_tray()
        self.start()
        self.close_window()
        self.launch_again()
        self.close_window()
        tray.terminate()
        eventually(self.open_window)
        self.start_x11_tray()
        self.close_window()
        self.launch_again()

    def start_x11_tray(self):
        tray = subprocess.Popen(["trayer"], stderr=subprocess.DEVNULL)
        self.addCleanup(tray.wait)
        self.addCleanup(tray.terminate)
        eventually(lambda: x("search", "--class", "trayer"))
        return tray

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
        self.window.find("text", "Response")
        self.take_screenshots("long-texts")

    def test_can_be_seen_at_every_scale(self):
        for scale, width in (("1.5", 780), ("2", 1040)):
            self.start(QT_SCALE_FACTOR=scale)
            self.assertEqual(self.width(self.open_window()), width)
            self.take_screenshots(f"scale-{scale}")
            self.finish(self.process)

    def test_costs_little_and_nothing_while_it_waits_for_a_tray(self):
        self.desktop.hide_tray()
        self.start()
        self.picture()
        process = pathlib.Path("/proc") / str(self.process.pid)
        fields = (process / "stat").read_text().rpartition(")")[2].split()
        seconds = (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
        memory = int((process / "statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE") / 2**20
        print(f"start to window: {seconds} s of processor time; resident: {memory:.1f} MiB")
        self.assertLess(seconds, 0.3)
        self.assertLess(memory, 80)

        def waits_long(task):
            """Without an end, or until the toolkit looks through its pictures: once, half a minute after the start."""
            call = (task / "syscall").read_text().split()
            time = int(call[WAITS[call[0]]], 16) if call[0] in WAITS else 1
            return time == 0 or 10_000 <= time < 2**32
        eventually(lambda: all(waits_long(task) for task in (process / "task").iterdir()))
        self.desktop.show_tray()
        eventually(lambda: self.tray.item)


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
