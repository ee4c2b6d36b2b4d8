#ifndef JOURNALMODEL_H
#define JOURNALMODEL_H

#include <QAbstractTableModel>
#include <QTimer>
#include <deque>

#include "requestobserver.h"

/** A request in the journal. */
struct JournalEntry
{
    RequestRecord request;
    QString faults; ///< the faults that struck it, by name; empty for none

    /** Whether the client did not get what it asked for. */
    bool HasFailed() const;

    /** Why it failed: the answer's error, then what was reported, on one line. */
    QString Reason() const;
};

/**
 * The requests that were served, the newest first, the last 10,000 of them. Requests show up in
 * batches, ten times a second, so that a thousand of them in a second cost a display little.
 */
class JournalModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /** What the columns show. */
    enum Column
    {
        Time,
        Client,
        Method,
        Uri,
        Status,
        Duration,
        Faults,
        Reason,
        ColumnCount
    };

    /** Older requests are forgotten. */
    static constexpr int mostRows = 10000;

    /** How long a request waits for others. */
    static constexpr int batchMilliseconds = 100;

    explicit JournalModel(QObject *parent = nullptr);

    /** Adds a request, which shows with its batch. */
    void Add(JournalEntry entry);

    /** Forgets everything. */
    void Clear();

    /** The request of a row. */
    const JournalEntry &Entry(int row) const { return rows.at(static_cast<size_t>(row)); }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    void ShowBatch();
    static QString Text(const JournalEntry &entry, int column);

    std::deque<JournalEntry> rows;
    std::deque<JournalEntry> waiting; // the newest last
    QTimer batchTimer;
};

#endif
