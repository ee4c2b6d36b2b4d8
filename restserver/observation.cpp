#include "observation.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopedValueRollback>
#include <atomic>
#include <civetweb.h>

#include "processsockets.h"

namespace {

constexpr size_t mostNotes = 10000;
constexpr int longestAnswer = 4096;
constexpr std::chrono::milliseconds reportInterval(250);

// A line of a log must stay one line, and show what a terminal would otherwise act on.
QByteArray Escaped(const char *text)
{
    QByteArray escaped;
    for (; text != nullptr && *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte < 0x20 || byte == 0x7f) {
            escaped += "\\x" + QByteArray(1, *text).toHex();
        } else {
            escaped += *text;
        }
    }
    return escaped;
}

} // namespace

Observation::Observation(IRequestObserver *requestObserver, std::shared_ptr<ModelCalls> modelCalls)
    : observer(requestObserver)
    , calls(std::move(modelCalls))
{}

void Observation::Served(const RequestRecord &record)
{
    Add({false, record, TransferProgress()});
}

void Observation::Moved(const TransferProgress &progress)
{
    Add({true, RequestRecord(), progress});
}

void Observation::Add(Note note)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (notes.size() >= mostNotes) {
        lost += note.isProgress ? 0 : 1;
        return;
    }
    notes.push_back(std::move(note));
    if (!delivering) {
        delivering = true;
        calls->Post([self = shared_from_this()] { self->Deliver(); });
    }
}

void Observation::Deliver()
{
    std::deque<Note> delivered;
    qint64 missing = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        delivered.swap(notes);
        std::swap(missing, lost);
        delivering = false;
    }
    if (missing > 0) {
        qWarning("%lld requests were served that the observer was not told of", missing);
    }
    const QScopedValueRollback<bool> inObserver(telling, true);
    for (const Note &note : delivered) {
        if (observer == nullptr) {
            return; // it stopped the server
        }
        if (note.isProgress) {
            observer->TransferMoved(note.progress);
        } else {
            observer->RequestServed(note.record);
        }
    }
}

// A client that has its answer may end the server before the thread that answered made its note.
void Observation::TellRest()
{
    if (!telling) {
        Deliver();
    }
    Stop();
}

void Observation::Stop()
{
    observer = nullptr;
}

TransferReport::TransferReport(Observation *owner, const RequestRecord &record, bool upload,
                               qint64 total)
    : observation(owner)
    , nextReport(std::chrono::steady_clock::now() + reportInterval)
{
    static std::atomic<quint64> transfers{0};
    progress.id = ++transfers;
    progress.client = record.client;
    progress.uri = record.uri;
    progress.upload = upload;
    progress.total = total;
}

void TransferReport::Moved(qint64 bytes)
{
    if (observation == nullptr) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now >= nextReport) {
        nextReport = now + reportInterval;
        progress.moved = bytes;
        observation->Moved(progress);
    }
}

RequestRecord BeginRecord(const mg_request_info &information)
{
    RequestRecord record;
    record.time = QDateTime::currentDateTimeUtc();
    record.client = PeerName(information.remote_addr, information.remote_port);
    record.method = Escaped(information.request_method);
    record.uri = Escaped(information.request_uri);
    return record;
}

void NoteAnswer(const RestServerResponseObject &response, RequestRecord *record)
{
    const QByteArray &body = response.ResponseDataChunk()->Data();
    if (body.isEmpty()) {
        NoteError(response.ResponseCode(), response.ErrorString().toUtf8(), record);
        return;
    }
    record->status = 200;
    const bool isJson = qstrncmp(response.HeaderMimeType(), "application/json", 16) == 0;
    if (isJson) {
        record->answer = body.left(longestAnswer);
    }
    if (response.ResponseCode() >= 400) {
        const QJsonObject object = QJsonDocument::fromJson(body).object();
        record->error = object.value(QStringLiteral("errorMessage")).toString();
    }
    // A few refusals show the client no words.
    if (response.ResponseCode() >= 400 && record->error.isEmpty()) {
        record->error = response.ErrorString();
    }
}

void NoteError(int status, const QByteArray &text, RequestRecord *record)
{
    record->status = status;
    record->answer = text.left(longestAnswer);
    if (status >= 400) {
        record->error = QString::fromUtf8(text);
    }
}

void EndRecord(std::chrono::steady_clock::time_point begun, RequestRecord *record)
{
    using std::chrono::microseconds;
    record->microseconds =
        std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - begun).count();
}
