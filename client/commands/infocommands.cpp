#include "infocommands.h"

#include <CLI/CLI.hpp>
#include <QJsonArray>
#include <QStringList>

#include "clienterror.h"

namespace {

QString Versions(const QJsonArray &versions)
{
    QStringList texts;
    for (const QJsonValue &version : versions) {
        texts.append(version.toVariant().toString());
    }
    return texts.join(QStringLiteral(", "));
}

QString Text(const QJsonValue &value)
{
    if (value.isObject()) {
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    }
    if (value.isArray()) {
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    }
    return value.toVariant().toString();
}

} // namespace

InfoCommand::InfoCommand()
    : Command("info", "Show what the device is and which interfaces it serves")
{}

ExitStatus InfoCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonDocument document = connection.Get("/info");
    const QJsonObject info = document.object();
    if (!info.contains("apiSupport")) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no device information"));
    }
    const QJsonArray interfaces = info.value("apiSupport").toArray();
    for (const QJsonValue &family : interfaces) {
        output.Line(QString("interface %1: version %2")
                        .arg(family.toObject().value("name").toString(),
                             Versions(family.toObject().value("versions").toArray())));
    }
    const QJsonObject asset = info.value("assetInfo").toObject();
    for (auto member = asset.begin(); member != asset.end(); ++member) {
        output.Line(member.key() + ": " + Text(member.value()));
    }
    output.Json(document);
    return ExitStatus::Done;
}

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
