"""What can't be mounted gets one clear message, and leaves no mount, no process and no folder behind."""
import http.server
import os
import socket
import threading

import trees
from dav_servers import Apache, free_port
from volume import VolumeTest, await_true, is_mounted, main


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass

    def do_OPTIONS(self):
        self.send_response(200)
        self.send_header("Allow", "GET, HEAD, OPTIONS")
        self.send_header("Content-Length", "0")
        self.end_headers()


class BadInput(VolumeTest):
    def refused(self, user, *arguments, says=(), code=1, point=None, **options):
        """The command fails with a message holding these words, and nothing of it is left."""
        done = user.velmoradisk("mount", *arguments, check=False, **options)
        self.assertEqual(done.returncode, code, done.stderr)
        message = done.stderr.strip()
        self.assertTrue(message)
        self.assertLess(len(message.splitlines()), 5, message)
        self.assertNotIn("Cli_", message)
        for word in says:
            self.assertIn(word, message)
        if point:
            self.assertFalse(is_mounted(point))
        await_true(lambda: not user.processes(), 20, "the end of the background process")
        return message

    def test_servers_that_cannot_be_used(self):
        user = self.user(True)
        folder = self.folder()
        point = user.mount_point("V")
        dav = self.server(Apache, folder)
        web = http.server.ThreadingHTTPServer(("127.0.0.1", 0), QuietHandler)
        threading.Thread(target=web.serve_forever, daemon=True).start()
        self.addCleanup(web.server_close)
        self.addCleanup(web.shutdown)
        for what, url in (("no such host", "http://no-such-host.invalid/"),
                          ("refused port", f"http://127.0.0.1:{free_port()}/"),
                          ("wrong path", dav.url + "missing/"),
                          ("a server without WebDAV", f"http://127.0.0.1:{web.server_port}/"),
                          ("no URL and no connection", "Nothing Saved")):
            with self.subTest(what):
                options = [] if " " in url else ["--name", "V", "--mount-point", point]
                self.refused(user, url, *options, point=point)
                self.assertFalse(os.path.exists(point))

    def test_wrong_password(self):
        user = self.user(True)
        server = self.server(Apache, self.folder(), login=("anna", "right"))
        point = user.mount_point("V")
        message = self.refused(user, server.url, "--name", "V", "--mount-point", point, "--user", "anna",
                               "--password-stdin", input="wrong secret\n", point=point)
        self.assertNotIn("wrong secret", message)
        self.assertIn("refused the login", message)
        self.assertNotIn("--password-stdin", message)
        self.refused(user, server.url, "--name", "V", "--mount-point", point, says=["--password-stdin"], point=point)
        self.assertNotIn("wrong secret", user.log())
        user.velmoradisk("mount", server.url, "--name", "V", "--mount-point", point, "--user", "anna",
                         "--password-stdin", input="right\n")
        self.assertTrue(is_mounted(point))

    def test_login_by_digest(self):
        user = self.user(True)
        folder = self.folder()
        trees.write(folder, "file", b"secret content")
        server = self.server(Apache, folder, login=("anna", "right"), scheme="Digest")
        point = self.mount(user, server.url, "V", "--user", "anna", "--password-stdin", input="right\n")
        self.assertEqual(user.run("cat", os.path.join(point, "file")).stdout, "secret content")

    def test_certificate_is_asked_for(self):
        user = self.user(True)
        folder = self.folder()
        trees.write(folder, "file", b"over TLS")
        server = self.server(Apache, folder, tls=True)
        point = user.mount_point("V")
        self.refused(user, server.url, "--name", "V", "--mount-point", point, says=["--accept-certificate"],
                     point=point)
        self.mount(user, server.url, "V", "--accept-certificate")
        self.assertEqual(user.run("cat", os.path.join(point, "file")).stdout, "over TLS")

    def test_mount_points(self):
        user = self.user(True)
        server = self.server(Apache, self.folder())
        base = os.path.join(user.place, "volumes")
        trees.write(base, "file", b"")
        os.mkdir(os.path.join(base, "full"))
        trees.write(os.path.join(base, "full"), "inside", b"kept")
        for name in ("file", "missing/parent", "full"):
            with self.subTest(name):
                point = os.path.join(base, name)
                before = sorted(os.walk(base))
                self.refused(user, server.url, "--name", "V", "--mount-point", point, point=point)
                self.assertEqual(sorted(os.walk(base)), before)
        point = self.mount(user, server.url, "First")
        again = user.velmoradisk("mount", server.url, "--name", "Second", "--mount-point", point, check=False)
        self.assertEqual(again.returncode, 1)
        self.assertTrue(is_mounted(point))
        self.assertEqual([mount["name"] for mount in user.status()["mounts"]], ["First"])

    def test_usage(self):
        user = self.user(True)
        for arguments in (["mount"], ["nonsense"], ["mount", "--nonsense", "x"], ["connection", "add"],
                          ["unmount"], ["connection", "add", "X", "--url", "http://u:secretpw@h/"]):
            with self.subTest(arguments):
                done = user.velmoradisk(*arguments, check=False)
                self.assertEqual(done.returncode, 2, done.stderr)
                self.assertNotIn("secretpw", done.stderr + done.stdout)
        self.assertEqual(user.processes(), [])


class Faults(VolumeTest):
    def test_server_goes_away_and_comes_back(self):
        user = self.user(True)
        folder = self.folder()
        os.mkdir(os.path.join(folder, "below"))
        trees.write(os.path.join(folder, "below"), "file", b"A" * 100000)
        server = self.server(Apache, folder)
        volume = self.mount(user, server.url)
        path = os.path.join(volume, "below", "file")
        self.assertEqual(len(user.run("cat", path).stdout), 100000)
        port = server.port
        server.stop()
        await_true(lambda: user.run("ls", os.path.join(volume, "below"), check=False).returncode != 0, 15,
                   "the failure of a listing")
        self.assertTrue(is_mounted(volume))
        self.assertEqual(user.status()["mounts"][0]["mountPoint"], volume)
        server.fixed_port = port
        server.start()
        await_true(lambda: user.run("cat", path, check=False).stdout == "A" * 100000, 15, "the file's return")

    def test_server_that_stalls_for_a_while(self):
        user = self.user(True)
        folder = self.folder()
        trees.write(folder, "file", b"late")
        server = self.server(Apache, folder)
        volume = self.mount(user, server.url)
        os.killpg(server.process.pid, 19)
        self.addCleanup(lambda: server.process and os.killpg(server.process.pid, 18))
        reader = user.start("cat", os.path.join(volume, "file"), stdout=-1)
        self.assertEqual(user.status()["mounts"][0]["name"], "Volume")
        os.killpg(server.process.pid, 18)
        self.assertEqual(reader.communicate(timeout=60)[0], b"late")

    def test_endless_and_broken_answers(self):
        """A server that breaks after the login: a listing fails, and the volume stays usable."""
        user = self.user(True)
        answers = {}
        listening = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listening.close)
        threading.Thread(target=broken_server, args=(listening, answers), daemon=True).start()
        volume = self.mount(user, f"http://127.0.0.1:{listening.getsockname()[1]}/")
        for how in ("garbled", "truncated", "deep", "bomb", "reset", "redirect loop", "million", "endless"):
            with self.subTest(how):
                answers["how"] = how
                done = user.run("ls", os.path.join(volume, f"folder {how}"), check=False, timeout=300)
                self.assertEqual(done.returncode, 2, done.stdout)
        answers["how"] = "well"
        await_true(lambda: user.run("ls", volume, check=False).stdout == "file\n", 10, "an ordinary listing")
        self.assertLess(peak_memory(user), 700, "MiB held while an answer didn't end")


def peak_memory(user):
    with open(f"/proc/{user.processes()[0]}/status") as status:
        return next(int(line.split()[1]) / 1024 for line in status if line.startswith("VmHWM"))


PROPFIND_OF = ('<?xml version="1.0"?><D:multistatus xmlns:D="DAV:"><D:response><D:href>{0}</D:href><D:propstat><D:prop>'
               '<D:resourcetype><D:collection/></D:resourcetype></D:prop><D:status>HTTP/1.1 200 OK</D:status>'
               '</D:propstat></D:response>{1}</D:multistatus>')
FILE = '<D:response><D:href>/file</D:href></D:response>'


def broken_server(listening, answers):
    while True:
        try:
            peer, _ = listening.accept()
        except OSError:
            return
        threading.Thread(target=serve_broken, args=(peer, answers), daemon=True).start()


def serve_broken(peer, answers):
    with peer, peer.makefile("rwb") as stream:
        try:
            while request := stream.readline():
                fields = {}
                while (line := stream.readline().strip()):
                    name, value = line.split(b":", 1)
                    fields[name.lower()] = value.strip()
                stream.read(int(fields.get(b"content-length", 0)))
                method, target = request.split()[:2]
                if not answer_broken(stream, method, target, fields.get(b"depth"), answers.get("how", "well")):
                    return
        except OSError:
            return


def answer_broken(stream, method, target, depth, how):
    def send(status, body=b"", **fields):
        head = f"HTTP/1.1 {status}\r\nContent-Length: {len(body)}\r\n"
        head += "".join(f"{name}: {value}\r\n" for name, value in fields.items())
        stream.write(head.encode() + b"\r\n" + body)
        stream.flush()
        return True

    if method == b"OPTIONS":
        return send("200 OK", DAV="1")
    path = target.decode()
    if method != b"PROPFIND":
        return send("405 No")
    if depth == b"0":
        return send("207 Multi", PROPFIND_OF.format(path, "").encode())
    if how == "well":
        return send("207 Multi", PROPFIND_OF.format(path, FILE).encode())
    if how == "garbled":
        return send("500 Broken", b"<<<not xml")
    if how == "redirect loop":
        return send("302 Found", Location=path)
    if how == "reset":
        return False
    stream.write(b"HTTP/1.1 207 Multi\r\nConnection: close\r\n")
    if how == "truncated":
        stream.write(b"Content-Length: 100000\r\n\r\n<?xml version='1.0'?><D:multistatus xmlns:D='DAV:'>")
    stream.write(b"\r\n<?xml version='1.0'?>")
    if how == "bomb":
        stream.write(b"<!DOCTYPE a [<!ENTITY a0 'xxxxxxxxxx'>")
        for level in range(1, 30):
            stream.write(f"<!ENTITY a{level} '{f'&a{level - 1};' * 10}'>".encode())
        stream.write(b"]><a>&a29;</a>")
    if how == "deep":
        stream.write(b"<a>" * 1000000)
    if how == "million":
        stream.write(b"<a>" + b"<b/>" * 1000000)
    while how == "endless":
        stream.write(b"<a>endless</a>" * 5000)
    stream.flush()
    return False


if __name__ == "__main__":
    main()
