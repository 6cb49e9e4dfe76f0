"""However a mount ends, it ends clean; and a user has one background process, whoever starts it."""
import os
import re
import signal
import subprocess
import threading

import trees
from dav_servers import Apache
from fault_proxy import FaultProxy
from slow_line import SlowLine
from volume import VolumeTest, await_true, is_mounted, main

# Copies a folder's files and becomes the shell that runs the command, which closes all the copies at once.
WRITER = """
import os, sys
source, volume, holds, command = sys.argv[1:]
files = [open(os.path.join(volume, name), "wb") for name in os.listdir(source)]
for file in files:
    with open(os.path.join(source, os.path.basename(file.name)), "rb") as original:
        file.write(original.read())
        file.flush()
if holds == "True":
    held = os.open(os.path.join(volume, "held"), os.O_CREAT | os.O_WRONLY, 0o644)
    os.write(held, b"held\\n")
    os.set_inheritable(held, True)
os.execlp("sh", "sh", "-c", command)
"""


class Ending(VolumeTest):
    def setUp(self):
        self.files = self.folder()
        trees.write(self.files, "file", b"content")
        self.dav = self.server(Apache, self.files)

    def gone(self, user, volume, seconds=20):
        await_true(lambda: not is_mounted(volume), 15, "the unmount")
        await_true(lambda: not user.processes(), seconds, "the end of the background process")
        self.assertFalse(os.path.exists(volume), "the mount point that was made is left")
        self.assertFalse(os.path.exists(os.path.join(user.home, ".VelmoraDisk_Store")), "the store is left")

    def test_every_way_to_unmount(self):
        def to_service(user, number):
            os.kill(user.processes()[0], number)

        ways = {
            "by name": lambda user, volume: user.velmoradisk("unmount", "Volume"),
            "by mount point": lambda user, volume: user.velmoradisk("unmount", volume),
            "fusermount3": lambda user, volume: user.run("fusermount3", "-u", volume),
            "fusermount3 lazily": lambda user, volume: user.run("fusermount3", "-u", "-z", volume),
            "SIGTERM": lambda user, volume: to_service(user, signal.SIGTERM),
            "SIGINT": lambda user, volume: to_service(user, signal.SIGINT),
        }
        if os.geteuid() == 0:
            ways["umount"] = lambda user, volume: subprocess.run(["umount", volume], check=True)
        for name, unmount in ways.items():
            with self.subTest(name):
                user = self.user(True)
                volume = self.mount(user, self.dav.url)
                self.assertEqual(user.run("cat", os.path.join(volume, "file")).stdout, "content")
                unmount(user, volume)
                self.gone(user, volume)
                user.end()

    def test_written_files_reach_the_server_whichever_way_it_ends(self):
        """Each upload takes 1.5 s, so that the kernel still holds back most releases when the end is asked for."""
        ways = {
            "unmount": "{program} unmount Volume",
            "forced": "{program} unmount --force Volume",
            "fusermount3": "fusermount3 -u {volume}",
            "lazily": "fusermount3 -u -z {volume}",
            "SIGTERM": "kill -TERM {pid}; while kill -0 {pid} 2>/dev/null; do sleep 0.1; done",
        }
        sizes = {"big": 9_000_000, "small": 10, "empty": 0, "two": 70_000, "three": 4096}
        source = self.folder()
        for name, size in sizes.items():
            trees.write(source, name, os.urandom(size))
        # A program can't be started while a thread that starts another still has it open for writing.
        servers = {name: self.server(Apache, self.folder()) for name in ways}
        users = {name: self.user(True) for name in ways}
        failures = []

        def end_by(name, command):
            folder = servers[name].folder
            proxy = FaultProxy(servers[name])
            self.addCleanup(proxy.close)
            for _ in range(3 * len(sizes)):
                proxy.break_next("stall", "PUT")
            user = users[name]
            volume = self.mount(user, proxy.url)
            # What is still open when a forced end comes counts as written too.
            holds = name in ("forced", "SIGTERM")
            command = command.format(program=user.program, volume=volume, pid=user.processes()[0])
            user.run("/usr/bin/python3", "-c", WRITER, source, volume, str(holds), command)
            if name != "unmount":
                self.gone(user, volume, 60)
            told = subprocess.run(["diff", "-rq", "-x", ".DAV", source, folder], capture_output=True, text=True).stdout
            held = f"Only in {folder}: held\n" if holds else ""
            self.assertEqual(told, held, user.log())

        def guarded(name, command):
            try:
                end_by(name, command)
            except BaseException as failure:
                failures.append(f"{name}: {failure}"[-3000:])

        threads = [threading.Thread(target=guarded, args=way) for way in ways.items()]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(failures, [])

    def test_who_waits_for_the_end_is_told_what_the_server_did_not_take(self):
        user = self.user(True)
        proxy = FaultProxy(self.dav)
        self.addCleanup(proxy.close)
        line = SlowLine(proxy)
        self.addCleanup(line.close)
        for _ in range(9):
            proxy.break_next(507, "PUT")
        volume = self.mount(user, line.url)
        user.run("sh", "-c", f"head -c {4 << 20} /dev/zero > {volume}/big")
        await_true(lambda: user.status()["mounts"][0]["uploads"], 15, "the upload")
        # Whoever has asked for the space keeps the volume in use for a moment.
        await_true(lambda: user.run("fusermount3", "-u", volume, check=False).returncode == 0, 15, "the unmount")
        self.assertIn("still sending", user.velmoradisk("status").stdout)
        again = user.velmoradisk("mount", line.url, "--name", "Volume", "--mount-point", volume, check=False)
        self.assertEqual(again.returncode, 1)
        self.assertIn("still being unmounted", again.stderr)
        unmount = user.start(user.program, "unmount", "Volume", stderr=subprocess.PIPE, text=True)
        self.assertIn("Waiting", unmount.stderr.readline())
        line.open.set()
        told = unmount.communicate(timeout=60)[1]
        self.assertEqual(unmount.returncode, 1, told)
        self.assertIn(f"\u201c{user.home}/big\u201d", told)
        self.assertEqual(user.status()["messages"], [])
        self.gone(user, volume)

    def test_a_server_that_is_away_is_called_so(self):
        user = self.user(True)
        self.mount(user, self.dav.url)
        self.dav.stop()
        await_true(lambda: "The server cannot be reached." in user.velmoradisk("status").stdout)

    def test_volume_in_use(self):
        user = self.user(True)
        volume = self.mount(user, self.dav.url)
        with subprocess.Popen(["sleep", "60"], cwd=volume if os.geteuid() != 0 else "/", **(
                {} if os.geteuid() != 0 else dict(user=65534, group=65534))) as idle:
            holder = user.start("/usr/bin/python3", "-c",
                                f"import time; f = open({os.path.join(volume, 'file')!r}); print(1, flush=True); "
                                "time.sleep(60)", stdout=subprocess.PIPE)
            holder.stdout.readline()
            refused = user.velmoradisk("unmount", "Volume", check=False)
            self.assertEqual(refused.returncode, 1)
            self.assertIn("--force", refused.stderr)
            self.assertTrue(is_mounted(volume))
            user.velmoradisk("unmount", "--force", "Volume")
            self.gone(user, volume)
            for process in (holder, idle):
                process.kill()
            holder.communicate()

    def test_a_server_that_keeps_silent_does_not_hold_up_the_end(self):
        for ending in (lambda user: user.velmoradisk("unmount", "--force", "Volume", timeout=30),
                       lambda user: os.kill(user.processes()[0], signal.SIGTERM)):
            user = self.user(True)
            volume = self.mount(user, self.dav.url)
            os.killpg(self.dav.process.pid, signal.SIGSTOP)
            reader = user.start("cat", os.path.join(volume, "file"), stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL)
            try:
                ending(user)
                self.gone(user, volume)
            finally:
                os.killpg(self.dav.process.pid, signal.SIGCONT)
            self.assertNotEqual(reader.wait(20), 0)

    def test_a_crash_is_cleared_at_the_next_mount(self):
        user = self.user(True)
        volume = self.mount(user, self.dav.url)
        for pid in user.processes():
            os.kill(pid, signal.SIGKILL)
        await_true(lambda: not user.processes())
        self.assertNotEqual(user.run("ls", volume, check=False).returncode, 0)
        self.mount(user, self.dav.url)
        self.assertEqual(user.run("cat", os.path.join(volume, "file")).stdout, "content")
        user.velmoradisk("unmount", "Volume")
        await_true(lambda: not is_mounted(volume))

    def test_one_process_for_many_mounts_started_at_once(self):
        user = self.user(True)
        failures = []

        def mount(name):
            try:
                self.mount(user, self.dav.url, name)
            except AssertionError as failure:
                failures.append(failure)

        threads = [threading.Thread(target=mount, args=(f"V{number}",)) for number in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(failures, [])
        self.assertEqual(len(user.processes()), 1)
        told = {mount["name"]: mount for mount in user.status()["mounts"]}
        self.assertEqual(sorted(told), ["V0", "V1", "V2", "V3"])
        for name, mount in told.items():
            self.assertEqual(mount["mountPoint"], user.mount_point(name))
            self.assertEqual(user.run("cat", os.path.join(mount["mountPoint"], "file")).stdout, "content")
        user.velmoradisk("unmount", "V0")
        self.assertEqual(len(user.status()["mounts"]), 3)
        os.kill(user.processes()[0], signal.SIGTERM)
        for name in told:
            self.gone(user, user.mount_point(name))

    def test_foreground(self):
        user = self.user(True)
        volume = user.mount_point("Fore")
        process = user.start(user.program, "mount", self.dav.url, "--name", "Fore", "--mount-point", volume,
                             "--foreground", stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
        await_true(lambda: is_mounted(volume))
        self.assertEqual(user.run("cat", os.path.join(volume, "file")).stdout, "content")
        process.send_signal(signal.SIGINT)
        process.wait(30)
        self.gone(user, volume)

    def test_the_foreground_outlives_whoever_read_its_messages(self):
        proxy = FaultProxy(self.dav)
        self.addCleanup(proxy.close)
        user = self.user(True)
        volume = user.mount_point("Fore")
        process = user.start(user.program, "mount", proxy.url, "--name", "Fore", "--mount-point", volume,
                             "--foreground", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        process.stdout.readline()
        process.stdout.close()
        proxy.break_next(413, "PUT")
        user.run("sh", "-c", f"echo kept > {volume}/refused; echo sent > {volume}/sent; cat {volume}/sent")
        self.assertEqual({message["volume"] for message in user.status()["messages"]}, {"Fore"})
        self.assertIn(f"\u201c{user.home}/refused\u201d", user.velmoradisk("status").stdout)
        process.terminate()
        self.assertEqual(process.wait(30), 0)
        self.gone(user, volume)

    def test_a_saved_connection_by_name(self):
        user = self.user(True)
        volume = user.mount_point("Saved One")
        user.velmoradisk("connection", "add", "Saved One", "--url", self.dav.url, "--mount-point", volume)
        self.assertIn("Saved One", user.velmoradisk("connection", "list").stdout)
        self.assertIn(self.dav.url, user.velmoradisk("connection", "show", "Saved One").stdout)
        user.velmoradisk("connection", "test", "Saved One")
        user.velmoradisk("mount", "Saved One")
        self.assertEqual(user.run("cat", os.path.join(volume, "file")).stdout, "content")
        human = user.velmoradisk("status").stdout
        self.assertIn(volume, human)
        self.assertTrue(re.search(r"127\.0\.0\.1", human))
        user.velmoradisk("unmount", "Saved One")
        self.gone(user, volume)
        user.velmoradisk("connection", "remove", "Saved One")
        self.assertNotIn("Saved One", user.velmoradisk("connection", "list").stdout)


if __name__ == "__main__":
    main()
