#include "workorderupload.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include "clienterror.h"
#include "workorders.h"

namespace {

constexpr int readBackAtMost = 16;

QJsonDocument Parse(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot read %1: %2").arg(name, file.errorString()));
    }
    QJsonParseError error{};
    QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
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

int TextSize(const QJsonObject &document)
{
    return QJsonDocument(document).toJson(QJsonDocument::Compact).size();
}

QJsonArray DocumentsOf(const QVector<WorkOrderElement> &batch)
{
    QJsonArray documents;
    for (const WorkOrderElement &element : batch) {
        documents.append(element.document);
    }
    return documents;
}

ClientError NotReadBack(const ClientError &error)
{
    return {ExitStatus::TransferCorrupt, "cannot be read back: " + error.Message()};
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

WorkOrderUpload::WorkOrderUpload(WorkOrders &workOrders, Failed whenFailed, Progress whenMoved)
    : orders(workOrders)
    , failed(std::move(whenFailed))
    , moved(std::move(whenMoved))
{}

int WorkOrderUpload::Send(const QVector<WorkOrderElement> &elements)
{
    int stored = 0;
    if (elements.size() > readBackAtMost) {
        timesBefore = orders.Times();
    }
    const QVector<QVector<WorkOrderElement>> batches = Batches(elements, WorkOrders::bodyLimit);
    for (const QVector<WorkOrderElement> &batch : batches) {
        if (WorkOrders::Body(DocumentsOf(batch)).size() < WorkOrders::bodyLimit) {
            stored += SendBatch(batch);
            continue;
        }
        failed(batch.first(),
               {ExitStatus::LocalFailure,
                QString("longer than the device takes (%1 bytes)").arg(WorkOrders::bodyLimit)});
    }
    return stored;
}

QVector<QVector<WorkOrderElement>>
WorkOrderUpload::Batches(const QVector<WorkOrderElement> &elements, int limit)
{
    const qint64 frame = WorkOrders::Body({}).size();
    QVector<QVector<WorkOrderElement>> batches;
    qint64 size = limit;
    for (const WorkOrderElement &element : elements) {
        const qint64 added = TextSize(element.document) + 1; // and the comma before it
        if (size + added >= limit) {
            batches.append(QVector<WorkOrderElement>());
            size = frame;
        }
        batches.last().append(element);
        size += added;
    }
    return batches;
}

int WorkOrderUpload::SendBatch(const QVector<WorkOrderElement> &batch)
{
    try {
        orders.Store(DocumentsOf(batch));
    } catch (const DeviceRefusal &refusal) {
        return SendHalves(batch, refusal);
    }
    return batch.size() > readBackAtMost ? VerifyByList(batch) : VerifyAll(batch);
}

int WorkOrderUpload::VerifyAll(const QVector<WorkOrderElement> &batch)
{
    int stored = 0;
    for (const WorkOrderElement &element : batch) {
        stored += Verify(element) ? 1 : 0;
        moved(++finished);
    }
    return stored;
}

int WorkOrderUpload::VerifyByList(const QVector<WorkOrderElement> &batch)
{
    const QHash<QString, QString> times = orders.Times();
    int stored = 0;
    for (const WorkOrderElement &element : batch) {
        const QString id = WorkOrders::IdOf(element.document);
        // Stored within the same tick of the device's clock, the list cannot tell: ask for it.
        const bool isNew = times.contains(id) && times.value(id) != timesBefore.value(id);
        stored += isNew || Verify(element) ? 1 : 0;
        moved(++finished);
    }
    timesBefore = times;
    return stored;
}

int WorkOrderUpload::SendHalves(const QVector<WorkOrderElement> &batch,
                                const DeviceRefusal &refusal)
{
    if (batch.size() == 1) {
        failed(batch.first(), refusal);
        return 0;
    }
    const int half = batch.size() / 2;
    return SendBatch(batch.mid(0, half)) + SendBatch(batch.mid(half));
}

bool WorkOrderUpload::Verify(const WorkOrderElement &element)
{
    try {
        if (orders.Has(WorkOrders::IdOf(element.document), element.document)) {
            return true;
        }
        failed(element,
               {ExitStatus::TransferCorrupt, QStringLiteral("the device has something else now")});
    } catch (const DeviceRefusal &refusal) {
        failed(element, NotReadBack(refusal));
    } catch (const ClientError &error) {
        if (error.Status() != ExitStatus::TransferCorrupt) {
            throw;
        }
        failed(element, NotReadBack(error));
    }
    return false;
}
