#include "assertions.h"
#include "checkeddevice.h"
#include "checkworkorders.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "routes.h"

namespace {

constexpr int workOrdersLookedAt = 20;
constexpr char noBatch[] = "No cdm property present";
constexpr char refused[] = "Error in request handler";

QJsonObject Envelope(CheckedDevice &device, const QString &id)
{
    try {
        return Expect::Object(device.Get(DeviceConnection::Route(Routes::workOrder, id)));
    } catch (const Finding &finding) {
        Fail(QString("%1: %2").arg(id, finding.text));
    }
}

QJsonValue ImageOf(const QJsonValue &test)
{
    return test.toObject().value("results").toObject().value("data").toObject().value("imageData");
}

void ReadsListed(CheckedDevice &device)
{
    const QStringList ids = device.SomeWorkOrders(workOrdersLookedAt);
    for (const QString &id : ids) {
        Require(Envelope(device, id).value("cdmVersion") == "2.1", "\"cdmVersion\" is not \"2.1\"");
    }
    device.Note(QString("%1 work orders").arg(ids.size()));
}

void ReadsItsOwnId(CheckedDevice &device)
{
    for (const QString &id : device.SomeWorkOrders(workOrdersLookedAt)) {
        const QString read =
            Envelope(device, id).value("cdm").toObject().value("workOrderId").toString();
        Require(read == id, QString("%1 is read where %2 was asked for").arg(read, id));
    }
}

void ListedHaveNoImages(CheckedDevice &device)
{
    for (const QString &id : device.SomeWorkOrders(workOrdersLookedAt)) {
        const QJsonArray tests =
            Envelope(device, id).value("cdm").toObject().value("tests").toArray();
        for (const QJsonValue &test : tests) {
            Require(ImageOf(test).isUndefined(), id + " is sent with an image");
        }
    }
}

void ListedHaveTests(CheckedDevice &device)
{
    for (const QString &id : device.SomeWorkOrders(workOrdersLookedAt)) {
        Require(Envelope(device, id).value("cdm").toObject().value("tests").isArray(),
                id + " has no array \"tests\"");
    }
}

void RefusesRead(CheckedDevice &device, const char *id, const char *message)
{
    Expect::Error(device.Get(Routes::workOrder + QByteArray(id)), message);
}

// The server may clean such a path, and then finds no route for it.
void RefusesDotsAsId(CheckedDevice &device)
{
    constexpr int noRoute = 404;
    const HttpAnswer answer = device.AskOnce(
        {"GET", Routes::workOrder + QByteArray("..%2F..%2Fparlowen-check-none"), {}});
    if (answer.status != noRoute) {
        Expect::Error(answer, "Inavlid URI");
    }
}

void RefusesOtherCase(CheckedDevice &device)
{
    const QStringList ids = device.SomeWorkOrders(device.Before().workOrders.size());
    for (const QString &id : ids) {
        const QString other = id == id.toLower() ? id.toUpper() : id.toLower();
        if (other != id && !ids.contains(other)) {
            const HttpAnswer answer = device.Get(DeviceConnection::Route(Routes::workOrder, other));
            Expect::Error(answer, "Job not found");
            return;
        }
    }
    NotTested("no id has a letter");
}

void RefusesBatch(CheckedDevice &device, const QByteArray &body, const char *message)
{
    Expect::Error(device.Post(Routes::workOrders, body), message);
}

void Stores(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    const QJsonArray documents = CheckWorkOrders::Documents();
    for (const QJsonValue &document : documents) {
        const QString id = document["workOrderId"].toString();
        const QJsonObject read = CheckWorkOrders::Read(device, id);
        Require(read.value("workOrderId") == id, id + " is not read back");
        Require(read.value("checked") == document["checked"], id + " is read as it was before");
    }
}

void KeepsMembers(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    const QJsonObject sent = CheckWorkOrders::Documents().first().toObject();
    const QJsonObject read = CheckWorkOrders::Read(device, CheckWorkOrders::first);
    for (auto member = sent.begin(); member != sent.end(); ++member) {
        Require(member.key() == "tests" || read.value(member.key()) == member.value(),
                QString("\"%1\" is not what was stored").arg(member.key()));
    }
    Require(read.size() == sent.size(), "there are other members than those that were stored");
}

QJsonArray TestsRead(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    return CheckWorkOrders::Read(device, CheckWorkOrders::first).value("tests").toArray();
}

void KeepsTests(CheckedDevice &device)
{
    const QJsonArray sent =
        CheckWorkOrders::Documents().first().toObject().value("tests").toArray();
    const QJsonArray read = TestsRead(device);
    Require(read.size() == sent.size(), "there are not as many tests as were stored");
    Require(read.at(2) == sent.at(2), "a test without results is not what was stored");
    Require(Members(read, "name") == Members(sent, "name"), "the tests have other names");
}

void RemovesImages(CheckedDevice &device)
{
    const QJsonArray tests = TestsRead(device);
    for (const QJsonValue &test : tests) {
        Require(ImageOf(test).isUndefined(), "the work order is sent with an image");
    }
}

void KeepsOtherImages(CheckedDevice &device)
{
    const QJsonObject test = TestsRead(device).first().toObject();
    Require(test.value("imageData") == "kept", "\"imageData\" of a test is gone");
    Require(test.value("results").toObject().value("imageData") == "kept",
            "\"imageData\" of results is gone");
    const QJsonObject data = test.value("results").toObject().value("data").toObject();
    Require(data.value("value") == 7, "other data of the result are gone");
}

void AddsTests(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    const QJsonObject read = CheckWorkOrders::Read(device, CheckWorkOrders::second);
    Require(read.value("tests") == QJsonArray(), "\"tests\" is not an empty array");
}

void Replaces(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    const QJsonObject other{{"workOrderId", CheckWorkOrders::first}, {"note", "replaced"}};
    Expect::Done(CheckWorkOrders::Send(device, QJsonArray{other}));
    const QJsonObject read = CheckWorkOrders::Read(device, CheckWorkOrders::first);
    CheckWorkOrders::Store(device);
    Require(read.value("note") == "replaced", "the new document is not read back");
    Require(!read.contains("title"), "a member of the old document is still there");
}

// A batch with a good element that would be seen, and a bad one.
void RefusesWhole(CheckedDevice &device, const QJsonValue &bad)
{
    CheckWorkOrders::Store(device);
    const QJsonObject good{{"workOrderId", CheckWorkOrders::first}, {"note", "half a batch"}};
    Expect::Error(CheckWorkOrders::Send(device, QJsonArray{good, bad}), refused);
    const QJsonObject read = CheckWorkOrders::Read(device, CheckWorkOrders::first);
    Require(!read.contains("note"), "a part of the batch was stored");
}

// The library hands an empty batch to the store where a client sent no array.
void StoresNothing(CheckedDevice &device, const QJsonValue &batch)
{
    CheckWorkOrders::Store(device);
    const QJsonObject before = Expect::Object(device.Get(Routes::workOrderList));
    const HttpAnswer answer = CheckWorkOrders::Send(device, batch);
    const HttpAnswer empty = CheckWorkOrders::Send(device, QJsonArray());
    Require(answer.body == empty.body, "it is not answered like an empty batch");
    const QJsonObject after = Expect::Object(device.Get(Routes::workOrderList));
    Require(before == after, "the list of work orders is another one now");
}

void RefusesTooLong(CheckedDevice &device)
{
    constexpr int tooLong = 5'000'000;
    CheckWorkOrders::Store(device);
    const QJsonObject large{{"workOrderId", CheckWorkOrders::first},
                            {"note", QString(tooLong, 'x')}};
    Expect::Error(CheckWorkOrders::Send(device, QJsonArray{large}), "Method not allowed");
    Require(!CheckWorkOrders::Read(device, CheckWorkOrders::first).contains("note"),
            "it was stored all the same");
}

void StoresLarge(CheckedDevice &device)
{
    constexpr int large = 4'000'000;
    const QString note(large, 'x');
    const QJsonObject document{{"workOrderId", CheckWorkOrders::second}, {"note", note}};
    Expect::Done(CheckWorkOrders::Send(device, QJsonArray{document}));
    const QJsonObject read = CheckWorkOrders::Read(device, CheckWorkOrders::second);
    CheckWorkOrders::Store(device);
    Require(read.value("note") == note, "it is not read back as it was stored");
}

} // namespace

AssertionGroup Assertions::OfWorkOrderStore()
{
    const QString get = "IWorkOrderStore::GetWorkOrder; http-api: List, store, read, activate";
    const QString odd = "IWorkOrderStore::GetWorkOrder; http-api: Odd ids";
    const QString put = "IWorkOrderStore::UpdateWorkOrders; http-api: List, store, read, activate";
    const QString size =
        "IWorkOrderStore::UpdateWorkOrders; http-api: No more than 5,000,000 bytes";
    return {
        "IWorkOrderStore",
        "The work orders as they are kept",
        {
            {"store.read", "Every listed work order can be read.", get, Effect::Reads, ReadsListed},
            {"store.read.id", "A work order that is read has the id that was asked for.", get,
             Effect::Reads, ReadsItsOwnId},
            {"store.read.images", "Work orders are sent without images.", get, Effect::Reads,
             ListedHaveNoImages},
            {"store.read.tests", "Work orders are sent with an array of tests.", get, Effect::Reads,
             ListedHaveTests},
            {"store.read.missing", "An unknown id is answered \"Job not found\".", odd,
             Effect::Reads, With(RefusesRead, "parlowen-check-none", "Job not found")},
            {"store.read.empty", "An empty id is answered \"Inavlid URI\".", odd, Effect::Reads,
             With(RefusesRead, "", "Inavlid URI")},
            {"store.read.slash", "An id with a slash is answered \"Inavlid URI\".", odd,
             Effect::Reads, With(RefusesRead, "a/b", "Inavlid URI")},
            {"store.read.dots", "An id with \"..\" and an encoded slash reads no other file.", odd,
             Effect::Reads, RefusesDotsAsId},
            {"store.read.case", "Capitals count in an id.", odd, Effect::Reads, RefusesOtherCase},
            {"store.batch.no-json", "A body that is no JSON is refused.", put, Effect::Reads,
             With(RefusesBatch, QByteArray("json"), "Method not allowed")},
            {"store.batch.no-body", "An empty body is refused.", put, Effect::Reads,
             With(RefusesBatch, QByteArray(), "Method not allowed")},
            {"store.batch.no-cdm", "An object without \"cdm\" is refused.", put, Effect::Reads,
             With(RefusesBatch, QByteArray("{}"), noBatch)},
            {"store.batch.no-object", "An array is refused.", put, Effect::Reads,
             With(RefusesBatch, QByteArray("[1]"), noBatch)},
            {"store.batch", "A batch is stored and read back, ids beyond ASCII too.", put,
             Effect::Writes, Stores},
            {"store.members", "Every member is kept as it was sent.", put, Effect::Writes,
             KeepsMembers},
            {"store.tests", "Every test is kept, in its order.", put, Effect::Writes, KeepsTests},
            {"store.images.removed", "The images of results are left out when it is read.", get,
             Effect::Writes, RemovesImages},
            {"store.images.kept", "Other members named \"imageData\" are kept.", get,
             Effect::Writes, KeepsOtherImages},
            {"store.tests.added", "A work order without tests is read with an empty array.", get,
             Effect::Writes, AddsTests},
            {"store.replaces", "A stored work order replaces the one of the same id whole.", put,
             Effect::Writes, Replaces},
            {"store.whole.no-id", "A batch with an element without an id stores nothing.", put,
             Effect::Writes, With(RefusesWhole, QJsonValue(QJsonObject{{"title", "no id"}}))},
            {"store.whole.empty-id", "A batch with an empty id stores nothing.", put,
             Effect::Writes, With(RefusesWhole, QJsonValue(QJsonObject{{"workOrderId", ""}}))},
            {"store.whole.no-object", "A batch with an element that is no object stores nothing.",
             put, Effect::Writes, With(RefusesWhole, QJsonValue(5))},
            {"store.cdm.object", "\"cdm\" as an object stores nothing.", put, Effect::Writes,
             With(StoresNothing,
                  QJsonValue(QJsonObject{{"workOrderId", "parlowen-check-object"}}))},
            {"store.cdm.number", "\"cdm\" as a number stores nothing.", put, Effect::Writes,
             With(StoresNothing, QJsonValue(5))},
            {"store.cdm.empty", "An empty batch stores nothing.", put, Effect::Writes,
             With(StoresNothing, QJsonValue(QJsonArray()))},
            {"store.large", "A work order of 4,000,000 bytes is stored.", size, Effect::Writes,
             StoresLarge},
            {"store.too-long", "A body of more than 5,000,000 bytes is refused, nothing stored.",
             size, Effect::Writes, RefusesTooLong},
        },
    };
}
