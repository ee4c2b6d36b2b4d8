#include "interfacedescription.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include "jsonsyntax.h"

namespace {

QJsonObject Embedded()
{
    QFile file(QStringLiteral(":/check/openapi.json"));
    file.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(file.readAll()).object();
}

QRegularExpression RoutePattern(const QString &path)
{
    QString pattern = QRegularExpression::escape(path);
    pattern.replace(QRegularExpression::escape("{path}"), "/.+");
    pattern.replace(QRegularExpression::escape("{id}"), "[^/]+");
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern));
}

// A digest is advised, not demanded: its absence is a warning of its own.
QJsonValue WithDigest(const QJsonValue &value)
{
    QJsonObject object = value.toObject();
    if (!object.contains("path") || object.contains("sha256")) {
        return value;
    }
    object.insert("sha256", QString(64, '0'));
    return object;
}

} // namespace

InterfaceDescription::InterfaceDescription()
    : InterfaceDescription(Embedded())
{}

InterfaceDescription::InterfaceDescription(const QJsonObject &description)
    : validator(description)
{
    const QJsonObject paths = description.value("paths").toObject();
    for (auto path = paths.begin(); path != paths.end(); ++path) {
        const QJsonObject methods = path.value().toObject();
        for (auto method = methods.begin(); method != methods.end(); ++method) {
            const QJsonObject operation = method.value().toObject();
            if (operation.contains("operationId")) {
                operations.append({operation.value("operationId").toString(),
                                   method.key().toUpper().toLatin1(), RoutePattern(path.key()),
                                   operation.value("responses").toObject()});
            }
        }
    }
}

QString InterfaceDescription::Operation(const HttpRequest &request) const
{
    const QByteArray route = request.route.split('?').first();
    for (const DescribedOperation &operation : operations) {
        if (operation.method == request.method &&
            operation.route.match(QString::fromLatin1(route)).hasMatch()) {
            return operation.id;
        }
    }
    return {};
}

QString InterfaceDescription::Problem(const QString &operation, const HttpAnswer &answer) const
{
    for (const DescribedOperation &described : operations) {
        if (described.id == operation) {
            const QString status = QString::number(answer.status);
            if (!described.responses.contains(status)) {
                return QString("the status %1 is not described").arg(status);
            }
            const QJsonObject response = Resolved(described.responses.value(status).toObject());
            HttpAnswer completed = answer;
            QString problem;
            const QJsonDocument document =
                operation.endsWith("Metadata") ? answer.Json(&problem) : QJsonDocument();
            if (document.isObject()) {
                const QJsonObject object = WithDigest(document.object()).toObject();
                completed.body = QJsonDocument(object).toJson();
            }
            return ContentProblem(response.value("content").toObject(), completed);
        }
    }
    return {};
}

QString InterfaceDescription::ContentProblem(const QJsonObject &content,
                                             const HttpAnswer &answer) const
{
    const QString sentType = answer.Header("content-type");
    const QString type = sentType.section(';', 0, 0).trimmed();
    if (!content.contains(type)) {
        return QString("the content type \"%1\" is not described").arg(sentType);
    }
    const QJsonObject schema = content.value(type).toObject().value("schema").toObject();
    if (type != "application/json") {
        return type == "text/plain"
                   ? validator.Problem(QString::fromUtf8(answer.body), Resolved(schema))
                   : QString();
    }
    if (RepeatsKeyOfJson(answer.body)) {
        return {}; // a file may be so; whoever reads another answer finds it
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(answer.body, &error);
    if (error.error != QJsonParseError::NoError) {
        return QStringLiteral("the answer is not JSON: ") + error.errorString();
    }
    return validator.Problem(
        document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object()), schema);
}

QJsonObject InterfaceDescription::Resolved(const QJsonObject &object) const
{
    return object.contains("$ref") ? validator.Resolve(object.value("$ref").toString()) : object;
}
