"""A reverse proxy before a server, on loopback, that breaks exchanges when it is told to."""
import contextlib
import http.client
import http.server
import socket
import threading
import time

FAULTS = {
    "refuse 500": 500,
    "refuse 503": 503,
    "cut before": None,
    "cut after": None,
    "cut head": None,
    "cut answer": None,
    "stall": None,
}
HOP_BY_HOP = {"connection", "keep-alive", "transfer-encoding", "te", "trailer", "upgrade", "proxy-connection"}


class FaultProxy:
    """Forwards everything to the server, but for the exchanges that `break_next` names. A context manager."""

    def __init__(self, server):
        self.server = server
        self.monitor = threading.Lock()
        self.armed = []
        self.done = []
        self.connections = set()
        self.listener = http.server.ThreadingHTTPServer(("127.0.0.1", 0), type("Handler", (Handler,), {"proxy": self}))
        self.listener.daemon_threads = True
        self.port = self.listener.server_address[1]
        self.url = f"http://127.0.0.1:{self.port}/"
        threading.Thread(target=self.listener.serve_forever, args=(0.05,), daemon=True).start()

    def close(self):
        self.listener.shutdown()
        self.listener.server_close()

    def break_next(self, fault, method=None, skip=0):
        """Breaks one exchange: the next one of the method, or of any, after `skip` such ones.

        A fault is one of FAULTS, "cut body", or a status that the request is refused with.
        """
        with self.monitor:
            self.armed.append([fault, method, skip])

    def disarm(self):
        """No more faults; those that came to pass since the last time."""
        with self.monitor:
            self.armed.clear()
            done, self.done = self.done, []
            return done

    def drop_connections(self):
        """As a server does that ends."""
        with self.monitor:
            for handler in self.connections:
                handler.cut()

    def fault_for(self, method, path):
        with self.monitor:
            for entry in self.armed:
                if entry[1] not in (None, method):
                    continue
                entry[2] -= 1
                if entry[2] < 0:
                    self.armed.remove(entry)
                    self.done.append(f"{entry[0]}: {method} {path}")
                    return entry[0]
        return None

    def to_server(self, value):
        """Addresses in header fields name the server itself: it refuses a Destination that is elsewhere."""
        return value.replace(f"127.0.0.1:{self.port}", f"127.0.0.1:{self.server.port}")


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    proxy = None

    def setup(self):
        super().setup()
        self.connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, True)
        self.upstream = None
        with self.proxy.monitor:
            self.proxy.connections.add(self)

    def finish(self):
        with self.proxy.monitor:
            self.proxy.connections.discard(self)
        if self.upstream:
            self.upstream.close()
        with contextlib.suppress(OSError):
            super().finish()

    def log_message(self, *_):
        pass

    def __getattr__(self, name):
        if name.startswith("do_"):
            return self.forward
        raise AttributeError(name)

    def forward(self):
        fault = self.proxy.fault_for(self.command, self.path)
        if fault == "cut before":
            return self.cut()
        length = int(self.headers.get("Content-Length") or 0)
        if fault == "cut body":
            self.rfile.read(length // 2)
            return self.cut()
        body = self.rfile.read(length)
        if fault == "stall":
            time.sleep(1.5)
        if status := FAULTS.get(fault, fault if isinstance(fault, int) else None):
            return self.answer(status, "Refused", [], b"")
        try:
            status, reason, fields, content = self.ask_server(body)
        except (OSError, http.client.HTTPException):
            return self.cut()
        if fault == "cut after":
            return self.cut()
        self.answer(status, reason, fields, content, fault)

    def ask_server(self, body):
        if not self.upstream:
            self.upstream = http.client.HTTPConnection("127.0.0.1", self.proxy.server.port, timeout=60)
        upstream = self.upstream
        upstream.putrequest(self.command, self.path, skip_host=True, skip_accept_encoding=True)
        for name, value in self.headers.items():
            if name.lower() not in HOP_BY_HOP | {"expect", "content-length"}:
                upstream.putheader(name, self.proxy.to_server(value))
        if "Content-Length" in self.headers:
            upstream.putheader("Content-Length", str(len(body)))
        upstream.endheaders(body or None)
        answer = upstream.getresponse()
        return answer.status, answer.reason, answer.getheaders(), answer.read()

    def answer(self, status, reason, fields, content, fault=None):
        lines = [f"HTTP/1.1 {status} {reason}"]
        lines += [f"{name}: {value}" for name, value in fields if name.lower() not in HOP_BY_HOP | {"content-length"}]
        if self.command == "HEAD":
            lines += [f"Content-Length: {value}" for name, value in fields if name.lower() == "content-length"]
        elif status != 204:
            lines.append(f"Content-Length: {len(content)}")
        head = "\r\n".join(lines + ["", ""]).encode("latin-1")
        if fault not in ("cut head", "cut answer"):
            self.wfile.write(head + content)
            return
        self.wfile.write(head[:len(head) // 2] if fault == "cut head" else head + content[:len(content) // 2])
        self.cut()

    def cut(self):
        self.close_connection = True
        with contextlib.suppress(OSError):
            self.connection.shutdown(socket.SHUT_RDWR)
