#include <QJsonDocument>

#include "assertions.h"
#include "checkeddevice.h"
#include "checkworkorders.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "routes.h"

namespace {

constexpr char notFound[] = "WorkOrder not found";

QJsonObject List(CheckedDevice &device)
{
    return Expect::Object(device.Get(Routes::workOrderList));
}

QString ActiveId(CheckedDevice &device)
{
    return Expect::Object(device.Get(Routes::active)).value("activeWorkOrderId").toString();
}

QStringList Ids(const QJsonObject &list)
{
    QStringList ids;
    const QJsonArray values = list.value("workOrderIds").toArray();
    for (const QJsonValue &value : values) {
        ids.append(value.toString());
    }
    return ids;
}

void SameOrder(CheckedDevice &device)
{
    const QJsonObject list = List(device);
    Require(Ids(list) == Members(list.value("workOrderInfo").toArray(), "workOrderId"),
            "\"workOrderIds\" and \"workOrderInfo\" differ");
    device.Note(QString("%1 work orders").arg(Ids(list).size()));
}

void EachOnce(CheckedDevice &device)
{
    Expect::Unique(Ids(List(device)), "work order");
}

void ListsJobsTheSame(CheckedDevice &device)
{
    const QJsonObject first = List(device);
    Require(first == List(device), "two lists differ");
}

void TimesAreNotLater(CheckedDevice &device)
{
    const HttpAnswer answer = device.Get(Routes::workOrderList);
    const QDateTime clock = Expect::Clock(answer).addSecs(Expect::toleratedSeconds);
    const QJsonArray entries = Expect::Object(answer).value("workOrderInfo").toArray();
    for (const QJsonValue &entry : entries) {
        const QString time = entry.toObject().value("modifiedTime").toString();
        Require(!(QDateTime::fromString(time, Qt::ISODate) > clock),
                QString("%1 lies after the time of the device: it is no UTC").arg(time));
    }
}

void ListComesInTime(CheckedDevice &device)
{
    const HttpAnswer answer = device.Get(Routes::workOrderList);
    Expect::Prompt(answer, Ids(Expect::Object(answer)).size());
}

void ActiveIsListed(CheckedDevice &device)
{
    const QString active = ActiveId(device);
    Require(active.isEmpty() || Ids(List(device)).contains(active),
            QString("%1 is active and not listed").arg(active));
}

void RefusesActive(CheckedDevice &device, const QByteArray &body)
{
    const QString before = ActiveId(device);
    Expect::Error(device.Put(Routes::active, body), notFound);
    Require(ActiveId(device) == before, "another work order is active now");
}

void KnowsAttachmentRoute(CheckedDevice &device)
{
    for (const QString &id : device.SomeWorkOrders(device.Before().workOrders.size())) {
        const bool plain = id.toLatin1() == id.toUtf8();
        if (plain) {
            const QByteArray route = DeviceConnection::Route(Routes::workOrder, id);
            Expect::Error(device.Post(route + "/attachment", {}), "Not allowed");
            return;
        }
    }
    NotTested("no work order has an id of plain ASCII");
}

void MissesAttachmentRoute(CheckedDevice &device)
{
    const QByteArray route = Routes::workOrder + QByteArray("parlowen-check-none/attachment");
    Expect::Error(device.Post(route, {}), "Job not found");
}

// Setting the active work order can be undone only where one is active.
void RequireActive(CheckedDevice &device)
{
    if (device.Before().active.isEmpty()) {
        NotTested("no work order is active, and the interface could not restore that: make one "
                  "active first, with \"parlowenctl workorders active ID\"");
    }
}

void Activates(CheckedDevice &device)
{
    RequireActive(device);
    CheckWorkOrders::Store(device);
    const QJsonObject echo = Expect::Object(device.Activate(CheckWorkOrders::first));
    Require(echo == QJsonObject{{"activeWorkOrderId", CheckWorkOrders::first}},
            "the answer does not repeat what was sent");
    Require(ActiveId(device) == CheckWorkOrders::first, "the work order is not the active one");
}

void ActivatesBeyondAscii(CheckedDevice &device)
{
    RequireActive(device);
    CheckWorkOrders::Store(device);
    Expect::Object(device.Activate(CheckWorkOrders::third));
    Require(ActiveId(device) == CheckWorkOrders::third, "the work order is not the active one");
}

void ActivatesAgain(CheckedDevice &device)
{
    Activates(device);
    Expect::Object(device.Activate(CheckWorkOrders::first));
    Require(ActiveId(device) == CheckWorkOrders::first, "the work order is not the active one");
}

void RepeatsOtherMembers(CheckedDevice &device)
{
    RequireActive(device);
    const QJsonObject wanted{{"activeWorkOrderId", device.Before().active}, {"note", 1}};
    const HttpAnswer answer = device.Put(Routes::active, CompactJson(wanted));
    Require(Expect::Object(answer) == wanted, "the answer does not repeat what was sent");
}

void StaysActiveOverStore(CheckedDevice &device)
{
    Activates(device);
    CheckWorkOrders::Store(device);
    Require(ActiveId(device) == CheckWorkOrders::first,
            "another work order is active once the work orders were stored again");
}

void StaysActiveOverRefusal(CheckedDevice &device)
{
    Activates(device);
    Expect::Error(device.Activate("parlowen-check-none"), notFound);
    Require(ActiveId(device) == CheckWorkOrders::first, "another work order is active now");
}

void ListsStoredJob(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    const QStringList ids = Ids(List(device));
    for (const QString &id : CheckWorkOrders::Ids()) {
        Require(ids.count(id) == 1, QString("%1 is listed %2 times").arg(id).arg(ids.count(id)));
    }
}

void KeepsOthers(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    const QJsonArray now = List(device).value("workOrderInfo").toArray();
    const QJsonArray before = device.Before().workOrders;
    const QStringList ids = Members(now, "workOrderId");
    const QSet<QString> listed(ids.begin(), ids.end());
    for (const QString &id : Members(before, "workOrderId")) {
        Require(listed.contains(id), QString("%1 is not listed any more").arg(id));
    }
}

void TellsTimeOfJob(CheckedDevice &device)
{
    CheckWorkOrders::Store(device);
    const HttpAnswer answer = device.Get(Routes::workOrderList);
    const QJsonArray entries = Expect::Object(answer).value("workOrderInfo").toArray();
    const QString time =
        ObjectWith(entries, "workOrderId", CheckWorkOrders::first).value("modifiedTime").toString();
    const QDateTime stored = QDateTime::fromString(time, Qt::ISODate);
    const qint64 seconds = stored.secsTo(Expect::Clock(answer));
    Require(stored.isValid() && qAbs(seconds) <= Expect::toleratedSeconds,
            QString("stored now, \"modifiedTime\" is %1, %2 s before the time of the device")
                .arg(time)
                .arg(seconds));
}

std::function<void(CheckedDevice &)> ActivationRefuses(const QByteArray &body)
{
    return [body](CheckedDevice &device) { RefusesActive(device, body); };
}

} // namespace

AssertionGroup Assertions::OfJobModel()
{
    const QString jobs = "IJobModel::Jobs; http-api: List, store, read, activate";
    const QString time = "Job::ModifiedTime; http-api: List, store, read, activate";
    const QString active = "IJobModel::ActiveJob; http-api: List, store, read, activate";
    const QString set = "IJobModel::SetActiveJob; http-api: List, store, read, activate";
    const QString refresh = "IJobModel::RefreshJobs; http-api: List, store, read, activate";
    return {
        "IJobModel",
        "The work orders in memory, and the active one",
        {
            {"jobs.order", "Both arrays of the list have one order.", jobs, Effect::Reads,
             SameOrder},
            {"jobs.once", "Every work order is listed once.", jobs, Effect::Reads, EachOnce},
            {"jobs.same", "Two lists are the same.", jobs, Effect::Reads, ListsJobsTheSame},
            {"jobs.in-time", "The list comes within a second.", jobs, Effect::Reads,
             ListComesInTime},
            {"jobs.time-not-later", "No work order was stored after the time of the device.", time,
             Effect::Reads, TimesAreNotLater},
            {"jobs.active-listed", "The active work order is a listed one.", active, Effect::Reads,
             ActiveIsListed},
            {"jobs.active.no-json", "A body that is no JSON makes nothing active.", set,
             Effect::Reads, ActivationRefuses("json")},
            {"jobs.active.no-body", "An empty body makes nothing active.", set, Effect::Reads,
             ActivationRefuses("")},
            {"jobs.active.no-member", "An object without an id makes nothing active.", set,
             Effect::Reads, ActivationRefuses("{}")},
            {"jobs.active.no-object", "An array makes nothing active.", set, Effect::Reads,
             ActivationRefuses("[1]")},
            {"jobs.active.unknown", "An unknown id makes nothing active.", set, Effect::Reads,
             ActivationRefuses(R"({"activeWorkOrderId": "parlowen-check-none"})")},
            {"jobs.active.empty", "An empty id makes nothing active.", set, Effect::Reads,
             ActivationRefuses(R"({"activeWorkOrderId": ""})")},
            {"jobs.active.null", "The id null makes nothing active.", set, Effect::Reads,
             ActivationRefuses(R"({"activeWorkOrderId": null})")},
            {"jobs.attachment", "No work order takes an attachment.", jobs, Effect::Reads,
             KnowsAttachmentRoute},
            {"jobs.attachment.missing", "An attachment of an unknown work order is not found.",
             jobs, Effect::Reads, MissesAttachmentRoute},
            {"jobs.stored-once", "A stored work order is listed once, stored again too.", refresh,
             Effect::Writes, ListsStoredJob},
            {"jobs.others-stay", "Work orders that are not named stay.", refresh, Effect::Writes,
             KeepsOthers},
            {"jobs.time-of-store", "The list tells when a work order was stored, in UTC.", time,
             Effect::Writes, TellsTimeOfJob},
            {"jobs.activate", "A work order becomes the active one, and the answer repeats it.",
             set, Effect::Writes, Activates},
            {"jobs.activate.beyond-ascii", "A work order with an id beyond ASCII becomes active.",
             set, Effect::Writes, ActivatesBeyondAscii},
            {"jobs.activate.again", "The active work order may be made active again.", set,
             Effect::Writes, ActivatesAgain},
            {"jobs.activate.members", "The answer repeats other members as well.", set,
             Effect::Writes, RepeatsOtherMembers},
            {"jobs.active-after-store", "The active work order stays active when it is stored.",
             refresh, Effect::Writes, StaysActiveOverStore},
            {"jobs.active-after-refusal", "A refused id leaves the active work order.", set,
             Effect::Writes, StaysActiveOverRefusal},
        },
    };
}
