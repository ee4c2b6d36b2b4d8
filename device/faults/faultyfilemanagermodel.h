#ifndef FAULTYFILEMANAGERMODEL_H
#define FAULTYFILEMANAGERMODEL_H

#include "faultplan.h"

/** A file manager that fails to read or refuses to delete when the plan says so. */
class FaultyFileManagerModel : public IFileManagerModel
{
public:
    /** Keeps the references; all objects outlive this one. */
    FaultyFileManagerModel(IFileManagerModel &fileManagerModel, FaultPlan &faultPlan,
                           IErrorReporter &errors);

    QJsonObject GetUserFiles() override;

    /**
     * Each piece but the first is late while calls are slow; the first one is part of its request,
     * which is late as a whole. A piece that reaches the position of the fault cannot be read, and
     * is the last.
     */
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override;
    bool DeleteUserFile(QString path) override;

private:
    IFileManagerModel &fileManager;
    FaultPlan &faults;
    IErrorReporter &errorReporter;
};

#endif
