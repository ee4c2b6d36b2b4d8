#include "infocommands.h"

#include <CLI/CLI.hpp>
#include <QFile>
#include <QJsonArray>
#include <QUrl>
#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "clienterror.h"
#include "receivedjson.h"
#include "routes.h"
#include "transfer.h"

namespace {

// As UTF-8, for it may be half of what a document can take.
QByteArray Text(const QJsonValue &value)
{
    if (value.isObject()) {
        return QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    }
    if (value.isArray()) {
        return QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
    }
    return value.toVariant().toString().toUtf8();
}

QByteArray Versions(const QJsonArray &versions)
{
    QByteArray texts;
    for (const QJsonValue &version : versions) {
        texts += (texts.isEmpty() ? "" : ", ") + Text(version);
    }
    return texts;
}

QByteArray BodyIn(const std::string &name)
{
    QFile file(QString::fromStdString(name));
    const bool open =
        name == "-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!open) {
        throw ClientError(
            ExitStatus::LocalFailure,
            QString("cannot read %1: %2").arg(QString::fromStdString(name), file.errorString()));
    }
    return file.readAll();
}

void PrintBody(const QByteArray &body, const QJsonDocument &document, const Output &output)
{
    if (!document.isNull()) {
        output.Document(document);
    } else if (isatty(STDOUT_FILENO) == 0) {
        output.Bytes(body);
    } else {
        output.Lines(body);
    }
}

} // namespace

InfoCommand::InfoCommand()
    : Command("info", "Show what the device is and which interfaces it serves")
{}

ExitStatus InfoCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonDocument document = connection.Get(Routes::info);
    const QJsonObject info = document.object();
    if (!info.contains("apiSupport")) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no device information"));
    }
    const QJsonArray interfaces = info.value("apiSupport").toArray();
    for (const QJsonValue &family : interfaces) {
        output.Line(
            Versions(family.toObject().value("versions").toArray())
                .prepend("interface " + Text(family.toObject().value("name")) + ": version "));
    }
    const QJsonObject asset = info.value("assetInfo").toObject();
    for (auto member = asset.begin(); member != asset.end(); ++member) {
        output.Line(Text(member.value()).prepend(member.key().toUtf8() + ": "));
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
    connection.PostForEmptyAnswer(Routes::technician, body.toJson(QJsonDocument::Compact));
    output.Line(QString("technician set to %1; the device tells nobody who is set, so nothing was "
                        "read back")
                    .arg(QString::fromStdString(id)));
    output.Json(
        QJsonDocument(QJsonObject{{"techId", QString::fromStdString(id)}, {"readBack", false}}));
    return ExitStatus::Done;
}

TemplatesCommand::TemplatesCommand()
    : Command("templates", "Print the work order templates of the device")
{}

ExitStatus TemplatesCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonDocument document = connection.Get(Routes::templates);
    if (!document.object().value("templates").isArray()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no list of templates"));
    }
    output.Document(document);
    return ExitStatus::Done;
}

ApiCommand::ApiCommand()
    : Command("api", "Send any request and print the answer")
{}

void ApiCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("METHOD", method, "GET, POST, PUT, DELETE or another one")->required();
    parser.add_option("PATH", path, "Begins with /, as in /api/workflow/v1/list")->required();
    parser.add_option("FILE", bodyFile, "The body of the request, - for standard input");
}

ExitStatus ApiCommand::Run(DeviceConnection &connection, const Output &output)
{
    const bool isMethod = !method.empty() && std::all_of(method.begin(), method.end(), [](char c) {
        return c >= 'A' && c <= 'Z';
    });
    if (!isMethod || path.front() != '/') {
        throw ClientError(ExitStatus::Usage,
                          QStringLiteral("METHOD is in capital letters, and PATH begins with /"));
    }
    const QByteArray body = bodyFile.empty() ? QByteArray() : BodyIn(bodyFile);
    const QByteArray route =
        QUrl::toPercentEncoding(QString::fromStdString(path), "/%?&=+:,;@!$'()*~");
    const Transfer::Answer answer = connection.Any(QByteArray::fromStdString(method), route, body);
    const QJsonDocument document = ReceivedJson::IsBearable(answer.body)
                                       ? QJsonDocument::fromJson(answer.body)
                                       : QJsonDocument();
    PrintBody(answer.body, document, output);
    if (answer.status != statusDone) {
        throw ClientError(ExitStatus::DeviceRefused,
                          QString("the device answered with status %1").arg(answer.status));
    }
    return DeviceConnection::IsErrorObject(document) ? ExitStatus::DeviceRefused : ExitStatus::Done;
}
