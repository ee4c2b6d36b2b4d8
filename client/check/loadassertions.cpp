#include <QElapsedTimer>
#include <QThread>
#include <memory>
#include <vector>

#include "assertions.h"
#include "checkeddevice.h"
#include "checkinterruption.h"
#include "checkworkorders.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "filechecks.h"
#include "multipartform.h"
#include "routes.h"

namespace {

constexpr qint64 readerPauseMs = 12'000;
constexpr int clients = 10;

QString LoadId(int number)
{
    return QString("parlowen-check-load-%1").arg(number, 5, 10, QChar('0'));
}

void StoreMany(CheckedDevice &device, int first, int count)
{
    constexpr int inOneBatch = 500;
    device.LeavesBehind("The work orders parlowen-check-load-...: the interface deletes none.");
    for (int done = 0; done < count; done += inOneBatch) {
        QJsonArray batch;
        for (int index = done; index < qMin(count, done + inOneBatch); ++index) {
            batch.append(QJsonObject{{"workOrderId", LoadId(first + index)}, {"number", index}});
        }
        Expect::Done(CheckWorkOrders::Send(device, batch));
    }
}

QSet<QString> ListedIds(const HttpAnswer &answer)
{
    const QStringList ids =
        Members(Expect::Object(answer).value("workOrderInfo").toArray(), "workOrderId");
    Expect::Unique(ids, "work order");
    return QSet<QString>(ids.begin(), ids.end());
}

void RequireListed(const HttpAnswer &answer, int count)
{
    const QSet<QString> ids = ListedIds(answer);
    for (int number = 0; number < count; ++number) {
        Require(ids.contains(LoadId(number)), LoadId(number) + " is not listed");
    }
}

void KeepsThreeHundred(CheckedDevice &device)
{
    constexpr int count = 300;
    StoreMany(device, 0, count);
    RequireListed(device.Get(Routes::workOrderList), count);
    Expect::Object(device.Activate(LoadId(7)));
    StoreMany(device, 0, count);
    RequireListed(device.Get(Routes::workOrderList), count);
    for (int number = 0; number < count; ++number) {
        Require(CheckWorkOrders::Read(device, LoadId(number)).value("number") == number,
                LoadId(number) + " is not read as it was stored");
    }
    const QJsonObject active = Expect::Object(device.Get(Routes::active));
    Require(active.value("activeWorkOrderId") == LoadId(7), "another work order is active now");
}

void ListsInTime(CheckedDevice &device, int count)
{
    StoreMany(device, 0, count);
    const HttpAnswer answer = device.Get(Routes::workOrderList);
    RequireListed(answer, count);
    device.Note(QString("%1 ms").arg(answer.milliseconds));
    Expect::Prompt(answer, count);
}

using Exchanges = std::vector<std::unique_ptr<HttpExchange>>;

Exchanges SendAll(CheckedDevice &device, const QVector<HttpRequest> &requests)
{
    Exchanges exchanges;
    for (const HttpRequest &request : requests) {
        auto exchange = std::make_unique<HttpExchange>(device.Target());
        Require(exchange->Connect(), "no connection");
        exchange->Send(exchange->Text(request));
        exchanges.push_back(std::move(exchange));
    }
    return exchanges;
}

QVector<HttpAnswer> AskAll(CheckedDevice &device, const QVector<HttpRequest> &requests)
{
    const Exchanges exchanges = SendAll(device, requests);
    QVector<HttpAnswer> answers;
    for (int index = 0; index < requests.size(); ++index) {
        answers.append(
            exchanges.at(static_cast<size_t>(index))->Receive(requests.at(index).method));
        device.Log(requests.at(index), answers.last());
        Require(answers.last().problem.isEmpty(), answers.last().problem);
    }
    return answers;
}

void AnswersEachItsOwn(CheckedDevice &device)
{
    constexpr int rounds = 10;
    StoreMany(device, 0, clients);
    QVector<HttpRequest> requests;
    for (int number = 0; number < clients; ++number) {
        const QByteArray route = DeviceConnection::Route(Routes::workOrder, LoadId(number));
        requests.append({"GET", route, {}});
    }
    for (int round = 0; round < rounds; ++round) {
        const QVector<HttpAnswer> answers = AskAll(device, requests);
        for (int number = 0; number < clients; ++number) {
            const QJsonObject document = Expect::Object(answers.at(number)).value("cdm").toObject();
            Require(document.value("workOrderId") == LoadId(number),
                    QString("who asked for %1 got another answer").arg(LoadId(number)));
        }
    }
}

void StoresEachItsOwn(CheckedDevice &device)
{
    constexpr int size = 100'000;
    QVector<HttpRequest> requests;
    QStringList paths;
    for (int number = 0; number < clients; ++number) {
        paths.append(device.NewFile(QString("client-%1").arg(number)));
        const QByteArray content = Bytes(size, static_cast<quint32>(number));
        requests.append({"POST", Routes::userFiles, MultipartForm::OfFile(paths.last(), content),
                         MultipartForm::ContentType()});
    }
    const QVector<HttpAnswer> answers = AskAll(device, requests);
    for (int number = 0; number < clients; ++number) {
        Expect::Done(answers.at(number));
        FileChecks::RequireContent(device, paths.at(number),
                                   Bytes(size, static_cast<quint32>(number)));
    }
}

void Wait(qint64 milliseconds)
{
    constexpr unsigned long sliceMs = 100;
    QElapsedTimer timer;
    timer.start();
    while (!timer.hasExpired(milliseconds)) {
        CheckInterruption::ThrowIfRequested();
        QThread::msleep(sliceMs);
    }
}

void WaitsForReader(CheckedDevice &device)
{
    constexpr int large = 40'000'000;
    const QByteArray content = Bytes(large, 5);
    const QString path = FileChecks::Store(device, "paused", content);
    const HttpRequest request{"GET", DeviceConnection::Route(Routes::userFiles, path), {}};
    HttpExchange exchange(device.Target());
    Require(exchange.Connect(), "no connection");
    exchange.Send(exchange.Text(request));
    exchange.ReceiveSome(1000);
    Wait(readerPauseMs);
    const HttpAnswer answer = exchange.Receive(request.method);
    device.Log(request, answer);
    if (answer.problem.isEmpty()) {
        Require(answer.body == content, "the bytes are not those of the file");
    }
    device.Note(answer.problem.isEmpty() ? "the whole file came" : "the transfer was cut");
}

void SurvivesReader(CheckedDevice &device)
{
    constexpr int large = 40'000'000;
    const QString path = FileChecks::Store(device, "left", Bytes(large, 6));
    HttpExchange exchange(device.Target());
    Require(exchange.Connect(), "no connection");
    exchange.Send(exchange.Text({"GET", DeviceConnection::Route(Routes::userFiles, path), {}}));
    exchange.ReceiveSome(1000);
    Wait(readerPauseMs);
    exchange.Abort();
    Expect::Object(device.Get(Routes::info));
}

void SurvivesWriter(CheckedDevice &device)
{
    const HttpRequest request{"POST", Routes::technician, R"({"techId": "parlowen_check"})"};
    HttpExchange exchange(device.Target());
    Require(exchange.Connect(), "no connection");
    const QByteArray text = exchange.Text(request);
    exchange.Send(text.left(text.size() - 10));
    Wait(readerPauseMs);
    Expect::Object(device.Get(Routes::info));
}

} // namespace

AssertionGroup Assertions::OfLoad()
{
    const QString jobs = "IJobModel::Jobs, IWorkOrderStore::UpdateWorkOrders";
    const QString turns = "RestServerModel; http-api: One request at a time";
    const QString read = "IFileManagerModel::ReadFileChunk; http-api: Upload, fetch, confirm, "
                         "delete";
    return {
        "Load",
        "What only a simulator or a device on the test bench should bear",
        {
            {"load.300", "300 work orders are stored, listed, read, activated and stored again.",
             jobs, Effect::Loads, KeepsThreeHundred},
            {"load.list-1000", "A list with 1,000 work orders comes within a second.", jobs,
             Effect::Loads, With(ListsInTime, 1000)},
            {"load.list-5000", "A list with 5,000 work orders comes within a second.", jobs,
             Effect::Loads, With(ListsInTime, 5000)},
            {"load.clients.read", "Of 10 clients at once each reads its own work order.", turns,
             Effect::Loads, AnswersEachItsOwn},
            {"load.clients.store", "Of 10 clients at once each stores its own file.", turns,
             Effect::Loads, StoresEachItsOwn},
            {"load.reader-pauses",
             "A client that pauses for 12 s gets its whole file, or sees that it did not.", read,
             Effect::Loads, WaitsForReader},
            {"load.reader-leaves", "A client that pauses for 12 s and leaves stops nobody.", read,
             Effect::Loads, SurvivesReader},
            {"load.writer-pauses", "A body that stops half way for 12 s stops nobody.", turns,
             Effect::Loads, SurvivesWriter},
        },
    };
}
