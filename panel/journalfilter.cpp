#include "journalfilter.h"

JournalFilter::JournalFilter(JournalModel &journalModel, QObject *parent)
    : QSortFilterProxyModel(parent)
    , journal(journalModel)
{
    setSourceModel(&journal);
}

void JournalFilter::SetText(const QString &text)
{
    wantedText = text.trimmed();
    invalidateFilter();
}

void JournalFilter::SetFailuresOnly(bool only)
{
    failuresOnly = only;
    invalidateFilter();
}

const JournalEntry *JournalFilter::Entry(const QModelIndex &index) const
{
    return index.isValid() ? &journal.Entry(mapToSource(index).row()) : nullptr;
}

bool JournalFilter::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    Q_UNUSED(sourceParent)
    return (!failuresOnly || journal.Entry(sourceRow).HasFailed()) &&
           (wantedText.isEmpty() || HoldsText(sourceRow));
}

bool JournalFilter::HoldsText(int sourceRow) const
{
    for (int column = 0; column < JournalModel::ColumnCount; ++column) {
        const QString text = journal.index(sourceRow, column).data().toString();
        if (text.contains(wantedText, Qt::CaseInsensitive)) {
            return true;
        }
    }
    return false;
}
