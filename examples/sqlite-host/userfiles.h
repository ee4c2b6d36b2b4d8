#ifndef USERFILES_H
#define USERFILES_H

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonObject>
#include <QPair>
#include <QString>
#include <QVector>

/** The user files: one folder with all that is below it. */
class UserFiles
{
public:
    /** @param folder its real path, without symbolic links. */
    explicit UserFiles(const QString &folder);

    const QDir &Folder() const;

    /** What a path from a URI leads to; empty when that is no user file. */
    QString Resolve(const QString &pathFromUri) const;

    /** All files, sorted by path; symbolic links are left out. */
    QVector<QFileInfo> All() const;

    /** Another text when the content is another one. */
    static QString State(const QFileInfo &file);

    /** What listings show of a file. */
    static QJsonObject Record(const QFileInfo &file);

    /** That, and the digest of the content. */
    QJsonObject Metadata(const QFileInfo &file);

private:
    QString Digest(const QFileInfo &file);

    QDir directory;
    QHash<QString, QPair<QString, QString>> digests; // state and sum of each path
};

#endif
