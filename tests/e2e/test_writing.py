"""Ordinary programs on a volume leave on the server what they leave in a local folder, on three kinds of servers."""
import difflib
import os
import subprocess
import time

import scenarios
import trees
from dav_servers import Apache, Lighttpd, Rclone
from volume import VolumeTest, await_true, is_mounted, main

SCENARIOS = os.path.abspath(scenarios.__file__)
# What differs between any two runs, or by what a volume can keep: git's copy of dates and modes.
UNCOMPARED = ("/.git/index", "/.git/config", "/.git/gc.log")
CRASHES = ("terminate called", "Assertion", "AddressSanitizer", "ThreadSanitizer", "runtime error:")
GIB = 1 << 30


def differences(expected, found):
    """The items of two snapshots that aren't the same."""
    paths = sorted(path for path in expected.keys() | found.keys() if expected.get(path) != found.get(path))
    return [f"{path}: {expected.get(path)} here, {found.get(path)} on the server" for path in paths]


def compared(folder):
    """A snapshot without Apache's own folders of properties, and without what is never the same."""
    return {path: what for path, what in trees.snapshot(folder).items()
            if ".DAV" not in path.split("/") and not ("/" + path).endswith(UNCOMPARED)}


class Writing(VolumeTest):
    """VELMORA_SCENARIOS names the scenarios to play, if not all."""

    def volume(self, kind, ordinary=True):
        self.place, self.served = self.folder(), self.folder()
        self.user_ = self.user(ordinary)
        self.local = os.path.join(self.place, "local")
        for folder in (self.local, self.served):
            os.makedirs(folder, exist_ok=True)
            scenarios.prepare(folder)
            # The server's own user and the one who plays the local side both write there.
            subprocess.run(["chmod", "-R", "a+rwX", folder], check=True)
        self.server_ = self.server(kind, self.served)
        return self.mount(self.user_, self.server_.url)

    def play(self, name, folder):
        """What the scenario told; its failure, if it didn't come to its end."""
        try:
            done = self.user_.run("/usr/bin/python3", "-B", SCENARIOS, name, os.path.join(folder, name), check=False)
        except subprocess.TimeoutExpired as late:
            return f"not done within {late.timeout} s"
        return done.stdout + (f"ended with {done.returncode}: {done.stderr}" if done.returncode else "")

    def compare(self, kind, chosen=None, ordinary=True):
        """Plays the scenarios on both sides, unmounts, and compares what was told and what was left."""
        volume = self.volume(kind, ordinary)
        chosen = os.environ.get("VELMORA_SCENARIOS", "").split() or chosen or list(scenarios.SCENARIOS)
        told = {}
        for name in chosen:
            begin = time.monotonic()
            told[name] = (self.play(name, self.local), self.play(name, volume))
            if os.environ.get("VELMORA_SCENARIOS_TIMES"):
                print(f"{kind.name} {name}: {time.monotonic() - begin:.1f} s", flush=True)
        self.unmount(volume)
        for name in chosen:
            with self.subTest(server=kind.name, scenario=name):
                expected, seen = told[name]
                self.assertEqual(expected.splitlines(), seen.splitlines(),
                                 "\n".join(difflib.unified_diff(expected.splitlines(), seen.splitlines(), lineterm="")))
                self.assertNotIn("ended with", expected)
                self.assertEqual(differences(compared(os.path.join(self.local, name)),
                                             compared(os.path.join(self.served, name))), [])

    def unmount(self, volume):
        """Afterwards everything is on the server, and nobody had to be told of a save that failed."""
        self.user_.velmoradisk("unmount", "Volume")
        self.assertFalse(is_mounted(volume))
        await_true(lambda: not self.user_.processes(), what="the end of the background process")
        self.assertEqual(self.user_.status()["messages"], [])
        log = self.user_.log()
        self.assertFalse([mark for mark in CRASHES if mark in log], log)

    def test_apache(self):
        self.compare(Apache)

    def test_lighttpd(self):
        self.compare(Lighttpd)

    def test_rclone(self):
        self.compare(Rclone)

    def test_as_root(self):
        self.compare(Apache, ["changes_in_place", "new_files", "moves_of_open_files", "handles"], ordinary=False)

    def test_three_gibibytes(self):
        volume = self.volume(Apache)
        source = os.path.join(self.place, "source")
        with open(source, "wb") as file:
            file.truncate(3 * GIB + 5)
            for place in (0, 1000 << 20, 2 * GIB - 3, 3 * GIB - 100):
                file.seek(place)
                file.write(os.urandom(5 << 20)[:3 * GIB + 5 - place])
        target = os.path.join(volume, "three GiB")
        self.user_.run("cp", "--sparse=never", source, target, timeout=240)
        self.user_.run("sh", "-c", f"printf changed | dd of='{target}' bs=1 seek={2 * GIB + 1} conv=notrunc status=none")
        with open(source, "r+b") as file:
            file.seek(2 * GIB + 1)
            file.write(b"changed")
        self.user_.run("mv", target, target + " moved")
        self.unmount(volume)
        subprocess.run(["cmp", source, os.path.join(self.served, "three GiB moved")], check=True)


if __name__ == "__main__":
    main()
