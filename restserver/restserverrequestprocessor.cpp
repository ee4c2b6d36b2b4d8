#include "restserverrequestprocessor.h"

#include <QDebug>
#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QRegExp>

#include "latin1literal.h"
#include "restserverfileprocessor.h"
#include "storageaccess.h"

namespace {

// Stable identifiers that hosts match on, but for the lines: these move with the code here.
constexpr char requestProcessorSource[] = "restserverrequestprocessor";
constexpr int viewHookMode = 2;
constexpr int activeJobChangedCommand = 40;

// Texts of answers. Clients and hosts compare them, so each stays to the letter, misspelt ones too.
constexpr QLatin1String methodNotAllowed = "Method not allowed"_latin1;
constexpr QLatin1String errorInHandler = "Error in request handler"_latin1;
constexpr QLatin1String invalidUri = "Invalid URI"_latin1;
constexpr QLatin1String misspeltInvalidUri = "Inavlid URI"_latin1;
constexpr QLatin1String fileNotFound = "File not found"_latin1;
constexpr QLatin1String jobNotFound = "Job not found"_latin1;
constexpr QLatin1String workOrderNotFound = "WorkOrder not found"_latin1;

// Keys of the JSON objects that are read and written.
namespace Key {
constexpr QLatin1String activeWorkOrderId = "activeWorkOrderId"_latin1;
constexpr QLatin1String apiSupport = "apiSupport"_latin1;
constexpr QLatin1String assetInfo = "assetInfo"_latin1;
constexpr QLatin1String cdm = "cdm"_latin1;
constexpr QLatin1String cdmVersion = "cdmVersion"_latin1;
constexpr QLatin1String data = "data"_latin1;
constexpr QLatin1String errorMessage = "errorMessage"_latin1;
constexpr QLatin1String imageData = "imageData"_latin1;
constexpr QLatin1String infoVersion = "infoVersion"_latin1;
constexpr QLatin1String modifiedTime = "modifiedTime"_latin1;
constexpr QLatin1String name = "name"_latin1;
constexpr QLatin1String results = "results"_latin1;
constexpr QLatin1String techId = "techId"_latin1;
constexpr QLatin1String templates = "templates"_latin1;
constexpr QLatin1String tests = "tests"_latin1;
constexpr QLatin1String versions = "versions"_latin1;
constexpr QLatin1String workOrderId = "workOrderId"_latin1;
constexpr QLatin1String workOrderIds = "workOrderIds"_latin1;
constexpr QLatin1String workOrderInfo = "workOrderInfo"_latin1;
} // namespace Key

// The code is what the handler's thread tells the HTTP library. Clients see it only where the body
// is empty; every answer with a body, an error's too, goes out as 200.
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
    return QJsonObject{{Key::name, QLatin1String(name)}, {Key::versions, versions}};
}

// For a test that has result data.
QJsonObject StripTestImage(const QJsonObject &test)
{
    QJsonObject results = test.value(Key::results).toObject();
    QJsonObject data = results.value(Key::data).toObject();
    data.remove(Key::imageData);
    results.insert(Key::data, data);
    QJsonObject stripped = test;
    stripped.insert(Key::results, results);
    return stripped;
}

bool HasResultData(const QJsonObject &test)
{
    return test.value(Key::results).toObject().contains(Key::data);
}

enum class UriMatch
{
    None,
    WrongCaptureCount,
    Path
};

// Searches the URI and takes the one thing that the pattern captures. A pattern without "^" is
// found anywhere in it: a URI of absolute form still has its host in front.
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
    : templateReader([this](const QString &path) { return ReadTemplateFile(path); })
    , fileProcessor(nullptr)
    , applicationModel(nullptr)
{}

void RestServerRequestProcessor::Construct(IApplicationModel *model)
{
    applicationModel = model;
    // Never deleted: a request may be on its way for as long as the process lives.
    fileProcessor = new RestServerFileProcessor();
    fileProcessor->Construct(model);
}

void RestServerRequestProcessor::Shutdown() {}

RestServerResponseObject *
RestServerRequestProcessor::ProcessRequest(RestServerRequestObject *request)
{
    if (request == nullptr) {
        return RespondError(500, errorInHandler); // not reported: the handlers do that
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
    return nullptr; // a number without a route, which no caller passes
}

DataChunk *RestServerRequestProcessor::BuildErrorResponse(QString message)
{
    const QJsonObject body{{Key::errorMessage, message}};
    return new DataChunk(QJsonDocument(body).toJson(), true);
}

DataChunk *RestServerRequestProcessor::BuildEmptyResponse()
{
    return new DataChunk(QJsonDocument(QJsonObject()).toJson(), true);
}

void RestServerRequestProcessor::Report(const QString &message, int line)
{
    applicationModel->ErrorReporter()->ReportError(message, requestProcessorSource, line);
}

void RestServerRequestProcessor::ReportNullRequest(int line)
{
    Report(QStringLiteral("Null request provided, returning HTTP error"), line);
}

RestServerResponseObject *RestServerRequestProcessor::RespondNullRequest(int line)
{
    ReportNullRequest(line);
    return RespondError(500, errorInHandler);
}

// The handlers of the second file interface and two more have text and message swapped: it is in
// the error string, which nobody sees, and the body's message is empty. Clients know them so.
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

// No URI leads here: it is for trying the way from thread to thread, whatever the method.
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
        QJsonObject{{Key::infoVersion, 1},
                    {Key::apiSupport, families},
                    {Key::assetInfo, applicationModel->AssetModel()->GetAssetInfo()}});
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
        return RespondError(400,
                            methodNotAllowed); // not the method is wrong, but clients know it so
    }
    if (!document.object().contains(Key::techId)) {
        return RespondError(400, QStringLiteral("Missing techId"));
    }
    const QString techId = document.object().value(Key::techId).toString();
    // QRegExp's word characters are letters and digits of every script, QRegularExpression's are
    // not.
    if (!QRegExp(QStringLiteral("\\w{1,20}")).exactMatch(techId)) {
        return RespondError(400, QStringLiteral("Invalid techId"));
    }
    // By the top-level model, which may have another one than this model where a host has several.
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
    // Asked for at each step, here and below: a host may change its jobs while one is being asked.
    for (int i = 0; i < applicationModel->JobModel()->Jobs().size(); ++i) {
        ids.append(applicationModel->JobModel()->Jobs().at(i)->WorkOrderId());
    }
    QJsonArray details;
    for (int i = 0; i < applicationModel->JobModel()->Jobs().size(); ++i) {
        Job *job = applicationModel->JobModel()->Jobs().at(i);
        // The "Z" is a letter of the format: the time is printed as the host gives it.
        details.append(QJsonObject{{Key::workOrderId, job->WorkOrderId()},
                                   {Key::modifiedTime, job->ModifiedTime().toString(QStringLiteral(
                                                           "yyyy-MM-ddThh:mm:ssZ"))}});
    }
    return RespondJson(QJsonObject{{Key::workOrderIds, ids}, {Key::workOrderInfo, details}});
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
    if (!document.object().contains(Key::cdm)) {
        qDebug() << "No cdm object found";
        return RespondError(400, QStringLiteral("No cdm property present"));
    }
    // A "cdm" of another type arrives as an empty array: what that means is the store's decision.
    const QJsonArray workOrders = document.object().value(Key::cdm).toArray();
    if (!applicationModel->WorkOrderStore()->UpdateWorkOrders(workOrders)) {
        Report(QStringLiteral("Failed to update jobs on filesystem"), __LINE__);
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
    return RespondError(404, misspeltInvalidUri);
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
    return RespondJson(
        QJsonObject{{Key::cdmVersion, QStringLiteral("2.1")}, {Key::cdm, StripCdmImage(cdm)}});
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
    if (FindJob(id) != nullptr) { // there is a work order, but nothing takes attachments
        return RespondError(405, QStringLiteral("Not allowed"));
    }
    qDebug() << "Didn't find a job, job id: " << id;
    return RespondError(404, jobNotFound);
}

QJsonObject RestServerRequestProcessor::StripCdmImage(QJsonObject cdm)
{
    QJsonArray tests = cdm.value(Key::tests).toArray();
    for (int i = 0; i < tests.size(); ++i) {
        const QJsonObject test = tests.at(i).toObject();
        if (HasResultData(test)) {
            tests.replace(i, StripTestImage(test));
        }
    }
    cdm.insert(Key::tests, tests); // also where there was none: clients always find an array
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
    return RespondJson(QJsonObject{{Key::activeWorkOrderId, id}});
}

RestServerResponseObject *
RestServerRequestProcessor::SetActiveWorkOrder(RestServerRequestObject *request)
{
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(request->RequestDataChunk()->Data(), &error);
    const QVariantMap members = document.object().toVariantMap();
    const auto wanted = members.constFind(Key::activeWorkOrderId);
    if (error.error != QJsonParseError::NoError || wanted == members.constEnd()) {
        return RespondError(404, workOrderNotFound);
    }
    const QString id = wanted->toString();
    Job *job = FindJob(id);
    if (job == nullptr) {
        return RespondError(404, workOrderNotFound);
    }
    ActivateJob(job, id);
    return RespondJson(document); // all that was sent, whatever else it holds
}

void RestServerRequestProcessor::ActivateJob(Job *job, const QString &id)
{
    IJobModel *jobModel = applicationModel->JobModel();
    Job *previous = jobModel->ActiveJob();
    const QString previousId = previous != nullptr ? previous->WorkOrderId() : QString();
    jobModel->SetActiveJob(job); // also when it is: the host decides whether that means anything
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
        const StorageAccess access(storage);
        AppendTemplatesInDirectory(storage->Directory(IStorageModel::GuardedTemplateDirectory),
                                   &templates);
    }
    return RespondJson(QJsonObject{{Key::templates, templates}});
}

void RestServerRequestProcessor::AppendTemplatesInDirectory(QDir directory, QJsonArray *templates)
{
    if (templates == nullptr) {
        // Reported and gone on with: a directory without templates needs no array.
        Report(QStringLiteral("Null templates array provided"), __LINE__);
    }
    if (!directory.exists()) {
        return;
    }
    // Name filters ignore case by default, and "b.JSON" is not a template. NoSort leaves it to the
    // directory how it lists: by name, unless the host set another order.
    const QStringList names = directory.entryList({QStringLiteral("*.json")},
                                                  QDir::Files | QDir::CaseSensitive, QDir::NoSort);
    for (const QString &name : names) {
        const QByteArray content = templateReader(directory.absoluteFilePath(name));
        const QJsonObject document = QJsonDocument::fromJson(content).object();
        const QJsonArray entries = document.value(Key::cdm).toArray();
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
        Report(QStringLiteral("Failed to open template file"), __LINE__);
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
        return RespondEmpty(); // no path, no metadata: not an error here, as it is everywhere else
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
        return RespondHandlerError(); // with 500: in this interface no method is "not allowed"
    }
    bool found = false;
    const QJsonObject metadata = applicationModel->AssetModel()->GetFileMetadata(fileName, &found);
    return found ? RespondJson(metadata) : RespondError(404, invalidUri); // not "File not found"
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
        delete chunk; // null, unless a file processor gave one in spite of its failure
        return RespondError(404, QStringLiteral("File read failure"));
    }
    return new RestServerResponseObject(200, chunk, QString(), context);
}
