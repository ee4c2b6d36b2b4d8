#ifndef PATHNAMES_H
#define PATHNAMES_H

#include <QByteArray>
#include <QByteArrayList>

/**
 * The names of an absolute path in their order, with ".", ".." and empty ones resolved as text:
 * nothing is looked up on a disk, and ".." at the top stays at the top.
 */
QByteArrayList ResolvedNames(const QByteArray &path);

/** The absolute path that these names make. */
QByteArray JoinedPath(const QByteArrayList &names);

#endif
