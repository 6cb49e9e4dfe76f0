"""Thousands of file operations in a random order, on a volume and on a local folder side by side, compared.

test_random.py [--seed N] [--seconds N] [--log] [Class.test]; also by VELMORA_RANDOM_SEED and VELMORA_RANDOM_SECONDS, the
time for each of the two tests. A round starts with an empty folder and has a seed of its own, which a failure prints:
--seed with that number plays it again. --log shows the program's log with a failure.
"""
import collections
import os
import random
import shutil
import sys
import time
import urllib.parse

import trees
from aftermath import locks_of, rescue_copies
from author import Author
from dav_servers import Apache
from fault_proxy import FAULTS, FaultProxy
from player import Player
from volume import VolumeTest, await_true, composed, main

ROUND = 500
BETWEEN_COMPARISONS = 40
METHODS = [None, "PROPFIND", "GET", "PUT", "LOCK", "UNLOCK", "DELETE", "MOVE", "MKCOL"]

# (operation, outcome on a local disk) -> outcomes on the volume that are as good.
KNOWN_DIFFERENCES = {
    # The kernel asks for a folder's attributes by its path alone, and an open folder that is removed has none.
    ("fstat", "ok", "['folder', 0]"): [["error", "ESTALE"]],
}


def option(name, otherwise):
    """The value of "--name N", taken from the command line, or of VELMORA_RANDOM_NAME."""
    if f"--{name}" in sys.argv:
        at = sys.argv.index(f"--{name}")
        value = sys.argv[at + 1]
        del sys.argv[at:at + 2]
        return int(value)
    return int(os.environ.get(f"VELMORA_RANDOM_{name.upper()}", otherwise))


class Rounds(VolumeTest):
    """Plays rounds until the time is up."""

    maps = True

    def rounds(self):
        deadline = time.monotonic() + SECONDS
        steps = rounds = 0
        while not rounds or time.monotonic() < deadline:
            self.seed = SEED + rounds
            self.history = collections.deque(maxlen=40)
            try:
                steps += self.play_round(deadline)
            except Exception as error:
                log = f"\n{self.user_here.log()}" if LOG else ""
                raise AssertionError(f"{error}\nplay it again with --seed {self.seed}; the last operations:\n"
                                     + "\n".join(self.history) + log) from error
            rounds += 1
        print(f"seeds {SEED} to {self.seed}, {steps} operations", file=sys.stderr)

    def play_round(self, deadline):
        self.user_here, self.served, self.local = self.user(True), self.folder(), self.folder()
        self.server_here = self.server(Apache, self.served)
        volume = self.mount(self.user_here, self.address())
        self.there, self.here = self.player(volume), self.player(self.local)
        self.author = Author(self.seed, self.local, self.maps)
        self.begin()
        step = 0
        while step < ROUND and time.monotonic() < deadline:
            step += 1
            self.step(step)
        self.close_all()
        self.finish()
        self.end_round()
        return step

    def end_round(self):
        for player in (self.there, self.here):
            player.end()
        self.user_here.velmoradisk("unmount", "Volume")
        self.assertEqual(self.on_server(), trees.snapshot(self.local), "after the unmount")
        self.assertEqual(locks_of(self.server_here.url), [], "locks after the unmount")
        self.user_here.end()
        self.server_here.close()

    def on_server(self):
        """Without the folders that Apache keeps properties in."""
        return {path: state for path, state in trees.snapshot(self.served).items() if ".DAV" not in path.split("/")}

    def player(self, folder):
        player = Player(self.user_here.start, folder)
        self.addCleanup(player.process.kill)
        return player

    def play(self, step):
        """Plays the next operation on both. The operation, and its outcomes on the local disk and on the volume."""
        operation = self.author.next()
        expected, found = self.here(*operation), self.there(*operation)
        if found == ["error", "ENOTEMPTY"] and expected[0] == "ok":
            # Removed files that are still open keep a hidden name in their folder.
            self.close_all()
            found = self.there(*operation)
        self.author.went(operation, expected)
        if found in KNOWN_DIFFERENCES.get((operation[0], *map(str, expected)), ()):
            found = expected
        self.history.append(f"{step}: {operation} -> {expected}" + ("" if found == expected else f", volume {found}"))
        return operation, expected, found

    def close_all(self):
        for player in (self.here, self.there):
            player("close_all")
        self.history.append(f"   closed {sorted(self.author.open)}")
        self.author.open.clear()


class AsALocalDisk(Rounds):
    def test_outcomes_are_the_same(self):
        self.rounds()

    def address(self):
        return self.server_here.url

    def begin(self):
        pass

    def step(self, number):
        operation, expected, found = self.play(number)
        self.assertEqual(found, expected, f"step {number}: {operation}")

    def finish(self):
        self.assertEqual(self.there("tree"), self.here("tree"), "after the last close")

    def test_links_are_refused(self):
        self.user_here, folder = self.user(True), self.folder()
        volume = self.player(self.mount(self.user_here, self.server(Apache, folder).url))
        volume("open", 0, "a", os.O_CREAT | os.O_WRONLY)
        for operation in ("link", "symlink"):
            self.assertEqual(volume(operation, "a", "b"), ["error", "EPERM"])
        volume.end()


class Interval:
    """What may be on the server after the operations since the last comparison, while exchanges broke."""

    def __init__(self, local):
        self.local = local
        self.before = self.now = trees.snapshot(local)
        self.allowed = {path: {state} for path, state in self.now.items()}

    def went(self, operation):
        """Takes note of the local folder after an operation."""
        if operation[0] == "rename":
            self.renamed(*operation[1:])
        self.before, self.now = self.now, trees.snapshot(self.local)
        for path in self.allowed.keys() | self.now.keys():
            self.allowed.setdefault(path, {None}).add(self.now.get(path))

    def renamed(self, path, to):
        """Where an upload failed, what was there before it lies at the new name then."""
        for old in [name for name in self.allowed if name == path or name.startswith(path + "/")]:
            self.allowed.setdefault(to + old[len(path):], {None}).update(self.allowed[old])

    def never_there(self, server):
        """What the server has, or lacks, that no operation can have led to."""
        names = self.allowed.keys() | server.keys()
        return {name: server.get(name) for name in names if server.get(name) not in self.good(name)}

    def good(self, name):
        """An empty file is removed when the server refuses what is written to it."""
        states = self.allowed.get(name, {None})
        return states | {None} if any(state and state[0] == 0 for state in states) else states

    def lost(self, kept, failed):
        """What was told as written and isn't kept. A failed operation may have happened or not."""
        lost = {}
        for path, state in (self.before if failed else self.now).items():
            good = {state, self.now.get(path)} - {None} if failed else {state}
            removed = failed in ("unlink", "rename") and state not in self.now.values()
            too_short = any(one != "folder" and one[0] < 2 for one in good)
            if state != "folder" and not (removed or too_short or good & kept):
                lost[path] = state
        return lost


class WithFaults(Rounds):
    """A server that fails now and then: what a program was told is written is there, or in a rescue copy."""

    # Where the server doesn't give a page, a program that maps it gets a fatal signal.
    maps = False

    def test_nothing_written_is_lost(self):
        self.rounds()

    def address(self):
        self.proxy = FaultProxy(self.server_here)
        self.addCleanup(self.proxy.close)
        return self.proxy.url

    def begin(self):
        self.interval = Interval(self.local)
        self.faults = []

    def step(self, number):
        self.arm(self.author.chance)
        operation, expected, found = self.play(number)
        self.interval.went(operation)
        failed = operation[0] if found != expected else None
        if failed or self.shows_other(operation) or number % BETWEEN_COMPARISONS == 0:
            self.compare(failed)

    def arm(self, chance):
        drawn = chance.random()
        fault, method, skip = chance.choice(sorted(FAULTS)), chance.choice(METHODS), chance.randrange(3)
        if drawn < 0.12:
            self.proxy.break_next(fault, method, skip)
            self.history.append(f"   armed: {fault}, {method or 'any request'} after {skip}")
        elif drawn < 0.14:
            self.restart(forget_locks=chance.random() < 0.5)

    def restart(self, forget_locks):
        self.faults.append("restart, locks forgotten" if forget_locks else "restart")
        self.history.append(f"   {self.faults[-1]}")
        self.server_here.stop()
        self.proxy.drop_connections()
        if forget_locks:
            shutil.rmtree(self.server_here.path("locks"))
        self.server_here.fixed_port = self.server_here.port
        self.server_here.start()

    def shows_other(self, operation):
        """A failed upload is told in messages alone, so what was uploaded is looked at before it changes again."""
        if operation[0] not in ("close", "truncate"):
            return False
        expected, found = self.here("tree"), self.there("tree")
        if found != expected:
            self.history.append(f"   the volume shows {found} instead of {expected}")
        return found != expected

    def compare(self, failed):
        self.close_all()
        # Answered after everything that was closed.
        self.there("list", "")
        self.faults += self.proxy.disarm()
        self.history.append(f"   comparing; faults: {self.faults}")
        # A server takes for there what is locked, and a lock that it failed to release is tried again in seconds.
        await_true(lambda: not self.locked_in_vain(), 30, "nothing is locked that is not there")
        server = self.without_hidden()
        self.assertTrue(self.faults or server == self.interval.now, "another outcome without a fault")
        self.assertEqual(self.interval.never_there(server), {}, "never was there")
        self.assertEqual(self.interval.lost(set(server.values()) | self.rescued(), failed), {}, "lost")
        self.go_on_from(server)

    def locked_in_vain(self):
        there = self.on_server()
        locked = [urllib.parse.urlsplit(url).path for url in locks_of(self.server_here.url)]
        return [path for path in locked if composed(urllib.parse.unquote(path)).strip("/") not in there]

    def without_hidden(self):
        """What the server has. Removed files that were open and that a fault left there are put out of the way."""
        hidden = [path for path in self.on_server() if os.path.basename(path).startswith(".fuse_hidden")]
        for path in hidden if self.faults else ():
            os.unlink(os.path.join(self.served, path))
        return self.on_server()

    def rescued(self):
        return {(os.path.getsize(path), trees.digest(path)) for path in rescue_copies(self.user_here)}

    def go_on_from(self, server):
        """The local folder becomes what the server has, and the volume shows the same before long."""
        if server != self.interval.now:
            for name in os.listdir(self.local):
                path = os.path.join(self.local, name)
                shutil.rmtree(path) if os.path.isdir(path) else os.unlink(path)
            shutil.copytree(self.served, self.local, ignore=shutil.ignore_patterns(".DAV"), dirs_exist_ok=True)
            for where, folders, files in os.walk(self.local):
                for name in folders + files:
                    shutil.chown(os.path.join(where, name), "nobody" if self.user_here.ordinary else None, -1)
        expected = self.here("tree")
        await_true(lambda: self.there("tree") == expected, 60, "the volume shows what the server has")
        self.begin()

    def finish(self):
        self.compare(None)

    def end_round(self):
        super().end_round()
        self.proxy.close()


LOG = "--log" in sys.argv and sys.argv.remove("--log") is None
SEED = option("seed", random.randrange(1 << 30))
SECONDS = option("seconds", 20)

if __name__ == "__main__":
    main()
