#include "workorderelement.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include "clienterror.h"
#include "workorders.h"

namespace {

QJsonDocument Parse(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot read %1: %2").arg(name, file.errorString()));
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError) {
        throw ClientError(ExitStatus::LocalFailure, QString("%1 is not JSON: %2 at byte %3")
                                                        .arg(name, error.errorString())
                                                        .arg(error.offset));
    }
    return document;
}

QJsonArray DocumentsOf(const QJsonDocument &document)
{
    if (document.isArray()) {
        return document.array();
    }
    const QJsonValue cdm = document.object().value("cdm");
    if (cdm.isArray()) {
        return cdm.toArray();
    }
    return {cdm.isObject() ? cdm : QJsonValue(document.object())};
}

} // namespace

QString WorkOrderElement::Name() const
{
    const QString id = WorkOrders::IdOf(document);
    const QString name = QString("%1, element %2").arg(file).arg(position);
    return id.isEmpty() ? name : QString("%1 (id %2)").arg(name, id);
}

QVector<WorkOrderElement> WorkOrderElement::FromFile(const QString &file)
{
    const QJsonArray documents = DocumentsOf(Parse(file));
    QVector<WorkOrderElement> elements;
    for (const QJsonValue &document : documents) {
        const WorkOrderElement element{file, elements.size() + 1, document.toObject()};
        if (WorkOrders::IdOf(element.document).isEmpty()) {
            throw ClientError(ExitStatus::LocalFailure,
                              element.Name() + ": no object with a text \"workOrderId\"");
        }
        elements.append(element);
    }
    return elements;
}
