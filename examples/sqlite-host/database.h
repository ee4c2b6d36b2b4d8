#ifndef DATABASE_H
#define DATABASE_H

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QSqlDatabase>
#include <QString>
#include <QVector>

/**
 * What the device remembers: work orders, confirmed files, the active work order and the
 * technician. One file of SQLite; used in one thread. What a call stored survives a loss of power.
 */
class Database
{
public:
    struct WorkOrder
    {
        QString id;
        QDateTime modified; ///< UTC
    };

    /** Opens the file, or makes it. */
    explicit Database(const QString &fileName);

    /** False, with `Problem`, when the file cannot be used. */
    bool IsOpen() const;
    QString Problem() const;

    QVector<WorkOrder> WorkOrders() const;
    QJsonObject Document(const QString &id, bool *found) const;

    /** Stores all documents, or none when one has no id or cannot be written. */
    bool StoreWorkOrders(const QJsonArray &documents);

    /** The state in which a file was confirmed; empty when it never was. */
    QString ConfirmedState(const QString &path) const;
    bool Confirm(const QString &path, const QString &state);

    /** A setting by its name; empty when it was never stored. */
    QString Setting(const QString &name) const;
    bool StoreSetting(const QString &name, const QString &value);

private:
    bool MakeTables();
    bool StoreWorkOrder(const QJsonObject &document);

    QSqlDatabase connection;
};

#endif
