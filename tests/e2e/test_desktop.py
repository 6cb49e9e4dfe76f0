"""The desktop program, worked as people do: with keyboard and mouse, on a screen."""
import os
import re

import trees
from dav_servers import Apache
from fault_proxy import FaultProxy
from screen import DesktopUser
from slow_line import SlowLine
from volume import VolumeTest, await_true, is_mounted, main

# Rows of the icon's menu.
CONNECTIONS, _, SETTINGS, _, QUIT = range(1, 6)
MIB = 1 << 20


class Desktop(VolumeTest):
    def setUp(self):
        self.person = DesktopUser()
        self.addCleanup(self.person.end)
        self.files = self.folder()
        trees.write(self.files, "letter", b"Dear Anna")
        self.apache = self.server(Apache, self.files, login=("anna", "right secret"))
        self.faults = FaultProxy(self.apache)
        self.addCleanup(self.faults.close)
        self.volume = self.person.mount_point("Office")

    def save(self, name, size):
        """As a program does that keeps a document; the upload comes after."""
        self.person.run("sh", "-c", f"head -c {size} /dev/zero > {self.volume}/{name}")

    def is_on_server(self, name, size):
        path = os.path.join(self.files, name)
        return os.path.exists(path) and os.path.getsize(path) == size

    def await_end_of(self, program):
        await_true(lambda: program.poll() is not None, 30, "the end of the program")
        self.assertEqual(program.returncode, 0)
        self.assertEqual(self.person.processes(), [])

    def test_from_the_first_start_to_the_next_login(self):
        person = self.person
        line = SlowLine(self.faults)
        self.addCleanup(line.close)
        program = person.start_desktop()
        self.add_connection(line.url)
        self.mount_from_the_menu()
        self.save_on_a_slow_line(line)
        self.save_refused()
        person.choose(CONNECTIONS, 1)
        await_true(lambda: not is_mounted(self.volume), what="the unmount")
        person.choose(QUIT)
        self.await_end_of(program)

        program = person.start_desktop("--background")
        await_true(lambda: is_mounted(self.volume), what="the mount at the start")
        self.assertEqual(person.windows("Velmora Disk$"), [])
        person.choose(QUIT)
        self.await_end_of(program)
        self.assertFalse(is_mounted(self.volume))
        self.assertNotIn("secret", person.log())

    def test_a_message_that_nobody_answers_holds_nothing_up(self):
        person = self.person
        person.velmoradisk("connection", "add", "Office", "--url", self.faults.url, "--mount-point", self.volume,
                           "--user", "anna", "--save-password", "--password-stdin", input="right secret\n")
        program = person.start_desktop("--background")
        await_true(lambda: person.popups(), what="the icon")
        person.velmoradisk("mount", "Office")
        for name in ("first", "second"):
            self.faults.break_next(415, "PUT")
            self.save(name, 1000)
            await_true(lambda: name in person.log(), what="the failure of the upload")
        message = person.await_active("^Error$")
        self.assertEqual(len(person.windows("^Error$")), 1)
        self.assertEqual(person.run("cat", f"{self.volume}/letter").stdout, "Dear Anna")
        person.velmoradisk("unmount", "Office", timeout=20)
        self.assertFalse(is_mounted(self.volume))
        self.assertEqual(person.windows("^Error$"), [message])
        # What is told of the first file, then of the second: why, and where it is.
        for name in ("first", "second"):
            person.await_message("^Error$", f"{name}” could not be saved.*content of this type")
            person.press("Return")
            person.await_message("^Velmora Disk$", f"home/{name}”")
            if name == "second":
                # Not even the program's end takes away what isn't read.
                person.choose(QUIT)
                person.await_window("^Velmora Disk$")
            person.press("Return")
        self.await_end_of(program)

    def add_connection(self, url):
        person = self.person
        person.await_active("^Connections")
        person.press("alt+a")
        person.fill("alt+n", "Office")
        person.fill("alt+u", url)
        person.press("Tab", "space", "Tab")
        person.write("anna")
        person.press("Tab", "space", "Tab")
        person.write("wrong secret")
        person.press("Tab", "space", "alt+m", "space", "Tab")
        person.write(self.volume)
        # The server refuses the password, so it is asked for; then the test goes on with the right one.
        person.press("alt+e")
        person.await_active("^Login$")
        person.press("alt+p")
        person.write("right secret")
        person.press("Return")
        person.await_message("^Please Note$", "The connection works")
        person.press("Return")
        person.await_active("^Connections")
        person.press("alt+o")
        person.await_no_window("^Connections")
        saved = person.velmoradisk("connection", "show", "Office").stdout
        for shown in (url, "anna", self.volume):
            self.assertIn(shown, saved)

    def mount_from_the_menu(self):
        self.person.choose(CONNECTIONS, 1)
        await_true(lambda: is_mounted(self.volume), what="the mount")
        self.assertEqual(self.person.run("cat", f"{self.volume}/letter").stdout, "Dear Anna")

    def save_on_a_slow_line(self, line):
        self.save("big", 8 * MIB)
        self.person.await_window("^(Upload|Transfer) – Velmora Disk$")
        self.assertFalse(self.is_on_server("big", 8 * MIB))
        line.open.set()
        self.person.await_no_window("^(Upload|Transfer) – Velmora Disk$")
        await_true(lambda: self.is_on_server("big", 8 * MIB), what="the upload")

    def save_refused(self):
        self.faults.break_next(507, "PUT")
        self.save("refused", 1000)
        self.person.await_message("^Error$", "“.*refused” could not be saved.*no space")
        self.person.press("Return")
        self.person.await_message("^Velmora Disk$", "kept as “" + re.escape(self.person.home) + "/refused”")
        self.person.press("Return")
        self.person.await_no_window("^Velmora Disk$")


if __name__ == "__main__":
    main()
