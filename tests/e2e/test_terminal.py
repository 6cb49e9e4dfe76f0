"""Questions are asked in the terminal of the command that caused them."""
import os
import pty
import re
import select
import signal
import subprocess
import time

import trees
from dav_servers import Apache
from slow_line import SlowLine
from volume import VolumeTest, await_true, is_mounted, main


class Terminal:
    """A command on a terminal of its own, answered as a person would."""

    def __init__(self, user, *arguments):
        self.pid, self.master = pty.fork()
        if self.pid == 0:
            if user.ordinary:
                os.setgroups([])
                os.setgid(65534)
                os.setuid(65534)
            os.chdir(user.place)
            os.execve(user.program, [user.program, *arguments], user.environment)
        self.screen = ""

    def read(self, seconds):
        ready, _, _ = select.select([self.master], [], [], seconds)
        if not ready:
            return False
        try:
            data = os.read(self.master, 4096)
        except OSError:
            return False
        self.screen += data.decode(errors="replace")
        return bool(data)

    def expect(self, pattern, seconds=20):
        """Waits for the text behind what was found last."""
        deadline = time.monotonic() + seconds
        while not (found := re.search(pattern, self.screen)):
            if time.monotonic() > deadline or (not self.read(0.5) and self.ended()):
                raise AssertionError(f"{pattern!r} was not shown; the terminal shows: {self.screen!r}")
        shown, self.screen = self.screen[:found.end()], self.screen[found.end():]
        return shown

    def ended(self):
        return os.waitid(os.P_PID, self.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is not None

    def answer(self, text):
        os.write(self.master, text.encode() + b"\n")

    def interrupt(self):
        os.write(self.master, b"\x03")

    def exit_code(self, seconds=30):
        await_true(lambda: self.read(0.05) or self.ended(), seconds, "the end of the command")
        while self.read(0.2):
            pass
        await_true(self.ended, seconds, "the end of the command")
        _, status = os.waitpid(self.pid, 0)
        os.close(self.master)
        return os.waitstatus_to_exitcode(status)


class Questions(VolumeTest):
    def test_a_login_is_asked_until_it_is_right(self):
        user = self.user(True)
        folder = self.folder()
        trees.write(folder, "file", b"for anna")
        server = self.server(Apache, folder, login=("anna", "right secret"))
        volume = user.mount_point("V")
        terminal = Terminal(user, "mount", server.url, "--name", "V", "--mount-point", volume)
        for secret in ("wrong secret", "right secret"):
            terminal.expect("(?i)user[^\n]*: ?")
            terminal.answer("anna")
            terminal.expect("(?i)password[^\n]*: ?")
            terminal.answer(secret)
        shown = terminal.expect("mounted")
        self.assertNotIn("secret", shown)
        self.assertEqual(terminal.exit_code(), 0)
        self.assertEqual(user.run("cat", os.path.join(volume, "file")).stdout, "for anna")
        self.assertNotIn("secret", user.log())

    def test_a_certificate_is_accepted_for_the_session(self):
        user = self.user(True)
        folder = self.folder()
        trees.write(folder, "file", b"over TLS")
        server = self.server(Apache, folder, tls=True)
        volume = user.mount_point("V")
        refusing = Terminal(user, "mount", server.url, "--name", "V", "--mount-point", volume)
        refusing.expect(r"(?i)certificate(.|\n)*[:?\]>] ?$")
        refusing.answer("")
        self.assertEqual(refusing.exit_code(), 1)
        self.assertFalse(is_mounted(volume))
        accepting = Terminal(user, "mount", server.url, "--name", "V", "--mount-point", volume)
        accepting.expect(r"(?i)certificate(.|\n)*[:?\]>] ?$")
        accepting.answer("y")
        self.assertEqual(accepting.exit_code(), 0)
        self.assertEqual(user.run("cat", os.path.join(volume, "file")).stdout, "over TLS")

    def test_a_command_that_is_interrupted_mounts_nothing(self):
        user = self.user(True)
        server = self.server(Apache, self.folder(), login=("anna", "secret"))
        volume = user.mount_point("V")
        terminal = Terminal(user, "mount", server.url, "--name", "V", "--mount-point", volume)
        terminal.expect("(?i)user[^\n]*: ?")
        terminal.interrupt()
        self.assertNotEqual(terminal.exit_code(), 0)
        await_true(lambda: not user.processes(), 20, "the end of the background process")
        self.assertFalse(is_mounted(volume))

    def test_a_password_is_asked_for_without_echo_and_kept_enciphered(self):
        user = self.user(True)
        server = self.server(Apache, self.folder(), login=("anna", "stored secret"))
        volume = user.mount_point("Kept")
        terminal = Terminal(user, "connection", "add", "Kept", "--url", server.url, "--mount-point", volume, "--user",
                            "anna", "--save-user", "--save-password")
        for prompt in ("(?i)password[^\n]*: ?", "(?i)again[^\n]*: ?"):
            terminal.expect(prompt)
            terminal.answer("stored secret")
        self.assertEqual(terminal.exit_code(), 0)
        self.assertNotIn("secret", terminal.screen)
        for where, _, files in os.walk(os.path.join(user.home, ".config")):
            for name in files:
                path = os.path.join(where, name)
                self.assertEqual(os.stat(path).st_mode & 0o077, 0, path)
                with open(path, "rb") as file:
                    self.assertNotIn(b"secret", file.read())
        user.velmoradisk("mount", "Kept")
        self.assertTrue(is_mounted(volume))


class ClientCertificates(VolumeTest):
    MODULE = "/usr/lib/x86_64-linux-gnu/softhsm/libsofthsm2.so"

    def in_place(self, *command):
        subprocess.run(command, cwd=self.place, check=True, capture_output=True, **self.who.identity(),
                       env=self.who.environment)

    def setUp(self):
        self.who = self.user(True)
        self.place = os.path.join(self.who.home, ".local/share/velmoradisk/identities")
        self.who.run("mkdir", "-p", self.place)
        for name in ("stranger", "anna"):
            self.in_place("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                          f"/O={name}s firm/CN={name}", "-keyout", f"{name}.key", "-out", f"{name}.pem")
        folder = self.folder()
        trees.write(folder, "file", b"for anna")
        self.server_ = self.server(Apache, folder, tls=True, client=os.path.join(self.place, "anna.pem"))
        self.volume = self.who.mount_point("Certified")
        self.who.velmoradisk("connection", "add", "Certified", "--url", self.server_.url, "--mount-point", self.volume,
                             "--allow-self-signed", "yes", "--client-certificate", "yes")

    def mount_with(self, choice, *secrets):
        """The exit code of a mount with that row of the list."""
        terminal = Terminal(self.who, "mount", "Certified")
        shown = terminal.expect("(?i)number of the certificate[^\n]*: ?")
        rows = dict(re.findall(r"(\d)\) (.*?) \(issued by", shown))
        self.assertNotIn("secret", shown)
        terminal.answer(next((row for row, label in rows.items() if label == choice), ""))
        for secret in secrets:
            terminal.expect("(?i)passphrase: ?")
            terminal.answer(secret)
        return terminal.exit_code()

    def check_mounted(self):
        self.assertEqual(self.who.run("cat", os.path.join(self.volume, "file")).stdout, "for anna")
        self.assertNotIn("secret", self.who.log())
        self.who.velmoradisk("unmount", "Certified")
        # The choice is the process's, and so is the token's driver.
        await_true(lambda: not self.who.processes(), 20, "the end of the background process")
        self.assertNotIn("CRASH", self.who.log())

    def test_the_one_chosen_in_the_folder_is_shown_to_the_server(self):
        self.in_place("openssl", "pkcs12", "-export", "-in", "anna.pem", "-inkey", "anna.key", "-out", "kept.p12",
                      "-passout", "pass:the secret")
        for choice in ("", "stranger"):
            self.assertEqual(self.mount_with(choice), 1, choice)
            self.assertFalse(is_mounted(self.volume))
        self.assertEqual(self.mount_with("anna"), 0)
        self.check_mounted()
        self.assertEqual(self.mount_with("kept", "no secret", "the secret"), 0)
        self.check_mounted()

    def test_the_one_on_a_token_is_shown_to_the_server(self):
        tokens = os.path.join(self.who.home, "tokens")
        self.who.run("mkdir", tokens)
        config = os.path.join(self.who.place, "softhsm2.conf")
        with open(config, "w") as file:
            file.write(f"directories.tokendir = {tokens}\n")
        self.who.environment["SOFTHSM2_CONF"] = config
        self.in_place("softhsm2-util", "--init-token", "--free", "--label", "Card", "--so-pin", "12345678", "--pin",
                      "secret4711")
        self.in_place("softhsm2-util", "--import", "anna.key", "--token", "Card", "--label", "key", "--id", "01",
                      "--pin", "secret4711")
        self.in_place("openssl", "x509", "-in", "anna.pem", "-outform", "der", "-out", "anna.der")
        self.in_place("pkcs11-tool", "--module", self.MODULE, "--token-label", "Card", "--login", "--pin", "secret4711",
                      "--write-object", "anna.der", "--type", "cert", "--id", "01", "--label", "Annas card")
        self.assertEqual(self.mount_with("Annas card", "secret0815", "secret4711"), 0)
        self.check_mounted()


class Progress(VolumeTest):
    def begin_unmount(self, user):
        terminal = Terminal(user, "unmount", "V")
        if "in use" not in terminal.expect("written to “V”|in use.*\n"):
            return terminal
        return terminal.exit_code() and None

    def test_a_slow_upload_is_shown_to_everybody_who_waits(self):
        user = self.user(True)
        folder = self.folder()
        line = SlowLine(self.server(Apache, folder))
        self.addCleanup(line.close)
        volume = user.mount_point("V")
        total = 24 << 20
        mounting = Terminal(user, "mount", line.url, "--name", "V", "--mount-point", volume, "--foreground")
        mounting.expect("mounted")
        user.run("sh", "-c", f"head -c {total} /dev/zero > {volume}/big")
        mounting.expect(r"\r\x1b\[K\S*big \(\d+% uploaded\)")
        began = time.monotonic()
        self.assertIn("Uploading: /big", user.velmoradisk("status").stdout)
        self.assertLess(time.monotonic() - began, 2, "status waited for the volume")
        # Whoever looks at the volume meanwhile has to wait as well, and keeps it in use.
        unmounting = await_true(lambda: self.begin_unmount(user), 30, "the beginning of the unmount")
        unmounting.expect(r"big \([\d.]+ MiB of 24\S* MiB uploaded\)")
        shown, = user.status()["mounts"]
        upload, = shown["uploads"]
        self.assertEqual((shown["state"], shown["size"]), ("unmounting", None))
        self.assertEqual((upload["path"], upload["total"]), ("/big", total))
        self.assertTrue(line.PASSED < upload["sent"] < total, upload)
        self.assertRegex(user.velmoradisk("status").stdout, r"Uploading: /big \([\d.]+ MiB of 24\S* MiB uploaded\)")
        line.open.set()
        for terminal in (unmounting, mounting):
            self.assertEqual(terminal.exit_code(), 0, terminal.screen)
            self.assertTrue(terminal.screen.endswith("\r\x1b[K"), terminal.screen)
        self.assertEqual(os.path.getsize(os.path.join(folder, "big")), total)


signal.signal(signal.SIGTTOU, signal.SIG_IGN)
if __name__ == "__main__":
    main()
