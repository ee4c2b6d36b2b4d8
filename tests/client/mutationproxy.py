"""A proxy that makes a right device wrong in one way: it reads whole requests and answers."""

import dataclasses
import json
import socket
import threading


@dataclasses.dataclass
class Request:
    method: str
    target: str
    head: bytes
    body: bytes

    def is_for(self, method, beginning):
        return self.method == method and self.target.startswith(beginning)

    def bytes(self):
        lines = self.head.split(b"\r\n")
        lines[0] = b"%s %s HTTP/1.1" % (self.method.encode(), self.target.encode())
        lines = [line for line in lines if not line.lower().startswith(b"content-length")]
        if self.body or self.method in ("POST", "PUT"):
            lines.append(b"Content-Length: %d" % len(self.body))
        return b"\r\n".join(lines) + b"\r\n\r\n" + self.body


@dataclasses.dataclass
class Answer:
    status: int
    headers: dict  # names in lower case
    body: bytes
    cut: bool = False  # the connection ends before the end of the body

    @staticmethod
    def of_json(value):
        return Answer(200, {"content-type": "application/json; charset=utf-8",
                            "date": "Sat, 01 Jan 2000 00:00:00 GMT", "connection": "close",
                            "cache-control": "no-store"},
                      json.dumps(value).encode())

    @staticmethod
    def of_bytes(body):
        answer = Answer.of_json({})
        answer.headers["content-type"] = "application/octet-stream; charset=utf-8"
        answer.body = body
        return answer

    def json(self):
        """The document, or None when it is none."""
        try:
            return json.loads(self.body)
        except ValueError:
            return None

    def set_json(self, value):
        self.body = json.dumps(value).encode()

    def error(self):
        document = self.json()
        return document.get("errorMessage") if isinstance(document, dict) else None

    def bytes(self):
        chunked = self.headers.get("transfer-encoding") == "chunked"
        headers = dict(self.headers)
        if not chunked:
            headers.setdefault("content-length", str(len(self.body)))
        lines = ["HTTP/1.1 %d Status" % self.status]
        lines += ["%s: %s" % header for header in headers.items()]
        head = "\r\n".join(lines).encode() + b"\r\n\r\n"
        if not chunked:
            return head + (self.body[:-1] if self.cut else self.body)
        return head + b"%x\r\n%s\r\n" % (len(self.body), self.body) + (
            b"" if self.cut else b"0\r\n\r\n")


class Mutation:
    """A right device; what inherits changes one thing."""

    noticed_as = "FAIL"

    def before(self, request):
        """May change the request, or return an answer in the device's place."""
        return None

    def after(self, request, answer):
        """May change the answer."""


class MutationProxy:
    """Listens on a free port of the loopback interface until it is closed."""

    def __init__(self, mutation, device=("127.0.0.1", 8081)):
        self.mutation = mutation
        self.device = device
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.host = "127.0.0.1:%d" % self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self._accept, daemon=True)
        self.thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join()

    def _accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    def _serve(self, client):
        with client:
            try:
                request = read_request(client)
                if request is not None:
                    client.sendall(self._answer(request).bytes())
            except OSError:
                pass  # either side went away, as some checks do

    def _answer(self, request):
        answer = self.mutation.before(request)
        if answer is None:
            with socket.create_connection(self.device) as device:
                device.sendall(request.bytes())
                answer = read_answer(device)
            self.mutation.after(request, answer)
        return answer


def read_head(source):
    data = b""
    while b"\r\n\r\n" not in data:
        more = source.recv(1 << 16)
        if not more:
            return None, data
        data += more
    head, _, rest = data.partition(b"\r\n\r\n")
    return head, rest


def read_request(client):
    """A request; None when the client does not send all of it."""
    head, rest = read_head(client)
    if head is None:
        return None
    method, target, _ = head.split(b"\r\n", 1)[0].decode().split(" ", 2)
    length = next((int(line.split(b":")[1]) for line in head.split(b"\r\n")
                   if line.lower().startswith(b"content-length:")), 0)
    body = bytearray(rest)
    while len(body) < length:
        more = client.recv(1 << 20)
        if not more:
            return None
        body += more
    return Request(method, target, head, bytes(body))


def read_answer(device):
    head, rest = read_head(device)
    body = bytearray(rest)
    while more := device.recv(1 << 20):
        body += more
    lines = head.decode("latin-1").split("\r\n")
    headers = {name.lower(): value.strip()
               for name, _, value in (line.partition(":") for line in lines[1:])}
    chunked = headers.get("transfer-encoding") == "chunked"
    headers.pop("content-length", None)
    return Answer(int(lines[0].split()[1]), headers, without_chunks(body) if chunked else bytes(body))


def without_chunks(data):
    body, position = bytearray(), 0
    while True:
        end = data.index(b"\r\n", position)
        size = int(data[position:end], 16)
        if size == 0:
            return bytes(body)
        body += data[end + 2:end + 2 + size]
        position = end + 2 + size + 2
