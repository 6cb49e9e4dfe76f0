"""What is read through a volume is what lies in the server's folder, byte for byte, on three kinds of servers."""
import os
import random
import stat
import subprocess
import tarfile

import trees
from dav_servers import Apache, Lighttpd, Rclone
from volume import VolumeTest, await_true, composed, main

SERVERS = (Apache, Lighttpd, Rclone)
READ_SNAPSHOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "snapshot.py")


class Reading(VolumeTest):
    def on_every_server(self, check, fill=trees.make_tree, ordinary=(True,)):
        folder = self.folder()
        fill(folder)
        for kind in SERVERS:
            for as_ordinary in ordinary:
                with self.subTest(server=kind.name, ordinary=as_ordinary):
                    user = self.user(as_ordinary)
                    server = self.server(kind, folder)
                    check(user, folder, self.mount(user, server.url))
                    user.end()
                    server.close()

    def test_tree_is_the_same(self):
        self.on_every_server(self.compare_tree, ordinary=(True, False))

    def compare_tree(self, user, folder, volume):
        listed = user.run("/usr/bin/python3", READ_SNAPSHOT, volume).stdout
        expected = subprocess.run(["/usr/bin/python3", READ_SNAPSHOT, folder], capture_output=True, text=True,
                                  check=True).stdout
        self.assertEqual(listed, expected)

    def test_ordinary_programs(self):
        self.on_every_server(self.use_programs)

    def use_programs(self, user, folder, volume):
        names = sorted(composed(name) for name in os.listdir(folder))
        self.assertEqual(sorted(user.run("ls", "-A", volume).stdout.splitlines()), names)
        counts = [user.run("find", place, "-mindepth", "1", "-printf", "%y").stdout for place in (volume, folder)]
        self.assertEqual(sorted(counts[0]), sorted(counts[1]))
        user.run("ls", "-lR", volume)
        sizes = os.path.join(volume, "sizes")
        for size in trees.SIZES:
            there = user.run("md5sum", os.path.join(sizes, f"{size}.bin")).stdout.split()[0]
            self.assertEqual(there, trees.digest(os.path.join(folder, f"sizes/{size}.bin")), size)
        copy = os.path.join(user.home, "copy")
        user.run("cp", "-r", volume, copy)
        self.assertEqual(trees.snapshot(copy), trees.snapshot(folder))
        archive = os.path.join(user.home, "all.tar")
        user.run("tar", "cf", archive, "-C", volume, ".")
        with tarfile.open(archive) as tar:
            self.assertEqual(len(tar.getmembers()) - 1, len(trees.snapshot(folder)))
        found = user.run("grep", "-rl", "inside", os.path.join(volume, "folders")).stdout
        self.assertGreaterEqual(found.count("\n"), len(trees.NAMES))
        self.assertEqual(user.run(os.path.join(volume, "program")).stdout, "it runs\n")

    def test_random_reads_and_mmap(self):
        def fill(folder):
            trees.write(folder, "big.bin", random.Random(2).randbytes(20 << 20))

        self.on_every_server(self.read_at_random, fill)

    def read_at_random(self, user, folder, volume):
        chance = random.Random(3)
        with open(os.path.join(folder, "big.bin"), "rb") as file:
            content = file.read()
        path = os.path.join(volume, "big.bin")
        for _ in range(12):
            skip, count = chance.randrange(0, 20 << 10), chance.randrange(1, 600)
            out = user.run("dd", f"if={path}", "bs=1024", f"skip={skip}", f"count={count}", "status=none",
                           text=False).stdout
            self.assertEqual(out, content[skip << 10:(skip + count) << 10], (skip, count))
        code = ("import mmap,hashlib,sys\nf=open(sys.argv[1],'rb')\nm=mmap.mmap(f.fileno(),0,access=mmap.ACCESS_READ)\n"
                "print(hashlib.md5(m[::-1]).hexdigest())")
        import hashlib
        self.assertEqual(user.run("/usr/bin/python3", "-c", code, path).stdout.strip(),
                         hashlib.md5(content[::-1]).hexdigest())

    def test_files_larger_than_the_cache(self):
        folder = self.folder()
        block = random.Random(4).randbytes(1 << 20)
        with open(os.path.join(folder, "300M"), "wb") as file:
            for number in range(300):
                file.write(number.to_bytes(4, "big") + block[4:])
        with open(os.path.join(folder, "5G"), "wb") as file:
            file.truncate(5 << 30)
            for place in (0, 1 << 32, (5 << 30) - 4096):
                file.seek(place)
                file.write(block[:4096])
        for kind in SERVERS:
            with self.subTest(server=kind.name):
                user = self.user(True)
                server = self.server(kind, folder)
                volume = self.mount(user, server.url)
                self.assertEqual(user.run("md5sum", os.path.join(volume, "300M")).stdout.split()[0],
                                 trees.digest(os.path.join(folder, "300M")))
                sparse = os.path.join(volume, "5G")
                self.assertEqual(user.run("stat", "-c", "%s", sparse).stdout.strip(), str(5 << 30))
                for place in (0, 1 << 30, (1 << 32) - 8192, (1 << 32) + 4096, (5 << 30) - 8192):
                    out = user.run("dd", f"if={sparse}", "bs=4096", f"skip={place // 4096}", "count=3", "status=none",
                                   text=False).stdout
                    with open(os.path.join(folder, "5G"), "rb") as file:
                        file.seek(place)
                        self.assertEqual(out, file.read(3 * 4096), place)
                user.end()
                server.close()

    def test_folder_of_twenty_thousand_names(self):
        def fill(folder):
            for number in range(20000):
                trees.write(folder, f"file number {number:05}", b"")

        def check(user, folder, volume):
            names = user.run("ls", "-U", volume).stdout.splitlines()
            self.assertEqual(sorted(names), sorted(os.listdir(folder)))

        self.on_every_server(check, fill)

    def test_names_at_the_limit(self):
        def fill(folder):
            for length in (247, 248, 255):
                trees.write(folder, "n" * length, b"long")

        def check(user, folder, volume):
            self.assertEqual(sorted(user.run("ls", volume).stdout.split()), ["n" * 247, "n" * 248, "n" * 255])
            self.assertEqual(user.run("cat", os.path.join(volume, "n" * 247)).stdout, "long")
            refused = user.run("cat", os.path.join(volume, "n" * 248), check=False)
            self.assertIn("File name too long", refused.stderr)

        self.on_every_server(check, fill)

    def test_control_characters(self):
        """Only Apache serves such names; others refuse or replace the character."""
        folder = self.folder()
        for name in ("new\nline", "tab\tname"):
            trees.write(folder, name, b"odd")
        user = self.user(True)
        self.compare_tree(user, folder, self.mount(user, self.server(Apache, folder).url))

    def test_accents_open_as_typed_and_as_listed(self):
        def fill(folder):
            trees.write(folder, "caf\u00e9", b"composed")
            trees.write(folder, "nai\u0308ve", b"decomposed")
            os.mkdir(os.path.join(folder, "re\u0301sume\u0301"))
            trees.write(os.path.join(folder, "re\u0301sume\u0301"), "e\u0301te\u0301", b"below")

        def check(user, folder, volume):
            # Without any listing before: nobody has told the program how the server spells them.
            below = os.path.join(volume, "r\u00e9sum\u00e9", "\u00e9t\u00e9")
            self.assertEqual(user.run("cat", below).stdout, "below")
            self.assertEqual(user.run("cat", os.path.join(volume, "na\u00efve")).stdout, "decomposed")
            self.assertEqual(user.run("cat", os.path.join(volume, "caf\u00e9")).stdout, "composed")
            self.assertEqual(sorted(user.run("ls", volume).stdout.split()),
                             ["caf\u00e9", "na\u00efve", "r\u00e9sum\u00e9"])
            self.assertEqual(user.run("cat", os.path.join(volume, "nai\u0308ve")).stdout, "decomposed")

        self.on_every_server(check, fill)

    def test_change_on_the_server_is_seen_whole(self):
        def fill(folder):
            trees.write(folder, "changing", b"A" * 300000)

        def check(user, folder, volume):
            path = os.path.join(volume, "changing")
            trees.write(folder, "changing", b"A" * 300000)
            self.assertEqual(set(user.run("cat", path, text=False).stdout), {ord("A")})
            for letter, size in ((b"B", 300000), (b"C", 70000), (b"D", 500000)):
                fresh = trees.write(folder, "fresh", letter * size)
                later = os.stat(os.path.join(folder, "changing")).st_mtime + 2
                os.utime(fresh, (later, later))
                os.rename(fresh, os.path.join(folder, "changing"))

                def seen():
                    content = user.run("cat", path, text=False).stdout
                    blocks = [set(content[at:at + 65536]) for at in range(0, len(content), 65536)]
                    self.assertTrue(all(len(block) == 1 for block in blocks), "two versions in one block")
                    return content == letter * size

                await_true(seen, 8, f"the change to {letter}")
            os.remove(os.path.join(folder, "changing"))
            await_true(lambda: user.run("cat", path, check=False).returncode == 1, 8, "the removal")
            os.mkdir(os.path.join(folder, "new folder"))
            await_true(lambda: "new folder" in user.run("ls", volume).stdout.splitlines(), 8, "the new folder")
            os.rmdir(os.path.join(folder, "new folder"))

        self.on_every_server(check, fill)

    def test_attributes(self):
        def fill(folder):
            path = trees.write(folder, "dated", b"12345")
            os.utime(path, (1500000000, 1500000000))

        def check(user, folder, volume):
            told = user.run("stat", "-c", "%F %s %Y %u", os.path.join(volume, "dated")).stdout.strip()
            self.assertEqual(told, f"regular file 5 1500000000 {65534 if user.ordinary else os.getuid()}")
            self.assertTrue(stat.S_ISDIR(os.stat(folder).st_mode))
            user.run("df", volume)

        self.on_every_server(check, fill)


if __name__ == "__main__":
    main()
