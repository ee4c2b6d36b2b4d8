#ifndef FUZZFOLDER_H
#define FUZZFOLDER_H

#include <QFile>
#include <QTemporaryDir>

#include "fuzzfailure.h"

/** A temporary directory below TMPDIR, or in memory when that is not set. */
class FuzzFolder
{
public:
    FuzzFolder()
        : directory(Place() + "/parlowen-fuzz-XXXXXX")
    {
        Require(directory.isValid(), "a temporary directory can be made");
    }

    QString Path(const QString &name) const { return directory.filePath(name); }

    void Write(const QString &name, const QByteArray &content) const
    {
        QFile file(Path(name));
        Require(file.open(QIODevice::WriteOnly), "a file can be made");
        file.write(content);
    }

private:
    static QString Place()
    {
        const QString place = qEnvironmentVariable("TMPDIR");
        return place.isEmpty() ? QStringLiteral("/dev/shm") : place;
    }

    QTemporaryDir directory;
};

/** Drops every log line; a fuzzer makes too many. */
inline void SilenceLog()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
}

#endif
