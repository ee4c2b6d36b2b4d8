#ifndef TEMPLATEFOLDERS_H
#define TEMPLATEFOLDERS_H

#include <QHash>
#include <QString>

#include "filestatus.h"
#include "hostmodel.h"

/**
 * Reports the files in folders of templates that hold none, which whoever reads the folder passes
 * over without a word: each once, by name, and again only after it was changed to something else
 * that is wrong. Main thread only.
 */
class TemplateFolders
{
public:
    /** Keeps the reference; the reporter outlives this object. */
    explicit TemplateFolders(IErrorReporter &errors);

    /** Bytes of files that are looked at in one call, and one file more. */
    static constexpr qint64 mostAtOnce = qint64{64} * 1024 * 1024;

    /**
     * Looks at the files of the folder that are new or changed since it was last looked at. Of
     * very many the rest comes in the next call, so that none takes long.
     */
    void Look(const QString &folder);

private:
    struct Seen
    {
        FileStatus status;
        QString problem; // empty: there is none
    };
    using Files = QHash<QString, Seen>; // by path

    Seen LookAt(const QString &path, const Seen &former, qint64 *room);

    IErrorReporter &errorReporter;
    QHash<QString, Files> folders;
};

#endif
