#ifndef INTERFACEDESCRIPTION_H
#define INTERFACEDESCRIPTION_H

#include <QRegularExpression>
#include <QString>
#include <QVector>

#include "httpexchange.h"
#include "schemavalidator.h"

/** The description of the HTTP interface, `api/openapi.yaml`, as it was at build time. */
class InterfaceDescription
{
public:
    InterfaceDescription();

    /** The operation that a request is meant for; empty when there is none. */
    QString Operation(const HttpRequest &request) const;

    /** What in an answer is not as described for the operation; empty when all is. */
    QString Problem(const QString &operation, const HttpAnswer &answer) const;

private:
    struct DescribedOperation
    {
        QString id;
        QByteArray method;
        QRegularExpression route;
        QJsonObject responses;
    };

    explicit InterfaceDescription(const QJsonObject &description);
    QString ContentProblem(const QJsonObject &content, const HttpAnswer &answer) const;
    QJsonObject Resolved(const QJsonObject &object) const;

    SchemaValidator validator;
    QVector<DescribedOperation> operations;
};

#endif
