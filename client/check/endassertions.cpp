#include "assertions.h"
#include "checkeddevice.h"
#include "checkworkorders.h"
#include "expectations.h"
#include "filechecks.h"
#include "routes.h"

namespace {

QString Difference(const QJsonArray &before, const QJsonArray &after)
{
    QStringList lines;
    for (const QJsonValue &record : before) {
        if (!after.contains(record)) {
            lines.append("gone or changed: " + QString(CompactJson(record.toObject())));
        }
    }
    for (const QJsonValue &record : after) {
        if (!before.contains(record)) {
            lines.append("new or changed: " + QString(CompactJson(record.toObject())));
        }
    }
    return lines.mid(0, 5).join("; ");
}

void StillAnswers(CheckedDevice &device)
{
    Expect::Object(device.Get(Routes::info));
}

void FilesAreTheSame(CheckedDevice &device)
{
    const QJsonArray now = FileChecks::Listing(device);
    Require(now == device.Before().files, Difference(device.Before().files, now));
}

void PendingFilesAreTheSame(CheckedDevice &device)
{
    const QJsonArray now = FileChecks::AllPending(device);
    Require(now == device.Before().pendingFiles, Difference(device.Before().pendingFiles, now));
}

QJsonArray WithoutOwn(const QJsonArray &workOrders)
{
    QJsonArray others;
    for (const QJsonValue &workOrder : workOrders) {
        if (!workOrder.toObject().value("workOrderId").toString().startsWith("parlowen-check-")) {
            others.append(workOrder);
        }
    }
    return others;
}

void WorkOrdersAreTheSame(CheckedDevice &device)
{
    const QJsonObject list = Expect::Object(device.Get(Routes::workOrderList));
    const QJsonArray now = WithoutOwn(list.value("workOrderInfo").toArray());
    const QJsonArray before = WithoutOwn(device.Before().workOrders);
    Require(now == before, "the work orders are not those from before");
}

void ActiveIsTheSame(CheckedDevice &device)
{
    const QString now =
        Expect::Object(device.Get(Routes::active)).value("activeWorkOrderId").toString();
    const QString before = device.Before().active;
    if (before.isEmpty() && now.startsWith("parlowen-check-")) {
        NotTested("no work order was active before, and the interface cannot restore that");
    }
    Require(now == before, QString("\"%1\" is active, \"%2\" was").arg(now, before));
}

void TemplatesAreTheSame(CheckedDevice &device)
{
    const QJsonObject answer = Expect::Object(device.Get(Routes::templates));
    Require(answer.value("templates").toArray() == device.Before().templates,
            "the templates are not those from before");
}

} // namespace

AssertionGroup Assertions::OfTheEnd()
{
    const QString all = "all interfaces of the host";
    return {
        "After the check",
        "The device holds what it held before, but for what is named as left",
        {
            {"end.answers", "The device still answers.", all, Effect::Reads, StillAnswers},
            {"end.files", "The user files are those from before.", all, Effect::Reads,
             FilesAreTheSame},
            {"end.pending", "The pending files are those from before.", all, Effect::Reads,
             PendingFilesAreTheSame},
            {"end.work-orders", "The other work orders are those from before.", all, Effect::Reads,
             WorkOrdersAreTheSame},
            {"end.active", "The active work order is the one from before.", all, Effect::Reads,
             ActiveIsTheSame},
            {"end.templates", "The templates are those from before.", all, Effect::Reads,
             TemplatesAreTheSame},
        },
    };
}

AssertionGroup Assertions::OfDescription()
{
    struct Operation
    {
        const char *id;
        const char *method;
    };
    const QVector<Operation> operations = {
        {"getInfo", "IAssetModel::GetAssetInfo"},
        {"setTechnician", "ISyncFilesModel::SetTechId"},
        {"listWorkOrders", "IJobModel::Jobs"},
        {"storeWorkOrders", "IWorkOrderStore::UpdateWorkOrders"},
        {"getWorkOrder", "IWorkOrderStore::GetWorkOrder"},
        {"addAttachment", "IJobModel::Jobs"},
        {"getActiveWorkOrder", "IJobModel::ActiveJob"},
        {"setActiveWorkOrder", "IJobModel::SetActiveJob"},
        {"listTemplates", "IStorageModel::Directory"},
        {"listPendingFiles", "ISyncFilesModel::GetPendingFiles"},
        {"listAllPendingFiles", "ISyncFilesModel::GetAllPendingFiles"},
        {"getSyncFileMetadata", "IAssetModel::GetFileMetadata"},
        {"uploadSyncFile", "IStorageModel::Directory"},
        {"readSyncFile", "ISyncFilesModel::GetFileData"},
        {"confirmSyncFile", "ISyncFilesModel::MarkFileSynced"},
        {"listUserFiles", "IFileManagerModel::GetUserFiles"},
        {"uploadUserFile", "IStorageModel::Directory"},
        {"getUserFileMetadata", "IAssetModel::GetFileMetadata"},
        {"downloadUserFile", "IFileManagerModel::ReadFileChunk"},
        {"deleteUserFile", "IFileManagerModel::DeleteUserFile"},
    };
    QVector<Assertion> assertions;
    for (const Operation &operation : operations) {
        const QString id = operation.id;
        assertions.append({"description." + id,
                           QString("Every answer to %1 is as described.").arg(id),
                           QString("%1; api/openapi.yaml: %2").arg(operation.method, id),
                           Effect::Reads, [id](CheckedDevice &device) {
                               const int answers = device.Answers(id);
                               const QString problem = device.DescriptionProblem(id);
                               Require(problem.isEmpty(), problem);
                               if (answers == 0) {
                                   NotTested("nothing was asked of it");
                               }
                               device.Note(QString("%1 answers").arg(answers));
                           }});
    }
    return {"Description", "All answers of this check against the description of the interface",
            assertions};
}
