#include "lineconnection.h"

#include <QLocale>
#include <algorithm>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <utility>

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr auto longestStall = seconds(300);
constexpr auto longestLinger = seconds(10);
constexpr auto longestFlush = seconds(1);
constexpr auto flushInterval = milliseconds(5);

constexpr char busyReason[] = "Request timed out waiting on other requests";
constexpr char http500Reason[] = "the device failed on purpose";
constexpr char lateReason[] = "{\"errorString\":\"internal timeout\"}";

// On the wire as the server itself writes its errors.
QByteArray ErrorMessage(int status, const QByteArray &reason)
{
    const QByteArray code = QByteArray::number(status);
    const QByteArray title = status == 408 ? "Request Time-out" : "Internal Server Error";
    const QString date = QLocale::c().toString(QDateTime::currentDateTimeUtc(),
                                               QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));
    return "HTTP/1.1 " + code + ' ' + title +
           "\r\nCache-Control: no-cache, no-store, must-revalidate, private, max-age=0\r\n"
           "Expires: 0\r\nPragma: no-cache\r\nContent-Type: text/plain; charset=utf-8\r\n"
           "Date: " +
           date.toLatin1() + "\r\nConnection: close\r\n\r\nError " + code + ": " + title + '\n' +
           reason;
}

int UnconfirmedBytes(int socket)
{
    int count = 0;
    return ioctl(socket, SIOCOUTQ, &count) == 0 ? count : 0;
}

void ResetAtClose(int socket)
{
    const linger noLinger{1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &noLinger, sizeof noLinger);
}

// Where the first byte of the content is; -1 when it is not there yet.
int FirstContentByte(const QByteArray &waiting, int head)
{
    const bool isChunked = waiting.left(head).toLower().contains("transfer-encoding: chunked");
    const int lineEnd = isChunked ? waiting.indexOf("\r\n", head) : -1;
    const int first = isChunked && lineEnd >= 0 ? lineEnd + 2 : head;
    const bool isThere = first < waiting.size() && (!isChunked || lineEnd >= 0);
    return isThere ? first : -1;
}

// Errors of the device come as documents with status 200.
bool HoldsContent(const QByteArray &waiting, int head)
{
    constexpr int enough = 40;
    return waiting.startsWith("HTTP/1.1 200 ") &&
           !waiting.mid(head, enough).contains("\"errorMessage\"");
}

} // namespace

LineConnection::LineConnection(Ends connectionEnds, FaultPlan &faultPlan, LineJournal &lineJournal,
                               const Gate &requestGate)
    : ends(std::move(connectionEnds))
    , faults(faultPlan)
    , journal(lineJournal)
    , gate(requestGate)
    , up(ends.client.Number(), ends.server.Number())
    , down(ends.server.Number(), ends.client.Number())
{
    journal.Begin(ends.portTowardsServer, ends.clientName);
}

LineConnection::~LineConnection()
{
    EndRequest();
}

LineConnection::Wishes LineConnection::Wanted(Time now) const
{
    Wishes wishes;
    const bool moves = state != State::Stalls && state != State::Breaks;
    if (!moves) {
        wishes.ofClient = state == State::Stalls ? POLLRDHUP : short{0};
        wishes.due = state == State::Stalls ? deadline : nextLook;
        return wishes;
    }
    const bool begun = state != State::AwaitsRequest;
    const auto wish = [](bool reads, bool writes) {
        return static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
    };
    wishes.ofClient = wish(up.WantsBytes(), PassesAnswer() && down.CanSend(now));
    wishes.ofServer = wish(down.WantsBytes(), begun && up.CanSend(now));
    if (state == State::AwaitsLateAnswer || state == State::Lingers) {
        wishes.due = deadline;
    }
    for (const std::optional<Time> due : {up.Due(now), down.Due(now)}) {
        if (due && (!wishes.due || *due < *wishes.due)) {
            wishes.due = due;
        }
    }
    return wishes;
}

void LineConnection::Turn(Time now, short clientEvents)
{
    if (state == State::Stalls || state == State::Breaks) {
        return Wait(now, clientEvents);
    }
    up.Receive();
    down.Receive();
    if (state == State::AwaitsRequest && up.HasHead()) {
        BeginRequest(now);
    }
    if (state == State::Ended) {
        return;
    }
    if (state != State::AwaitsRequest) {
        LookAtAnswer(now);
        Move(now);
        CheckLimits(now);
    }
    if (state == State::AwaitsLateAnswer && now >= deadline) {
        AnswerLate();
    }
    if (state != State::Stalls && state != State::Breaks) {
        CheckEnds(now);
    }
}

void LineConnection::BeginRequest(Time now)
{
    state = State::Passes;
    begin = QDateTime::currentDateTimeUtc();
    request = RequestHead::Parse(up.Waiting());
    if (!request.method.isEmpty() && gate && !gate()) {
        return End(true);
    }
    if (request.method.isEmpty() || AnswerItself()) {
        return;
    }
    faults.BeginRequest(request.path);
    isUnderWay = true;
    ArmFaults(now);
}

bool LineConnection::AnswerItself()
{
    const bool isBusy = faults.Bites(FaultKind::Busy, request.path);
    if (!isBusy && !faults.Bites(FaultKind::Http500, request.path)) {
        return false;
    }
    const int status = isBusy ? 408 : 500;
    const QByteArray reason = isBusy ? busyReason : http500Reason;
    up.Discard();
    down.Replace(ErrorMessage(status, reason));
    ends.server = FileDescriptor();
    RequestRecord record;
    record.time = begin;
    record.client = ends.clientName;
    record.method = request.method;
    record.uri = request.path;
    record.status = status;
    record.answer = reason;
    record.sent = reason.size();
    record.error = QString::fromLatin1(reason);
    record.reports << (isBusy ? QStringLiteral("fault busy") : QStringLiteral("fault http-500"));
    journal.AnsweredItself(ends.portTowardsServer, record);
    return true;
}

void LineConnection::ArmFaults(Time now)
{
    dropAfter = faults.Value(FaultKind::DropAfter, request.path);
    stallAfter = faults.Value(FaultKind::StallAfter, request.path);
    lateBy = faults.Value(FaultKind::LateAnswer, request.path);
    mayCorrupt =
        request.IsDownload() && faults.Value(FaultKind::CorruptDownload, request.path).has_value();
    SetLimits();
    const std::optional<qint64> rate = faults.Value(FaultKind::Throttle, request.path);
    if (rate && Bites(FaultKind::Throttle, QStringLiteral("fault throttle=%1").arg(*rate))) {
        up.SetPace(BytePace(*rate, now));
        down.SetPace(BytePace(*rate, now));
    }
}

void LineConnection::SetLimits()
{
    std::optional<qint64> limit = dropAfter;
    if (stallAfter && (!limit || *stallAfter < *limit)) {
        limit = stallAfter;
    }
    up.SetLimit(limit);
    down.SetLimit(limit);
}

bool LineConnection::Bites(FaultKind kind, const QString &description)
{
    const bool bites = faults.Bites(kind, request.path);
    if (bites) {
        journal.Note(ends.portTowardsServer, description);
    }
    return bites;
}

void LineConnection::LookAtAnswer(Time now)
{
    if (!down.HasHead() || down.IsEmpty()) {
        return;
    }
    if (lateBy && Bites(FaultKind::LateAnswer, QStringLiteral("fault late-answer"))) {
        journal.SetOutcome(ends.portTowardsServer, 500, QString::fromLatin1(lateReason));
        down.Discard();
        deadline = now + milliseconds(*lateBy);
        state = State::AwaitsLateAnswer;
    }
    lateBy.reset();
    if (mayCorrupt) {
        Corrupt();
    }
}

void LineConnection::Corrupt()
{
    QByteArray &waiting = down.Waiting();
    const int position = FirstContentByte(waiting, down.WaitingHead());
    if (position < 0) {
        return;
    }
    mayCorrupt = false;
    if (HoldsContent(waiting, position) &&
        Bites(FaultKind::CorruptDownload, QStringLiteral("fault corrupt-download"))) {
        waiting[position] = static_cast<char>(waiting.at(position) ^ 1);
    }
}

// The head waits for the byte that is to be wrong, which tells whether there is one.
bool LineConnection::PassesAnswer() const
{
    return !mayCorrupt || down.HasEnded();
}

void LineConnection::Move(Time now)
{
    up.Send(now);
    if (PassesAnswer()) {
        down.Send(now);
    }
    if (up.CannotSend()) {
        up.Discard();
    }
}

void LineConnection::CheckLimits(Time now)
{
    if (!up.IsAtLimit() && !down.IsAtLimit()) {
        return;
    }
    const qint64 limit = up.Limit().value_or(0);
    const bool drops = dropAfter && *dropAfter == limit;
    const QString name =
        (drops ? QStringLiteral("fault drop-after=%1") : QStringLiteral("fault stall-after=%1"))
            .arg(limit);
    if (Bites(drops ? FaultKind::DropAfter : FaultKind::StallAfter, name)) {
        const auto status = down.IsAtLimit() ? std::nullopt : std::optional<int>(0);
        journal.SetOutcome(ends.portTowardsServer, status,
                           drops ? QStringLiteral("the connection broke")
                                 : QStringLiteral("the connection stalled"));
        state = drops ? State::Breaks : State::Stalls;
        deadline = drops ? now + longestFlush : now + longestStall;
        nextLook = now;
        return;
    }
    // Another request was faster and has used it up.
    (drops ? dropAfter : stallAfter).reset();
    SetLimits();
}

void LineConnection::Wait(Time now, short clientEvents)
{
    const bool clientLeft = (clientEvents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
    const bool isFlushed = state == State::Breaks && UnconfirmedBytes(ends.client.Number()) == 0;
    nextLook = now + flushInterval;
    if (clientLeft || isFlushed || now >= deadline) {
        End(true);
    }
}

void LineConnection::AnswerLate()
{
    state = State::Passes;
    up.Discard();
    down.Replace(ErrorMessage(500, lateReason));
}

void LineConnection::CheckEnds(Time now)
{
    if (up.IsBroken() || down.CannotSend()) {
        return End(true);
    }
    if (up.HasEnded() && up.IsEmpty() && !serverTold && ends.server.IsOpen()) {
        serverTold = true;
        shutdown(ends.server.Number(), SHUT_WR);
    }
    if (state == State::Lingers && (up.HasEnded() || now >= deadline)) {
        return End(false);
    }
    const bool passes = state == State::Passes || state == State::AwaitsRequest;
    if (passes && down.HasEnded() && down.IsEmpty()) {
        if (down.IsBroken()) {
            return End(true);
        }
        Linger(now);
    }
}

void LineConnection::Linger(Time now)
{
    shutdown(ends.client.Number(), SHUT_WR);
    up.Discard();
    ends.server = FileDescriptor();
    EndRequest();
    state = State::Lingers;
    deadline = now + longestLinger;
}

void LineConnection::EndRequest()
{
    if (std::exchange(isOver, true)) {
        return;
    }
    if (isUnderWay) {
        faults.EndRequest(request.path);
    }
    journal.End(ends.portTowardsServer);
}

void LineConnection::End(bool abruptly)
{
    if (abruptly) {
        ResetAtClose(ends.client.Number());
    }
    ends.client = FileDescriptor();
    ends.server = FileDescriptor();
    EndRequest();
    state = State::Ended;
}
