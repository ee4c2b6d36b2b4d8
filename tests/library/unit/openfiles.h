#ifndef OPENFILES_H
#define OPENFILES_H

#include <QDir>
#include <QFile>
#include <sys/stat.h>
#include <vector>

/** The descriptors with which this process has the file at `path` open. */
inline std::vector<int> DescriptorsOf(const QString &path)
{
    std::vector<int> descriptors;
    struct stat wanted = {};
    if (stat(QFile::encodeName(path).constData(), &wanted) != 0) {
        return descriptors;
    }
    for (const QString &name : QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files)) {
        struct stat found = {};
        if (fstat(name.toInt(), &found) == 0 && found.st_dev == wanted.st_dev &&
            found.st_ino == wanted.st_ino) {
            descriptors.push_back(name.toInt());
        }
    }
    return descriptors;
}

#endif
