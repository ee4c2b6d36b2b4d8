// A whole upload in both ways of serving: the parser, the part writer and a file on disk. Classic
// serving gets the body in random pieces, prompt serving reads it itself. The input:
//
//     1 byte   as bits, 1: the storage is not available, 2: there is no free space; for prompt
//              serving alone, 8: the body's length is not announced, 16: it breaks off, 32: there
//              is a file already; 4, 64 and 128 together, because it takes long: once more with the
//              first byte 2 in the body standing for filling up to the end of the first piece
//     1 byte   number C of the sizes
//     C bytes  the sizes of the first pieces, 255 for the whole rest
//     the rest is the body; each byte 1 in it stands for the path that uploads must begin with
//
// The result, the calls into the host and the file are compared with what the byte-wise reference
// makes of the body, and the file of prompt serving with that of classic serving.

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <vector>

#include "fakehost.h"
#include "fuzzfolder.h"
#include "promptuploads.h"
#include "referenceparser.h"
#include "replacingfile.h"
#include "restserverfileprocessor.h"

namespace {

// The file object of a part that another one follows is not released. So that a long run does not
// end for want of memory, uploads of more than two parts are left out once they were that many.
constexpr size_t mostSurplusParts = 100000;

constexpr size_t mostPromptParts = 64;
constexpr int filling = 4 + 64 + 128;
constexpr char oldContent[] = "the old file";

struct Part
{
    QByteArray bytes;
    bool ended = false;
};

using Parts = std::vector<Part>;

Parts *PartsOf(multipart_parser *parser)
{
    return static_cast<Parts *>(multipart_parser_get_data(parser));
}

int AddPart(multipart_parser *parser)
{
    PartsOf(parser)->emplace_back();
    return 0;
}

int AddBytes(multipart_parser *parser, const char *data, uint32_t size)
{
    PartsOf(parser)->back().bytes.append(data, static_cast<int>(size));
    return 0;
}

int EndPart(multipart_parser *parser)
{
    PartsOf(parser)->back().ended = true;
    return 0;
}

// What uploads go through. A path is accepted when it begins with the text of `Root()`, which is
// not a directory and never becomes one: whatever follows it, "/.." included, names a file next to
// it or nothing, so no input reaches beyond the temporary directory.
class Sandbox
{
public:
    Sandbox()
        : prompt(&host)
    {
        host.storage.directories[IStorageModel::UserFilesDirectory] = Root();
        processor.Construct(&host);
    }

    QString Root() const { return folder.Path("file"); }
    QString Path(const QString &name) const { return folder.Path(name); }

    QStringList Files() const
    {
        return QDir(folder.Path(QString()))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    // Not by the path in the metadata: a NUL in it ends the name of the file.
    void RemoveFiles() const
    {
        for (const QString &name : Files()) {
            QFile::remove(Path(name));
        }
    }

    FakeHost host;
    RestServerFileProcessor processor;
    PromptUploads prompt;

private:
    FuzzFolder folder;
};

struct Upload
{
    bool storageAvailable;
    bool freeSpace;
    bool filled;
    bool announced;
    bool broken;
    bool replaces;
    QByteArray body;
    std::vector<QByteArray> pieces; // at least one
};

std::vector<QByteArray> Cut(const QByteArray &body, const QByteArray &sizes)
{
    std::vector<QByteArray> pieces;
    int position = 0;
    for (const char byte : sizes) {
        const int size = static_cast<unsigned char>(byte);
        pieces.push_back(body.mid(position, size == 255 ? -1 : size));
        position += pieces.back().size();
    }
    if (position < body.size() || pieces.empty()) {
        pieces.push_back(body.mid(position));
    }
    return pieces;
}

Upload ReadUpload(const QByteArray &input, const QString &root)
{
    const int flags = input.isEmpty() ? 0 : input[0];
    const int count = input.size() < 2 ? 0 : static_cast<unsigned char>(input[1]);
    QByteArray body = input.mid(2 + count);
    body.replace('\1', root.toUtf8());
    return {(flags & 1) == 0,
            (flags & 2) == 0,
            (flags & filling) == filling && body.contains('\2'),
            (flags & 8) == 0,
            (flags & 16) != 0,
            (flags & 32) != 0,
            body,
            Cut(body, input.mid(2, count))};
}

// What the byte-wise reference finds, with the first line of the first piece as the boundary.
Parts ExpectedParts(const std::vector<QByteArray> &pieces)
{
    Parts parts;
    const int boundaryLength = pieces.front().indexOf('\r');
    if (boundaryLength <= 0) {
        return parts;
    }
    multipart_callbacks callbacks = {};
    callbacks.on_part_begin = AddPart;
    callbacks.on_part_data = AddBytes;
    callbacks.on_part_end = EndPart;
    ReferenceParser parser(pieces.front().left(boundaryLength).constData(), &callbacks);
    multipart_parser_set_data(parser.Handle(), &parts);
    for (const QByteArray &piece : pieces) {
        parser.Execute(piece.constData(), static_cast<size_t>(piece.size()));
    }
    return parts;
}

// The path that the metadata name, empty when they are not accepted.
QString ExpectedPath(const Upload &upload, const Parts &parts, const QString &root)
{
    if (parts.empty() || !parts[0].ended || !upload.freeSpace) {
        return QString();
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(parts[0].bytes, &error);
    const QString path = document.object().value("fileUri").toString();
    return error.error == QJsonParseError::NoError && path.startsWith(root) ? path : QString();
}

bool Run(Sandbox *sandbox, const Upload &upload)
{
    FakeHost &host = sandbox->host;
    host.log.Clear();
    host.errors.reports.clear();
    host.storage.available = upload.storageAvailable;
    host.storage.freeSpace = upload.freeSpace;
    for (size_t i = 1; i < upload.pieces.size(); ++i) {
        const bool isLast = i + 1 == upload.pieces.size();
        host.fakeRestServer.requestChunks.push_back(new DataChunk(upload.pieces[i], isLast));
    }
    DataChunk first(upload.pieces.front(), upload.pieces.size() == 1);
    return sandbox->processor.ProcessFileUploadRequest(&first);
}

void DropQueue(SharedQueue<DataChunk *> *queue)
{
    while (queue->size() > 0) {
        delete queue->front();
        queue->pop_front();
    }
}

size_t CountCalls(const CallLog &log, const std::string &name)
{
    size_t count = 0;
    for (const std::string &call : log.Calls()) {
        count += call.compare(0, name.size(), name) == 0 ? 1 : 0;
    }
    return count;
}

void CheckBracket(FakeHost *host, const Upload &upload)
{
    const size_t entered = upload.storageAvailable ? 1 : 0;
    Require(CountCalls(host->log, "StorageModel.BeginStorageAccess") == entered, "begin of access");
    Require(CountCalls(host->log, "StorageModel.EndStorageAccess") == entered, "end of access");
}

void CheckCalls(FakeHost *host, const Upload &upload)
{
    CheckBracket(host, upload);
    const bool isRead = upload.storageAvailable && upload.pieces.front().indexOf('\r') > 0;
    SharedQueue<DataChunk *> &queue = host->fakeRestServer.requestChunks;
    Require(queue.size() == (isRead ? 0 : static_cast<int>(upload.pieces.size() - 1)),
            "all pieces of an upload are taken, and none of one that was refused");
    DropQueue(&queue);
}

QByteArray Content(const QString &path)
{
    QFile file(path);
    Require(file.open(QIODevice::ReadOnly), "the file is there after a success");
    return file.readAll();
}

void CheckFile(const QString &path, const Parts &parts, bool result)
{
    const bool wanted = !path.isEmpty() && parts.size() > 1 && parts[1].ended;
    Require(wanted || !result, "only a file that was received to its end is a success");
    Require(wanted == result || !QFile::exists(path), "a file is there only after a success");
    if (result && parts.back().ended) {
        Require(Content(path) == parts.back().bytes, "the file holds the last part");
    }
}

// The file that classic serving stored, which is removed; null when there is none.
QByteArray TakeClassically(Sandbox *sandbox, const Upload &upload, const Parts &parts)
{
    const bool result = Run(sandbox, upload);
    CheckCalls(&sandbox->host, upload);
    const QString path = ExpectedPath(upload, parts, sandbox->Root());
    CheckFile(path, parts, result);
    const QByteArray stored = result ? Content(path) : QByteArray();
    sandbox->RemoveFiles();
    return stored;
}

void LeaveOldFile(const QString &path)
{
    QFile file(path);
    if (!path.isEmpty() && file.open(QIODevice::WriteOnly)) {
        file.write(oldContent);
    }
}

// The file that prompt serving stored, which is removed; null when there is none. `path` is where
// an old file may be.
QByteArray TakePromptly(Sandbox *sandbox, const Upload &upload, const QString &path)
{
    if (upload.replaces) {
        LeaveOldFile(path);
    }
    const QStringList before = sandbox->Files();
    sandbox->host.log.Clear();
    const bool result = sandbox->prompt.Take({upload.body, upload.announced, upload.broken});
    CheckBracket(&sandbox->host, upload);
    const QStringList after = sandbox->Files();
    Require(result || after == before, "nothing is left behind by a failure");
    Require(!result || after.size() == 1, "nothing but the file is left behind");
    const QByteArray stored =
        after.isEmpty() ? QByteArray() : Content(sandbox->Path(after.first()));
    sandbox->RemoveFiles();
    Require(result || before.isEmpty() || stored == oldContent, "the old file stays");
    return result ? stored : QByteArray();
}

// What prompt serving stores is what the reference finds in the body as one piece, and what classic
// serving stored. That stores a file that cannot be named under what is left of its name.
void CheckPromptly(Sandbox *sandbox, const Upload &upload, const QByteArray &classic)
{
    const Parts parts = ExpectedParts({upload.body});
    const QString path = ExpectedPath(upload, parts, sandbox->Root());
    const bool wanted = upload.storageAvailable && !upload.broken && !path.isEmpty() &&
                        ReplacingFile::CanBeNamed(path) && parts.size() > 1 && parts[1].ended &&
                        parts.size() <= mostPromptParts;
    const QByteArray stored = TakePromptly(sandbox, upload, path);
    Require(wanted || stored.isNull(), "only a whole file in a whole body is a success");
    Require(!wanted || classic.isNull() || !stored.isNull(),
            "what classic serving stores is stored");
    if (!stored.isNull() && parts.back().ended) {
        Require(stored == parts.back().bytes, "the file holds the last part");
        Require(classic.isNull() || stored == classic, "both ways of serving store the same");
    }
}

// The upload with its filling, which ends so that a border of pieces lies within what follows it.
Upload Filled(const Upload &upload)
{
    const int first = static_cast<int>(BodyMemory::largestBody);
    const int place = upload.body.indexOf('\2');
    const QByteArray rest = upload.body.mid(place + 1);
    Upload filled = upload;
    filled.body = upload.body.left(place);
    filled.body.append(QByteArray(std::max(first - place - rest.size() / 2, 0), 'x'));
    filled.body.append(rest);
    filled.pieces = {filled.body}; // in two, a parser that gave up would begin again
    return filled;
}

// The reference would take too long for these.
void CheckFilled(Sandbox *sandbox, const Upload &upload)
{
    QByteArray classic;
    if (Run(sandbox, upload)) {
        classic = Content(sandbox->Path(sandbox->Files().value(0)));
    }
    sandbox->RemoveFiles();
    DropQueue(&sandbox->host.fakeRestServer.requestChunks);
    const QByteArray stored = TakePromptly(sandbox, upload, QString());
    Require(stored.isNull() || (!upload.broken && stored == classic),
            "both ways of serving store the same");
}

bool SpendSurplusParts(size_t parts)
{
    static size_t spent = 0;
    spent += parts > 2 ? parts - 2 : 0;
    return parts <= 2 || spent <= mostSurplusParts;
}

} // namespace

extern "C" const char *__lsan_default_suppressions();

extern "C" const char *__lsan_default_suppressions()
{
    return "leak:RestServerFileCallbackHandler::OpenFile\n"; // see mostSurplusParts
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    SilenceLog();
    static Sandbox sandbox;
    const Upload upload = ReadUpload(
        QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)), sandbox.Root());
    const Parts parts = upload.storageAvailable ? ExpectedParts(upload.pieces) : Parts();
    if (!SpendSurplusParts(parts.size())) {
        return 0;
    }
    const QByteArray classic = TakeClassically(&sandbox, upload, parts);
    CheckPromptly(&sandbox, upload, classic);
    if (upload.filled) {
        CheckFilled(&sandbox, Filled(upload));
    }
    return 0;
}
