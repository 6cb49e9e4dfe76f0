"""However a mount ends, it ends clean; and a user has one background process, whoever starts it."""
import os
import re
import signal
import subprocess
import threading

import trees
from dav_servers import Apache
from volume import VolumeTest, await_true, is_mounted, main


class Ending(VolumeTest):
    def setUp(self):
        self.files = self.folder()
        trees.write(self.files, "file", b"content")
        self.dav = self.server(Apache, self.files)

    def gone(self, user, volume):
        await_true(lambda: not is_mounted(volume), 15, "the unmount")
        await_true(lambda: not user.processes(), 20, "the end of the background process")
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
