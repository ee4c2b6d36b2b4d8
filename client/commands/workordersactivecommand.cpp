#include "workordersactivecommand.h"

#include <CLI/CLI.hpp>

#include "workorders.h"

WorkOrdersActiveCommand::WorkOrdersActiveCommand()
    : Command("active", "Print the work order that the device works on, or set it")
{}

void WorkOrdersActiveCommand::AddArguments(CLI::App &parser)
{
    idOption = parser.add_option("ID", id, "Make this work order the active one");
}

ExitStatus WorkOrdersActiveCommand::Run(DeviceConnection &connection, const Output &output)
{
    WorkOrders orders(connection);
    if (idOption->count() > 0) {
        orders.SetActive(QString::fromStdString(id));
    }
    const QString active = orders.Active();
    output.Line(active.isEmpty() ? QStringLiteral("no work order is active") : active);
    output.Json(QJsonDocument(QJsonObject{{"activeWorkOrderId", active}}));
    return ExitStatus::Done;
}
