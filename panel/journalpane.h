#ifndef JOURNALPANE_H
#define JOURNALPANE_H

#include <QWidget>

#include "journalfilter.h"

class Panel;
class QAction;
class QPlainTextEdit;
class QTableView;

/** The journal with its filter, and all that is known of one request. */
class JournalPane : public QWidget
{
    Q_OBJECT

public:
    /** The panel outlives this object. */
    explicit JournalPane(Panel &shownPanel, QWidget *parent = nullptr);

    /** What can be done with the journal, for a menu. */
    QList<QAction *> Actions() const { return actions; }

private:
    QLayout *MakeFilterLine();
    void MakeTable();
    QAction *AddAction(const QString &text, const QKeySequence &keys, void (JournalPane::*call)());
    void ShowRequest();
    void CopyAsCurl();
    void Clear();
    void KeepPlace(int added);

    Panel &panel;
    JournalFilter filter;
    QTableView *table;
    QPlainTextEdit *request;
    QList<QAction *> actions;
};

#endif
