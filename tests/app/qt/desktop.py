"""A desktop for the tests: display, window manager, session bus, accessibility, tray and colour setting.

All of it is the test's own and is gone with it.
"""

import os
import pathlib
import subprocess
import tempfile
import threading
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, Gio, GLib  # noqa: E402

WATCHER = "org.kde.StatusNotifierWatcher"
WATCHER_XML = f"""
<node><interface name="{WATCHER}">
  <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <signal name="StatusNotifierHostRegistered"/>
</interface></node>"""
SETTINGS = "org.freedesktop.portal.Settings"
SETTINGS_XML = f"""
<node><interface name="{SETTINGS}">
  <method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
  <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
</interface></node>"""
FONTS = """<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig>
  <include>/etc/fonts/fonts.conf</include>
  <alias binding="strong"><family>sans-serif</family>
    <prefer><family>Inter</family><family>Noto Sans CJK SC</family></prefer></alias>
  <alias binding="strong"><family>Sans Serif</family>
    <prefer><family>Inter</family><family>Noto Sans CJK SC</family></prefer></alias>
</fontconfig>"""
SCHEMES = {"dark": 1, "light": 2}


def eventually(condition, seconds=15):
    """What `condition` returns, once it is true; fails when that takes too long."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s")
        time.sleep(0.02)
    return result


class BusThread:
    """A connection to the session bus with a thread that answers on it, so that the test may block meanwhile."""

    def __init__(self, address):
        self.context = GLib.MainContext.new()
        self.loop = GLib.MainLoop.new(self.context, False)
        self.address = address
        ready = threading.Event()
        self.thread = threading.Thread(target=self._run, args=(ready,), daemon=True)
        self.thread.start()
        ready.wait()

    def _run(self, ready):
        self.context.push_thread_default()
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.bus = Gio.DBusConnection.new_for_address_sync(self.address, flags, None, None)
        self.on_start()
        ready.set()
        self.loop.run()

    def serve(self, name, path, xml, call, get=None):
        self.bus.register_object(path, Gio.DBusNodeInfo.new_for_xml(xml).interfaces[0], call, get, None)
        self.ask("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                 "(su)", name, 4)

    def ask(self, name, path, interface, method, signature="()", *arguments):
        return self.bus.call_sync(name, path, interface, method, GLib.Variant(signature, arguments), None,
                                  Gio.DBusCallFlags.NONE, 5000, None).unpack()

    def end(self):
        self.context.invoke_full(GLib.PRIORITY_DEFAULT, lambda: self.loop.quit())
        self.thread.join()
        self.bus.close_sync(None)


class ColourSetting(BusThread):
    """The desktop's preference of light or dark."""

    scheme = "light"

    def on_start(self):
        self.serve("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", SETTINGS_XML, self._read)

    def _read(self, *call):
        value = GLib.Variant("v", GLib.Variant("u", SCHEMES[self.scheme]))
        call[-1].return_value(GLib.Variant.new_tuple(GLib.Variant("v", value)))

    def set(self, scheme):
        self.scheme = scheme
        self.bus.emit_signal(None, "/org/freedesktop/portal/desktop", SETTINGS, "SettingChanged", GLib.Variant(
            "(ssv)", ("org.freedesktop.appearance", "color-scheme", GLib.Variant("u", SCHEMES[scheme]))))


class Tray(BusThread):
    """A panel that shows status notifier items and their menus."""

    item = None

    def on_start(self):
        self.serve(WATCHER, "/StatusNotifierWatcher", WATCHER_XML, self._register, lambda *_: GLib.Variant("b", True))
        self.bus.emit_signal(None, "/StatusNotifierWatcher", WATCHER, "StatusNotifierHostRegistered", None)

    def _register(self, _bus, sender, _path, _interface, _method, arguments, invocation):
        service = arguments.unpack()[0]
        self.item = sender if service.startswith("/") else service
        invocation.return_value(None)

    def property(self, name):
        return self.ask(self.item, "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                        "(ss)", "org.kde.StatusNotifierItem", name)[0]

    def symbol(self):
        """The icon's name where it has one, else the pixels of its largest picture."""
        return self.property("IconName") or max(self.property("IconPixmap"))[2]

    def entries(self):
        """Of the menu, top to bottom: identifier, label and whether it can be chosen."""
        layout = self.ask(self.item, "/MenuBar", "com.canonical.dbusmenu", "GetLayout", "(iias)", 0, -1, [])[1]
        return [(number, "---" if values.get("type") == "separator" else values["label"].replace("_", ""),
                 values.get("enabled", True)) for number, values, _ in layout[2]]

    def menu(self):
        return [(label, enabled) for _, label, enabled in self.entries()]

    def choose(self, wanted):
        number = next(number for number, label, _ in self.entries() if label == wanted)
        self.bus.call(self.item, "/MenuBar", "com.canonical.dbusmenu", "Event",
                      GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("s", ""), 0)),
                      None, Gio.DBusCallFlags.NONE, 5000, None, None)


class Desktop:
    tray = None

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="ferrin-desktop-")
        self.processes = []
        place = pathlib.Path(self.folder.name)
        place.chmod(0o700)
        (place / "fonts.conf").write_text(FONTS)
        for name in ("WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP"):
            os.environ.pop(name, None)
        os.environ.update(XDG_RUNTIME_DIR=str(place), FONTCONFIG_FILE=str(place / "fonts.conf"))
        os.environ["DISPLAY"] = ":" + self._start(
            "Xvfb", "-displayfd", "1", "-screen", "0", "1100x1500x24", "-nolisten", "tcp", "-noreset").readline().strip()
        self.address = self._start("dbus-daemon", "--session", "--nofork", "--print-address").readline().strip()
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = self.address
        self._start("openbox")
        self.colours = ColourSetting(self.address)
        # Programs look for the accessibility bus once, at their start.
        self.colours.ask("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")
        Atspi.init()

    def _start(self, *command):
        process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.processes.append(process)
        return process.stdout

    def show_tray(self):
        self.tray = Tray(self.address)

    def hide_tray(self):
        if self.tray:
            self.tray.end()
        self.tray = None

    def end(self):
        self.hide_tray()
        self.colours.end()
        for process in reversed(self.processes):
            process.terminate()
            process.wait()
            process.stdout.close()
        self.folder.cleanup()


class Window:
    """A program's window as assistive technology sees it."""

    def __init__(self, process):
        self.process = process

    def _application(self):
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        programs = (desktop.get_child_at_index(place) for place in range(desktop.get_child_count()))
        return [program for program in programs if program and program.get_process_id() == self.process.pid]

    def _all(self):
        waiting = self._application()
        while waiting:
            element = waiting.pop(0)
            yield element
            try:
                children = [element.get_child_at_index(place) for place in range(element.get_child_count())]
            except GLib.Error:
                children = []  # gone while we looked
            waiting = [child for child in children if child] + waiting

    def has(self, role, name=None, state=Atspi.StateType.SHOWING):
        """The element of that role and name that is in that state, if there is one."""
        for element in self._all():
            try:
                element.clear_cache()
                if (element.get_role_name() == role and name in (None, element.get_name())
                        and element.get_state_set().contains(state)):
                    return element
            except GLib.Error:
                continue
        return None

    def find(self, *wanted):
        return eventually(lambda: self.has(*wanted))

    def is_enabled(self, name):
        return self.has("push button", name, Atspi.StateType.ENABLED) is not None

    def texts(self):
        """What the labels say."""
        return [element.get_name() for element in self._all() if element.get_role_name() == "label"]

    def type(self, name, text, role="text"):
        Atspi.EditableText.set_text_contents(self.find(role, name), text)

    def text(self, name, role="text"):
        field = self.find(role, name)
        return Atspi.Text.get_text(field, 0, Atspi.Text.get_character_count(field))

    def press(self, name, role="push button"):
        Atspi.Action.do_action(self.find(role, name, Atspi.StateType.ENABLED), 0)
