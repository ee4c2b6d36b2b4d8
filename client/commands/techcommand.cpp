#include "techcommand.h"

#include <CLI/CLI.hpp>

TechCommand::TechCommand()
    : Command("tech", "Set the technician who works with the device")
{}

void TechCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("ID", id, "1 to 20 letters, digits and underscores")->required();
}

ExitStatus TechCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonDocument body(QJsonObject{{"techId", QString::fromStdString(id)}});
    connection.PostForEmptyAnswer("/api/v1/techinfo", body.toJson(QJsonDocument::Compact));
    output.Line(QString("technician set to %1").arg(QString::fromStdString(id)));
    output.Json(body);
    return ExitStatus::Done;
}
