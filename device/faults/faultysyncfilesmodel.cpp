#include "faultysyncfilesmodel.h"

FaultySyncFilesModel::FaultySyncFilesModel(ISyncFilesModel &syncFilesModel, FaultPlan &faultPlan,
                                           IErrorReporter &errors)
    : syncFiles(syncFilesModel)
    , faults(faultPlan)
    , errorReporter(errors)
{}

QJsonArray FaultySyncFilesModel::GetPendingFiles()
{
    return syncFiles.GetPendingFiles();
}

QJsonArray FaultySyncFilesModel::GetAllPendingFiles()
{
    return syncFiles.GetAllPendingFiles();
}

QByteArray FaultySyncFilesModel::GetFileData(QString path, bool *found)
{
    QByteArray content = syncFiles.GetFileData(path, found);
    const std::optional<qint64> failure = faults.Value(Fault::ReadFails);
    if (*found && failure && content.size() > *failure) {
        errorReporter.ReportError(
            QStringLiteral("fault: cannot read %1 at %2").arg(path).arg(*failure),
            "faultysyncfilesmodel", __LINE__);
        *found = false;
        return QByteArray();
    }
    return content;
}

bool FaultySyncFilesModel::MarkFileSynced(QString path)
{
    return syncFiles.MarkFileSynced(path);
}

void FaultySyncFilesModel::SetTechId(QString techId)
{
    syncFiles.SetTechId(techId);
}
