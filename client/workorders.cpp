#include "workorders.h"

#include "clienterror.h"
#include "routes.h"

namespace {

QJsonObject WithoutImage(QJsonObject test)
{
    QJsonObject results = test.value("results").toObject();
    if (!results.contains("data")) {
        return test;
    }
    QJsonObject data = results.value("data").toObject();
    data.remove("imageData");
    results.insert("data", data);
    test.insert("results", results);
    return test;
}

// What the device makes of a document before it sends it.
QJsonObject AsSent(QJsonObject document)
{
    QJsonArray tests = document.value("tests").toArray();
    for (int i = 0; i < tests.size(); ++i) {
        if (tests[i].isObject()) {
            tests[i] = WithoutImage(tests[i].toObject());
        }
    }
    document.insert("tests", tests);
    return document;
}

void RequireId(const QString &id)
{
    if (id.isEmpty()) {
        throw ClientError(ExitStatus::Usage, QStringLiteral("ID: a work order's id is not empty"));
    }
}

} // namespace

WorkOrders::WorkOrders(DeviceConnection &deviceConnection)
    : connection(deviceConnection)
{}

QJsonObject WorkOrders::Get(const QString &id)
{
    RequireId(id);
    const QByteArray route = Routes::workOrder + QUrl::toPercentEncoding(id);
    QJsonObject answer = connection.Get(route).object();
    const QJsonValue document = answer.value("cdm");
    if (!document.isObject()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no work order"));
    }
    const QString answered = IdOf(document.toObject());
    if (answered != id) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QString("the device was asked for the work order \"%1\" and answers "
                                  "with \"%2\": the request was corrupted on its way")
                              .arg(id, answered));
    }
    return answer;
}

QString WorkOrders::Active()
{
    const QJsonValue id = connection.Get(Routes::active).object().value("activeWorkOrderId");
    if (!id.isString()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer does not tell the active work order"));
    }
    return id.toString();
}

QHash<QString, QString> WorkOrders::Times()
{
    const QJsonValue orders = connection.Get(Routes::workOrderList).object().value("workOrderInfo");
    if (!orders.isArray()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no list of work orders"));
    }
    QHash<QString, QString> times;
    const QJsonArray array = orders.toArray();
    for (const QJsonValue &order : array) {
        times.insert(order.toObject().value("workOrderId").toString(),
                     order.toObject().value("modifiedTime").toString());
    }
    return times;
}

void WorkOrders::SetActive(const QString &id)
{
    RequireId(id);
    const QJsonDocument body(QJsonObject{{"activeWorkOrderId", id}});
    connection.Put(Routes::active, body.toJson(QJsonDocument::Compact));
    const QString now = Active();
    if (now != id) {
        throw ClientError(
            ExitStatus::TransferCorrupt,
            QString("the active work order is \"%1\" after setting \"%2\"").arg(now, id));
    }
}

void WorkOrders::Store(const QJsonArray &documents)
{
    connection.PostForEmptyAnswer(Routes::workOrders, Body(documents));
}

bool WorkOrders::Has(const QString &id, const QJsonObject &document)
{
    return Get(id).value("cdm").toObject() == AsSent(document);
}

QString WorkOrders::IdOf(const QJsonObject &document)
{
    return document.value("workOrderId").toString();
}

QByteArray WorkOrders::Body(const QJsonArray &documents)
{
    return QJsonDocument(QJsonObject{{"cdm", documents}}).toJson(QJsonDocument::Compact);
}
