#include "checkworkorders.h"

#include <QDateTime>
#include <QJsonObject>

#include "checkeddevice.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "routes.h"

namespace {

// The work orders may be there from an earlier check: only what is new shows that they were stored.
QString ThisCheck()
{
    static const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    return time;
}

QJsonObject Measured(const QString &name)
{
    const QJsonObject data{{"value", 7}, {"imageData", "UDUKMSAxCjI1NQqA"}};
    const QJsonObject results{{"data", data}, {"imageData", "kept"}, {"passed", true}};
    return {{"name", name}, {"results", results}, {"imageData", "kept"}};
}

QJsonObject Full()
{
    return {
        {"workOrderId", CheckWorkOrders::first},
        {"title", QStringLiteral("Pr\u00fcfung \u2126 \U0001d54f \"quoted\" \\ / \t")},
        {"checked", ThisCheck()},
        {"count", 4'503'599'627'370'496.0},
        {"share", 0.1},
        {"nothing", QJsonValue::Null},
        {"done", false},
        {"nested", QJsonObject{{"list", QJsonArray{1, QJsonArray{}, QJsonObject{}}}}},
        {"imageData", "kept"},
        {"tests", QJsonArray{Measured("Surface"), Measured("Contact"),
                             QJsonObject{{"name", "not measured"}}}},
    };
}

} // namespace

QStringList CheckWorkOrders::Ids()
{
    return {first, second, third};
}

QJsonArray CheckWorkOrders::Documents()
{
    return {Full(), QJsonObject{{"workOrderId", second}, {"checked", ThisCheck()}},
            QJsonObject{{"workOrderId", third}, {"checked", ThisCheck()}, {"tests", QJsonArray()}}};
}

HttpAnswer CheckWorkOrders::Send(CheckedDevice &device, const QJsonValue &batch)
{
    return device.Post(Routes::workOrders, CompactJson({{"cdm", batch}}));
}

void CheckWorkOrders::Store(CheckedDevice &device)
{
    device.LeavesBehind("The work orders parlowen-check-1, parlowen-check-2 and parlowen-check-3: "
                        "the interface deletes none.");
    Expect::Done(Send(device, Documents()));
}

QJsonObject CheckWorkOrders::Read(CheckedDevice &device, const QString &id)
{
    const HttpAnswer answer = device.Get(DeviceConnection::Route(Routes::workOrder, id));
    return Expect::Object(answer).value("cdm").toObject();
}
