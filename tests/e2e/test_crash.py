"""What was written and not yet sent when the background process dies is kept at home, and told."""
import contextlib
import os
import random
import re
import select
import signal
import socket
import threading

import trees
from dav_servers import Apache, Lighttpd, Rclone
from volume import VolumeTest, await_true, main

# Writes each file as told, syncs it, and keeps it open.
HOLDER = """
import os, sys, time
for path, flags, offset, text in zip(*[iter(sys.argv[1:])] * 4):
    fd = os.open(path, int(flags), 0o644)
    os.pwrite(fd, text.encode(), int(offset))
    os.fsync(fd)
print("written", flush=True)
time.sleep(600)
"""


class SlowRelay:
    """Relays to a server. While `held`, long requests get stuck on their way, until `drop`."""

    FIRST_BYTES = 1 << 18

    def __init__(self, port):
        self.target = port
        self.held = threading.Event()
        self.stuck = threading.Event()
        self.dropped = threading.Event()
        self.closed = threading.Event()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        with contextlib.suppress(OSError):
            while True:
                client, _ = self.listener.accept()
                threading.Thread(target=self.carry, args=(client,), daemon=True).start()

    def carry(self, client):
        with client, socket.create_connection(("127.0.0.1", self.target)) as server:
            sent = 0
            with contextlib.suppress(OSError):
                while not self.closed.is_set():
                    for ready in select.select([client, server], [], [], 0.1)[0]:
                        data = ready.recv(1 << 16)
                        if not data:
                            return
                        (server if ready is client else client).sendall(data)
                        sent += len(data) if ready is client else 0
                    if sent > self.FIRST_BYTES and self.held.is_set():
                        self.stuck.set()
                        # What the buffers still have of the request never arrives.
                        self.dropped.wait()
                        return

    def drop(self):
        self.held.clear()
        self.dropped.set()

    def close(self):
        self.drop()
        self.closed.set()
        self.listener.close()


class Crash(VolumeTest):
    def setUp(self):
        self.files = self.folder()

    def kill(self, user):
        for pid in user.processes():
            os.kill(pid, signal.SIGKILL)
        await_true(lambda: not user.processes())

    def hold(self, user, *files):
        arguments = [str(part) for file in files for part in file]
        holder = user.start("/usr/bin/python3", "-c", HOLDER, *arguments, stdout=-1)
        self.addCleanup(holder.communicate)
        self.addCleanup(holder.kill)
        self.assertEqual(holder.stdout.readline(), b"written\n")
        return holder

    def at_home(self, user, name):
        with contextlib.suppress(OSError), open(os.path.join(user.home, name), "rb") as file:
            return file.read()

    def on_server(self, name):
        with contextlib.suppress(OSError), open(os.path.join(self.files, name), "rb") as file:
            return file.read()

    def mount_and_expect_told(self, user, url, copies, unmounts_first=False):
        """Each copy in a message of what clears the crash, which counts as seen then."""
        self.assertIn("Nothing is lost", user.velmoradisk("status").stdout)
        volume = user.mount_point("Volume")
        told = ""
        if unmounts_first:
            done = user.velmoradisk("unmount", volume, check=False)
            self.assertEqual(done.returncode, 1, done.stderr)
            told = done.stderr
        told += user.velmoradisk("mount", url, "--name", "Volume", "--mount-point", volume).stderr
        self.assertEqual(told.count("could not be saved"), len(copies), f"{told}\n{user.log()}")
        for path, saved in copies.items():
            saved = os.path.join(user.home, saved)
            self.assertRegex(told, f"\u201c{re.escape(path)}\u201d.*\u201c{re.escape(saved)}\u201d")
            self.assertTrue(unmounts_first or saved in user.log())
        self.assertEqual(user.status()["messages"], [])

    def end_holder(self, holder):
        holder.kill()
        holder.wait(10)

    def test_files_that_are_open_for_writing(self):
        for kind in (Apache, Lighttpd, Rclone):
            with self.subTest(kind.__name__):
                self.files = self.folder()
                original = b"original of the server" * 5000
                trees.write(self.files, "old.txt", original)
                trees.write(self.files, "read.txt", b"only read")
                dav = self.server(kind, self.files)
                user = self.user(True)
                user.run("sh", "-c", "echo mine > ~/new.txt")
                volume = self.mount(user, dav.url)
                holder = self.hold(
                    user,
                    (os.path.join(volume, "new.txt"), os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0, "new content"),
                    (os.path.join(volume, "old.txt"), os.O_RDWR, 9, "CHANGED"),
                    (os.path.join(volume, "cafe\u0301"), os.O_WRONLY | os.O_CREAT, 0, "coffee"))
                user.run("cat", os.path.join(volume, "read.txt"))
                self.kill(user)
                self.end_holder(holder)

                changed = original[:9] + b"CHANGED" + original[16:]
                self.mount_and_expect_told(user, dav.url, {os.path.join(volume, "new.txt"): "new 2.txt",
                                                           os.path.join(volume, "old.txt"): "old.txt",
                                                           os.path.join(volume, "caf\u00e9"): "caf\u00e9"})
                self.assertEqual(self.at_home(user, "new.txt"), b"mine\n")
                self.assertEqual(self.at_home(user, "new 2.txt"), b"new content")
                self.assertEqual(self.at_home(user, "old.txt"), changed)
                self.assertEqual(self.at_home(user, "caf\u00e9"), b"coffee")
                self.assertIsNone(self.at_home(user, "read.txt"))
                self.assertEqual(self.on_server("old.txt"), original)
                self.assertIn(self.on_server("new.txt"), (None, b""))

                # What the message asks for, and the rest of a working volume.
                for name, source in (("old.txt", "old.txt"), ("new.txt", "new 2.txt"), ("another", "new.txt")):
                    user.run("cp", os.path.join(user.home, source), os.path.join(volume, name))
                    await_true(lambda: self.on_server(name) == self.at_home(user, source), 15, f"{name} on the server")
                user.velmoradisk("unmount", "Volume")
                await_true(lambda: not user.processes(), 20)
                left = [name for name in os.listdir(user.home) if name.startswith(".VelmoraDisk")]
                self.assertEqual(left, [])
                user.end()
                dav.close()

    def test_an_upload_under_way(self):
        original = b"as it was"
        written = random.Random(1).randbytes(4 << 20)
        trees.write(self.files, "big", original)
        source = trees.write(self.folder(), "source", written)
        dav = self.server(Apache, self.files)
        relay = SlowRelay(dav.port)
        self.addCleanup(relay.close)
        user = self.user(True)
        url = f"http://127.0.0.1:{relay.port}/"
        volume = self.mount(user, url)
        relay.held.set()
        copying = user.start("cp", source, os.path.join(volume, "big"), stderr=-3)
        self.addCleanup(copying.wait)
        await_true(relay.stuck.is_set, 20, "the upload")
        self.kill(user)
        relay.drop()
        copying.wait(20)
        self.assertEqual(self.on_server("big"), original)

        self.mount_and_expect_told(user, url, {os.path.join(volume, "big"): "big"})
        self.assertEqual(self.at_home(user, "big"), written)
        self.assertEqual(user.run("cat", os.path.join(volume, "big"), text=False).stdout, original)
        user.run("cp", os.path.join(user.home, "big"), os.path.join(volume, "big"))
        await_true(lambda: self.on_server("big") == written, 20, "the copy on the server")

    def test_removed_and_renamed_while_open(self):
        for name in ("old", "replaced"):
            trees.write(self.files, name, b"original")
        dav = self.server(Apache, self.files)
        user = self.user(True)
        volume = self.mount(user, dav.url)
        places = {name: os.path.join(volume, name) for name in ("gone", "old", "draft", "final", "replaced")}
        holder = self.hold(user, *[(places[name], os.O_RDWR | os.O_CREAT, 0, f"{name} unsent")
                                   for name in ("gone", "old", "draft", "replaced")])
        user.run("rm", places["gone"], places["old"])
        user.run("mv", places["draft"], places["final"])
        user.run("sh", "-c", 'echo whole > "$0.new" && mv "$0.new" "$0"', places["replaced"])
        await_true(lambda: self.on_server("replaced") == b"whole\n")
        user.run("ls", volume)
        self.kill(user)
        self.end_holder(holder)
        self.mount_and_expect_told(user, dav.url, {places["final"]: "final"}, unmounts_first=True)
        self.assertEqual(self.at_home(user, "final"), b"draft unsent")
        self.assertEqual(user.run("cat", places["replaced"]).stdout, "whole\n")
        self.assertEqual(sorted(name for name in os.listdir(user.home) if not name.startswith(".")),
                         ["VelmoraDiskLog", "final"])

    def test_what_was_sent_is_not_saved_again(self):
        dav = self.server(Apache, self.files)
        user = self.user(True)
        volume = self.mount(user, dav.url)
        user.run("sh", "-c", 'echo sent > "$0"; : > "$0.empty"', os.path.join(volume, "sent"))
        await_true(lambda: self.on_server("sent") == b"sent\n" and self.on_server("sent.empty") == b"")
        # Served once the release before it is done.
        user.run("ls", volume)
        self.kill(user)
        self.mount(user, dav.url)
        self.assertEqual(user.status()["messages"], [])
        self.assertIsNone(self.at_home(user, "sent"))
        self.assertEqual(user.run("cat", os.path.join(volume, "sent")).stdout, "sent\n")


if __name__ == "__main__":
    main()
