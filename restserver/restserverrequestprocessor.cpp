#include "restserverrequestprocessor.h"

#include <QDebug>
#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QRegExp>

#include "restserverfileprocessor.h"

namespace {

constexpr char sourceName[] = "restserverrequestprocessor";
constexpr int viewHookMode = 2;
constexpr int activeJobChangedCommand = 40;

const QString methodNotAllowed = QStringLiteral("Method not allowed");
const QString errorInHandler = QStringLiteral("Error in request handler");
const QString invalidUri = QStringLiteral("Invalid URI");
const QString fileNotFound = QStringLiteral("File not found");
const QString jobNotFound = QStringLiteral("Job not found");
const QString workOrderNotFound = QStringLiteral("WorkOrder not found");

RestServerResponseObject *Respond(int code, DataChunk *body, const QString &errorString = QString())
{
    return new RestServerResponseObject(code, body, errorString, nullptr);
}

RestServerResponseObject *RespondBytes(const QByteArray &body)
{
    return Respond(200, new DataChunk(body, true));
}

RestServerResponseObject *RespondJson(const QJsonDocument &document)
{
    return RespondBytes(document.toJson());
}

RestServerResponseObject *RespondJson(const QJsonObject &object)
{
    return RespondJson(QJsonDocument(object));
}

QJsonObject ApiFamily(const char *name, const QJsonArray &versions)
{
    return QJsonObject{{QStringLiteral("name"), QLatin1String(name)},
                       {QStringLiteral("versions"), versions}};
}

bool HasMember(const QJsonDocument &document, const QString &key)
{
    return document.object().contains(key);
}

// For a test that has result data.
QJsonObject StripTestImage(const QJsonObject &test)
{
    const QString resultsKey = QStringLiteral("results");
    const QString dataKey = QStringLiteral("data");
    QJsonObject results = test.value(resultsKey).toObject();
    QJsonObject data = results.value(dataKey).toObject();
    data.remove(QStringLiteral("imageData"));
    results.insert(dataKey, data);
    QJsonObject stripped = test;
    stripped.insert(resultsKey, results);
    return stripped;
}

bool HasResultData(const QJsonObject &test)
{
    return test.value(QStringLiteral("results")).toObject().contains(QStringLiteral("data"));
}

enum class UriMatch
{
    None,
    WrongCaptureCount,
    Path
};

// Searches the URI and takes the one thing that the pattern captures.
UriMatch MatchUri(const QString &pattern, const RestServerRequestObject &request, QString *captured)
{
    QRegExp expression(pattern);
    if (expression.indexIn(request.FullUri()) < 0) {
        return UriMatch::None;
    }
    if (expression.captureCount() != 1) {
        return UriMatch::WrongCaptureCount;
    }
    *captured = expression.cap(1);
    return UriMatch::Path;
}

UriMatch MatchFilePath(const QString &prefix, const RestServerRequestObject &request, QString *path)
{
    const UriMatch match = MatchUri(prefix + QStringLiteral("([^\\?]+)\\??.*"), request, path);
    if (match == UriMatch::Path) {
        qDebug() << "Filename " << *path << " requested";
    }
    return match;
}

} // namespace

RestServerRequestProcessor::RestServerRequestProcessor()
    : fileProcessor(nullptr)
    , applicationModel(nullptr)
{}

void RestServerRequestProcessor::Construct(IApplicationModel *model)
{
    applicationModel = model;
    fileProcessor = new RestServerFileProcessor();
    fileProcessor->Construct(model);
}

void RestServerRequestProcessor::Shutdown() {}

RestServerResponseObject *
RestServerRequestProcessor::ProcessRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondError(500, errorInHandler);
    }
    switch (request->RequestUri()) {
    case RestServerRequestUri::Info:
        return ProcessInfoRequest(request);
    case RestServerRequestUri::WorkflowWorkorders:
        return ProcessWorkflowWorkordersRequest(request);
    case RestServerRequestUri::WorkflowList:
        return ProcessWorkflowListRequest(request);
    case RestServerRequestUri::WorkflowTemplates:
        return ProcessWorkflowTemplatesRequest(request);
    case RestServerRequestUri::WorkflowActive:
        return ProcessWorkflowActiveRequest(request);
    case RestServerRequestUri::WorkflowWorkorderById:
        return ProcessWorkflowWorkorderByIdGenericRequest(request);
    case RestServerRequestUri::SyncfilesPendingFiles:
        return ProcessSyncfilesPendingFilesRequest(request);
    case RestServerRequestUri::SyncfilesPendingFilesAll:
        return ProcessSyncfilesPendingFilesAllRequest(request);
    case RestServerRequestUri::SyncfilesMetadata:
        return ProcessSyncfilesMetadataRequest(request);
    case RestServerRequestUri::SyncfilesUserFilesByPath:
        return ProcessSyncfilesUserFilesByPathRequest(request);
    case RestServerRequestUri::SyncfilesUserFiles:
        return ProcessSyncfilesUserFilesRequest(request);
    case RestServerRequestUri::FilemgrUserFiles:
        return ProcessFilemgrUserFilesRequest(request);
    case RestServerRequestUri::FilemgrUserMetadata:
        return ProcessFilemgrMetadataRequest(request);
    case RestServerRequestUri::FilemgrUserFilesByPath:
        return ProcessFilemgrUserFilesByPathRequest(request);
    case RestServerRequestUri::TechInfo:
        return ProcessTechInfoRequest(request);
    case RestServerRequestUri::Test:
        return ProcessTestRequest(request);
    }
    return nullptr;
}

DataChunk *RestServerRequestProcessor::BuildErrorResponse(QString message)
{
    const QJsonObject body{{QStringLiteral("errorMessage"), message}};
    return new DataChunk(QJsonDocument(body).toJson(), true);
}

DataChunk *RestServerRequestProcessor::BuildEmptyResponse()
{
    return new DataChunk(QJsonDocument(QJsonObject()).toJson(), true);
}

void RestServerRequestProcessor::ReportNullRequest(int line)
{
    applicationModel->ErrorReporter()->ReportError(
        QStringLiteral("Null request provided, returning HTTP error"), sourceName, line);
}

RestServerResponseObject *RestServerRequestProcessor::RespondNullRequest(int line)
{
    ReportNullRequest(line);
    return RespondError(500, errorInHandler);
}

// Some handlers put the text into the error string and leave the body's message empty.
RestServerResponseObject *RestServerRequestProcessor::RespondNullRequestInErrorString(int line)
{
    ReportNullRequest(line);
    return RespondHandlerError();
}

RestServerResponseObject *RestServerRequestProcessor::RespondError(int code, const QString &message)
{
    return Respond(code, BuildErrorResponse(message));
}

RestServerResponseObject *RestServerRequestProcessor::RespondHandlerError()
{
    return Respond(500, BuildErrorResponse(QString()), errorInHandler);
}

RestServerResponseObject *RestServerRequestProcessor::RespondEmpty()
{
    return Respond(200, BuildEmptyResponse());
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessTestRequest(RestServerRequestObject *request)
{
    qDebug() << "Got test URI: " << request->FullUri();
    qDebug() << "Got test body: " << request->RequestDataChunk()->Data().constData();
    return RespondEmpty();
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessInfoRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondError(405, methodNotAllowed);
    }
    const QJsonArray versionOne{1};
    const QJsonArray versionTwo{2};
    const QJsonArray families{ApiFamily("workflow", versionOne), ApiFamily("syncfiles", versionOne),
                              ApiFamily("filemgr", versionTwo), ApiFamily("techinfo", versionOne)};
    return RespondJson(
        QJsonObject{{QStringLiteral("infoVersion"), 1},
                    {QStringLiteral("apiSupport"), families},
                    {QStringLiteral("assetInfo"), applicationModel->AssetModel()->GetAssetInfo()}});
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessTechInfoRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequestInErrorString(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Post) {
        return RespondError(405, methodNotAllowed);
    }
    const QByteArray &body = request->RequestDataChunk()->Data();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        qDebug() << "Body length: " << body.size();
        qDebug() << "Got parse error: " << error.errorString();
        return RespondError(400, methodNotAllowed);
    }
    const QString key = QStringLiteral("techId");
    if (!HasMember(document, key)) {
        return RespondError(400, QStringLiteral("Missing techId"));
    }
    const QString techId = document.object().value(key).toString();
    if (!QRegExp(QStringLiteral("\\w{1,20}")).exactMatch(techId)) {
        return RespondError(400, QStringLiteral("Invalid techId"));
    }
    applicationModel->RootModel()->SyncFilesModel()->SetTechId(techId);
    return RespondEmpty();
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessWorkflowListRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondError(405, methodNotAllowed);
    }
    QJsonArray ids;
    for (int i = 0; i < applicationModel->JobModel()->Jobs().size(); ++i) {
        ids.append(applicationModel->JobModel()->Jobs().at(i)->WorkOrderId());
    }
    QJsonArray details;
    for (int i = 0; i < applicationModel->JobModel()->Jobs().size(); ++i) {
        Job *job = applicationModel->JobModel()->Jobs().at(i);
        // The "Z" is a letter of the format: the time is printed as the host gives it.
        details.append(
            QJsonObject{{QStringLiteral("workOrderId"), job->WorkOrderId()},
                        {QStringLiteral("modifiedTime"),
                         job->ModifiedTime().toString(QStringLiteral("yyyy-MM-ddThh:mm:ssZ"))}});
    }
    return RespondJson(QJsonObject{{QStringLiteral("workOrderIds"), ids},
                                   {QStringLiteral("workOrderInfo"), details}});
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessWorkflowWorkordersRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Post) {
        return RespondError(405, methodNotAllowed);
    }
    const QByteArray &body = request->RequestDataChunk()->Data();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        qDebug() << "Body lengtH: " << body.size();
        qDebug() << "Got parse error: " << error.errorString();
        return RespondError(400, methodNotAllowed);
    }
    const QString key = QStringLiteral("cdm");
    if (!HasMember(document, key)) {
        qDebug() << "No cdm object found";
        return RespondError(400, QStringLiteral("No cdm property present"));
    }
    if (!applicationModel->WorkOrderStore()->UpdateWorkOrders(
            document.object().value(key).toArray())) {
        applicationModel->ErrorReporter()->ReportError(
            QStringLiteral("Failed to update jobs on filesystem"), sourceName, __LINE__);
        return RespondError(500, errorInHandler);
    }
    applicationModel->JobModel()->RefreshJobs();
    return RespondEmpty();
}

RestServerResponseObject *RestServerRequestProcessor::ProcessWorkflowWorkorderByIdGenericRequest(
    RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    const QString workorder = QStringLiteral("^/api/workflow/v1/workorder/([^/]+)");
    QString id;
    switch (MatchUri(workorder + QStringLiteral("$"), *request, &id)) {
    case UriMatch::None:
        break;
    case UriMatch::WrongCaptureCount:
        return RespondError(404, invalidUri);
    case UriMatch::Path:
        return ProcessWorkflowWorkorderByIdRequest(request, id);
    }
    switch (MatchUri(workorder + QStringLiteral("/attachment$"), *request, &id)) {
    case UriMatch::None:
        break;
    case UriMatch::WrongCaptureCount:
        return RespondError(404, invalidUri);
    case UriMatch::Path:
        qDebug() << "Job Id: " << id;
        return ProcessWorkflowWorkorderAttachmentByIdRequest(request, id);
    }
    return RespondError(404, QStringLiteral("Inavlid URI"));
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessWorkflowWorkorderByIdRequest(RestServerRequestObject *request,
                                                                QString id)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondError(405, methodNotAllowed);
    }
    bool found = false;
    const QJsonObject cdm = applicationModel->WorkOrderStore()->GetWorkOrder(id, &found);
    if (!found) {
        return RespondError(404, jobNotFound);
    }
    return RespondJson(QJsonObject{{QStringLiteral("cdmVersion"), QStringLiteral("2.1")},
                                   {QStringLiteral("cdm"), StripCdmImage(cdm)}});
}

RestServerResponseObject *RestServerRequestProcessor::ProcessWorkflowWorkorderAttachmentByIdRequest(
    RestServerRequestObject *request, QString id)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Post) {
        return RespondError(405, methodNotAllowed);
    }
    if (FindJob(id) != nullptr) {
        return RespondError(405, QStringLiteral("Not allowed"));
    }
    qDebug() << "Didn't find a job, job id: " << id;
    return RespondError(404, jobNotFound);
}

QJsonObject RestServerRequestProcessor::StripCdmImage(QJsonObject cdm)
{
    const QString key = QStringLiteral("tests");
    QJsonArray tests = cdm.value(key).toArray();
    for (int i = 0; i < tests.size(); ++i) {
        const QJsonObject test = tests.at(i).toObject();
        if (HasResultData(test)) {
            tests.replace(i, StripTestImage(test));
        }
    }
    cdm.insert(key, tests);
    return cdm;
}

Job *RestServerRequestProcessor::FindJob(const QString &id)
{
    for (int i = 0; i < applicationModel->JobModel()->Jobs().size(); ++i) {
        Job *job = applicationModel->JobModel()->Jobs().at(i);
        if (job->WorkOrderId() == id) {
            return job;
        }
    }
    return nullptr;
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessWorkflowActiveRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() == RestServerRequestMethod::Put) {
        return SetActiveWorkOrder(request);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        // Here, and only here, the text is the error string and the body's message is empty.
        return Respond(405, BuildErrorResponse(QString()), methodNotAllowed);
    }
    Job *active = applicationModel->JobModel()->ActiveJob();
    const QString id = active != nullptr ? active->WorkOrderId() : QStringLiteral("");
    return RespondJson(QJsonObject{{QStringLiteral("activeWorkOrderId"), id}});
}

RestServerResponseObject *
RestServerRequestProcessor::SetActiveWorkOrder(RestServerRequestObject *request)
{
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(request->RequestDataChunk()->Data(), &error);
    const QVariantMap members = document.object().toVariantMap();
    const auto wanted = members.constFind(QStringLiteral("activeWorkOrderId"));
    if (error.error != QJsonParseError::NoError || wanted == members.constEnd()) {
        return RespondError(404, workOrderNotFound);
    }
    const QString id = wanted->toString();
    Job *job = FindJob(id);
    if (job == nullptr) {
        return RespondError(404, workOrderNotFound);
    }
    ActivateJob(job, id);
    return RespondJson(document);
}

void RestServerRequestProcessor::ActivateJob(Job *job, const QString &id)
{
    IJobModel *jobModel = applicationModel->JobModel();
    Job *previous = jobModel->ActiveJob();
    const QString previousId = previous != nullptr ? previous->WorkOrderId() : QString();
    jobModel->SetActiveJob(job);
    if (previousId != id) {
        RunActiveJobHooks();
    }
}

void RestServerRequestProcessor::RunActiveJobHooks()
{
    if (applicationModel->ModeModel()->CurrentMode() == viewHookMode) {
        applicationModel->RootModel()->ResetJobView();
        applicationModel->JobPanelModel()->SetJobPanelOpen(false);
    }
    applicationModel->Command(activeJobChangedCommand)->Execute();
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessWorkflowTemplatesRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondError(405, methodNotAllowed);
    }
    IStorageModel *storage = applicationModel->StorageModel();
    QJsonArray templates;
    AppendTemplatesInDirectory(storage->Directory(IStorageModel::TemplateDirectory), &templates);
    if (storage->IsStorageAvailable()) {
        storage->BeginStorageAccess();
        AppendTemplatesInDirectory(storage->Directory(IStorageModel::GuardedTemplateDirectory),
                                   &templates);
        storage->EndStorageAccess();
    }
    return RespondJson(QJsonObject{{QStringLiteral("templates"), templates}});
}

void RestServerRequestProcessor::AppendTemplatesInDirectory(QDir directory, QJsonArray *templates)
{
    if (templates == nullptr) {
        applicationModel->ErrorReporter()->ReportError(
            QStringLiteral("Null templates array provided"), sourceName, __LINE__);
    }
    if (!directory.exists()) {
        return;
    }
    // Name filters ignore case by default, and "b.JSON" is no template.
    const QStringList names = directory.entryList({QStringLiteral("*.json")},
                                                  QDir::Files | QDir::CaseSensitive, QDir::NoSort);
    for (const QString &name : names) {
        const QByteArray content = ReadTemplateFile(directory.absoluteFilePath(name));
        const QJsonObject document = QJsonDocument::fromJson(content).object();
        const QJsonArray entries = document.value(QStringLiteral("cdm")).toArray();
        for (const QJsonValue entry : entries) {
            templates->append(entry.toObject());
        }
    }
}

QByteArray RestServerRequestProcessor::ReadTemplateFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug() << "Template file: " << path;
        applicationModel->ErrorReporter()->ReportError(
            QStringLiteral("Failed to open template file"), sourceName, __LINE__);
        return QByteArray();
    }
    return file.readAll();
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessSyncfilesPendingFilesRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondError(405, methodNotAllowed);
    }
    return RespondJson(QJsonDocument(applicationModel->SyncFilesModel()->GetPendingFiles()));
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessSyncfilesPendingFilesAllRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondError(405, methodNotAllowed);
    }
    return RespondJson(QJsonDocument(applicationModel->SyncFilesModel()->GetAllPendingFiles()));
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessSyncfilesMetadataRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondError(405, methodNotAllowed);
    }
    QString fileName;
    switch (MatchFilePath(QStringLiteral("/api/syncfiles/v1/metadata"), *request, &fileName)) {
    case UriMatch::None:
        return RespondEmpty();
    case UriMatch::WrongCaptureCount:
        return RespondError(404, invalidUri);
    case UriMatch::Path:
        break;
    }
    bool found = false;
    const QJsonObject metadata = applicationModel->AssetModel()->GetFileMetadata(fileName, &found);
    return found ? RespondJson(metadata) : RespondError(404, fileNotFound);
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessSyncfilesUserFilesByPathRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequest(__LINE__);
    }
    QString path;
    if (MatchFilePath(QStringLiteral("/api/syncfiles/v1/userfiles"), *request, &path) !=
        UriMatch::Path) {
        return RespondError(404, invalidUri);
    }
    switch (request->RequestMethod()) {
    case RestServerRequestMethod::Get:
        return RespondUserFileData(path);
    case RestServerRequestMethod::Put:
        return applicationModel->SyncFilesModel()->MarkFileSynced(path)
                   ? RespondEmpty()
                   : RespondError(404, fileNotFound);
    default:
        return RespondError(405, methodNotAllowed);
    }
}

RestServerResponseObject *RestServerRequestProcessor::RespondUserFileData(const QString &path)
{
    bool found = false;
    const QByteArray content = applicationModel->SyncFilesModel()->GetFileData(path, &found);
    return found ? RespondBytes(content) : RespondError(404, fileNotFound);
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessSyncfilesUserFilesRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequestInErrorString(__LINE__);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Post) {
        return RespondError(405, methodNotAllowed);
    }
    return ProcessUpload(request);
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessUpload(RestServerRequestObject *request)
{
    return fileProcessor->ProcessFileUploadRequest(request->RequestDataChunk())
               ? RespondEmpty()
               : RespondError(400, QStringLiteral("Upload failed"));
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessFilemgrUserFilesRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequestInErrorString(__LINE__);
    }
    switch (request->RequestMethod()) {
    case RestServerRequestMethod::Get:
        return RespondJson(applicationModel->FileManagerModel()->GetUserFiles());
    case RestServerRequestMethod::Post:
        return ProcessUpload(request);
    default:
        return RespondHandlerError();
    }
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessFilemgrMetadataRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequestInErrorString(__LINE__);
    }
    QString fileName;
    if (MatchFilePath(QStringLiteral("/api/filemgr/v2/metadata"), *request, &fileName) !=
        UriMatch::Path) {
        return RespondError(404, invalidUri);
    }
    if (request->RequestMethod() != RestServerRequestMethod::Get) {
        return RespondHandlerError();
    }
    bool found = false;
    const QJsonObject metadata = applicationModel->AssetModel()->GetFileMetadata(fileName, &found);
    return found ? RespondJson(metadata) : RespondError(404, invalidUri);
}

RestServerResponseObject *
RestServerRequestProcessor::ProcessFilemgrUserFilesByPathRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondNullRequestInErrorString(__LINE__);
    }
    QString path;
    if (MatchFilePath(QStringLiteral("/api/filemgr/v2/userfiles"), *request, &path) !=
        UriMatch::Path) {
        return RespondError(404, invalidUri);
    }
    switch (request->RequestMethod()) {
    case RestServerRequestMethod::Get:
        return RespondUserFileDownload(path);
    case RestServerRequestMethod::Delete:
        return applicationModel->FileManagerModel()->DeleteUserFile(path)
                   ? RespondEmpty()
                   : RespondError(404, invalidUri);
    default:
        return RespondHandlerError();
    }
}

RestServerResponseObject *RestServerRequestProcessor::RespondUserFileDownload(const QString &path)
{
    DataChunk *chunk = nullptr;
    IDownloadContext *context = nullptr;
    if (!fileProcessor->ProcessFileDownloadRequest(path, &chunk, &context)) {
        delete chunk;
        return RespondError(404, QStringLiteral("File read failure"));
    }
    return new RestServerResponseObject(200, chunk, QString(), context);
}
