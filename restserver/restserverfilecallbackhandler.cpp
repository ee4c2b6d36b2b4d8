#include "restserverfilecallbackhandler.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <limits>

#include "latin1literal.h"
#include "uploadfile.h"
#include "userfilespath.h"

namespace {

constexpr char callbackHandlerSource[] = "restserverfilecallbackhandler";
constexpr QLatin1String illegalState = "Illegal state"_latin1;

// Hosts match on the source and the line of a report, so these are stable and do not move with the
// code.
constexpr int startInMetadataLine = 90;
constexpr int illegalStartLine = 102;
constexpr int endInIdleLine = 115;
constexpr int endOfClosedFileLine = 140;
constexpr int endWithoutFileLine = 144;
constexpr int dataForClosedFileLine = 183;
constexpr int dataWithoutFileLine = 187;
constexpr int illegalDataLine = 191;

// No single conversion of Qt's truncates toward zero and gives 0 for what does not fit.
int ToInteger(const QJsonValue &value)
{
    const double number = value.toDouble(0);
    const bool fits = number > std::numeric_limits<int>::min() - 1.0 &&
                      number < std::numeric_limits<int>::max() + 1.0;
    return fits ? static_cast<int>(number) : 0;
}

} // namespace

RestServerFileCallbackHandler::RestServerFileCallbackHandler()
    : applicationModel(nullptr)
    , state(Idle)
    , file(nullptr)
    , result(false)
{}

void RestServerFileCallbackHandler::Construct(IApplicationModel *model)
{
    applicationModel = model;
}

void RestServerFileCallbackHandler::Shutdown() {}

void RestServerFileCallbackHandler::Reset()
{
    state = Idle;
    delete file; // closes it
    file = nullptr;
    metadata.clear();
    result = false;
}

void RestServerFileCallbackHandler::NotifyPartStart()
{
    switch (state) {
    case Idle:
        state = ReadingMetadata;
        break;
    case ReadingMetadata:
        // A part in a part: what follows is taken for the file, though it has no path yet.
        Report(QStringLiteral("Potential bad state"), startInMetadataLine);
        state = WritingFile;
        break;
    case WritingFile:
        OpenFile();
        break;
    default:
        Report(illegalState, illegalStartLine);
        break;
    }
}

void RestServerFileCallbackHandler::ProcessPartData(const char *data, int length)
{
    switch (state) {
    case Idle:
    case Failed:
        break; // silent, or every slice of a refused file would be a report
    case ReadingMetadata:
        metadata.append(data, length);
        break;
    case WritingFile:
        WriteToFile(data, length);
        break;
    default:
        Report(illegalState, illegalDataLine);
        break;
    }
}

void RestServerFileCallbackHandler::NotifyPartEnd()
{
    switch (state) {
    case Idle:
        Report(illegalState, endInIdleLine);
        break;
    case ReadingMetadata: {
        bool ok = false;
        targetPath = GetFilename(&ok);
        state = ok ? WritingFile : Failed;
        break;
    }
    case WritingFile:
        CloseFile();
        break;
    default:
        break;
    }
}

void RestServerFileCallbackHandler::NotifyPieceEnd()
{
    if (file != nullptr && file->IsOpen()) {
        file->WriteOut();
    }
}

// The state stays as it is when a part ends, so each further part starts the file anew and the last
// one counts. The object of the part before is not released: it is closed, and one more in a body
// is rare.
void RestServerFileCallbackHandler::OpenFile()
{
    file = NewFile(targetPath);
    if (!file->Open()) {
        state = Failed;
    }
}

IUploadFile *RestServerFileCallbackHandler::NewFile(const QString &path)
{
    return new UploadFile(path);
}

void RestServerFileCallbackHandler::Refused(const QString &) {}

void RestServerFileCallbackHandler::WriteToFile(const char *data, int length)
{
    if (file == nullptr) {
        Report(illegalState, dataWithoutFileLine);
    } else if (file->IsOpen()) {
        file->Append(data, length);
    } else {
        Report(illegalState, dataForClosedFileLine);
    }
}

void RestServerFileCallbackHandler::CloseFile()
{
    if (file == nullptr) {
        Report(illegalState, endWithoutFileLine);
    } else if (file->IsOpen()) {
        file->Close();
        result = true;
    } else {
        Report(illegalState, endOfClosedFileLine);
    }
}

// The space is asked for before the path is compared: hosts see it asked for every upload.
QString RestServerFileCallbackHandler::GetFilename(bool *ok)
{
    if (ok == nullptr) {
        return QString();
    }
    *ok = false;
    const UploadMetadata announced = ReadMetadata(metadata);
    if (!announced.problem.isEmpty()) {
        Refused(QStringLiteral("the first part is not JSON: %1").arg(announced.problem));
        return QString();
    }
    QString path = announced.fileUri;
    qDebug() << "Got output file " << path;
    const qint64 size = announced.fileSize;
    if (!applicationModel->StorageModel()->HasFreeSpace(size)) {
        qDebug() << "No space!";
        Refused(QStringLiteral("there is no room for %1 bytes").arg(size));
        return QString();
    }
    if (!IsUserFilesPath(path, applicationModel->StorageModel())) {
        qDebug() << "Incorrect path provided";
        Refused(QStringLiteral("the path \"%1\" is outside the user files").arg(path));
        return QString();
    }
    *ok = true;
    return path;
}

UploadMetadata RestServerFileCallbackHandler::ReadMetadata(const QByteArray &json)
{
    return ParseMetadata(json);
}

UploadMetadata RestServerFileCallbackHandler::ParseMetadata(const QByteArray &json)
{
    UploadMetadata read;
    QJsonParseError error;
    const QJsonObject object = QJsonDocument::fromJson(json, &error).object();
    if (error.error != QJsonParseError::NoError) {
        read.problem = error.errorString();
        return read;
    }
    read.fileUri = object.value(QStringLiteral("fileUri")).toString();
    read.fileSize = ToInteger(object.value(QStringLiteral("fileSize")));
    return read;
}

bool RestServerFileCallbackHandler::GetFinalResult()
{
    return result;
}

void RestServerFileCallbackHandler::Report(const QString &message, int line)
{
    applicationModel->ErrorReporter()->ReportError(message, callbackHandlerSource, line);
}
