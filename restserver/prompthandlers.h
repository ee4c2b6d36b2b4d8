#ifndef PROMPTHANDLERS_H
#define PROMPTHANDLERS_H

#include "promptdownload.h"
#include "prompthost.h"
#include "restserverrequestprocessor.h"

/** The shared request handlers in front of the host. On the thread of the model. */
class PromptHandlers final : public RestServerRequestProcessor
{
public:
    /** Bytes, of a template file and of what an answer makes of it; all together four times. */
    static constexpr qint64 largestTemplate = qint64(16) * 1024 * 1024;

    explicit PromptHandlers(PromptHost *host);

    /** As `ProcessRequest`. */
    RestServerResponseObject *Answer(RestServerRequestObject *request);

private:
    QByteArray ReadTemplate(const QString &path, const TemplateReader &readWhole);
    QString ProblemOf(const QByteArray &content);

    PromptHost *host;
    PromptDownloads files; // uploads come by another way
    qint64 templateRoom = 0;
};

#endif
