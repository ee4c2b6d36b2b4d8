#include "database.h"

#include <QJsonDocument>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace {

// Carries out one statement with its values.
bool Execute(QSqlQuery &query, const QString &statement, const QVariantList &values)
{
    if (!query.prepare(statement)) {
        return false;
    }
    for (const QVariant &value : values) {
        query.addBindValue(value);
    }
    return query.exec();
}

// The first column of the first row; nothing when there is none.
QVariant Value(const QSqlDatabase &connection, const QString &statement, const QVariantList &values)
{
    QSqlQuery query(connection);
    return Execute(query, statement, values) && query.next() ? query.value(0) : QVariant();
}

} // namespace

Database::Database(const QString &fileName)
    : connection(QSqlDatabase::addDatabase("QSQLITE"))
{
    connection.setDatabaseName(fileName);
    if (connection.open() && !MakeTables()) {
        connection.close();
    }
}

bool Database::IsOpen() const
{
    return connection.isOpen();
}

QString Database::Problem() const
{
    return connection.lastError().text();
}

bool Database::MakeTables()
{
    QSqlQuery query(connection);
    return query.exec("PRAGMA journal_mode = WAL") && query.exec("PRAGMA synchronous = FULL") &&
           query.exec("CREATE TABLE IF NOT EXISTS workOrders (id TEXT PRIMARY KEY, "
                      "document BLOB NOT NULL, modified INTEGER NOT NULL)") &&
           query.exec("CREATE TABLE IF NOT EXISTS confirmed (path TEXT PRIMARY KEY, "
                      "state TEXT NOT NULL)") &&
           query.exec("CREATE TABLE IF NOT EXISTS settings (name TEXT PRIMARY KEY, "
                      "value TEXT NOT NULL)");
}

QVector<Database::WorkOrder> Database::WorkOrders() const
{
    QVector<WorkOrder> workOrders;
    QSqlQuery query(connection);
    query.setForwardOnly(true);
    query.exec("SELECT id, modified FROM workOrders ORDER BY id");
    while (query.next()) {
        const QDateTime modified =
            QDateTime::fromSecsSinceEpoch(query.value(1).toLongLong(), Qt::UTC);
        workOrders.append({query.value(0).toString(), modified});
    }
    return workOrders;
}

QJsonObject Database::Document(const QString &id, bool *found) const
{
    const QVariant document =
        Value(connection, "SELECT document FROM workOrders WHERE id = ?", {id});
    *found = document.isValid();
    return QJsonDocument::fromJson(document.toByteArray()).object();
}

bool Database::StoreWorkOrders(const QJsonArray &documents)
{
    if (!connection.transaction()) {
        return false;
    }
    for (const QJsonValue &document : documents) {
        if (!StoreWorkOrder(document.toObject())) {
            connection.rollback();
            return false;
        }
    }
    return connection.commit();
}

bool Database::StoreWorkOrder(const QJsonObject &document)
{
    const QString id = document.value("workOrderId").toString();
    QSqlQuery query(connection);
    return !id.isEmpty() && Execute(query, "INSERT OR REPLACE INTO workOrders VALUES (?, ?, ?)",
                                    {id, QJsonDocument(document).toJson(QJsonDocument::Compact),
                                     QDateTime::currentSecsSinceEpoch()});
}

QString Database::ConfirmedState(const QString &path) const
{
    return Value(connection, "SELECT state FROM confirmed WHERE path = ?", {path}).toString();
}

bool Database::Confirm(const QString &path, const QString &state)
{
    QSqlQuery query(connection);
    return Execute(query, "INSERT OR REPLACE INTO confirmed VALUES (?, ?)", {path, state});
}

QString Database::Setting(const QString &name) const
{
    return Value(connection, "SELECT value FROM settings WHERE name = ?", {name}).toString();
}

bool Database::StoreSetting(const QString &name, const QString &value)
{
    QSqlQuery query(connection);
    return Execute(query, "INSERT OR REPLACE INTO settings VALUES (?, ?)", {name, value});
}
