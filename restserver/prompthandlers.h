#ifndef PROMPTHANDLERS_H
#define PROMPTHANDLERS_H

#include "promptdownload.h"
#include "prompthost.h"
#include "restserverrequestprocessor.h"

/** The shared request handlers in front of the host. On the thread of the model. */
class PromptHandlers final : public RestServerRequestProcessor
{
public:
    /**
     * Bytes, of a template file and of what an answer makes of it; four times that is read for one
     * answer, and comes into it as it is counted beforehand.
     */
    static constexpr qint64 largestTemplate = qint64(16) * 1024 * 1024;

    explicit PromptHandlers(PromptHost *host);

    /** As `ProcessRequest`. */
    RestServerResponseObject *Answer(RestServerRequestObject *request);

private:
    QByteArray ReadTemplate(const QString &path, const TemplateReader &readWhole);
    QString ProblemOf(const QByteArray &content, qint64 mostBytes);
    void ReportLeftOut();

    PromptHost *host;
    PromptDownloads files;   // uploads come by another way
    qint64 templateRoom = 0; // what may still come into the answer, indented
    qint64 readRoom = 0;     // what may still be read for it
    int leftOut = 0;         // files, of this answer
    QString firstLeftOut;    // with the reason
};

#endif
