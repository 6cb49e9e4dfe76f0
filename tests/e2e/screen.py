"""A desktop on a screen that nobody sees: a window manager, a panel with icons and a session bus, worked with keyboard
and mouse."""
import contextlib
import os
import re
import subprocess

from volume import User, await_true

PROGRAM = os.environ.get("VELMORADISK_DESKTOP", os.path.join(os.path.dirname(os.environ["VELMORADISK"]),
                                                             "velmoradisk-desktop"))
SIZE = (1280, 900)


class DesktopUser(User):
    """Somebody in front of a desktop of their own."""

    def __init__(self, language="en"):
        super().__init__(ordinary=True)
        self.desktop_program = self.take_along(PROGRAM, "velmoradisk-desktop")
        # The locale stays one that every system has.
        self.environment["LANGUAGE"] = language
        self.parts = []
        try:
            self.start_parts()
        except BaseException:
            self.end()
            raise

    def start_parts(self):
        bus = f"{self.place}/run/bus"
        self.environment.update(DISPLAY=self.start_screen(), DBUS_SESSION_BUS_ADDRESS=f"unix:path={bus}",
                                GSETTINGS_BACKEND="memory")
        self.part("dbus-daemon", "--session", "--nofork", f"--address=unix:path={bus}")
        await_true(lambda: os.path.exists(bus), what="the session bus")
        # It runs that once it looks after windows: one that comes before is never shown.
        self.part("openbox", "--sm-disable", "--startup", f"touch {self.place}/run/managed")
        await_true(lambda: os.path.exists(f"{self.place}/run/managed"), what="the window manager")
        self.part("trayer", "--edge", "top", "--align", "right", "--widthtype", "pixel", "--width", "120",
                  "--height", "26")
        self.await_window("^panel$")

    def start_screen(self):
        # It stays as it is between its first client and the next.
        screen = self.part("Xvfb", "-displayfd", "1", "-screen", "0", "{}x{}x24".format(*SIZE), "-nolisten", "tcp",
                           "-noreset", stdout=subprocess.PIPE)
        number = screen.stdout.readline().decode().strip()
        screen.stdout.close()
        return ":" + number

    def part(self, *command, **options):
        """Something of the desktop, which lasts as long as the desktop does."""
        process = self.start(*command, **{"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL,
                                          "stderr": subprocess.DEVNULL, **options})
        self.parts.append(process)
        return process

    def end(self):
        super().end()
        for process in reversed(self.parts):
            process.terminate()
        for process in self.parts:
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(5)
            process.kill()
            process.wait()

    # Windows. A window is the number that the screen knows it by; names are regular expressions.

    def xdotool(self, *arguments, check=True):
        return self.run("xdotool", *map(str, arguments), check=check, timeout=20).stdout.strip()

    def windows(self, name):
        return self.xdotool("search", "--onlyvisible", "--name", name, check=False).split()

    def await_window(self, name, seconds=15):
        return await_true(lambda: self.windows(name), seconds, f"a window {name}")[-1]

    def await_no_window(self, name, seconds=15):
        await_true(lambda: not self.windows(name), seconds, f"the end of the window {name}")

    def await_active(self, name, seconds=15):
        """The window of that name once it has the keyboard."""
        def active():
            return self.xdotool("getactivewindow", check=False) in (found := self.windows(name)) and found
        await_true(active, seconds, f"the keyboard in the window {name}")
        return self.xdotool("getactivewindow")

    def frame_of(self, window):
        """How far the frame goes beyond the window: left, right, top and bottom."""
        return list(map(int, re.findall(r"\d+", self.run("xprop", "-id", window, "_NET_FRAME_EXTENTS").stdout)))

    def place_of(self, window):
        """x, y, width and height, without the frame."""
        shown = self.run("xwininfo", "-id", window).stdout
        return [int(re.search(rf"{key}: +(-?\d+)$", shown, re.M)[1])
                for key in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")]

    # Keyboard and mouse.

    def press(self, *keys):
        self.xdotool("key", *keys)

    def write(self, text):
        """Into the field that has the keyboard, in place of what it holds."""
        self.press("ctrl+a")
        self.xdotool("type", "--delay", "5", "--", text)

    def fill(self, key, text):
        """The field with that key. What was pressed before may show the field a moment later only."""
        def filled():
            self.press(key)
            self.write(text)
            return self.field_text() == text
        await_true(filled, what=f"“{text}” in a field")

    def click(self, window, x=None, y=None, button=1):
        """At that place of the window, or in its middle."""
        _, _, width, height = self.place_of(window)
        self.xdotool("mousemove", "--window", window, width // 2 if x is None else x, height // 2 if y is None else y,
                     "click", button)

    def selected_text(self):
        return self.run("xclip", "-out", "-selection", "primary", check=False, timeout=20).stdout

    def field_text(self):
        """What the field that has the keyboard holds."""
        self.press("ctrl+a")
        return self.selected_text()

    def await_message(self, name, text, seconds=15):
        """Reads the message in that window, which holds this regular expression."""
        window = self.await_active(name, seconds)

        def is_read():
            self.click(window, x=self.place_of(window)[2] * 2 // 3, y=24)
            return re.search(text, self.field_text(), re.S)
        await_true(is_read, 10, f"“{text}” in the window {name}")
        return window

    # The program.

    def start_desktop(self, *arguments):
        return self.part(self.desktop_program, *arguments)

    def popups(self):
        """The program's windows without a title: the icon, and the menus in sight."""
        every = self.xdotool("search", "--onlyvisible", "--classname", "^velmoradisk-desktop$", check=False).split()
        return set(every) - set(self.windows("."))

    def await_popups(self, count, seconds=15):
        return await_true(lambda: len(found := self.popups()) == count and found, seconds, f"{count} popups")

    def open_menu(self):
        icon, = self.await_popups(1)

        def opened():
            self.click(icon, button=3)
            with contextlib.suppress(AssertionError):
                return self.await_popups(2, seconds=2)
        # A click while the focus moves between windows may be lost.
        await_true(opened, what="the menu")
        # Away from the rows, which it would choose.
        self.xdotool("mousemove", SIZE[0] // 2, SIZE[1] - 10)

    def choose(self, *rows):
        """Opens the icon's menu and chooses that row of it, counted from 1; further rows are those of submenus."""
        self.open_menu()
        for depth, row in enumerate(rows):
            self.await_popups(2 + depth)
            # A submenu comes with its first row chosen.
            self.press(*["Down"] * (row if depth == 0 else row - 1), "Right" if depth + 1 < len(rows) else "Return")
        await_true(lambda: len(self.popups()) < 2, what="the end of the menu")
