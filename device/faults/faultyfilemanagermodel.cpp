#include "faultyfilemanagermodel.h"

FaultyFileManagerModel::FaultyFileManagerModel(IFileManagerModel &fileManagerModel,
                                               FaultPlan &faultPlan, IErrorReporter &errors)
    : fileManager(fileManagerModel)
    , faults(faultPlan)
    , errorReporter(errors)
{}

QJsonObject FaultyFileManagerModel::GetUserFiles()
{
    return fileManager.GetUserFiles();
}

QByteArray FaultyFileManagerModel::ReadFileChunk(QString path, bool *ok, qint64 offset,
                                                 qint64 maxLength, bool *lastChunk)
{
    if (offset > 0) {
        faults.DelayCall();
    }
    QByteArray piece = fileManager.ReadFileChunk(path, ok, offset, maxLength, lastChunk);
    const std::optional<qint64> failure = faults.Value(Fault::ReadFails);
    if (*ok && failure && offset + piece.size() > *failure) {
        errorReporter.ReportError(
            QStringLiteral("fault: cannot read %1 at %2").arg(path).arg(*failure),
            "faultyfilemanagermodel", __LINE__);
        *ok = false;
        *lastChunk = true;
        return QByteArray();
    }
    return piece;
}

bool FaultyFileManagerModel::DeleteUserFile(QString path)
{
    return !faults.IsSet(Fault::DeleteRefused) && fileManager.DeleteUserFile(path);
}
