#ifndef USERFILESPATH_H
#define USERFILESPATH_H

#include <QString>

#include "hostmodel.h"

/**
 * True when `path` begins with the text of the user-files directory's absolute path, which is all
 * that is asked of the paths of uploads and downloads. Nothing is resolved: "..", links and
 * siblings with a longer name pass, and what lies behind them is for the host and the operating
 * system to guard. Main thread only.
 */
bool IsUserFilesPath(const QString &path, IStorageModel *storage);

#endif
