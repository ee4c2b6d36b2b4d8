"""The table of requests that must not work: what is sent, and the answer expected.

A row is (name, bytes, expected). `expected` is a pair of the status and a text that the body holds,
or CLOSED where the server ends the connection without an answer. No row may change what is stored.

Rows that reach for a file outside the device name a secret that was planted for them: what is deleted
or overwritten by mistake is nobody's.
"""
import json
import os

from device import BOUNDARY, request

CLOSED = (0, b"")

WORKORDERS = "/api/workflow/v1/workorders"
LIST = "/api/workflow/v1/list"
TEMPLATES = "/api/workflow/v1/templates"
ACTIVE = "/api/workflow/v1/active"
WORKORDER = "/api/workflow/v1/workorder/"
PENDING = "/api/syncfiles/v1/pendingfiles"
SYNC_METADATA = "/api/syncfiles/v1/metadata"
SYNC_FILES = "/api/syncfiles/v1/userfiles"
FILES = "/api/filemgr/v2/userfiles"
METADATA = "/api/filemgr/v2/metadata"
TECHINFO = "/api/v1/techinfo"


def error(message):
    """What a refusal with a message looks like on the wire."""
    return 200, json.dumps({"errorMessage": message}, indent=4).encode()


NOT_ALLOWED = error("Method not allowed")
NOT_SERVED = error("")  # the reason stays inside: the body is not empty
NOT_FOUND = 404, b"Error 404"
BAD_REQUEST = 400, b"Error 400"
LENGTH_REQUIRED = 411, b"Error 411"
UPLOAD_FAILED = error("Upload failed")


class Secrets:
    """A file, a link to it and a fifo in a folder outside the device."""

    CONTENT = b"precious"

    def __init__(self, folder):
        self.file, self.link, self.fifo = (os.path.join(folder, name)
                                           for name in ("secret", "secret-link", "secret-fifo"))
        with open(self.file, "wb") as file:
            file.write(self.CONTENT)
        os.symlink(self.file, self.link)
        os.mkfifo(self.fifo)

    def unchanged(self):
        if not (os.path.islink(self.link) and os.path.exists(self.fifo) and os.path.isfile(self.file)):
            return False
        with open(self.file, "rb") as file:
            return file.read() == self.CONTENT


def methods():
    """Every route with the methods that it does not serve."""
    others = ("PROPFIND", "MKCOL", "OPTIONS", "HEAD")
    served = (
        ("/info", ("GET",), NOT_ALLOWED),
        (LIST, ("GET",), NOT_ALLOWED),
        (WORKORDERS, ("POST",), NOT_ALLOWED),
        (TEMPLATES, ("GET",), NOT_ALLOWED),
        (ACTIVE, ("GET", "PUT"), NOT_SERVED),
        (WORKORDER + "WO-1001", ("GET",), NOT_ALLOWED),
        (PENDING, ("GET",), NOT_ALLOWED),
        (PENDING + "/all", ("GET",), NOT_ALLOWED),
        (SYNC_METADATA + "/a", ("GET",), NOT_ALLOWED),
        (SYNC_FILES + "/a", ("GET", "PUT"), NOT_ALLOWED),
        (SYNC_FILES, ("POST",), NOT_ALLOWED),
        (FILES, ("GET", "POST"), NOT_SERVED),
        (METADATA + "/a", ("GET",), NOT_SERVED),
        (FILES + "/a", ("GET", "DELETE"), NOT_SERVED),
        (TECHINFO, ("POST",), NOT_ALLOWED),
    )
    for route, allowed, expected in served:
        for method in ("GET", "POST", "PUT", "PATCH", "DELETE", *others):
            if method not in allowed:
                yield f"{method} {route}", request(method, route), expected
    for method in ("get", "Get", "TRACK", "FOO", "", "GETGETGETGETGETGETGET", "\x01", "G\x00T"):
        yield f"method {method!r}", request(method, "/info"), BAD_REQUEST


def uris(secrets):
    """Paths that lead nowhere."""
    absent = error("File not found")
    unread = error("File read failure")
    invalid = error("Invalid URI")
    long_name = "/" + "a" * 4096
    secret = secrets.file
    names = ("/none", "/../../.." + secret, "/%2e%2e/%2e%2e" + secret, "/..%2f..%2f" + secret[1:],
             "/" + secret, secret, "/./././" + secret, "/a%0ab", "/a%0d%0aX:%20y", "/%01%02%1f",
             "/%ff%fe", "/%c3%28", "/%f0%9f%92%a9", "/%7f", "/" + "../" * 300 + secret[1:],
             long_name, "/" + "%41" * 1300, "/" + "a/" * 2000, "/*", "/'", "/%22", "/%5c..%5c", "/~root",
             secrets.fifo, secrets.link, secret + "/", "/ ".strip() + "%20", "/%25%30%30")
    # Those that climb out of their route never reach it: the HTTP server answers for itself.
    climbing = names[1:4] + ("/" + "../" * 300 + secret[1:],)
    for name in names:
        shown = name if len(name) < 60 else f"{name[:20]}... ({len(name)} bytes)"
        if name in climbing:
            for method in ("GET", "POST"):
                yield f"{method} {shown}", request(method, SYNC_FILES + name), NOT_FOUND
            for method in ("PUT", "DELETE", "PATCH"):
                yield f"{method} {shown}", request(method, FILES + name), (405, b"Error 405")
            continue
        yield f"read {shown}", request("GET", SYNC_FILES + name), absent
        yield f"metadata {shown}", request("GET", SYNC_METADATA + name), absent
        yield f"download {shown}", request("GET", FILES + name), unread
        yield f"describe {shown}", request("GET", METADATA + name), invalid
        yield f"delete {shown}", request("DELETE", FILES + name), invalid
        yield f"confirm {shown}", request("PUT", SYNC_FILES + name), absent
    for path in ("/", "/api", "/api/", "/INF", "/info/x", "/infos", "/api/workflow/v2/list",
                 "/api/workflow/v1/", "/index.html", "/error.log", "/..", "/../.." + secret,
                 "/%2e%2e/error.log", "/api/syncfiles/v1/pendingfiles/none", "/cgi-bin/x"):
        yield f"no route {path}", request("GET", path), NOT_FOUND
    for name in ("a/b", "a/b/attachment", "", "a/attachment/x"):
        yield f"work order {name!r}", request("GET", WORKORDER + name), error("Inavlid URI")
    for name in ("none", "...", "a%0a", "%ff", "WO-1001%20", "wo-1001", "x" * 4096, "*",
                 "WO-1001.json", "%5c", "'"):
        yield f"work order {name[:20]!r}", request("GET", WORKORDER + name), error("Job not found")
    for name in ("..", "%2e%2e", "%2e%2E/..", "../.."):
        yield f"work order {name!r}", request("GET", WORKORDER + name), NOT_FOUND
    yield ("attachment of a work order", request("POST", WORKORDER + "WO-1001/attachment"),
           error("Not allowed"))
    yield ("attachment of none", request("POST", WORKORDER + "none/attachment"),
           error("Job not found"))
    yield ("attachment read", request("GET", WORKORDER + "WO-1001/attachment"), NOT_ALLOWED)
    yield "no path to download", request("GET", FILES + "/"), unread
    yield "no path to read", request("GET", SYNC_FILES + "/"), absent


def heads():
    """Request lines and headers that break the rules of HTTP."""
    def head(*lines, body=b""):
        return b"\r\n".join(lines) + b"\r\n\r\n" + body

    line = b"POST " + TECHINFO.encode() + b" HTTP/1.1"
    rows = {
        "nothing": (b"", CLOSED),
        "only line ends": (b"\r\n\r\n\r\n", BAD_REQUEST),
        "one byte": (b"G", BAD_REQUEST),
        "headers that stop": (b"GET /info HTTP/1.1\r\nHost: dev", BAD_REQUEST),
        "no version": (head(b"GET /info"), BAD_REQUEST),
        "no path": (head(b"GET HTTP/1.1"), BAD_REQUEST),
        "an unknown protocol": (head(b"GET /info FTP/1.1"), (0, b" 400 Bad Request")),
        "garbage": (head(b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"), BAD_REQUEST),
        "random bytes": (bytes(range(128, 256)) + b"\r\n\r\n", BAD_REQUEST),
        "a path of two words": (head(b"GET /in fo HTTP/1.1"), (0, b" 400 Bad Request")),
        "a path without a slash": (head(b"GET info HTTP/1.1", b"Host: d"), BAD_REQUEST),
        "a NUL in the path": (head(b"GET /in\0fo HTTP/1.1", b"Host: d"), BAD_REQUEST),
        "a control character in the path": (head(b"GET /in\x01fo HTTP/1.1", b"Host: d"), BAD_REQUEST),
        "bytes above 127 in the path": (head(b"GET /in\xfffo HTTP/1.1", b"Host: d"), BAD_REQUEST),
        "a header without a colon": (head(b"GET /info HTTP/1.1", b"Host device"), BAD_REQUEST),
        "a header of 20,000 bytes": (head(b"GET /info HTTP/1.1", b"X: " + b"a" * 20000), BAD_REQUEST),
        "a path of 20,000 bytes": (head(b"GET /" + b"a" * 20000 + b" HTTP/1.1"), BAD_REQUEST),
        "1,000 headers": (head(b"GET /info HTTP/1.1", *[b"X%d: y" % n for n in range(1000)]), (200, b"apiSupport")),
        "a length that is not a number": (head(line, b"Content-Length: x"), LENGTH_REQUIRED),
        "a negative length": (head(line, b"Content-Length: -5"), LENGTH_REQUIRED),
        "a length with a sign and letters": (head(line, b"Content-Length: +5x"), NOT_ALLOWED),
        "an unknown transfer coding": (head(line, b"Transfer-Encoding: gzip"), BAD_REQUEST),
        "an empty length": (head(line, b"Content-Length:"), LENGTH_REQUIRED),
        "no length": (head(line, body=b'{"techId":"x"}'), NOT_ALLOWED),
        "a length beyond the body": (head(line, b"Content-Length: 100", body=b'{"techId":'), NOT_ALLOWED),
        "an enormous length": (head(line, b"Content-Length: 9223372036854775807", body=b"{"), NOT_ALLOWED),
        "a length beyond 64 bits": (head(line, b"Content-Length: 99999999999999999999", body=b"{"), NOT_ALLOWED),
        "a length before the body's end": (head(line, b"Content-Length: 3", body=b'{"techId":"x"}'), NOT_ALLOWED),
        "two different lengths": (head(line, b"Content-Length: 3", b"Content-Length: 14", body=b'{"techId":"x"}'), NOT_ALLOWED),
    }
    for name, (content, expected) in rows.items():
        yield f"head: {name}", content, expected


def chunked():
    """Bodies whose transfer coding is broken."""
    head = (b"POST " + TECHINFO.encode() +
            b" HTTP/1.1\r\nHost: device\r\nTransfer-Encoding: chunked\r\n\r\n")
    for name, body in {
            "nothing": b"", "no number": b"x\r\n", "a negative size": b"-1\r\n{}\r\n0\r\n\r\n",
            "no line end": b"2{}", "a size without data": b"5\r\n", "too little data": b"50\r\n{\"te",
            "no end": b"2\r\n{}\r\n", "a size of 2^64": b"10000000000000000\r\n{}",
            "a size of 2^63": b"8000000000000000\r\n{}", "the end at once": b"0\r\n\r\n",
            "an empty size": b"\r\n\r\n", "a long size": b"0" * 2000 + b"1\r\n{\r\n0\r\n\r\n",
            "a size with 0x": b"0x2\r\n{}\r\n0\r\n\r\n", "a NUL": b"\0\r\n\r\n",
            "no line end after the data": b"1\r\n{}}\r\n0\r\n\r\n"}.items():
        yield f"chunked: {name}", head + body, NOT_ALLOWED


NOT_JSON = {
    "nothing": b"", "a word": b"json", "one brace": b"{", "braces the wrong way": b"}{",
    "a comma too many": b'{"a":1,}', "single quotes": b"{'cdm':[]}", "no quotes": b"{cdm:[]}",
    "a comment": b'{"a":1} // x', "two documents": b"{}{}", "NUL bytes": b"\0\0\0\0",
    "a string": b'"text"', "a number": b"42", "true": b"true", "null": b"null",
    "an open string": b'{"a":"', "invalid UTF-8 in a key": b'{"\xff":1}', "an open escape": b'{"a":"\\u12', "1,100 open arrays": b"[" * 1100,
    "1,100 levels of arrays": b"[" * 1100 + b"]" * 1100,
    "1,100 levels of objects": b'{"a":' * 1100 + b"1" + b"}" * 1100,
    "100,000 open arrays": b"[" * 100000, "a form": b"techId=x&cdm=y", "XML": b"<cdm/>",
    "random bytes": bytes(range(256)) * 4, "Infinity": b'{"a":Infinity}', "a hexadecimal number": b'{"a":0x1}',
    "a colon too few": b'{"a" 1}', "an array with a colon": b'["a":1]',
}


def documents():
    """JSON that is none, and JSON of the wrong shape."""
    for name, body in NOT_JSON.items():
        yield f"workorders: {name}", request("POST", WORKORDERS, body), NOT_ALLOWED
        yield f"techinfo: {name}", request("POST", TECHINFO, body), NOT_ALLOWED
        yield f"active: {name}", request("PUT", ACTIVE, body), error("WorkOrder not found")
    no_member = {"an empty object": b"{}", "an empty array": b"[]", "an array of objects": b'[{"cdm":[]}]',
                 "another case": b'{"CDM":[],"TechId":"x","ActiveWorkOrderId":"WO-1001"}',
                 "a nested member": b'{"x":{"cdm":[],"techId":"x","activeWorkOrderId":"WO-1001"}}',
                 "1,000 levels": b'{"x":' + b"[" * 1000 + b"]" * 1000 + b"}"}
    for name, body in no_member.items():
        yield f"workorders: {name}", request("POST", WORKORDERS, body), error("No cdm property present")
        yield f"techinfo: {name}", request("POST", TECHINFO, body), error("Missing techId")
        yield f"active: {name}", request("PUT", ACTIVE, body), error("WorkOrder not found")
    for value in ('""', '"a-b"', "42", "null", "true", "[]", "{}", '["x"]', '"' + "x" * 21 + '"', '" x"',
                  '"x "', '"\\n"', '"\\u0000"', '"x\\u0000"', '"../x"', '"' + "x" * 100000 + '"', "1e308", "-1"):
        body = b'{"techId":%s}' % value.encode()
        yield f"techinfo: id {value[:30]}", request("POST", TECHINFO, body), error("Invalid techId")
    for value in ('""', '"none"', "null", "true", "[]", "{}", "1001", '"wo-1001"', '"WO-1001 "',
                  '"WO-1001\\u0000"', '["WO-1001"]', '"' + "x" * 100000 + '"'):
        body = b'{"activeWorkOrderId":%s}' % value.encode()
        yield f"active: id {value[:30]}", request("PUT", ACTIVE, body), error("WorkOrder not found")
    good = '{"workOrderId":"never-stored"}'
    for element in ("1", "null", '"text"', "[]", "{}", "true", '{"workOrderId":1}', '{"workOrderId":null}',
                    '{"workOrderId":""}', '{"workOrderId":{}}', '{"workOrderId":"a/b"}', '{"WorkOrderId":"x"}',
                    '{"workOrderId":"../../x"}', '{"workOrderId":"a\\u0000b"}', '{"workOrderId":"\\n"}',
                    '{"workOrderId":"\\u007f"}', '{"workOrderId":"' + "x" * 201 + '"}',
                    '{"workOrderId":"' + "ü" * 101 + '"}', "[" * 900 + "]" * 900):
        for batch in (f"[{element}]", f"[{good},{element}]", f"[{element},{good}]"):
            body = b'{"cdm":%s}' % batch.encode()
            yield f"workorders: {batch[:60]}", request("POST", WORKORDERS, body), error("Error in request handler")


def uploads(root, secrets):
    """Multipart bodies of every wrong shape. The one target that is accepted cannot be made."""
    target = f"{root}/none/file"

    def metadata(uri=target, size="3"):
        return b'{"fileUri":%s,"fileSize":%s}' % (json.dumps(uri).encode(), size.encode())

    def body(*parts, boundary=BOUNDARY, end=b"--\r\n"):
        head = b"%s\r\nContent-Disposition: form-data\r\n\r\n%s\r\n"
        return b"".join(head % (boundary, part) for part in parts) + boundary + end

    whole = body(metadata(), b"abc")
    rows = {
        "nothing": b"", "a line end": b"\r\n", "no line end": b"--load", "a NUL": b"\0", "line feeds only": whole.replace(b"\r", b""),
        "carriage returns only": whole.replace(b"\n", b""), "one part": body(metadata()), "no part": BOUNDARY + b"--\r\n",
        "an empty boundary": b"\r\n" + whole, "a preamble": b"preamble\r\n" + whole, "no end": body(metadata(), b"abc", end=b""),
        "a target whose folder is missing": whole, "metadata that stops": body(metadata())[:40], "a boundary that stops": whole[:4],
        "headers that stop": b"--load\r\nContent-Disposition: fo", "a header with a digit": b"--load\r\nX1: y\r\n\r\n{}\r\n--load--\r\n",
        "a header with an underscore": b"--load\r\nX_Y: z\r\n\r\n{}\r\n--load--\r\n", "a header with a NUL": b"--load\r\nX\0: z\r\n\r\n{}\r\n--load--\r\n",
        "a carriage return in a header": b"--load\r\nX: y\rz\r\n\r\n{}\r\n--load--\r\n", "no headers": b"--load\r\n\r\n" + metadata() + b"\r\n--load--\r\n",
        "a boundary of 4,096 bytes": body(metadata(), b"abc", boundary=b"-" * 4096), "a boundary of one byte": body(metadata(), b"abc", boundary=b"-"),
        "a boundary that begins with NUL": body(metadata(), b"abc", boundary=b"\0x"), "a NUL in the boundary": body(metadata(), b"abc", boundary=b"--a\0b"),
        "a boundary without an end": b"-" * 100000, "only boundaries": b"--load\r\n" * 1000, "a thousand empty parts": body(*[b""] * 1000),
        "a thousand rejected parts": body(*[b"x"] * 1000), "a thousand carriage returns": b"--load\r\n\r\n" + b"\r" * 1000,
        "something after a boundary": b"--load\r\n\r\n{}\r\n--loadx\r\n\r\nabc\r\n--load--\r\n", "one hyphen at the end": body(metadata(), end=b"-x\r\n"),
        "the end first": b"--load--\r\n", "no metadata": body(b"", b"abc"), "the file first": body(b"abc", metadata()),
        "the size as text": body(metadata(size='"3"')), "the size as null": body(metadata(size="null")),
        "a size below zero": body(metadata(size="-1"), b"abc"), "a size of 1e300": body(metadata(size="1e300"), b"abc"),
        "random bytes": bytes(range(1, 256)) * 40, "JSON instead": b'{"fileUri":"x"}\r\n',
    }
    for name, content in NOT_JSON.items():
        rows[f"metadata is {name}"] = body(content, b"abc")
    for name, content in {"an array": b"[]", "without a target": b'{"fileSize":3}', "a number as target": b'{"fileUri":5}',
                          "null as target": b'{"fileUri":null}', "an array as target": b'{"fileUri":["x"]}',
                          "another case": b'{"FILEURI":"%s"}' % target.encode()}.items():
        rows[f"metadata: {name}"] = body(content, b"abc")
    for uri in ("", "/", secrets.file, "relative", "../x", root[:-1], root.upper() + "/x", " " + root + "/x", "/" + root + "/x",
                "file://" + root + "/x", root, root + "/", root + "/none/" + "a" * 4096, root + "/" + "a" * 300, root + "/none/x\0/y",
                root + "/none/\n", root + "/none/\u0001", root + "/./none/x", root + "//none/x", root + "/none/../none/x",
                root + "/../../outside/none/x", root + "-sibling/x", root + "/none/ü\ud7ff", "\0" + root, root + "/" + "a/" * 2000 + "x"):
        rows[f"target {uri[-40:]!r}"] = body(metadata(uri), b"abc")
    for name, content in rows.items():
        for route in (FILES, SYNC_FILES):
            yield f"upload to {route}: {name}", request("POST", route, content), UPLOAD_FAILED


def table(root, secrets):
    """All rows; `root` is the user-files directory of the device, `secrets` lie outside of it."""
    yield from methods()
    yield from uris(secrets)
    yield from heads()
    yield from chunked()
    yield from documents()
    yield from uploads(root, secrets)
