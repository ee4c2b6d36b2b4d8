#ifndef FAULTYSYNCFILESMODEL_H
#define FAULTYSYNCFILESMODEL_H

#include "faultplan.h"

/** A model of the files to confirm that cannot read a whole file when the plan says so. */
class FaultySyncFilesModel : public ISyncFilesModel
{
public:
    /** Keeps the references; all objects outlive this one. */
    FaultySyncFilesModel(ISyncFilesModel &syncFilesModel, FaultPlan &faultPlan,
                         IErrorReporter &errors);

    QJsonArray GetPendingFiles() override;
    QJsonArray GetAllPendingFiles() override;

    /** A file that reaches the position of the fault is not found, with a report. */
    QByteArray GetFileData(QString path, bool *found) override;
    bool MarkFileSynced(QString path) override;
    void SetTechId(QString techId) override;

private:
    ISyncFilesModel &syncFiles;
    FaultPlan &faults;
    IErrorReporter &errorReporter;
};

#endif
