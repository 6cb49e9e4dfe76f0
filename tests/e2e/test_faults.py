"""Whatever breaks while programs write: their bytes are on the server, or in a copy that the user is told of."""
import contextlib
import glob
import os
import re
import subprocess
import unittest

import trees
from dav_servers import Apache
from fault_proxy import FaultProxy
from volume import VolumeTest, await_true, is_mounted, main

OLD = b"old content\n" * 9000
NEW = b"new!\n" * 20000

REFUSALS = {"LOCK": [403, 423, 500, 507], "PROPPATCH": [403, 500], "GET": [403, 500],
            "PUT": [401, 403, 409, 413, 415, 423, 500, 503, 507], "PROPFIND": [403, 503], "UNLOCK": [403, 409, 500]}
CUTS = ["cut before", "cut body", "cut after", "cut answer"]

# What a program does with a file; it prints how many bytes of NEW it was told are written.
WRITER = """
import os, sys
path, how = sys.argv[1:3]
new = sys.stdin.buffer.read()
told = 0
try:
    node = os.open(path, {"create": os.O_WRONLY | os.O_CREAT | os.O_TRUNC, "change": os.O_RDWR,
                          "append": os.O_WRONLY | os.O_APPEND}[how])
    while told < len(new):
        told += os.write(node, new[told:told + 65536])
    os.close(node)
except OSError as failure:
    print(failure, file=sys.stderr)
print(told)
"""


class Faults(VolumeTest):
    def setUp(self):
        self.files = self.folder()
        self.dav = self.server(Apache, self.files)
        self.proxy = FaultProxy(self.dav)
        self.addCleanup(self.proxy.close)
        self.person = self.user(True)
        self.volume = self.mount(self.person, self.proxy.url)
        self.status_said = ""

    def on_server(self, name):
        with contextlib.suppress(FileNotFoundError), open(os.path.join(self.files, name), "rb") as file:
            return file.read()
        return None

    def prepare(self, name, content):
        path = trees.write(self.files, name, content)
        os.chmod(path, 0o666)

    def write(self, name, how, data=NEW):
        done = self.person.run("/usr/bin/python3", "-c", WRITER, os.path.join(self.volume, name), how, input=data,
                               text=False)
        return data[:int(done.stdout)]

    def named_copies(self):
        """The contents of the copies that the log or the status name."""
        self.status_said += self.person.velmoradisk("status").stdout
        contents = []
        for path in set(re.findall("\u201c(/[^\u201d\n]+)\u201d", self.person.log() + self.status_said)):
            if path.startswith(self.person.home) and os.path.isfile(path):
                with open(path, "rb") as file:
                    contents.append(file.read())
        return contents

    def expect_kept(self, name, old, told, how="create"):
        """Every byte told is somewhere, and the server's file is a whole one."""
        wanted = {"create": lambda: told, "change": lambda: told + old[len(told):], "append": lambda: old + told}[how]()

        def kept():
            return self.on_server(name) == wanted or wanted in self.named_copies()

        if told:
            await_true(kept, 60, f"the rescue of {len(told)} bytes of {name}")
        now = self.on_server(name)
        whole = (None, b"", wanted) if old is None else (old, wanted)
        self.assertTrue(now in whole, f"{name} is torn: {len(now or b'')} bytes")

    def expect_no_locks(self, but=()):
        self.person.velmoradisk("unmount", "Volume", timeout=60)
        await_true(lambda: not is_mounted(self.volume), 60)
        for name in set(filter(lambda name: name[0] != ".", os.listdir(self.files))) - set(but):
            path = os.path.join(self.files, name)
            answer = subprocess.run(["curl", "-s", "-X", "PUT", "--data-binary", "@-", "-o", "/dev/null",
                                     "-w", "%{http_code}", self.dav.url + name], input=self.on_server(name),
                                    capture_output=True, check=True)
            self.assertNotEqual(answer.stdout, b"423", f"{path} is still locked")

    def works_again(self):
        self.assertEqual(self.write("works", "create"), NEW)
        await_true(lambda: self.on_server("works") == NEW, 60, "the next file")

    def test_every_request_of_a_write(self):
        number = 0
        left_locked = []
        for method, statuses in REFUSALS.items():
            for fault in statuses + CUTS:
                number += 1
                how = "create" if method != "GET" and number % 3 == 0 else ("change", "append")[number % 2]
                with self.subTest(method=method, fault=fault, how=how):
                    name = f"file-{number}"
                    old = None if how == "create" else OLD
                    if old:
                        self.prepare(name, old)
                    # Who won't unlock, won't.
                    if method == "UNLOCK" and fault not in CUTS:
                        left_locked.append(name)
                    for _ in range(12):
                        self.proxy.break_next(fault, method)
                    told = self.write(name, how)
                    if method in ("PUT", "UNLOCK") and len(told) == len(NEW):
                        await_true(lambda: len(self.proxy.armed) < 12, 60, "the fault")
                    self.expect_kept(name, old, told, how)
                    self.proxy.disarm()
        self.works_again()
        self.expect_no_locks(left_locked)

    def test_what_was_refused_is_not_read_again(self):
        """Size and date are what they were: only the kernel's pages hold the refused bytes."""
        self.prepare("file", OLD)
        path = os.path.join(self.volume, "file")
        self.proxy.break_next(507, "PUT")
        self.assertEqual(len(self.write("file", "change", b"X" * 5000)), 5000)
        self.assertEqual(self.person.run("cat", path, text=False).stdout, OLD)

    def test_a_move_whose_answer_was_lost(self):
        for number, fault in enumerate(("cut after", "cut answer")):
            with self.subTest(fault=fault):
                for name in ("moved", "target"):
                    self.prepare(f"{name}-{number}", f"content of {name}".encode())
                moved, target = (os.path.join(self.volume, f"{name}-{number}") for name in ("moved", "target"))
                holder = self.holder(f"target-{number}")
                self.proxy.break_next(fault, "MOVE")
                self.person.run("mv", moved, target)
                self.close(holder)
                self.assertEqual(self.person.run("cat", target).stdout, "content of moved")
                self.assertEqual(self.on_server(f"target-{number}"), b"content of moved")
                self.assertFalse(os.path.exists(moved))

    def test_cp_tells_what_was_not_written(self):
        """Nothing listens any more: cp fails, or its file is rescued."""
        local = trees.write(self.folder(), "big", NEW * 20)
        os.chmod(local, 0o644)
        self.person.run("ls", self.volume)
        self.dav.stop()
        done = self.person.run("cp", local, os.path.join(self.volume, "big"), check=False)
        if done.returncode == 0:
            await_true(lambda: NEW * 20 in self.named_copies(), 60, "the rescue")
        self.dav.fixed_port = self.dav.port
        self.dav.start()
        self.works_again()

    def holder(self, name, how="r+b"):
        """A program that holds a file open, written and not closed."""
        process = self.person.start(
            "/usr/bin/python3", "-c", f"import sys\nfile = open({os.path.join(self.volume, name)!r}, {how!r}, 0)\n"
            "file.write(b'held')\nprint(1, flush=True)\nsys.stdin.read()\nfile.write(b'+last')\nfile.close()",
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.assertEqual(process.stdout.readline(), b"1\n")
        return process

    def close(self, process):
        process.communicate(b"", timeout=30)
        self.assertEqual(process.returncode, 0)

    def restart(self, forget):
        self.dav.stop()
        if forget:
            for path in glob.glob(os.path.join(self.dav.lock_folder(), "*")):
                os.remove(path)
        self.dav.fixed_port = self.dav.port
        self.dav.start()
        self.proxy.drop_connections()

    def test_a_server_that_restarts_under_open_files(self):
        for forget in (False, True):
            with self.subTest(forget=forget):
                self.prepare(f"changed-{forget}", OLD)
                holders = [self.holder(f"changed-{forget}"), self.holder(f"new-{forget}", "w+b")]
                self.restart(forget)
                for process in holders:
                    self.close(process)
                changed = b"held+last" + OLD[9:]
                await_true(lambda: self.on_server(f"changed-{forget}") == changed, 60, "the changed file")
                await_true(lambda: self.on_server(f"new-{forget}") == b"held+last", 60, "the new file")
        self.expect_no_locks()

    def test_a_server_away_at_the_close_and_back_again(self):
        self.prepare("changed", OLD)
        holders = [self.holder("changed"), self.holder("new", "w+b")]
        self.dav.stop()
        self.proxy.drop_connections()
        for process in holders:
            self.close(process)
        changed = b"held+last" + OLD[9:]
        await_true(lambda: {changed, b"held+last"} <= set(self.named_copies()), 60, "the copies")
        for name in ("changed", "new"):
            copy = os.path.join(self.person.home, name)
            self.assertIn(copy, self.person.log())
            self.assertIn(copy, self.status_said)
        self.assertEqual(self.on_server("changed"), OLD)
        self.dav.fixed_port = self.dav.port
        self.dav.start()
        self.works_again()
        self.assertEqual(self.person.run("cat", os.path.join(self.volume, "changed"), text=False).stdout, OLD)

    def test_the_local_store_goes_under_open_files(self):
        self.prepare("changed", OLD)
        holders = [self.holder("changed"), self.holder("new", "w+b")]
        subprocess.run(["rm", "-rf", os.path.join(self.person.home, ".VelmoraDisk_Store")], check=True)
        for process in holders:
            self.close(process)
        await_true(lambda: self.on_server("changed") == b"held+last" + OLD[9:], 60, "the changed file")
        await_true(lambda: self.on_server("new") == b"held+last", 60, "the new file")
        self.works_again()

    @unittest.skipIf(os.geteuid() != 0, "only root can make a small disk")
    def test_the_local_disk_is_full(self):
        self.person.velmoradisk("unmount", "Volume")
        await_true(lambda: not self.person.processes(), 60)
        home = self.person.home
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=6m,mode=700,uid=65534,gid=65534", "none", home], check=True)
        self.addCleanup(subprocess.run, ["umount", "-l", home])
        self.volume = self.mount(self.person, self.proxy.url)
        self.prepare("changed", OLD)
        told = self.write("too-big", "create", b"x" * (10 << 20))
        self.assertLess(len(told), 10 << 20)
        self.expect_kept("too-big", None, told)
        filler = os.path.join(home, "filler")
        subprocess.run(["dd", "if=/dev/zero", f"of={filler}", "bs=64k"], stderr=subprocess.DEVNULL, check=False)
        told = self.write("changed", "change")
        self.expect_kept("changed", OLD, told, "change")
        os.remove(filler)
        self.person.run("rm", os.path.join(self.volume, "too-big"))
        self.works_again()
        self.person.velmoradisk("unmount", "Volume")
        await_true(lambda: not self.person.processes(), 60)


if __name__ == "__main__":
    main()
