"""Ways in which a device can be wrong.

Each class is one: its first line says what happens, `noticed_by` names an assertion that fails.
"""

import copy
import datetime
import json
import re
from urllib.parse import unquote

from mutationproxy import Answer, Mutation

INFO = "/info"
LIST = "/api/workflow/v1/list"
WORK_ORDERS = "/api/workflow/v1/workorders"
WORK_ORDER = "/api/workflow/v1/workorder/"
ACTIVE = "/api/workflow/v1/active"
TEMPLATES = "/api/workflow/v1/templates"
PENDING = "/api/syncfiles/v1/pendingfiles"
ALL_PENDING = PENDING + "/all"
METADATA_1 = "/api/syncfiles/v1/metadata/"
METADATA_2 = "/api/filemgr/v2/metadata/"
FILES_1 = "/api/syncfiles/v1/userfiles"
FILES_2 = "/api/filemgr/v2/userfiles"
TECHNICIAN = "/api/v1/techinfo"
OUTSIDE = "/etc/passwd"


class ChangesJson(Mutation):
    """Changes the JSON of the answers to one kind of request."""

    method, routes, exactly = "GET", (), False

    def after(self, request, answer):
        target = request.target.split("?")[0]
        fits = any(target == route if self.exactly else target.startswith(route)
                   for route in self.routes)
        document = answer.json()
        if request.method == self.method and fits and document is not None and \
                answer.error() is None:
            answer.set_json(self.change(document))

    def change(self, document):
        raise NotImplementedError


class ChangesMetadata(ChangesJson):
    routes = (METADATA_1, METADATA_2)


class ChangesListing(ChangesJson):
    routes, exactly = (FILES_2,), True

    def change(self, document):
        document["files"] = self.change_files(document["files"])
        return document

    def change_files(self, files):
        raise NotImplementedError


class ChangesList(ChangesJson):
    routes, exactly = (LIST,), True


class ChangesPending(ChangesJson):
    routes, exactly = (PENDING, ALL_PENDING), True


class ChangesWorkOrder(ChangesJson):
    routes = (WORK_ORDER,)


class ChangesInfo(ChangesJson):
    routes, exactly = (INFO,), True


def later(time, hours):
    moved = datetime.datetime.fromisoformat(time.replace("Z", "+00:00"))
    return (moved + datetime.timedelta(hours=hours)).strftime("%Y-%m-%dT%H:%M:%SZ")


def with_times(records, change):
    for record in records:
        record["modifiedTime"] = change(record["modifiedTime"])
    return records


class DigestIsWrong(ChangesMetadata):
    """One digit of the digest is another one."""

    noticed_by = "stored.size-1.metadata"

    def change(self, document):
        digest = document["sha256"]
        document["sha256"] = digest[:-1] + ("0" if digest[-1] != "0" else "1")
        return document


class DigestIsInCapitals(ChangesMetadata):
    """The digest has capitals."""

    noticed_by = "stored.size-1.metadata"

    def change(self, document):
        document["sha256"] = document["sha256"].upper()
        return document


class MetadataSizeIsWrong(ChangesMetadata):
    """The size in the metadata is one byte too large."""

    noticed_by = "asset.metadata.size"

    def change(self, document):
        document["size"] += 1
        return document


class MetadataHasUnknownMember(ChangesMetadata):
    """The metadata have a member that is not described."""

    noticed_by = "description.getUserFileMetadata"

    def change(self, document):
        return {**document, "owner": "root"}


class MetadataNamesOtherPath(ChangesMetadata):
    """The metadata name the path without its first slash."""

    noticed_by = "asset.metadata.path"

    def change(self, document):
        return {**document, "path": document["path"][1:]}


class ListedSizeIsWrong(ChangesListing):
    """The size in the listing is one byte too small."""

    noticed_by = "files.download"

    def change_files(self, files):
        return [{**file, "size": max(0, file["size"] - 1)} for file in files]


class ListedSizeIsText(ChangesListing):
    """The size in the listing is a text."""

    noticed_by = "asset.metadata.size"

    def change_files(self, files):
        return [{**file, "size": str(file["size"])} for file in files]


class ListedTimeIsLocalEast(ChangesListing):
    """The times of files are those of a zone in the east, marked with Z."""

    noticed_by = "files.time-not-later"

    def change_files(self, files):
        return with_times(files, lambda time: later(time, 1))


class ListedTimeIsLocalWest(ChangesListing):
    """The times of files are those of a zone in the west, marked with Z."""

    noticed_by = "files.time-of-store"

    def change_files(self, files):
        return with_times(files, lambda time: later(time, -5))


class ListedTimeHasNoZone(ChangesListing):
    """The times of files lack the Z."""

    noticed_by = "asset.metadata.time"

    def change_files(self, files):
        return with_times(files, lambda time: time[:-1])


class ListingLosesLastFile(ChangesListing):
    """The last file is not listed."""

    noticed_by = "sync.pending.listed"

    def change_files(self, files):
        return files[:-1]


class ListingRepeatsFile(ChangesListing):
    """The first file is listed twice."""

    noticed_by = "files.sorted"

    def change_files(self, files):
        return files[:1] + files


class ListingIsNotSorted(ChangesListing):
    """The listing is in reverse order."""

    noticed_by = "files.sorted"
    noticed_as = "WARN"

    def change_files(self, files):
        return files[::-1]


class ListingIsArray(ChangesListing):
    """The listing is an array."""

    noticed_by = "files.sorted"

    def change(self, document):
        return document["files"]


class WorkOrderTimeIsLocalEast(ChangesList):
    """The times of work orders are those of a zone in the east."""

    noticed_by = "jobs.time-not-later"

    def change(self, document):
        with_times(document["workOrderInfo"], lambda time: later(time, 2))
        return document


class WorkOrderTimeIsLocalWest(ChangesList):
    """The times of work orders are those of a zone in the west."""

    noticed_by = "jobs.time-of-store"

    def change(self, document):
        with_times(document["workOrderInfo"], lambda time: later(time, -2))
        return document


class WorkOrderTimeIsEmpty(ChangesList):
    """The times of work orders are invalid."""

    noticed_by = "jobs.time-of-store"

    def change(self, document):
        with_times(document["workOrderInfo"], lambda time: "")
        return document


class ListLosesLastWorkOrder(ChangesList):
    """The last work order is not listed."""

    noticed_by = "jobs.stored-once"

    def change(self, document):
        return {name: value[:-1] for name, value in document.items()}


class ListsDiffer(ChangesList):
    """The two arrays of the list differ in their order."""

    noticed_by = "jobs.order"

    def change(self, document):
        return {**document, "workOrderIds": document["workOrderIds"][::-1]}


class ListRepeatsWorkOrder(ChangesList):
    """The first work order is listed twice."""

    noticed_by = "jobs.once"

    def change(self, document):
        return {name: value[:1] + value for name, value in document.items()}


class PendingLosesNewestFile(ChangesPending):
    """The file that changed last is not pending."""

    noticed_by = "sync.new.all"

    def change(self, document):
        newest = max((record["modifiedTime"] for record in document), default="")
        return [record for record in document if record["modifiedTime"] != newest]


class PendingIsObject(ChangesPending):
    """The pending files are an object."""

    noticed_by = "sync.all.sorted"

    def change(self, document):
        return {"files": document}


class PendingNeverSettles(ChangesPending):
    """No file ever becomes pending."""

    noticed_by = "sync.new.pending"

    routes = (PENDING,)

    def change(self, document):
        return []


class ImagesAreSent(ChangesWorkOrder):
    """Work orders are sent with their images."""

    noticed_by = "store.images.removed"

    def change(self, document):
        for test in document["cdm"]["tests"]:
            if "data" in test.get("results", {}):
                test["results"]["data"]["imageData"] = "UDUKMSAxCjI1NQqA"
        return document


class TooManyImagesAreRemoved(ChangesWorkOrder):
    """Every member named imageData is left out."""

    noticed_by = "store.images.kept"

    def change(self, document):
        def without(value):
            if isinstance(value, dict):
                return {k: without(v) for k, v in value.items() if k != "imageData"}
            return [without(v) for v in value] if isinstance(value, list) else value
        return without(document)


class TestsAreNotAdded(ChangesWorkOrder):
    """A work order without tests gets no array."""

    noticed_by = "store.tests.added"

    def change(self, document):
        if not document["cdm"]["tests"]:
            del document["cdm"]["tests"]
        return document


class WorkOrderVersionIsWrong(ChangesWorkOrder):
    """The version of the envelope is another one."""

    noticed_by = "store.read"

    def change(self, document):
        return {**document, "cdmVersion": "2.0"}


class WorkOrderIsNotWrapped(ChangesWorkOrder):
    """A work order comes without its envelope."""

    noticed_by = "store.read"

    def change(self, document):
        return document["cdm"]


class WorkOrderLosesMember(ChangesWorkOrder):
    """The member "nested" is not kept."""

    noticed_by = "store.members"

    def change(self, document):
        document["cdm"].pop("nested", None)
        return document


class WorkOrderLosesUnicode(ChangesWorkOrder):
    """Letters beyond ASCII become question marks."""

    noticed_by = "store.members"

    def change(self, document):
        text = json.dumps(document, ensure_ascii=False)
        return json.loads(text.encode("ascii", "replace").decode())


class NumbersAreRounded(ChangesWorkOrder):
    """Numbers become whole ones."""

    noticed_by = "store.members"

    def change(self, document):
        return json.loads(json.dumps(document), parse_float=lambda text: int(float(text)))


class InfoLosesFamily(ChangesInfo):
    """The family techinfo is not named."""

    noticed_by = "asset.families"

    def change(self, document):
        return {**document, "apiSupport": document["apiSupport"][:-1]}


class InfoNamesWrongVersion(ChangesInfo):
    """The family filemgr has version 1."""

    noticed_by = "asset.families"

    def change(self, document):
        document["apiSupport"][2]["versions"] = [1]
        return document


class TemplateIsNoObject(ChangesJson):
    """A template is a number."""

    noticed_by = "templates.objects"

    routes = (TEMPLATES,)

    def change(self, document):
        return {"templates": document["templates"] + [5]}


class Swallows(Mutation):
    """Answers a request without carrying it out."""

    method, route, exactly = "", "", True

    def before(self, request):
        fits = request.target == self.route if self.exactly else \
            request.target.startswith(self.route)
        return self.answer(request) if request.method == self.method and fits else None

    def answer(self, request):
        return Answer.of_json({})


class ConfirmationIsSwallowed(Swallows):
    """A confirmation changes nothing."""

    noticed_by = "sync.confirm"

    method, route, exactly = "PUT", FILES_1 + "/", False


class BatchIsSwallowed(Swallows):
    """A batch of work orders is not stored."""

    noticed_by = "store.batch"

    method, route = "POST", WORK_ORDERS


class DeletionIsSwallowed(Swallows):
    """A file is not deleted."""

    noticed_by = "files.delete"

    method, route, exactly = "DELETE", FILES_2 + "/", False


class UploadIsSwallowed(Swallows):
    """An upload is not stored."""

    noticed_by = "files.listed"

    method, route = "POST", FILES_2


class ActivationIsSwallowed(Swallows):
    """The active work order does not change."""

    noticed_by = "jobs.activate"

    method, route = "PUT", ACTIVE

    def answer(self, request):
        return Answer.of_json(json.loads(request.body)) if b"parlowen-check-1" in request.body \
            else None


class TechnicianIsNotChecked(Swallows):
    """Every technician is accepted."""

    noticed_by = "tech.dash"

    method, route = "POST", TECHNICIAN


class UnknownIsActivated(Swallows):
    """An unknown work order becomes active."""

    noticed_by = "jobs.active.unknown"

    method, route = "PUT", ACTIVE

    def answer(self, request):
        return Answer.of_json(json.loads(request.body)) if b"parlowen-check-none" in request.body \
            else None


class OutsideIsKnown(Swallows):
    """Metadata tell of a file outside of the user files."""

    noticed_by = "asset.metadata.outside-v2"

    method, route = "GET", METADATA_2[:-1] + OUTSIDE

    def answer(self, request):
        return Answer.of_json({"path": OUTSIDE, "size": 5, "modifiedTime": "2026-01-01T00:00:00Z",
                               "sha256": "0" * 64})


class OutsideIsRead(Swallows):
    """A whole-file read brings a file outside of the user files."""

    noticed_by = "sync.whole.outside"

    method, route = "GET", FILES_1 + OUTSIDE

    def answer(self, request):
        return Answer.of_bytes(b"root:x:0:0")


class DotsAreFollowed(Mutation):
    """A download with ".." brings another file."""

    noticed_by = "files.dots"

    def before(self, request):
        return Answer.of_bytes(b"root:x:0:0") if request.is_for("GET", FILES_2 + "/") and \
            "/../" in request.target else None


class ChangesDownload(Mutation):
    """Changes the bytes of a download that are at least so many."""

    route, at_least = FILES_2 + "/", 1

    def after(self, request, answer):
        if request.is_for("GET", self.route) and len(answer.body) >= self.at_least and \
                answer.error() is None:
            self.change(answer)

    def change(self, answer):
        raise NotImplementedError


def flip(body, at):
    return body[:at] + bytes([body[at] ^ 1]) + body[at + 1:]


class FirstByteOfSecondPieceIsWrong(ChangesDownload):
    """The first byte of the second piece is another one."""

    noticed_by = "stored.size-5000001.download"

    at_least = 5_000_001

    def change(self, answer):
        answer.body = flip(answer.body, 5_000_000)


class LastByteOfFirstPieceIsWrong(ChangesDownload):
    """The last byte of the first piece is another one."""

    noticed_by = "stored.size-5000000.download"

    at_least = 5_000_000

    def change(self, answer):
        answer.body = flip(answer.body, 4_999_999)


class LastByteIsLost(ChangesDownload):
    """A download lacks its last byte."""

    noticed_by = "files.download"

    def change(self, answer):
        answer.body = answer.body[:-1]


class SecondPieceIsLost(ChangesDownload):
    """A download ends after one piece."""

    noticed_by = "files.pieces"

    at_least = 5_000_001

    def change(self, answer):
        answer.body = answer.body[:5_000_000]


class SecondPieceIsRepeated(ChangesDownload):
    """A download repeats a piece."""

    noticed_by = "files.pieces"

    at_least = 10_000_001

    def change(self, answer):
        answer.body = answer.body[:10_000_000] + answer.body[5_000_000:]


class DownloadIsCut(ChangesDownload):
    """The connection ends before the end of a download."""

    noticed_by = "files.pieces"

    at_least = 5_000_001

    def change(self, answer):
        answer.cut = True


class WholeReadIsCut(ChangesDownload):
    """A whole-file read lacks its last byte."""

    noticed_by = "sync.whole"

    route = FILES_1 + "/"

    def change(self, answer):
        answer.body = answer.body[:-1]


class WholeReadEndsAtZero(ChangesDownload):
    """A whole-file read ends at a byte of zero."""

    noticed_by = "stored.zeros"

    route = FILES_1 + "/"

    def change(self, answer):
        answer.body = answer.body.split(b"\0")[0]


class LineEndsAreChanged(ChangesDownload):
    """A download has other line ends."""

    noticed_by = "stored.text"

    def change(self, answer):
        answer.body = answer.body.replace(b"\r\n", b"\n")


class JsonFileIsNoJson(ChangesDownload):
    """A file that holds JSON is sent as bytes."""

    noticed_by = "stored.json"

    def change(self, answer):
        answer.headers["content-type"] = "application/octet-stream"


class JsonFileIsPrinted(ChangesDownload):
    """A file that holds JSON is parsed and printed anew."""

    noticed_by = "stored.json"

    def change(self, answer):
        if answer.json() is not None:
            answer.set_json(answer.json())


class EmptyFileIsNoPage(ChangesDownload):
    """An empty file is sent as an error."""

    noticed_by = "stored.size-0.download"

    def change(self, answer):
        if answer.body == b"Error 200: OK\n":
            answer.body = b"{\"errorMessage\": \"File read failure\"}"
            answer.headers["content-type"] = "application/json; charset=utf-8"


class ErrorHasItsStatus(Mutation):
    """An error is sent with the status 404."""

    noticed_by = "store.read.missing"

    def after(self, request, answer):
        if answer.error() == "Job not found":
            answer.status = 404


class MethodHasItsStatus(Mutation):
    """A wrong method is answered with the status 405."""

    noticed_by = "methods.info"

    def after(self, request, answer):
        if answer.error() == "Method not allowed" and request.method == "PATCH":
            answer.status = 405


class SpellingIsCorrected(Mutation):
    """The message is spelled right."""

    noticed_by = "store.read.slash"

    def after(self, request, answer):
        if answer.error() == "Inavlid URI":
            answer.set_json({"errorMessage": "Invalid URI"})


class ErrorHasCode(Mutation):
    """An error has a second member."""

    noticed_by = "tech.dash"

    def after(self, request, answer):
        if answer.error() is not None:
            answer.set_json({"errorMessage": answer.error(), "code": 1})


class ErrorIsPlainText(Mutation):
    """An error is sent as plain text."""

    noticed_by = "sync.whole.missing"

    def after(self, request, answer):
        if answer.error() == "File not found":
            answer.headers["content-type"] = "text/plain"


class JsonIsHtml(Mutation):
    """The active work order is sent as HTML."""

    noticed_by = "jobs.active-listed"

    def after(self, request, answer):
        if request.is_for("GET", ACTIVE):
            answer.headers["content-type"] = "text/html"


class JsonIsCut(Mutation):
    """The templates lack their last byte but one."""

    noticed_by = "templates.objects"

    def after(self, request, answer):
        if request.is_for("GET", TEMPLATES):
            answer.body = answer.body.rstrip()[:-1]


class KeyComesTwice(Mutation):
    """The templates are sent under two keys that are the same."""

    noticed_by = "templates.objects"

    def after(self, request, answer):
        if request.is_for("GET", TEMPLATES):
            answer.body = b'{"templates": [], ' + answer.body.lstrip()[1:]


class LengthIsTooLarge(Mutation):
    """The announced length of the list is too large."""

    noticed_by = "jobs.order"

    def after(self, request, answer):
        if request.is_for("GET", LIST):
            answer.headers["content-length"] = str(len(answer.body) + 1)


class UnknownRouteIsServed(Mutation):
    """An unknown route is answered with an empty object."""

    noticed_by = "server.unknown-route"

    def after(self, request, answer):
        if answer.status == 404:
            answer.status = 200


class ConnectionStaysOpen(Mutation):
    """Answers say that the connection stays open."""

    noticed_by = "server.closes"

    def after(self, request, answer):
        answer.headers["connection"] = "keep-alive"


class OtherMembersAreDropped(Mutation):
    """The answer to an activation repeats the id alone."""

    noticed_by = "jobs.activate.members"

    def after(self, request, answer):
        if request.is_for("PUT", ACTIVE) and answer.error() is None:
            answer.set_json({"activeWorkOrderId": answer.json()["activeWorkOrderId"]})


class ActiveIsLostByStore(Mutation):
    """No work order is active once a batch was stored."""

    noticed_by = "jobs.active-after-store"

    lost = False

    def after(self, request, answer):
        if request.is_for("POST", WORK_ORDERS):
            self.lost = True
        elif request.is_for("PUT", ACTIVE) and answer.error() is None:
            self.lost = False
        elif request.is_for("GET", ACTIVE) and self.lost:
            answer.set_json({"activeWorkOrderId": ""})


class HalfBatchIsStored(Mutation):
    """The good elements of a refused batch are stored."""

    noticed_by = "store.whole.no-id"

    def before(self, request):
        if request.is_for("POST", WORK_ORDERS) and b"half a batch" in request.body:
            batch = json.loads(request.body)
            batch["cdm"] = batch["cdm"][:1]
            request.body = json.dumps(batch).encode()

    def after(self, request, answer):
        if request.is_for("POST", WORK_ORDERS) and b"half a batch" in request.body:
            answer.set_json({"errorMessage": "Error in request handler"})


class ObjectIsStored(Mutation):
    """A batch that is an object is stored like an array of it."""

    noticed_by = "store.cdm.object"

    def before(self, request):
        if request.is_for("POST", WORK_ORDERS) and b"parlowen-check-object" in request.body:
            batch = json.loads(request.body)
            request.body = json.dumps({"cdm": [batch["cdm"]]}).encode()


class PathIsDecodedTwice(Mutation):
    """A path is percent-decoded once more."""

    noticed_by = "stored.name-escape"

    def before(self, request):
        if re.search(r"%25[0-9A-F]{2}", request.target):
            request.target = request.target.replace("%25", "%")


class PlusIsBlank(Mutation):
    """A plus in a path is read as a blank."""

    noticed_by = "stored.name-plus"

    def before(self, request):
        if "/userfiles/" in request.target or "/metadata/" in request.target:
            request.target = request.target.replace("%2B", "%20").replace("+", "%20")


class PathIsLatin1(Mutation):
    """A path is not read as UTF-8."""

    noticed_by = "stored.name-beyond-ascii"

    def before(self, request):
        if request.is_for("GET", METADATA_2):
            request.target = re.sub(r"%C3%BC", "%C3%83%C2%BC", request.target)


class ChangedIsNotPending(Mutation):
    """A confirmed file is not pending again once its content changes."""

    noticed_by = "sync.changed"

    def __init__(self):
        self.confirmed = set()

    def after(self, request, answer):
        if request.is_for("PUT", FILES_1 + "/") and answer.error() is None:
            self.confirmed.add(unquote(request.target[len(FILES_1):]))
        elif request.target in (PENDING, ALL_PENDING) and isinstance(answer.json(), list):
            answer.set_json([record for record in answer.json()
                             if record["path"] not in self.confirmed])


class WrongFormIsAccepted(Mutation):
    """A form in the wrong order is answered like a right one."""

    noticed_by = "upload.order"

    def after(self, request, answer):
        if request.is_for("POST", FILES_2) and answer.error() == "Upload failed" and \
                request.body.find(b"fileUri") > request.body.find(b"content") > 0:
            answer.set_json({})


class UploadGainsByte(Mutation):
    """A stored file has one byte more."""

    noticed_by = "stored.size-1.metadata"

    def before(self, request):
        if request.method == "POST" and request.target in (FILES_1, FILES_2):
            end = request.body.rfind(b"\r\n--")
            if end > 0:
                request.body = request.body[:end] + b"x" + request.body[end:]


class SecondPieceOfUploadIsLost(Mutation):
    """A stored file ends after 5,000,000 bytes."""

    noticed_by = "stored.size-5000001.metadata"

    def before(self, request):
        if request.method == "POST" and len(request.body) > 5_000_001:
            start = request.body.rfind(b"\r\n\r\n", 0, 2000) + 4
            end = request.body.rfind(b"\r\n--")
            request.body = request.body[:min(end, start + 5_000_000)] + request.body[end:]


class WorkOrdersAreMixedUp(Mutation):
    """Who asks for one work order gets the one that was asked for before."""

    noticed_by = "store.read.id"

    last = None

    def after(self, request, answer):
        if request.is_for("GET", WORK_ORDER) and answer.error() is None:
            now = copy.deepcopy(answer)
            if self.last is not None:
                answer.body = self.last.body
            self.last = now


def all_mutations():
    """Those classes that stand for no others."""
    def leaves(kind):
        below = kind.__subclasses__()
        return [leaf for one in below for leaf in leaves(one)] if below else [kind]
    return sorted(leaves(Mutation), key=lambda kind: kind.__name__)
