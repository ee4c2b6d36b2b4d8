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
    templateRoom = 4 * largestTemplate;
    return ProcessRequest(request);
}

// Clients may be able to place it there: one that would do harm is left out.
QByteArray PromptHandlers::ReadTemplate(const QString &path, const TemplateReader &readWhole)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return readWhole(path); // which reports it
    }
    QByteArray content = file.read(largestTemplate + 1);
    const QString problem = ProblemOf(content);
    if (problem.isEmpty()) {
        return content;
    }
    host->ErrorReporter()->ReportError(
        QStringLiteral("Left out the template file %1: %2").arg(path, problem), "prompthandlers",
        __LINE__);
    return QByteArray();
}

QString PromptHandlers::ProblemOf(const QByteArray &content)
{
    const qint64 length = IndentedJsonLength(content);
    if (length > qMin(largestTemplate, templateRoom)) {
        return QStringLiteral("it is too large for an answer");
    }
    if (RepeatsKeyOfJson(content)) {
        return QStringLiteral("an object in it has a key twice");
    }
    templateRoom -= length;
    return QString();
}
