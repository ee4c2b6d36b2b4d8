#include "prompthandlers.h"

#include <QFile>

#include "jsonlength.h"
#include "jsonsyntax.h"

PromptHandlers::PromptHandlers(PromptHost *promptHost)
    : host(promptHost)
    , files(promptHost)
{
    Wire(promptHost, &files);
    templateReader = [this, readWhole = templateReader](const QString &path) {
        return ReadTemplate(path, readWhole);
    };
}

RestServerResponseObject *PromptHandlers::Answer(RestServerRequestObject *request)
{
    templateRoom = readRoom = 4 * largestTemplate;
    leftOut = 0;
    std::unique_ptr<RestServerResponseObject> response(ProcessRequest(request));
    ReportLeftOut();
    return response.release();
}

// Clients may be able to place it there: one that would do harm is left out. To read and look at it
// takes time as well, so those that are left out count in what is read for one answer.
QByteArray PromptHandlers::ReadTemplate(const QString &path, const TemplateReader &readWhole)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return readWhole(path); // which reports it
    }
    const qint64 most = qMin(largestTemplate, readRoom);
    QByteArray content = file.read(most + 1);
    readRoom = qMax<qint64>(readRoom - content.size(), 0);
    const QString problem = ProblemOf(content, most);
    if (problem.isEmpty()) {
        return content;
    }
    if (++leftOut == 1) {
        firstLeftOut = QStringLiteral("%1: %2").arg(path, problem);
    }
    return QByteArray();
}

QString PromptHandlers::ProblemOf(const QByteArray &content, qint64 mostBytes)
{
    const bool isWhole = content.size() <= mostBytes;
    JsonSyntax syntax(JsonSyntax::AreCompared);
    const qint64 length = isWhole ? IndentedJsonLength(content, &syntax) : 0;
    if (!isWhole || length > qMin(largestTemplate, templateRoom)) {
        return QStringLiteral("it is too large for an answer");
    }
    if (syntax.RepeatsKey()) {
        return QStringLiteral("an object in it has a key twice");
    }
    templateRoom -= length;
    return QString();
}

// One line for each request, however many there are.
void PromptHandlers::ReportLeftOut()
{
    if (leftOut == 0) {
        return;
    }
    QString message = QStringLiteral("Left out the template file ") + firstLeftOut;
    if (leftOut > 1) {
        message += QStringLiteral("; and %1 more").arg(leftOut - 1);
    }
    host->ErrorReporter()->ReportError(message, "prompthandlers", __LINE__);
}
