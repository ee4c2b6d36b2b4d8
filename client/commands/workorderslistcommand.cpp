#include "workorderslistcommand.h"

#include <QJsonArray>

#include "clienterror.h"

WorkOrdersListCommand::WorkOrdersListCommand()
    : Command("list", "List the work orders with the time of their last change")
{}

ExitStatus WorkOrdersListCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonDocument document = connection.Get("/api/workflow/v1/list");
    const QJsonValue orders = document.object().value("workOrderInfo");
    if (!orders.isArray()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no list of work orders"));
    }
    const QJsonArray array = orders.toArray();
    for (const QJsonValue &order : array) {
        output.Line(order.toObject().value("modifiedTime").toString() + "  " +
                    order.toObject().value("workOrderId").toString());
    }
    output.Json(document);
    return ExitStatus::Done;
}
