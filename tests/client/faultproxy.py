"""A TCP proxy that cuts, delays, corrupts and answers in place of the device, at chosen bytes."""

import dataclasses
import re
import socket
import threading

UP = "up"  # from the client to the device
DOWN = "down"  # from the device to the client

SMALL_BODY = 1 << 20


@dataclasses.dataclass
class Fault:
    """What happens to connections whose first bytes from the client match `request`.

    `at` counts the bytes of one direction from the start of its headers, or of its body when
    `body` is set. `times` says how many connections it happens to; None means all.
    """

    kind: str  # "cut", "flip", "delay", "answer"
    direction: str = DOWN
    at: int = 0
    request: bytes = rb""
    body: bool = False
    times: int = None
    seconds: float = 0.0
    answer: bytes = b""
    happened: int = 0
    release: threading.Event = dataclasses.field(default_factory=threading.Event)

    def claims(self, head):
        if self.times is not None and self.happened >= self.times:
            return False
        return re.search(self.request, head) is not None


class _Stream:
    """One direction of one connection."""

    def __init__(self, source, sink, fault, seen):
        self.source, self.sink, self.fault, self.seen = source, sink, fault, seen

    def position(self):
        """Where in this stream the fault happens; None while that is not known yet."""
        if not self.fault.body:
            return self.fault.at
        end = self.seen.find(b"\r\n\r\n")
        return None if end < 0 else end + 4 + self.fault.at

    def forward(self, data):
        """Passes data on; returns False when the connection has been cut."""
        start = len(self.seen)
        self.seen += data
        position = self.position() if self.fault else None
        if position is None or not start <= position < start + len(data):
            self.sink.sendall(data)
            return True
        return self.apply(bytearray(data), position - start)

    def apply(self, data, offset):
        self.fault.happened += 1
        if self.fault.kind == "cut":
            self.sink.sendall(data[:offset])
            return False
        if self.fault.kind == "flip":
            data[offset] ^= 0x01
            self.sink.sendall(data)
        elif self.fault.kind == "delay":
            self.sink.sendall(data[:offset])
            self.fault.release.wait(self.fault.seconds)
            self.sink.sendall(data[offset:])
        return True


class FaultProxy:
    """Listens on a free port of the loopback interface until it is closed."""

    def __init__(self, device=("127.0.0.1", 8081)):
        self.device = device
        self.faults = []
        self.connections = []  # the bytes of each: {"up": bytearray, "down": bytearray}
        self.lock = threading.Lock()
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.host = "127.0.0.1:%d" % self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self._accept, daemon=True)
        self.thread.start()

    def close(self):
        for fault in self.faults:
            fault.release.set()
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join()

    def add(self, *arguments, **named):
        fault = Fault(*arguments, **named)
        self.faults.append(fault)
        return fault

    def requests(self):
        """The request lines of all connections."""
        with self.lock:
            return [bytes(c[UP].split(b"\r\n", 1)[0]) for c in self.connections]

    def _accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    def _serve(self, client):
        record = {UP: bytearray(), DOWN: bytearray()}
        with client:
            head = client.recv(1 << 16)
            if not head:
                return
            with self.lock:
                self.connections.append(record)
                fault = next((f for f in self.faults if f.claims(head)), None)
            if fault and fault.kind == "answer":
                fault.happened += 1
                record[UP] += self._with_small_body(client, head)
                client.sendall(fault.answer)
                return
            with socket.create_connection(self.device) as device:
                self._relay(client, device, head, fault, record)

    @staticmethod
    def _with_small_body(client, head):
        """What is closed with a body unread resets the connection, and the answer can be lost with
        it; that is for large bodies only."""
        length = re.search(rb"(?i)\r\nContent-Length: *(\d+)", head)
        if length and int(length[1]) <= SMALL_BODY:
            whole = head.find(b"\r\n\r\n") + 4 + int(length[1])
            while len(head) < whole and (data := client.recv(1 << 16)):
                head += data
        return head

    def _relay(self, client, device, head, fault, record):
        up = _Stream(client, device, fault if fault and fault.direction == UP else None, record[UP])
        down = _Stream(device, client, fault if fault and fault.direction == DOWN else None,
                       record[DOWN])
        cut = not up.forward(head)
        if not cut:
            upward = threading.Thread(target=self._pump, args=(up,), daemon=True)
            upward.start()
            self._pump(down)
        for end in (client, device):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        if not cut:
            upward.join()

    @staticmethod
    def _pump(stream):
        try:
            while True:
                data = stream.source.recv(1 << 16)
                if not data:
                    return
                if not stream.forward(data):
                    stream.source.shutdown(socket.SHUT_RDWR)
                    stream.sink.shutdown(socket.SHUT_RDWR)
                    return
        except OSError:
            return
