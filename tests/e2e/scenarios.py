"""What ordinary programs do in a folder, to be played on a volume and on a local folder.

As a command:  scenarios.py NAME FOLDER  plays one. All that a program sees on the way (contents, error numbers) is
printed, and so must be the same in both places. What it leaves behind must be the same too.
"""
import contextlib
import fcntl
import mmap
import os
import random
import shutil
import sys
import tempfile
import time

from steps import opened, outcome, read, run, scratch, shell, small_tree, tell, trees
from changes import CHANGES, SEEDS

SCENARIOS = {}


def scenario(function):
    SCENARIOS[function.__name__] = function
    return function


def prepare(folder):
    """What is there before: a folder for each scenario, and the files to change."""
    for name in SCENARIOS:
        os.mkdir(os.path.join(folder, name))
    chance = random.Random(5)
    contents = {name: chance.randbytes(size) for name, size in SEEDS.items()}
    for kind in CHANGES:
        os.mkdir(os.path.join(folder, "changes_in_place", kind))
        for name, content in contents.items():
            trees.write(os.path.join(folder, "changes_in_place", kind), name, content)


@scenario
def copy_of_a_thousand_files(folder):
    with scratch() as place:
        source, back = os.path.join(place, "source"), os.path.join(place, "back")
        small_tree(source, 1000)
        run("cp", "-r", source, os.path.join(folder, "copy"))
        run("cp", "-r", os.path.join(folder, "copy"), back)
        tell(trees.snapshot(source) == trees.snapshot(back))


@scenario
def archives(folder):
    with scratch() as place:
        small_tree(os.path.join(place, "tree"), 60)
        run("tar", "czf", "tree.tgz", "tree", cwd=place)
        run("zip", "-qrX", "tree.zip", "tree", cwd=place)
        shell(folder, f"""
            mkdir tarred zipped
            tar xzf {place}/tree.tgz -C tarred
            unzip -q {place}/tree.zip -d zipped
            unzip -qo {place}/tree.zip -d zipped
            tar cf made.tar --sort=name --owner=0 --group=0 --mode=644 --mtime=@0 -C {place} tree
            tar rf made.tar --sort=name --owner=0 --group=0 --mode=644 --mtime=@0 -C {place} 'tree/folder 3'
            tar df made.tar -C {place} 2>/dev/null || true""")
        tell(trees.snapshot(os.path.join(folder, "tarred")) == trees.snapshot(os.path.join(folder, "zipped")))
        zipped = os.path.join(folder, "made.zip")
        run("zip", "-qrXD", zipped, "tree/folder 1", cwd=place)
        run("zip", "-qrXD", zipped, "tree/folder 2", cwd=place)
        tell(run("unzip", "-tq", zipped).replace(zipped, ""))


GIT = {"GIT_AUTHOR_NAME": "A", "GIT_AUTHOR_EMAIL": "a@example.com", "GIT_COMMITTER_NAME": "A",
       "GIT_COMMITTER_EMAIL": "a@example.com", "GIT_AUTHOR_DATE": "1500000000 +0000",
       "GIT_COMMITTER_DATE": "1500000000 +0000", "GIT_CONFIG_GLOBAL": "/dev/null", "GIT_CONFIG_NOSYSTEM": "1",
       "GIT_CONFIG_COUNT": "3", "GIT_CONFIG_KEY_0": "pack.threads", "GIT_CONFIG_VALUE_0": "1",
       "GIT_CONFIG_KEY_1": "safe.directory", "GIT_CONFIG_VALUE_1": "*", "GIT_CONFIG_KEY_2": "gc.auto",
       "GIT_CONFIG_VALUE_2": "0"}


@scenario
def git(folder):
    os.environ.update(GIT)
    repository = os.path.join(folder, "repository")
    run("git", "init", "-q", "-b", "main", "--template=", repository)
    small_tree(repository, 20, 3)
    shell(repository, """
        git add . && git commit -qm first
        for n in 1 2 3 4; do
            seq $n $((n * 500)) >> 'folder 1/file 0001.txt'
            git commit -qam "change $n"
        done
        git checkout -q -b side HEAD~2
        echo side > side.txt && git add side.txt && git commit -qm side
        git checkout -q main
        git mv 'folder 2' moved && git commit -qm moved
        git merge -q --no-edit side
        git gc -q --prune=now
        git clone -q -c core.logAllRefUpdates=false . ../clone
        git -C ../clone fsck --full --strict
        echo more >> ../clone/side.txt && git -C ../clone commit -qam more
        git pull -q ../clone main
        git reset -q --hard HEAD~1
        git stash list""")
    for place in (repository, os.path.join(folder, "clone")):
        tell(run("git", "fsck", "--full", "--strict", cwd=place), run("git", "status", "--porcelain", cwd=place),
             run("git", "log", "--format=%H %s", cwd=place), run("git", "ls-files", "-s", cwd=place))


@scenario
def rsync(folder):
    with scratch() as place:
        source = os.path.join(place, "source")
        small_tree(source, 60)
        trees.write(source, "big.bin", random.Random(7).randbytes(2 << 20))
        target = os.path.join(folder, "target")
        for options in (["-a"], ["-a"], ["-a", "--inplace", "--no-whole-file"], ["-a", "--no-whole-file"],
                        ["-a", "--delete", "--checksum"], ["-a", "--append"]):
            run("rsync", *options, source + "/", target)
            tell(trees.snapshot(source) == trees.snapshot(target))
            with open(os.path.join(source, "big.bin"), "r+b") as file:
                file.seek(700000)
                file.write(" ".join(options).encode())
                file.seek(0, 2)
                file.write(b"tail")
            shutil.rmtree(os.path.join(source, min(os.listdir(source), key=lambda name: name == "big.bin")))
        run("rsync", "-a", "--delete", source + "/", target)
        tell(trees.snapshot(source) == trees.snapshot(target))


@scenario
def sqlite(folder):
    for mode in ("delete", "truncate", "memory", "off", "wal"):
        base = os.path.join(folder, f"{mode}.db")
        for statements in ("create table t(id integer primary key, name text, more blob);"
                           "with recursive n(i) as (select 1 union all select i + 1 from n where i < 2000)"
                           " insert into t select i, 'name ' || i, zeroblob(i % 700) from n;",
                           "update t set name = upper(name) where id % 3 = 0; create index n on t(name);",
                           "begin; delete from t where id % 2 = 0; rollback;",
                           "begin; delete from t where id % 5 = 0; commit; vacuum;"):
            run("sqlite3", base, f"pragma journal_mode={mode}; {statements}")
        tell(mode, run("sqlite3", base, "pragma integrity_check; select count(*), sum(length(name)) from t;"))


@scenario
def editors(folder):
    seed_text = "".join(f"line {number}\n" for number in range(5000))
    vim = ["vim.tiny", "-u", "NONE", "-N", "-es"]
    for number, settings in enumerate(("backup writebackup", "nobackup writebackup", "nobackup nowritebackup",
                                       "backup writebackup backupcopy=yes", "backup writebackup backupcopy=no")):
        name = f"text {number}.txt"
        trees.write(folder, name, seed_text.encode())
        for change in ("%s/line/LINE/", "10,20d", "normal Gonew end"):
            run(*vim, "-c", f"set {settings} backupskip= fsync swapfile directory=.", "-c", change, "-c", "wq", name, cwd=folder)
        shell(folder, f"sed -i -e 's/LINE 1/first/' -e 30d '{name}'; sed -i.bak 2d '{name}'")
        tell(trees.digest(os.path.join(folder, name)))
    run(*vim, "-c", "normal iborn in the editor", "-c", "wq", "new.txt", cwd=folder)


@scenario
def office(folder):
    """A document kept open, saved three times: a lock file beside it, a temporary name, a rename over."""
    chance = random.Random(8)
    for document in ("report.docx", "T\u00e4belle.xlsx"):
        path, lock = os.path.join(folder, document), os.path.join(folder, "~$" + document[2:])
        trees.write(folder, document, chance.randbytes(30000))
        with opened(lock, os.O_RDWR | os.O_CREAT | os.O_EXCL) as guard:
            os.write(guard, b"somebody".ljust(162, b"\0"))
            tell(outcome(os.open, lock, os.O_RDWR | os.O_CREAT | os.O_EXCL))
            for save in range(3):
                temporary = os.path.join(folder, f"{chance.randrange(1 << 32):08X}.tmp")
                with open(temporary, "wb") as file:
                    for _ in range(5):
                        file.write(chance.randbytes(chance.randrange(70000)))
                        file.flush()
                    file.seek(10)
                    file.write(b"header written last")
                    os.fsync(file.fileno())
                if save == 0:
                    os.rename(temporary, path)
                    continue
                # The other habit: the old version moves aside, and goes once the new one has its name.
                aside = os.path.join(folder, f"{chance.randrange(1 << 32):08X}.bak")
                os.rename(path, aside)
                os.rename(temporary, path)
                os.remove(aside)
                tell(trees.digest(path), os.path.getsize(path))
        os.remove(lock)
        tell(sorted(os.listdir(folder)))


@scenario
def changes_in_place(folder):
    """Each kind of change to each file that lay on the server before, in a folder for each kind."""
    for kind, action in CHANGES.items():
        for name in SEEDS:
            path = os.path.join(folder, kind, name)
            if isinstance(action, str):
                run("bash", "-euc", action, path)
            else:
                action(path)
            tell(kind, name, os.path.getsize(path), trees.digest(path))


@scenario
def new_files(folder):
    shell(folder, """
        echo new > new; : > empty; truncate -s 100000 'all zero'; fallocate -l 50000 allocated
        dd if=/dev/zero of=sparse bs=1 count=1 seek=3000000 status=none
        echo again > new; echo more >> new; cat new; mkdir -p a/b/c/d && echo deep > a/b/c/d/e; mkdir -p a/b/c
        seq 1 100000 | tee copy1 > copy2; cmp copy1 copy2; seq 1 100 | split -l 7 - part.; install -m 600 new inst""")
    with opened(os.path.join(folder, "sparse with islands"), os.O_RDWR | os.O_CREAT) as handle:
        for place in (1 << 20, 70000, 5, 3 << 20):
            os.pwrite(handle, b"island", place)
        tell(os.pread(handle, 12, 69998), os.fstat(handle).st_size)
    with open(os.path.join(folder, "mapped"), "w+b") as file:
        file.truncate(300000)
        memory = mmap.mmap(file.fileno(), 0)
        memory[0:5] = memory[299995:] = b"12345"
        memory.flush()
        file.seek(299990)
        tell(file.read())
        memory.close()
    path = os.path.join(folder, "new")
    tell(outcome(os.open, path, os.O_WRONLY | os.O_CREAT | os.O_EXCL), outcome(os.mkdir, path),
         outcome(os.mkdir, os.path.join(folder, "a")), outcome(os.rmdir, os.path.join(folder, "a")),
         outcome(os.open, os.path.join(folder, "a"), os.O_WRONLY), outcome(os.rmdir, path),
         outcome(os.unlink, os.path.join(folder, "a")), outcome(os.unlink, os.path.join(folder, "none")),
         outcome(os.mkdir, os.path.join(folder, "none/below")), outcome(os.open, os.path.join(path, "x"), os.O_RDONLY),
         outcome(os.rmdir, os.path.join(folder, "none")), outcome(os.truncate, os.path.join(folder, "none"), 5))
    # Readable by nobody, yet the one who made it goes on writing.
    with opened(os.path.join(folder, "made read-only"), os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o400) as handle:
        os.write(handle, b"written all the same")


@scenario
def moves(folder):
    join = lambda *names: os.path.join(folder, *names)  # noqa: E731
    with scratch() as place:
        small_tree(place, 12, 3)
        shell(folder, f"""
            cp -r '{place}'/* .
            echo one > one; echo two > two; mv one moved; mv two moved; cat moved
            mv moved 'folder 0/'; mv 'folder 0/moved' .; mv 'folder 0' 'other name'; mv 'folder 1' 'other name/inner'
            cat 'other name/inner/file 0001.txt' 'other name/file 0000.txt' | md5sum
            mkdir blank; mv -T 'folder 2' blank; ls blank; echo k > kept; echo l > lost; mv -n lost kept; cat kept
            mv moved back; echo again > moved; mv back moved; cat moved
            mkdir full; touch full/x; mkdir mover""")
    tell(outcome(os.rename, join("mover"), join("full")), outcome(os.rename, join("moved"), join("full")),
         outcome(os.rename, join("full"), join("moved")), outcome(os.rename, join("full"), join("full/below")),
         outcome(os.rename, join("none"), join("moved")), outcome(os.rename, join("moved"), join("none/x")),
         outcome(os.rename, join("moved"), join("moved")))
    # Names swapped, and a chain, quicker than any cache grows old.
    for name in ("x", "y"):
        trees.write(folder, name, name.encode() * 70000)
    for _ in range(5):
        for source, target in (("x", "swap"), ("y", "x"), ("swap", "y")):
            os.rename(join(source), join(target))
        tell(read(join("x"))[:1], read(join("y"))[:1])
    os.rename(join("other name"), join("third name"))
    os.rename(join("third name"), join("fourth name"))
    tell(outcome(os.listdir, join("third name")), sorted(os.listdir(join("fourth name/inner"))))


@scenario
def moves_of_open_files(folder):
    join = lambda *names: os.path.join(folder, *names)  # noqa: E731
    with open(join("before"), "wb") as file:
        file.write(b"written before, ")
        file.flush()
        os.rename(join("before"), join("after"))
        file.write(b"and after")
        file.flush()
        tell(read(join("after")), outcome(os.stat, join("before")))
        trees.write(folder, "before", b"another file of the old name")
    os.makedirs(join("folder/inner"))
    with open(join("folder/inner/file"), "wb") as file, open(join("folder/second"), "wb") as second:
        file.write(b"A" * 100000)
        file.flush()
        os.rename(join("folder"), join("renamed"))
        file.write(b"B" * 100000)
        second.write(b"first written after the rename")
        file.flush()
        tell(os.path.getsize(join("renamed/inner/file")))
        os.rename(join("renamed/inner"), join("inner"))
        file.seek(50)
        file.write(b"third")
    tell(trees.digest(join("inner/file")), read(join("renamed/second")))
    # Over a file that somebody reads, or writes: theirs is the old one, to the end.
    trees.write(folder, "target", b"old " * 50000)
    with open(join("target"), "rb") as reader:
        tell(reader.read(4))
        os.rename(trees.write(folder, "source", b"new " * 30000), join("target"))
        reader.seek(190000)
        tell(reader.read(20), len(reader.read()), read(join("target"))[:8])
    with open(join("target"), "r+b") as writer:
        os.rename(trees.write(folder, "source", b"newest"), join("target"))
        writer.write(b"lost with the old file")
        writer.flush()
    tell(read(join("target")))
    # Both ends open.
    with open(join("p"), "wb") as p, open(join("q"), "wb") as q:
        p.write(b"p" * 5000)
        q.write(b"q" * 9000)
        p.flush()
        q.flush()
        os.rename(join("p"), join("q"))
        p.write(b"more p")
        q.write(b"more q")
    tell(trees.digest(join("q")), outcome(os.stat, join("p")))


@scenario
def removals(folder):
    join = lambda *names: os.path.join(folder, *names)  # noqa: E731
    with scratch() as place:
        small_tree(place, 40, 4)
        shell(folder, f"cp -r '{place}' tree; rm -r 'tree/folder 1' tree/*2/*6.txt; cp -r '{place}' whole; rm -r whole")
    tell(outcome(os.stat, join("whole")), sorted(os.listdir(join("tree"))))
    with open(join("open"), "w+b") as file:
        file.write(b"before")
        file.flush()
        os.unlink(join("open"))
        tell(outcome(os.stat, join("open")), [name for name in os.listdir(folder) if name == "open"])
        file.write(b" and after")
        file.seek(0)
        tell(file.read(), os.fstat(file.fileno()).st_size)
        trees.write(folder, "open", b"the next of that name")
        file.write(b"more")
    tell(read(join("open")))
    # A name that is a file, a folder, a file again.
    for turn in range(3):
        trees.write(folder, "turn", b"file %d" % turn)
        tell(read(join("turn")))
        os.unlink(join("turn"))
        os.mkdir(join("turn"))
        trees.write(join("turn"), "below", b"below %d" % turn)
        tell(os.listdir(join("turn")))
        shutil.rmtree(join("turn"))
        tell(outcome(os.stat, join("turn")))
    trees.write(folder, "turn", b"a file in the end")
    # An unsaved file removed with its closing.
    with open(join("brief"), "wb") as file:
        file.write(b"x" * 100000)
    os.unlink(join("brief"))
    for name in ("r1", "r2"):
        with tempfile.NamedTemporaryFile(dir=folder, prefix=name) as file:
            file.write(b"temporary")
            file.flush()


@scenario
def removal_of_a_folder_with_an_open_file(folder):
    where = os.path.join(folder, "folder")
    os.mkdir(where)
    with open(trees.write(where, "file", b"read on"), "rb") as reader, open(os.path.join(where, "new"), "w+b") as writer:
        writer.write(b"never seen")
        writer.flush()
        run("rm", "-r", where)
        writer.seek(0)
        tell(reader.read(), writer.read(), outcome(os.stat, where))
    tell(os.listdir(folder))


@scenario
def handles(folder):
    join = lambda *names: os.path.join(folder, *names)  # noqa: E731
    path = trees.write(folder, "shared", b"old" * 40000)
    with open(path, "rb") as reader:
        tell(reader.read(3))
        with open(path, "r+b") as writer:
            writer.write(b"new")
            writer.seek(119000)
            writer.write(b"far")
        tell(os.pread(reader.fileno(), 6, 0), os.pread(reader.fileno(), 6, 119000))
    tell(trees.digest(path))
    # The one who made it closes last.
    first = os.open(join("made"), os.O_RDWR | os.O_CREAT | os.O_EXCL, 0o644)
    os.write(first, b"first ")
    with open(join("made"), "ab") as second:
        second.write(b"second ")
    tell(os.pread(first, 100, 0))
    os.write(first, b"FIRST ")
    os.close(first)
    tell(read(join("made")))
    # Two writers, each its own half, closing in both orders; a third only looks.
    for order in ((0, 1), (1, 0)):
        name = join(f"halves {order[0]}")
        writers = [os.open(name, os.O_RDWR | os.O_CREAT, 0o644) for _ in range(2)]
        for number, writer in enumerate(writers):
            os.pwrite(writer, b"%d" % number * 80000, number * 80000)
        with open(name, "rb") as third:
            tell(len(third.read()))
        os.close(writers[order[0]])
        os.pwrite(writers[order[1]], b"last", 40000)
        os.close(writers[order[1]])
        tell(trees.digest(name))
    # Reading and truncating handles side by side, and a duplicate that outlives its original.
    with open(path, "rb") as reader, open(path, "r+b") as writer:
        writer.truncate(10)
        tell(reader.read(), os.fstat(reader.fileno()).st_size)
        spare = os.dup(writer.fileno())
    os.pwrite(spare, b"by the duplicate", 5)
    os.close(spare)
    tell(read(path))
    # Truncated by name while open.
    with open(join("cut"), "w+b") as file:
        file.write(b"c" * 1000)
        file.flush()
        os.truncate(join("cut"), 10)
        file.write(b"on")
    tell(os.path.getsize(join("cut")))
    with open(join("locked"), "w") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        fcntl.lockf(file, fcntl.LOCK_EX)
        file.write("locked")
    # Forgotten by a child that ends without closing.
    run("/usr/bin/python3", "-c", "import os,sys; os.write(os.open(sys.argv[1], os.O_WRONLY|os.O_CREAT), b'by a child'); "
        "os._exit(0)", join("child"))
    tell(read(join("child")))


@scenario
def left_open(folder):
    """What is open, and what stat told, outlives the age of everything cached."""
    join = lambda *names: os.path.join(folder, *names)  # noqa: E731
    run("tee", join("saved"), join("removed"), join("read"))
    os.mkdir(join("sub"))
    with contextlib.ExitStack() as files:
        created, below, removed = (files.enter_context(open(join(name), "w+b")) for name in ("new", "sub/f", "removed"))
        reader = files.enter_context(open(join("read"), "rb"))
        for file in (created, below, removed):
            file.write(b"one ")
            file.flush()
        os.unlink(join("removed"))
        before = os.stat(join("saved"))
        time.sleep(4.2)
        after = os.stat(join("saved"))
        tell(before.st_mtime_ns == after.st_mtime_ns, before.st_mode == after.st_mode, before.st_ino == after.st_ino)
        tell(sorted(os.listdir(folder)), read(join("new")), os.path.getsize(join("sub/f")), reader.read())
        os.rename(join("sub"), join("moved"))
        os.rename(join("new"), join("renamed"))
        with open(join("renamed"), "ab") as other:
            other.write(b"two ")
        for file in (created, below, removed):
            file.write(b"three")
            file.flush()
        removed.seek(0)
        tell(removed.read(), read(join("moved/f")), read(join("renamed")))


@scenario
def many_at_once(folder):
    """Several processes in one folder; the order differs, what is left doesn't."""
    shell(folder, """
        for p in 1 2 3 4; do (for n in $(seq 12); do seq $((p * n * 100)) > "$p $n"; cat "$p $n" | wc -l >/dev/null; done) & done
        for p in 1 2; do (for n in $(seq 20); do echo line >> shared; done) & done
        wait
        seq 40 | xargs -P 4 -I{} sh -c 'echo {} > t{} && mv t{} m{} && cat m{} > /dev/null'
        ls | wc -l; rm m1*""")
    tell(read(os.path.join(folder, "shared")))


@scenario
def attributes(folder):
    shell(folder, """
        touch new; touch -d '2017-07-14 02:40:00' new dated; mkdir sub; touch -d '2017-07-14' sub; chmod 644 new
        chmod -R u+rwX sub; chown "$(id -u):$(id -g)" new sub; chgrp "$(id -g)" new; cp -p new copy; cp -a sub subcopy
        echo text > new; touch new; cat new; chmod 600 new; echo more >> new; cat new
        cp -p new copy; stat -c '%s %F' new copy sub; df . > /dev/null; df -i . > /dev/null; sync -f .; test -w new""")
    tell(outcome(os.utime, os.path.join(folder, "new"), (5, 5)), outcome(os.utime, os.path.join(folder, "none")))
    free = shutil.disk_usage(folder)
    tell(free.total > 0, free.free > 0)


def first_bytes(name, count):
    return name.encode()[:count].decode(errors="ignore")


@scenario
def names(folder):
    for number, name in enumerate(trees.NAMES):
        name = first_bytes(name, 245)  # lighttpd adds ten for a while
        path = trees.write(folder, name, f"content of {name}".encode())
        # Apache can't remove a folder of a longer name in which there was a locked file.
        inner = os.path.join(folder, "d " + first_bytes(name, 150))
        os.mkdir(inner)
        trees.write(inner, name, b"below")
        tell(name, read(path), os.listdir(inner) == [trees.composed(name)] or os.listdir(inner) == [name])
        if number % 3 == 1:
            os.unlink(path)
            shutil.rmtree(inner)
        if number % 3 == 2:
            os.rename(path, os.path.join(folder, f"renamed {number}"))
            os.rename(os.path.join(folder, f"renamed {number}"), os.path.join(inner, "in"))
            os.rename(os.path.join(inner, name), os.path.join(inner, trees.NAMES[number - 7]))


def main():
    os.umask(0o022)
    SCENARIOS[sys.argv[1]](sys.argv[2])


if __name__ == "__main__":
    main()
