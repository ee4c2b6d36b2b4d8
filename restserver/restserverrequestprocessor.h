#ifndef RESTSERVERREQUESTPROCESSOR_H
#define RESTSERVERREQUESTPROCESSOR_H

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <functional>

#include "hostmodel.h"
#include "restserverfileprocessor.h"
#include "restserverobjects.h"

/**
 * Turns one request into one response: dispatches by route to an endpoint handler, which checks the
 * method, asks the host's models and builds the answer.
 *
 * Every handler takes a request that stays the caller's and returns a new response that becomes the
 * caller's. Errors are answered, never thrown: a JSON object {"errorMessage": text}, with a status
 * in the response that clients only see where the body is empty.
 *
 * Main thread only. Lives until the process ends.
 */
class RestServerRequestProcessor : public IConstructable
{
public:
    RestServerRequestProcessor();

    /** Keeps the host's model and makes the file processor. Once, before the first request. */
    void Construct(IApplicationModel *model) override;
    void Shutdown() override;

    /** Goes on with another model, as between two runs of the server. After `Construct`. */
    void Rewire(IApplicationModel *model)
    {
        applicationModel = model;
        fileProcessor->Rewire(model);
    }

    /** Answers a request; null is answered with an error. Null for a route that does not exist. */
    RestServerResponseObject *ProcessRequest(RestServerRequestObject *request);

    /** A new body, marked last: the object {"errorMessage": message}. */
    DataChunk *BuildErrorResponse(QString message);

    /** A new body, marked last: the empty object. */
    DataChunk *BuildEmptyResponse();

    RestServerResponseObject *ProcessInfoRequest(RestServerRequestObject *request);
    RestServerResponseObject *ProcessTechInfoRequest(RestServerRequestObject *request);

    RestServerResponseObject *ProcessWorkflowListRequest(RestServerRequestObject *request);
    RestServerResponseObject *ProcessWorkflowWorkordersRequest(RestServerRequestObject *request);

    /** Tells by the URI which of the two resources below a work order is meant. */
    RestServerResponseObject *
    ProcessWorkflowWorkorderByIdGenericRequest(RestServerRequestObject *request);
    RestServerResponseObject *ProcessWorkflowWorkorderByIdRequest(RestServerRequestObject *request,
                                                                  QString id);
    /** Accepts nothing; only tells a work order that exists from one that does not. */
    RestServerResponseObject *
    ProcessWorkflowWorkorderAttachmentByIdRequest(RestServerRequestObject *request, QString id);

    /** The document without "imageData" in the result data of its tests; gains "tests". */
    QJsonObject StripCdmImage(QJsonObject cdm);

    RestServerResponseObject *ProcessWorkflowActiveRequest(RestServerRequestObject *request);
    RestServerResponseObject *ProcessWorkflowTemplatesRequest(RestServerRequestObject *request);

    /**
     * Appends the entries of every template file in `directory`. A file that cannot be opened is
     * reported and left out. `templates` must not be null; a null is reported, no more.
     */
    void AppendTemplatesInDirectory(QDir directory, QJsonArray *templates);

    RestServerResponseObject *ProcessSyncfilesPendingFilesRequest(RestServerRequestObject *request);
    RestServerResponseObject *
    ProcessSyncfilesPendingFilesAllRequest(RestServerRequestObject *request);
    RestServerResponseObject *ProcessSyncfilesMetadataRequest(RestServerRequestObject *request);
    RestServerResponseObject *
    ProcessSyncfilesUserFilesByPathRequest(RestServerRequestObject *request);
    RestServerResponseObject *ProcessSyncfilesUserFilesRequest(RestServerRequestObject *request);

    RestServerResponseObject *ProcessFilemgrUserFilesRequest(RestServerRequestObject *request);
    RestServerResponseObject *ProcessFilemgrMetadataRequest(RestServerRequestObject *request);
    RestServerResponseObject *
    ProcessFilemgrUserFilesByPathRequest(RestServerRequestObject *request);

protected:
    /** Wires the processor to a model and a file processor of its owner's. */
    void Wire(IApplicationModel *model, RestServerFileProcessor *files)
    {
        applicationModel = model;
        fileProcessor = files;
    }

    /** The content of a template file; empty when it cannot be opened, which is reported. */
    using TemplateReader = std::function<QByteArray(const QString &path)>;

    /**
     * Reads whole files until a derived class puts another one in its place. No virtual function: a
     * stand-in for this class would have to define it, or the linker takes the class itself as
     * well.
     */
    TemplateReader templateReader;

private:
    void Report(const QString &message, int line);
    void ReportNullRequest(int line);
    RestServerResponseObject *RespondNullRequest(int line);
    RestServerResponseObject *RespondNullRequestInErrorString(int line);
    RestServerResponseObject *RespondError(int code, const QString &message);
    RestServerResponseObject *RespondHandlerError();
    RestServerResponseObject *RespondEmpty();
    RestServerResponseObject *ProcessTestRequest(RestServerRequestObject *request);
    RestServerResponseObject *SetActiveWorkOrder(RestServerRequestObject *request);
    RestServerResponseObject *RespondUserFileData(const QString &path);
    RestServerResponseObject *RespondUserFileDownload(const QString &path);
    RestServerResponseObject *ProcessUpload(RestServerRequestObject *request);
    void ActivateJob(Job *job, const QString &id);
    void RunActiveJobHooks();
    Job *FindJob(const QString &id);
    QByteArray ReadTemplateFile(const QString &path);

    RestServerFileProcessor *fileProcessor;
    IApplicationModel *applicationModel;
};

#endif
