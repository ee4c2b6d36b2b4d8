#include "templatescommand.h"

#include "clienterror.h"

TemplatesCommand::TemplatesCommand()
    : Command("templates", "Print the work order templates of the device")
{}

ExitStatus TemplatesCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonDocument document = connection.Get("/api/workflow/v1/templates");
    if (!document.object().value("templates").isArray()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no list of templates"));
    }
    output.Document(document);
    return ExitStatus::Done;
}
