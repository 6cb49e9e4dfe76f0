"""Two people with the same folder of a server as their volume, both writing."""
import os
import shutil

import trees
from aftermath import locks_of, rescue_copies
from dav_servers import Apache, Lighttpd, Rclone
from player import Player, told
from volume import VolumeTest, await_true, main

SERVERS = (Apache, Lighttpd, Rclone)
LOGIN = ("anna", "secret")
OLD = b"as it was"
DONE = ["ok", None]
# A volume takes what it knows for valid for 3 seconds, the kernel for one more; a busy machine is slower.
VALIDITY = 20


class Place:
    """What one person does with the volume."""

    def __init__(self, test, server):
        login = ("--user", LOGIN[0], "--password-stdin") if server.login else ()
        self.user = test.user(True)
        self.player = Player(self.user.start, test.mount(self.user, server.url, "Volume", *login,
                                                         **({"input": LOGIN[1] + "\n"} if login else {})))
        test.addCleanup(self.player.process.kill)

    def __call__(self, *operation):
        return self.player(*operation)

    def open_when_free(self, slot, path, flags):
        """Somebody else's close lets go of the file shortly after it returned."""
        def attempt():
            outcome = self("open", slot, path, flags)
            if outcome not in (DONE, ["error", "EBUSY"]):
                raise AssertionError(f"open of {path}: {outcome}")
            return outcome == DONE

        await_true(attempt, 60, "the other's lock is gone")

    def append(self, path, line):
        self.open_when_free(9, path, os.O_WRONLY | os.O_APPEND)
        outcomes = [self("write_text", 9, line), self("close", 9)]
        if outcomes != [["ok", len(line)], DONE]:
            raise AssertionError(f"appending: {outcomes}")


class TwoClients(VolumeTest):
    def on_every_server(self, check, logins=(None,), kinds=SERVERS):
        for kind in kinds:
            for login in logins:
                with self.subTest(server=kind.name, login=bool(login)):
                    self.folder_there = self.folder()
                    trees.write(self.folder_there, "file", OLD)
                    os.chmod(os.path.join(self.folder_there, "file"), 0o666)
                    server = self.server(kind, self.folder_there, login=login)
                    one, two = Place(self, server), Place(self, server)
                    check(server, one, two)
                    for place in (one, two):
                        place.player.end()
                        place.user.velmoradisk("unmount", "Volume")
                        place.user.end()
                    if not login:
                        self.assertEqual(locks_of(server.url), [])
                    server.close()

    def served(self, name="file"):
        with open(os.path.join(self.folder_there, name), "rb") as file:
            return file.read()

    def await_served(self, content, name="file"):
        try:
            await_true(lambda: self.served(name) == content, 60, f"{name} is uploaded")
        except AssertionError as error:
            raise AssertionError(f"{error}: {self.served(name)} instead of {content}") from None

    def test_an_open_file_is_busy_to_others(self):
        self.on_every_server(self.one_writes_at_a_time)
        self.on_every_server(self.one_writes_at_a_time, (LOGIN,), (Apache,))

    def one_writes_at_a_time(self, _, one, two):
        busy = ["error", "EBUSY"]
        self.assertEqual(two("content", "file"), ["ok", told(OLD)])
        self.assertEqual(one("open", 0, "file", os.O_RDWR), DONE)
        self.assertEqual(one("write_text", 0, "of one"), ["ok", 6])
        for flags in (os.O_WRONLY, os.O_RDWR, os.O_WRONLY | os.O_TRUNC, os.O_WRONLY | os.O_CREAT):
            self.assertEqual(two("open", 0, "file", flags), busy, flags)
        self.assertEqual(two("truncate", "file", 1), busy)
        self.assertEqual(two("content", "file"), ["ok", told(OLD)])
        self.assertEqual(self.served(), OLD)
        self.assertEqual(one("close", 0), DONE)
        two.open_when_free(0, "file", os.O_WRONLY)
        self.assertEqual(two("pwrite_text", 0, "!", 6), ["ok", 1])
        self.assertEqual(one("open", 0, "file", os.O_WRONLY), busy)
        self.assertEqual(two("close", 0), DONE)
        self.await_served(b"of one!as")

    def test_changes_are_seen_in_time(self):
        self.on_every_server(self.see_changes)

    def see_changes(self, _, one, two):
        def written(path, flags, text):
            return [("open", 0, path, flags | os.O_WRONLY), ("write_text", 0, text), ("close", 0)]

        # The kernel tells two versions of one size apart by their dates, which servers give in seconds.
        os.utime(os.path.join(self.folder_there, "file"), (1, 1))
        gone = ["error", "ENOENT"]
        changes = [
            ([("mkdir", "folder"), *written("folder/new", os.O_CREAT, "new"), *written("file", 0, "AS")],
             {("list", ""): ["ok", ["file", "folder"]], ("list", "folder"): ["ok", ["new"]],
              ("content", "folder/new"): ["ok", told(b"new")], ("content", "file"): ["ok", told(b"AS it was")]}),
            ([*written("file", os.O_TRUNC, "short"), ("rename", "folder/new", "folder/renamed"),
              ("rename", "folder", "other")],
             {("content", "file"): ["ok", told(b"short")], ("stat", "folder"): gone,
              ("list", ""): ["ok", ["file", "other"]], ("list", "other"): ["ok", ["renamed"]], ("content", "other/renamed"): ["ok", told(b"new")]}),
            ([("truncate", "file", 2), ("unlink", "other/renamed"), ("rmdir", "other")],
             {("stat", "file"): ["ok", ["file", 2]], ("content", "file"): ["ok", told(b"sh")], ("stat", "other"): gone,
              ("list", ""): ["ok", ["file"]]}),
        ]
        for operations, views in changes:
            for view in views:
                two(*view)
            for operation in operations:
                self.assertEqual(one(*operation)[0], "ok", operation)
            for view, expected in views.items():
                await_true(lambda: two(*view) == expected, VALIDITY, f"{view} is {expected}, not {two(*view)}, which")

    def test_appending_in_turn(self):
        self.on_every_server(self.append_in_turn)

    def append_in_turn(self, _, one, two):
        expected = OLD
        for number in range(20):
            line = f"line {number}\n"
            (one, two)[number % 2].append("file", line)
            expected += line.encode()
            self.await_served(expected)

    def test_a_lock_that_the_server_forgot(self):
        """The writer's own content is saved; what somebody else wrote meanwhile isn't lost for it."""
        for other_writes in (False, True):
            self.on_every_server(lambda server, one, two: self.forget_locks(server, one, two, other_writes),
                                 kinds=(Apache,))

    def forget_locks(self, server, one, two, other_writes):
        self.assertEqual(one("open", 0, "file", os.O_RDWR), DONE)
        self.assertEqual(one("write_text", 0, "of one"), ["ok", 6])
        server.fixed_port = server.port
        server.stop()
        shutil.rmtree(server.path("locks"))
        server.start()
        contents = {b"of one" + OLD[6:]}
        if other_writes:
            contents.add(b"of the other")
            self.assertEqual(two("open", 0, "file", os.O_WRONLY | os.O_TRUNC), DONE)
            self.assertEqual(two("write_text", 0, "of the other"), ["ok", 12])
            self.assertEqual(two("close", 0), DONE)
            self.await_served(b"of the other")
        self.assertEqual(one("close", 0), DONE)
        await_true(lambda: contents <= self.kept(one, two), 60, "everybody's content is there, or where they were told")

    def kept(self, *places):
        kept = {self.served()}
        for place in places:
            for path in rescue_copies(place.user):
                with open(path, "rb") as file:
                    kept.add(file.read())
        return kept


if __name__ == "__main__":
    main()
