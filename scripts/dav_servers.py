#!/usr/bin/python3
"""Ordinary WebDAV servers on loopback, each over a folder of its own: for the demo, the tests and the benchmarks.

As a command:  dav_servers.py apache|lighttpd|rclone FOLDER [--login USER:PASSWORD-FILE]
prints the server's URL and serves until it is killed or the program that started it ends.
"""
import argparse
import ctypes
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

MODULES = "/usr/lib/apache2/modules"
APACHE_MODULES = ["mpm_event", "authn_core", "authn_file", "authz_core", "authz_user", "auth_basic",
                  "auth_digest", "dav", "dav_fs", "alias", "headers", "setenvif"]


def end_with_parent():
    """The calling process gets SIGTERM when the program that started it ends, however that ended."""
    PR_SET_PDEATHSIG = 1
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


def own_group_ending_with_parent():
    os.setsid()
    end_with_parent()


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Server:
    """One server over one folder. A context manager: gone, with its files, when left."""
    name = ""

    def __init__(self, folder, login=None, scheme="Basic", tls=False, port=None, client=None):
        self.folder = os.path.abspath(folder)
        self.login = login
        self.scheme = scheme
        self.tls = tls
        self.client = client  # the file of the one certificate that clients may show; TLS only
        self.fixed_port = port
        self.port = port
        self.process = None
        self.state = tempfile.mkdtemp(prefix="velmora-server-")
        os.chmod(self.state, 0o755)

    @property
    def url(self):
        return f"{'https' if self.tls else 'http'}://127.0.0.1:{self.port}/"

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.close()

    def start(self):
        for attempt in range(5):
            self.port = self.fixed_port or free_port()
            with open(self.path("out"), "ab") as out:
                self.process = subprocess.Popen(self.command(), preexec_fn=own_group_ending_with_parent,
                                                stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.STDOUT,
                                                env=self.environment())
            if self.wait_until_listening():
                return
            self.stop()
        raise RuntimeError(f"{self.name} does not start: {open(self.path('out'), errors='replace').read()}")

    def wait_until_listening(self):
        deadline = time.monotonic() + 15
        while time.monotonic() < deadline and self.process.poll() is None:
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", self.port)) == 0:
                    return True
            time.sleep(0.02)
        return False

    def stop(self):
        if not self.process:
            return
        for how in (signal.SIGTERM, signal.SIGKILL):
            try:
                os.killpg(self.process.pid, how)
                self.process.wait(10)
                break
            except subprocess.TimeoutExpired:
                continue
            except ProcessLookupError:
                self.process.wait()
                break
        self.process = None

    def close(self):
        self.stop()
        shutil.rmtree(self.state, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.state, name)

    def write(self, name, text):
        with open(self.path(name), "w") as file:
            file.write(text)
        return self.path(name)

    def environment(self):
        return dict(os.environ)

    def command(self):
        raise NotImplementedError

    def certificate(self):
        """A self-signed certificate for 127.0.0.1, made at run time."""
        pem = self.path("server.pem")
        if not os.path.exists(pem):
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                            "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", self.path("key.pem"),
                            "-out", self.path("cert.pem")], check=True, stderr=subprocess.DEVNULL)
            with open(pem, "w") as both:
                for part in ("key.pem", "cert.pem"):
                    with open(self.path(part)) as text:
                        both.write(text.read())
        return pem


class Apache(Server):
    name = "apache"

    def command(self):
        return ["/usr/sbin/apache2", "-DFOREGROUND", "-f", self.write("apache.conf", self.config())]

    def requests(self):
        """The lines "METHOD path status" of every request served so far."""
        with open(self.path("access")) as log:
            return log.read().splitlines()

    def config(self):
        modules = APACHE_MODULES + (["ssl", "socache_shmcb"] if self.tls else [])
        lines = [f"LoadModule {name}_module {MODULES}/mod_{name}.so" for name in modules]
        lines += [f"ServerRoot {self.state}", "ServerName 127.0.0.1", f"Listen 127.0.0.1:{self.port}",
                  f"PidFile {self.path('pid')}", f"ErrorLog {self.path('error')}",
                  f"DefaultRuntimeDir {self.state}", "KeepAlive On", "MaxKeepAliveRequests 0", "KeepAliveTimeout 30",
                  "LogFormat \"%m %U %>s\" short", f"CustomLog {self.path('access')} short",
                  f"DocumentRoot \"{self.folder}\"", "AllowEncodedSlashes On", "EnableSendfile On",
                  f"DavLockDB {self.lock_folder()}/DavLock", "LimitRequestBody 0",
                  f"<Directory \"{self.folder}\">", "Dav On", "DavDepthInfinity On", "Options None",
                  "AllowOverride None", self.access(), "</Directory>"]
        if os.geteuid() == 0:
            lines += ["User nobody", "Group nogroup"]
        if self.tls:
            lines += ["SSLEngine On", f"SSLCertificateFile {self.certificate()}"]
        if self.client:
            lines += ["SSLVerifyClient require", f"SSLCACertificateFile {self.client}"]
        return "\n".join(lines) + "\n"

    def lock_folder(self):
        folder = self.path("locks")
        os.makedirs(folder, exist_ok=True)
        os.chmod(folder, 0o777)
        return folder

    def access(self):
        if not self.login:
            return "Require all granted"
        user, password = self.login
        if self.scheme == "Digest":
            import hashlib
            secret = hashlib.md5(f"{user}:velmora:{password}".encode()).hexdigest()
            self.write("users", f"{user}:velmora:{secret}\n")
            provider = "AuthDigestProvider file"
        else:
            secret = subprocess.run(["openssl", "passwd", "-apr1", "-stdin"], input=password.encode(),
                                    capture_output=True, check=True).stdout.decode().strip()
            self.write("users", f"{user}:{secret}\n")
            provider = "AuthBasicProvider file"
        return f"AuthType {self.scheme}\nAuthName velmora\n{provider}\nAuthUserFile {self.path('users')}\nRequire valid-user"


class Lighttpd(Server):
    name = "lighttpd"

    def command(self):
        return ["/usr/sbin/lighttpd", "-D", "-f", self.write("lighttpd.conf", self.config())]

    def config(self):
        modules = ["mod_auth", "mod_authn_file"] if self.login else []
        lines = ["server.modules = ({})".format(", ".join(f'"{m}"' for m in modules + ["mod_webdav"])),
                 f"server.document-root = \"{self.folder}\"", "server.bind = \"127.0.0.1\"",
                 f"server.port = {self.port}", f"server.errorlog = \"{self.path('error')}\"",
                 f"server.upload-dirs = (\"{self.state}\")", "server.max-keep-alive-requests = 100000",
                 "server.max-request-size = 0",
                 "webdav.activate = \"enable\"", "webdav.is-readonly = \"disable\"",
                 f"webdav.sqlite-db-name = \"{self.path('locks.db')}\""]
        if self.login:
            self.write("users", "{}:{}\n".format(*self.login))
            lines += ["auth.backend = \"plain\"", f"auth.backend.plain.userfile = \"{self.path('users')}\"",
                      "auth.require = (\"\" => (\"method\" => \"%s\", \"realm\" => \"velmora\", "
                      "\"require\" => \"valid-user\"))" % self.scheme.lower()]
        return "\n".join(lines) + "\n"


class Rclone(Server):
    name = "rclone"

    def command(self):
        return ["rclone", "serve", "webdav", self.folder, "--addr", f"127.0.0.1:{self.port}", "--dir-cache-time", "1s",
                "--vfs-cache-mode", "writes", "--vfs-write-back", "0s", "--cache-dir", self.path("cache")]

    def environment(self):
        environment = dict(os.environ, RCLONE_CONFIG="/dev/null", HOME=self.state)
        if self.login:
            environment.update(RCLONE_USER=self.login[0], RCLONE_PASS=self.login[1])
        return environment


KINDS = {kind.name: kind for kind in (Apache, Lighttpd, Rclone)}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("kind", choices=sorted(KINDS))
    parser.add_argument("folder")
    parser.add_argument("--login", help="USER:FILE, the file holding the password")
    arguments = parser.parse_args()
    login = None
    if arguments.login:
        user, file = arguments.login.split(":", 1)
        login = (user, open(file).read().strip())
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    end_with_parent()
    with KINDS[arguments.kind](arguments.folder, login) as server:
        print(server.url, flush=True)
        while True:
            signal.pause()


if __name__ == "__main__":
    main()
