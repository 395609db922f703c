"""A desktop for the tests: display, window manager, session bus, accessibility, tray and colour setting.

All of it is the test's own and is gone with it.
"""

import os
import pathlib
import signal
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
  <property name="ProtocolVersion" type="i" access="read"/>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <signal name="StatusNotifierHostRegistered"/>
  <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
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
SCHEMES = {"none": 0, "dark": 1, "light": 2}


def eventually(condition, seconds=15):
    """What `condition` returns, once it is true; fails when that takes too long."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {condition.__doc__ or condition}")
        time.sleep(0.02)
    return result


class BusThread:
    """A connection to the session bus with a thread that answers on it, so that the test may block meanwhile."""

    def __init__(self, address):
        self.address = address
        ready = threading.Event()
        self.thread = threading.Thread(target=self._run, args=(ready,), daemon=True)
        self.thread.start()
        ready.wait()

    def _run(self, ready):
        context = GLib.MainContext.new()
        context.push_thread_default()
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.bus = Gio.DBusConnection.new_for_address_sync(self.address, flags, None, None)
        self.loop = GLib.MainLoop.new(context, False)
        self.context = context
        self.on_start()
        ready.set()
        self.loop.run()

    def on_start(self):
        pass

    def serve(self, path, xml, call, get=None):
        interface = Gio.DBusNodeInfo.new_for_xml(xml).interfaces[0]
        self.bus.register_object(path, interface, call, get, None)

    def ask(self, name, path, interface, method, arguments=None):
        return self.bus.call_sync(name, path, interface, method, arguments, None,
                                  Gio.DBusCallFlags.NONE, 5000, None).unpack()

    def own(self, name):
        self.ask("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                 GLib.Variant("(su)", (name, 4)))

    def end(self):
        self.context.invoke_full(GLib.PRIORITY_DEFAULT, lambda: self.loop.quit())
        self.thread.join()
        self.bus.close_sync(None)


class ColourSetting(BusThread):
    """The desktop's preference of light or dark."""

    def __init__(self, address, scheme):
        self.scheme = scheme
        super().__init__(address)

    def on_start(self):
        self.serve("/org/freedesktop/portal/desktop", SETTINGS_XML, self._read)
        self.own("org.freedesktop.portal.Desktop")

    def _read(self, _bus, _sender, _path, _interface, _method, _arguments, invocation):
        value = GLib.Variant("v", GLib.Variant("u", SCHEMES[self.scheme]))
        invocation.return_value(GLib.Variant.new_tuple(GLib.Variant("v", value)))

    def set(self, scheme):
        self.scheme = scheme
        self.bus.emit_signal(None, "/org/freedesktop/portal/desktop", SETTINGS, "SettingChanged", GLib.Variant(
            "(ssv)", ("org.freedesktop.appearance", "color-scheme", GLib.Variant("u", SCHEMES[scheme]))))


class Tray(BusThread):
    """A panel that shows status notifier items and their menus."""

    def on_start(self):
        self.item = None
        self.serve("/StatusNotifierWatcher", WATCHER_XML, self._register, self._property)
        self.own(WATCHER)
        self.bus.emit_signal(None, "/StatusNotifierWatcher", WATCHER, "StatusNotifierHostRegistered", None)

    def _register(self, _bus, sender, _path, _interface, _method, arguments, invocation):
        service = arguments.unpack()[0]
        self.item = sender if service.startswith("/") else service
        invocation.return_value(None)

    def _property(self, _bus, _sender, _path, _interface, name):
        return {"IsStatusNotifierHostRegistered": GLib.Variant("b", True),
                "ProtocolVersion": GLib.Variant("i", 0),
                "RegisteredStatusNotifierItems": GLib.Variant("as", [self.item] if self.item else [])}[name]

    def property(self, name):
        return self.ask(self.item, "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                        GLib.Variant("(ss)", ("org.kde.StatusNotifierItem", name)))[0]

    def symbol(self):
        """The icon's name where it has one, else the pixels of its largest picture."""
        return self.property("IconName") or max(self.property("IconPixmap"))[2]

    def entries(self):
        """Of the menu, top to bottom: identifier, label and whether it can be chosen."""
        layout = self.ask(self.item, "/MenuBar", "com.canonical.dbusmenu", "GetLayout",
                          GLib.Variant("(iias)", (0, -1, [])))[1]
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
    def __init__(self, size="1100x1500"):
        self.folder = tempfile.TemporaryDirectory(prefix="ferrin-desktop-")
        self.processes = []
        self.runtime = pathlib.Path(self.folder.name) / "runtime"
        self.runtime.mkdir(mode=0o700)
        for name in ("WAYLAND_DISPLAY", "DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_CURRENT_DESKTOP"):
            os.environ.pop(name, None)
        os.environ["XDG_RUNTIME_DIR"] = str(self.runtime)
        fonts = pathlib.Path(self.folder.name) / "fonts.conf"
        fonts.write_text(FONTS)
        os.environ["FONTCONFIG_FILE"] = str(fonts)
        number = self._start_and_read("Xvfb", "-displayfd", "1", "-screen", "0", f"{size}x24", "-nolisten", "tcp")
        os.environ["DISPLAY"] = ":" + number
        self.bus_address = self._start_and_read("dbus-daemon", "--session", "--nofork", "--print-address")
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = self.bus_address
        self._start("openbox", stdout=subprocess.DEVNULL)
        self.colours = ColourSetting(self.bus_address, "light")
        # Programs look for the accessibility bus once, at their start.
        self.colours.ask("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")
        self.tray = None
        Atspi.init()

    def _start(self, *command, **options):
        process = subprocess.Popen(command, stderr=subprocess.DEVNULL, **options)
        self.processes.append(process)
        return process

    def _start_and_read(self, *command):
        return self._start(*command, stdout=subprocess.PIPE, text=True).stdout.readline().strip()

    def show_tray(self):
        self.tray = Tray(self.bus_address)

    def hide_tray(self):
        if self.tray:
            self.tray.end()
        self.tray = None

    def end(self):
        self.hide_tray()
        self.colours.end()
        for process in reversed(self.processes):
            process.send_signal(signal.SIGTERM)
            process.wait()
            if process.stdout:
                process.stdout.close()
        self.folder.cleanup()


class Window:
    """A program's window as assistive technology sees it."""

    def __init__(self, process):
        self.process = process

    def _application(self):
        Atspi.get_desktop(0).clear_cache()
        desktop = Atspi.get_desktop(0)
        for place in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(place)
            if application and application.get_process_id() == self.process.pid:
                return application
        return None

    def _all(self):
        waiting = [application] if (application := self._application()) else []
        while waiting:
            element = waiting.pop(0)
            yield element
            try:
                children = [element.get_child_at_index(place) for place in range(element.get_child_count())]
            except GLib.Error:
                children = []  # gone while we looked
            waiting = [child for child in children if child] + waiting

    def _find(self, role, name):
        for element in self._all():
            try:
                shown = element.get_state_set().contains(Atspi.StateType.SHOWING)
                if element.get_role_name() == role and shown and name in (None, element.get_name()):
                    return element
            except GLib.Error:
                continue
        return None

    def find(self, role, name=None):
        return eventually(lambda: self._find(role, name))

    def has(self, role, name=None):
        return self._find(role, name) is not None

    def texts(self):
        """What the labels say."""
        return [element.get_name() for element in self._all() if element.get_role_name() == "label"]

    def type(self, name, text):
        role = {"API key": "password text"}.get(name, "text")
        Atspi.EditableText.set_text_contents(self.find(role, name), text)

    def text(self, name):
        field = self.find("text", name)
        return Atspi.Text.get_text(field, 0, Atspi.Text.get_character_count(field))

    def press(self, name, role="push button"):
        button = eventually(lambda: self._enabled(role, name))
        Atspi.Action.do_action(button, 0)

    def _enabled(self, role, name):
        element = self._find(role, name)
        if not element:
            return None
        element.clear_cache()
        return element if element.get_state_set().contains(Atspi.StateType.ENABLED) else None

    def is_enabled(self, name):
        return self._enabled("push button", name) is not None
