"""A volume mounted by the built program, with a home of its own, as root or as an ordinary user."""
import contextlib
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unicodedata
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../scripts"))
import dav_servers  # noqa: E402

PROGRAM = os.environ["VELMORADISK"]
NOBODY = 65534


def await_true(condition, seconds=15, what="the condition"):
    """The condition's value once it is true; a test never sleeps longer than it has to."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"{what} did not come true within {seconds} s")
        time.sleep(0.05)


def is_mounted(path):
    with open("/proc/self/mountinfo") as table:
        return any(line.split(" ")[4] == path for line in table)


class User:
    """Somebody who uses the program: their home, their environment, and how to run things as them."""

    def __init__(self, ordinary=False):
        self.ordinary = ordinary and os.geteuid() == 0
        self.place = tempfile.mkdtemp(prefix="velmora-e2e-")
        self.home = os.path.join(self.place, "home")
        self.program = self.take_along(PROGRAM)
        for folder in (self.home, os.path.join(self.place, "run"), os.path.join(self.place, "volumes")):
            os.mkdir(folder, 0o700)
            if self.ordinary:
                os.chown(folder, NOBODY, NOBODY)
        os.chmod(self.place, 0o755)
        self.environment = {"PATH": os.environ["PATH"], "HOME": self.home, "LANG": "C.UTF-8",
                            "XDG_RUNTIME_DIR": os.path.join(self.place, "run")}
        for sanitizer in ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            if sanitizer in os.environ:
                self.environment[sanitizer] = os.environ[sanitizer]

    def take_along(self, program, name="velmoradisk"):
        """A copy of the user's own."""
        return shutil.copy(program, os.path.join(self.place, name))

    def identity(self):
        return dict(user=NOBODY, group=NOBODY, extra_groups=[]) if self.ordinary else {}

    def start(self, *command, **options):
        return subprocess.Popen(command, env=self.environment, cwd=self.place, start_new_session=True,
                                **self.identity(), **options)

    def run(self, *command, check=True, text=True, timeout=180, **options):
        done = subprocess.run(command, env=self.environment, cwd=self.place, start_new_session=True,
                              capture_output=True, text=text, timeout=timeout, **self.identity(),
                              **({} if "input" in options else {"stdin": subprocess.DEVNULL}), **options)
        if check and done.returncode != 0:
            raise AssertionError(f"{command} ended with {done.returncode}\n{done.stdout}\n{done.stderr}\n{self.log()}")
        return done

    def velmoradisk(self, *arguments, **options):
        return self.run(self.program, *arguments, **options)

    def status(self):
        return json.loads(self.velmoradisk("status", "--json").stdout)

    def log(self):
        path = os.path.join(self.home, "VelmoraDiskLog/velmoradisk.log")
        with contextlib.suppress(OSError), open(path, errors="replace") as file:
            return "log:\n" + file.read()[-8000:]
        return "no log"

    def mount_point(self, name):
        return os.path.join(self.place, "volumes", name)

    def processes(self):
        """What is still running of this user's programs."""
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            with contextlib.suppress(OSError):
                if os.readlink(f"/proc/{pid}/exe").startswith(self.place + "/"):
                    found.append(int(pid))
        return found

    def end(self):
        volumes = os.path.join(self.place, "volumes")
        with contextlib.suppress(Exception):
            for name in os.listdir(volumes):
                self.velmoradisk("unmount", "--force", name, check=False, timeout=30)
        for pid in self.processes():
            with contextlib.suppress(OSError):
                os.kill(pid, 15)
        with contextlib.suppress(AssertionError):
            await_true(lambda: not self.processes(), 20)
        for pid in self.processes():
            with contextlib.suppress(OSError):
                os.kill(pid, 9)
        with open("/proc/self/mountinfo") as table:
            left = [line.split(" ")[4] for line in table if line.split(" ")[4].startswith(volumes + "/")]
        for path in left:
            subprocess.run(["umount", "-l", path], check=False)
        shutil.rmtree(self.place, ignore_errors=True)


class VolumeTest(unittest.TestCase):
    """Ends every user and server that a test asked for."""

    def user(self, ordinary=False):
        user = User(ordinary)
        self.addCleanup(user.end)
        return user

    def folder(self):
        folder = tempfile.mkdtemp(prefix="velmora-files-")
        os.chmod(folder, 0o777)
        self.addCleanup(shutil.rmtree, folder, True)
        return folder

    def server(self, kind, folder, **options):
        server = kind(folder, **options)
        self.addCleanup(server.close)
        server.start()
        return server

    def mount(self, user, url, name="Volume", *options, **more):
        point = user.mount_point(name)
        user.velmoradisk("mount", url, "--name", name, "--mount-point", point, *options, **more)
        return point


def composed(text):
    return unicodedata.normalize("NFC", text)


def main():
    unittest.main(verbosity=2)
