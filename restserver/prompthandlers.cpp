#include "prompthandlers.h"

#include <QFile>

#include "jsonlength.h"

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

// One that is too large is left out: clients may be able to place it there.
QByteArray PromptHandlers::ReadTemplate(const QString &path, const TemplateReader &readWhole)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return readWhole(path); // which reports it
    }
    QByteArray content = file.read(largestTemplate + 1);
    if (FitsAnswer(content)) {
        return content;
    }
    host->ErrorReporter()->ReportError(
        QStringLiteral("Left out the template file %1: it is too large for an answer").arg(path),
        "prompthandlers", __LINE__);
    return QByteArray();
}

bool PromptHandlers::FitsAnswer(const QByteArray &content)
{
    const qint64 length = IndentedJsonLength(content);
    if (length > qMin(largestTemplate, templateRoom)) {
        return false;
    }
    templateRoom -= length;
    return true;
}
