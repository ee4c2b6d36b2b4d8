#include "promptupload.h"

#include <QDebug>
#include <algorithm>

#include "jsonsyntax.h"
#include "observation.h"

namespace {

constexpr qint64 longestFirstPart = qint64(1024) * 1024;
constexpr int mostParts = 64;
constexpr qint64 roomStep = qint64(8) * 1024 * 1024; // how often the host is asked for room
constexpr int stopParsing = 1;

} // namespace

ForwardedHost::ForwardedHost(std::shared_ptr<ModelCalls> modelCalls,
                             std::shared_ptr<PromptHost> promptHost)
    : calls(std::move(modelCalls))
    , host(std::move(promptHost))
    , entered(std::make_shared<bool>(false))
{}

// The answer is kept by the call, which may end when nobody waits for it any more.
template <typename Answer>
Answer ForwardedHost::Ask(std::function<Answer(PromptHost *)> question, Answer refusal,
                          ModelCalls::Condition mayBegin)
{
    if (outcome != ModelCalls::Done) {
        return refusal;
    }
    auto answer = std::make_shared<Answer>();
    outcome = calls->Wait(calls->Post(
        [answer, kept = host, asked = std::move(question)] { *answer = asked(kept.get()); },
        std::move(mayBegin)));
    return outcome == ModelCalls::Done ? *answer : refusal;
}

bool ForwardedHost::Enter()
{
    using Clock = std::chrono::steady_clock;
    const auto begun = Clock::now();
    return Ask<bool>(
        [noted = entered](PromptHost *model) {
            // The host may stop the server while it is asked.
            *noted = model->Storage().IsStorageAvailable() && !model->Storage().Ended();
            if (*noted) {
                model->Storage().BeginStorageAccess();
            }
            return *noted;
        },
        false,
        [kept = host, begun] { return kept->Storage().TakesTransfers(Clock::now() - begun); });
}

// Posted behind a call of `Enter` that may still run, so that the bracket closes in any case.
void ForwardedHost::Leave()
{
    calls->WaitWithoutWithdrawing(calls->Post([noted = entered, kept = host] {
        if (std::exchange(*noted, false)) {
            kept->Storage().EndStorageAccess();
        }
    }));
}

// Only the text of the path crosses threads: a QDir fills in what it finds out when it is asked.
QDir ForwardedHost::Directory(int key)
{
    return QDir(Ask<QString>(
        [key](PromptHost *model) { return model->StorageModel()->Directory(key).absolutePath(); },
        QString()));
}

UploadMetadata ForwardedHost::Read(std::function<UploadMetadata()> metadata)
{
    UploadMetadata unread;
    unread.problem = QStringLiteral("they could not be read in time");
    return Ask<UploadMetadata>([read = std::move(metadata)](PromptHost *) { return read(); },
                               unread);
}

bool ForwardedHost::IsStorageAvailable()
{
    return Ask<bool>([](PromptHost *model) { return model->Storage().IsStorageAvailable(); },
                     false);
}

void ForwardedHost::BeginStorageAccess()
{
    Enter();
}

void ForwardedHost::EndStorageAccess()
{
    Leave();
}

bool ForwardedHost::HasFreeSpace(qint64 bytes)
{
    return Ask<bool>([bytes](PromptHost *model) { return model->Storage().HasFreeSpace(bytes); },
                     false);
}

void ForwardedHost::ReportError(QString message, const char *sourceFile, int line)
{
    notes.append(message);
    Ask<bool>(
        [message, sourceFile, line](PromptHost *model) {
            model->ErrorReporter()->ReportError(message, sourceFile, line);
            return true;
        },
        false);
}

PromptUploadHandler::PromptUploadHandler(ForwardedHost *forwardedHost,
                                         ReplacingFile::RoomForMore roomForMore,
                                         QStringList *noteReasons)
    : host(forwardedHost)
    , room(std::move(roomForMore))
    , reasons(noteReasons)
{}

PromptUploadHandler::~PromptUploadHandler()
{
    Reset(); // releases the file, and with it what was not committed
}

void PromptUploadHandler::BeginPiece(const QByteArray &piece)
{
    pieces.begin = piece.constData();
    pieces.end = piece.constData() + piece.size();
}

bool PromptUploadHandler::Writes() const
{
    return file == nullptr || file->Failure().isEmpty();
}

bool PromptUploadHandler::Commit()
{
    if (file == nullptr) {
        return false;
    }
    const bool stored = file->Commit();
    if (!stored) {
        Refused(file->Failure());
    }
    return stored;
}

// A further part starts the file anew, and the part before it is dropped.
IUploadFile *PromptUploadHandler::NewFile(const QString &path)
{
    delete file;
    file = new ReplacingFile(path, &pieces, room);
    return file;
}

UploadMetadata PromptUploadHandler::ReadMetadata(const QByteArray &json)
{
    if (RepeatsKeyOfJson(json)) {
        UploadMetadata unread;
        unread.problem = QStringLiteral("an object has a key twice");
        return unread;
    }
    return host->Read([json] { return ParseMetadata(json); });
}

void PromptUploadHandler::Refused(const QString &reason)
{
    reasons->append(reason);
}

PromptFileProcessor::PromptFileProcessor(ForwardedHost *forwardedHost, RequestBody *requestBody,
                                         TransferReport *transferReport, QStringList *noteReasons)
    : host(forwardedHost)
    , body(requestBody)
    , report(transferReport)
    , reasons(noteReasons)
{
    KeepModel(forwardedHost);
}

bool PromptFileProcessor::ProcessFileUploadRequest(DataChunk *firstChunk)
{
    bool stored = false;
    if (host->Enter()) {
        stored = Store(*firstChunk);
    } else {
        reasons->append(QStringLiteral("the storage is not available"));
    }
    host->Leave();
    body->DropRest();
    return stored;
}

bool PromptFileProcessor::Store(const DataChunk &firstChunk)
{
    PromptUploadHandler handler(
        host, [this](qint64 bytes) { return RoomForMore(bytes); }, reasons);
    handler.Construct(host);
    const bool parsed = Parse(firstChunk, &handler);
    if (!handler.Writes()) {
        handler.Commit(); // notes why
        return false;
    }
    if (!parsed || !handler.GetFinalResult()) {
        if (reasons->isEmpty()) {
            reasons->append(QStringLiteral("the body has no second part that ends"));
        }
        return false;
    }
    body->DropRest();
    if (!body->Whole()) {
        reasons->append(QStringLiteral("the body broke off"));
        return false;
    }
    return host->Outcome() == ModelCalls::Done && handler.Commit();
}

bool PromptFileProcessor::Parse(const DataChunk &firstChunk, PromptUploadHandler *handler)
{
    const int boundaryLength = FindBoundaryLength(&firstChunk.Data());
    if (boundaryLength == 0) {
        qDebug() << "zero boundary length";
        reasons->append(QStringLiteral("the body is not a multipart form"));
        return false;
    }
    multipart_callbacks callbacks;
    callbacks.on_header_name = TakeUnusedBytes;
    callbacks.on_header_value = TakeUnusedBytes;
    callbacks.on_part_data = TakePartData;
    callbacks.on_part_begin = TakePartBegin;
    callbacks.on_headers_done = TakeNotice;
    callbacks.on_part_end = TakePartEnd;
    callbacks.on_body_end = TakeNotice;
    const QByteArray boundary(firstChunk.Data().constData(), boundaryLength);
    const std::unique_ptr<multipart_parser, decltype(&multipart_parser_free)> parser(
        multipart_parser_init(boundary.constData(), &callbacks), &multipart_parser_free);
    Parts parts{handler, 0, 0, reasons};
    multipart_parser_set_data(parser.get(), &parts);

    bool going = TakePiece(parser.get(), handler, firstChunk.Data());
    QByteArray piece;
    while (going && body->ReadNext(&piece)) {
        going = TakePiece(parser.get(), handler, piece);
        report->Moved(body->Received());
    }
    return parts.begun <= mostParts && parts.firstPartLength <= longestFirstPart;
}

// A body that stops being a form is taken to its end all the same: what was stored before counts.
bool PromptFileProcessor::TakePiece(multipart_parser *parser, PromptUploadHandler *handler,
                                    const QByteArray &piece)
{
    handler->BeginPiece(piece);
    const auto length = static_cast<size_t>(piece.size());
    const bool all = multipart_parser_execute(parser, piece.constData(), length) == length;
    handler->NotifyPieceEnd();
    return all && handler->Writes() && host->Outcome() == ModelCalls::Done;
}

// What is still to come of the body is asked for at once, so that an upload that just fits does not
// fail because of a step that is larger than its rest.
qint64 PromptFileProcessor::RoomForMore(qint64 bytes)
{
    qint64 wanted = bytes;
    if (body->Announced() >= 0) {
        const qint64 rest = body->Announced() - body->Received() + bytes;
        wanted = std::max(bytes, std::min(roomStep, rest));
    }
    return host->HasFreeSpace(wanted) ? wanted : 0;
}

int PromptFileProcessor::TakeUnusedBytes(multipart_parser *, const char *, unsigned int)
{
    return 0;
}

int PromptFileProcessor::TakePartData(multipart_parser *parser, const char *data,
                                      unsigned int length)
{
    auto *parts = static_cast<Parts *>(multipart_parser_get_data(parser));
    if (parts->begun == 1) {
        parts->firstPartLength += length;
        if (parts->firstPartLength > longestFirstPart) {
            parts->reasons->append(QStringLiteral("the first part is longer than 1 MiB"));
            return stopParsing;
        }
    }
    parts->handler->ProcessPartData(data, static_cast<int>(length));
    return 0;
}

int PromptFileProcessor::TakePartBegin(multipart_parser *parser)
{
    auto *parts = static_cast<Parts *>(multipart_parser_get_data(parser));
    if (++parts->begun > mostParts) {
        parts->reasons->append(QStringLiteral("the form has more than %1 parts").arg(mostParts));
        return stopParsing;
    }
    parts->handler->NotifyPartStart();
    return 0;
}

int PromptFileProcessor::TakePartEnd(multipart_parser *parser)
{
    static_cast<Parts *>(multipart_parser_get_data(parser))->handler->NotifyPartEnd();
    return 0;
}

int PromptFileProcessor::TakeNotice(multipart_parser *)
{
    return 0;
}
