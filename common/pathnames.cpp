#include "pathnames.h"

QByteArrayList ResolvedNames(const QByteArray &path)
{
    QByteArrayList names;
    for (const QByteArray &name : path.split('/')) {
        if (name == "..") {
            if (!names.isEmpty()) {
                names.removeLast();
            }
        } else if (!name.isEmpty() && name != ".") {
            names.append(name);
        }
    }
    return names;
}

QByteArray JoinedPath(const QByteArrayList &names)
{
    return '/' + names.join('/');
}
