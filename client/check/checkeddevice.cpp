#include "checkeddevice.h"

#include <QJsonDocument>
#include <QThread>
#include <algorithm>

#include "assertion.h"
#include "clienterror.h"
#include "deviceconnection.h"
#include "devicepaths.h"
#include "multipartform.h"
#include "routes.h"

namespace {

QString ShortBody(const QByteArray &bytes)
{
    constexpr int longest = 600;
    QString text = QString::fromUtf8(bytes.left(longest));
    for (QChar &character : text) {
        if (character.category() == QChar::Other_Control && character != '\n') {
            character = character == '\r' ? ' ' : '.';
        }
    }
    return bytes.size() > longest ? QString("%1 ... (%2 bytes)").arg(text).arg(bytes.size()) : text;
}

QString RootOf(const QJsonArray &listing)
{
    try {
        return DevicePaths(FileRecord::FromListing(listing)).Root();
    } catch (const ClientError &) {
        return {};
    }
}

template <typename Element, typename Source>
QVector<Element> Spread(const Source &all, int most)
{
    QVector<Element> some;
    const int count = std::min(most, all.size());
    for (int index = 0; index < count; ++index) {
        // The first and the last one are among them.
        const int position = count == 1 ? 0 : index * (all.size() - 1) / (count - 1);
        some.append(all.at(position).toObject());
    }
    return some;
}

} // namespace

CheckedDevice::CheckedDevice(HttpExchange::Target deviceTarget, QString userFiles)
    : target(std::move(deviceTarget))
    , folder(std::move(userFiles))
{}

HttpAnswer CheckedDevice::Get(const QByteArray &route)
{
    return Ask({"GET", route, {}});
}

HttpAnswer CheckedDevice::Put(const QByteArray &route, const QByteArray &body)
{
    return Ask({"PUT", route, body});
}

HttpAnswer CheckedDevice::Post(const QByteArray &route, const QByteArray &body)
{
    return Ask({"POST", route, body});
}

HttpAnswer CheckedDevice::Delete(const QByteArray &route)
{
    return Ask({"DELETE", route, {}});
}

HttpAnswer CheckedDevice::Ask(const HttpRequest &request)
{
    constexpr int attempts = 3;
    constexpr unsigned long pauseMs = 500;
    HttpAnswer answer = AskOnce(request);
    // Others may use the device, which then asks for patience.
    for (int attempt = 1; attempt < attempts && answer.status == statusBusy; ++attempt) {
        QThread::msleep(pauseMs);
        answer = AskOnce(request);
    }
    Require(answer.problem.isEmpty(),
            QString("%1 %2: %3").arg(request.method, request.route, answer.problem));
    HoldAgainstDescription(request, answer);
    return answer;
}

HttpAnswer CheckedDevice::AskOnce(const HttpRequest &request)
{
    HttpExchange exchange(target);
    HttpAnswer answer;
    if (exchange.Connect()) {
        exchange.Send(exchange.Text(request));
        answer = exchange.Receive(request.method);
    } else {
        answer.problem = QStringLiteral("no connection");
    }
    Log(request, answer);
    return answer;
}

HttpAnswer CheckedDevice::Upload(const QString &path, const QByteArray &content,
                                 const QByteArray &route)
{
    RequireStorage();
    ownFiles.insert(path);
    return UploadForm(route, MultipartForm::OfFile(path, content));
}

HttpAnswer CheckedDevice::UploadForm(const QByteArray &route, const QByteArray &body)
{
    return Ask({"POST", route, body, MultipartForm::ContentType()});
}

HttpAnswer CheckedDevice::Activate(const QString &id)
{
    activeChanged = true;
    const QJsonObject wanted{{"activeWorkOrderId", id}};
    return Put(Routes::active, QJsonDocument(wanted).toJson(QJsonDocument::Compact));
}

const HttpExchange::Target &CheckedDevice::Target() const
{
    return target;
}

void CheckedDevice::Log(const HttpRequest &request, const HttpAnswer &answer)
{
    constexpr int longest = 40;
    LoggedExchange exchange;
    exchange.sent = QString("%1 %2").arg(request.method, request.route);
    if (!request.body.isEmpty()) {
        exchange.sent += "\n\n" + ShortBody(request.body);
    }
    exchange.came = answer.problem.isEmpty() ? QString() : answer.problem + "\n";
    exchange.came += QString("status %1, %2, %3 ms")
                         .arg(answer.status)
                         .arg(QString(answer.Header("content-type")))
                         .arg(answer.milliseconds);
    if (!answer.body.isEmpty()) {
        exchange.came += "\n\n" + ShortBody(answer.body);
    }
    exchanges.append(exchange);
    if (exchanges.size() > longest) {
        exchanges.removeFirst();
    }
}

void CheckedDevice::BeginAssertion()
{
    exchanges.clear();
    remark.clear();
}

const QVector<LoggedExchange> &CheckedDevice::Exchanges() const
{
    return exchanges;
}

void CheckedDevice::Note(const QString &text)
{
    remark = text;
}

QString CheckedDevice::Remark() const
{
    return remark;
}

DeviceState CheckedDevice::ReadState()
{
    DeviceState state;
    state.info = ObjectAt(Routes::info);
    state.files = ObjectAt(Routes::userFiles).value("files").toArray();
    state.pendingFiles = ObjectAt(Routes::allPendingFiles).value("array").toArray();
    state.workOrders = ObjectAt(Routes::workOrderList).value("workOrderInfo").toArray();
    state.templates = ObjectAt(Routes::templates).value("templates").toArray();
    state.active = ObjectAt(Routes::active).value("activeWorkOrderId").toString();
    return state;
}

void CheckedDevice::RememberState()
{
    before = ReadState();
    if (folder.isEmpty()) {
        folder = RootOf(before.files);
    }
}

const DeviceState &CheckedDevice::Before() const
{
    return before;
}

void CheckedDevice::ProbeStorage(bool mayWrite)
{
    constexpr int looked = 10;
    constexpr double largest = 20e6;
    const bool byUpload = before.files.isEmpty() && mayWrite && !folder.isEmpty();
    try {
        if (byUpload) {
            storageIsAway = Upload(NewFile("probe"), "probe").body.contains("Upload failed");
            return;
        }
        // One that comes is enough.
        bool comes = false;
        for (const QJsonObject &file : SomeFiles(looked)) {
            if (!comes && file.value("size").toDouble() <= largest) {
                const QString path = file.value("path").toString();
                const HttpAnswer answer = Get(DeviceConnection::Route(Routes::userFiles, path));
                comes = !answer.body.contains("File read failure");
                storageIsAway = !comes;
            }
        }
    } catch (const Finding &) {
        // An assertion of its own finds it.
    }
}

bool CheckedDevice::StorageIsAway() const
{
    return storageIsAway;
}

void CheckedDevice::RequireStorage() const
{
    if (storageIsAway) {
        NotTested("no file can be moved: see storage.available");
    }
}

QString CheckedDevice::Folder() const
{
    if (folder.isEmpty()) {
        NotTested("the device lists no file, so nothing tells where its user files lie: put one "
                  "there first, or give --folder");
    }
    return folder;
}

QString CheckedDevice::NewFile(const QString &name)
{
    QString path = Folder() + "/parlowen-check-" + name;
    ownFiles.insert(path);
    return path;
}

QVector<QJsonObject> CheckedDevice::SomeFiles(int most) const
{
    if (before.files.isEmpty()) {
        NotTested("the device lists no file: put one there first");
    }
    return Spread<QJsonObject>(before.files, most);
}

QStringList CheckedDevice::SomeWorkOrders(int most) const
{
    if (before.workOrders.isEmpty()) {
        NotTested("the device has no work orders: store one first");
    }
    QStringList ids;
    for (const QJsonObject &workOrder : Spread<QJsonObject>(before.workOrders, most)) {
        ids.append(workOrder.value("workOrderId").toString());
    }
    return ids;
}

int CheckedDevice::Answers(const QString &operation) const
{
    return answers.value(operation);
}

QString CheckedDevice::DescriptionProblem(const QString &operation) const
{
    return problems.value(operation);
}

void CheckedDevice::PutBack()
{
    DeleteFiles();
    if (!activeChanged) {
        return;
    }
    if (before.active.isEmpty()) {
        LeavesBehind("The active work order: none was active before, and the interface cannot "
                     "take it away.");
    } else {
        Activate(before.active);
    }
}

void CheckedDevice::LeavesBehind(const QString &what)
{
    if (!leftBehind.contains(what)) {
        leftBehind.append(what);
    }
}

QStringList CheckedDevice::LeftBehind() const
{
    return leftBehind;
}

QJsonObject CheckedDevice::ObjectAt(const QByteArray &route)
{
    try {
        QString problem; // which an assertion of its own finds
        const QJsonDocument document = Get(route).Json(&problem);
        return document.isArray() ? QJsonObject{{"array", document.array()}} : document.object();
    } catch (const Finding &) {
        return {};
    }
}

void CheckedDevice::HoldAgainstDescription(const HttpRequest &request, const HttpAnswer &answer)
{
    const QString operation = description.Operation(request);
    if (operation.isEmpty()) {
        return;
    }
    ++answers[operation];
    const QString problem = description.Problem(operation, answer);
    if (!problem.isEmpty() && !problems.contains(operation)) {
        problems.insert(operation,
                        QString("%1 %2: %3").arg(request.method, request.route, problem));
    }
}

void CheckedDevice::DeleteFiles()
{
    for (const QString &path : qAsConst(ownFiles)) {
        try {
            Delete(DeviceConnection::Route(Routes::userFiles, path));
        } catch (const Finding &) {
            LeavesBehind(path);
        }
    }
    const QJsonArray files = ObjectAt(Routes::userFiles).value("files").toArray();
    for (const QJsonValue &file : files) {
        const QString path = file.toObject().value("path").toString();
        if (ownFiles.contains(path)) {
            LeavesBehind(path);
        }
    }
}
