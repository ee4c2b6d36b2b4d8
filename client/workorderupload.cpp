#include "workorderupload.h"

#include <QJsonDocument>

namespace {

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

WorkOrderUpload::WorkOrderUpload(WorkOrders &workOrders, Failed whenFailed)
    : orders(workOrders)
    , failed(std::move(whenFailed))
{}

int WorkOrderUpload::Send(const QVector<WorkOrderElement> &elements)
{
    int stored = 0;
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
    int stored = 0;
    for (const WorkOrderElement &element : batch) {
        stored += Verify(element) ? 1 : 0;
    }
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
