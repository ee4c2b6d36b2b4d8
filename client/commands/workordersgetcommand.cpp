#include "workordersgetcommand.h"

#include <CLI/CLI.hpp>

#include "workorders.h"

WorkOrdersGetCommand::WorkOrdersGetCommand()
    : Command("get", "Print one work order, without the images of its tests")
{}

void WorkOrdersGetCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("ID", id, "The work order's id")->required();
}

ExitStatus WorkOrdersGetCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonObject answer = WorkOrders(connection).Get(QString::fromStdString(id));
    output.Document(QJsonDocument(answer));
    return ExitStatus::Done;
}
