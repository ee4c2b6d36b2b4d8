#ifndef STOREFOLDER_H
#define STOREFOLDER_H

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QTemporaryDir>
#include <functional>

#include "recordingerrorreporter.h"
#include "scriptedfilesystem.h"
#include "workorderstore.h"

/** A folder with the two folders of a work order store, that goes with this object. */
class StoreFolder
{
public:
    StoreFolder();

    QString WorkOrders() const { return folder.filePath("workorders"); }
    QString State() const { return folder.filePath("state"); }

    /** Places a file among the work orders by hand. */
    void Place(const QString &name, const QByteArray &content) const;
    QByteArray ContentOf(const QString &name) const;

    /** Every file and folder below the folder, hidden ones included, without the folder's path. */
    QStringList Names() const;

    /** Throws all of it away and begins anew. */
    void Clear() const;

private:
    QTemporaryDir folder;
};

/** A loaded store, as after a start of the program. */
class OpenStore
{
public:
    explicit OpenStore(const StoreFolder &folder, std::function<bool(int)> allow = FailAt(0));

    /** The member "revision" of every work order, fetched one by one. */
    QMap<QString, int> Revisions();

    RecordingErrorReporter errors;
    ScriptedFileSystem fileSystem;
    WorkOrderStore store;
};

QJsonObject WorkOrder(const QString &id, int revision);

/** Work orders with the numbers from `first` to `last` in their ids. */
QJsonArray Batch(int first, int last, int revision);

/** Runs `work` in a process of its own. True when it came to its end, false when it was killed. */
bool FinishesInChild(const std::function<void()> &work);

#endif
