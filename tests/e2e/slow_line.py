"""A slow way to a server."""
import contextlib
import socket
import threading


class SlowLine:
    """A way to a server on which big requests stop half-way until it is let go."""
    PASSED = 1 << 20

    def __init__(self, server):
        self.port = server.port
        self.open = threading.Event()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 16)
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}/"
        threading.Thread(target=self.serve, daemon=True).start()

    def close(self):
        self.open.set()
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()

    def serve(self):
        with contextlib.suppress(OSError):
            while True:
                here, _ = self.listener.accept()
                there = socket.create_connection(("127.0.0.1", self.port))
                for ways in ((here, there, True), (there, here, False)):
                    threading.Thread(target=self.carry, args=ways, daemon=True).start()

    def carry(self, source, target, is_request):
        passed = 0
        with contextlib.suppress(OSError), source, target:
            while data := source.recv(1 << 16):
                passed += len(data)
                if is_request and passed > self.PASSED:
                    self.open.wait()
                target.sendall(data)
