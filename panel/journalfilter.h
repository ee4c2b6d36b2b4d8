#ifndef JOURNALFILTER_H
#define JOURNALFILTER_H

#include <QSortFilterProxyModel>

#include "journalmodel.h"

/** The requests of a journal that hold a text, or have failed. Keeps the journal's order. */
class JournalFilter : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    /** The journal outlives this object. */
    explicit JournalFilter(JournalModel &journalModel, QObject *parent = nullptr);

    /** Only requests whose row holds this text, in upper or lower case; an empty one: all. */
    void SetText(const QString &text);

    /** Only requests that have failed. */
    void SetFailuresOnly(bool only);

    /** The request of a row of this model; a null pointer for none. */
    const JournalEntry *Entry(const QModelIndex &index) const;

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    bool HoldsText(int sourceRow) const;

    JournalModel &journal;
    QString wantedText;
    bool failuresOnly = false;
};

#endif
