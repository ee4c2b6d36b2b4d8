#include "journalpane.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>

#include "panel.h"
#include "requesttext.h"

namespace {

// Wide enough for what is usual.
void SetColumnWidths(QTableView *table)
{
    const QString usual[] = {QStringLiteral("00:00:00.000"), QStringLiteral("127.0.0.1:00000"),
                             QStringLiteral("DELETE"),       QStringLiteral("/api/.../userfiles"),
                             QStringLiteral("000"),          QStringLiteral("00000.0 ms"),
                             QStringLiteral("store-fails"),  QString()};
    constexpr int margin = 8;
    for (int column = 0; column < JournalModel::Reason; ++column) {
        const int width = table->fontMetrics().horizontalAdvance(usual[column]) + margin;
        table->setColumnWidth(column,
                              qMax(width, table->horizontalHeader()->sectionSizeHint(column)));
    }
}

} // namespace

JournalPane::JournalPane(Panel &shownPanel, QWidget *parent)
    : QWidget(parent)
    , panel(shownPanel)
    , filter(shownPanel.journal)
    , table(new QTableView)
    , request(new QPlainTextEdit)
{
    AddAction(tr("Copy as &curl"), QKeySequence(QStringLiteral("Ctrl+Shift+C")),
              &JournalPane::CopyAsCurl);
    AddAction(tr("C&lear the journal"), QKeySequence(QStringLiteral("Ctrl+L")),
              &JournalPane::Clear);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(MakeFilterLine());
    MakeTable();
    request->setObjectName(QStringLiteral("request"));
    request->setReadOnly(true);
    request->setTabChangesFocus(true);
    request->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    request->setPlaceholderText(tr("A request that is selected is shown here."));
    auto *parts = new QSplitter(Qt::Vertical);
    parts->addWidget(table);
    parts->addWidget(request);
    parts->setStretchFactor(0, 2);
    parts->setStretchFactor(1, 1);
    layout->addWidget(parts, 1);
}

QAction *JournalPane::AddAction(const QString &text, const QKeySequence &keys,
                                void (JournalPane::*call)())
{
    auto *action = new QAction(text, this);
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this, call);
    actions.append(action);
    return action;
}

QLayout *JournalPane::MakeFilterLine()
{
    auto *text = new QLineEdit;
    text->setObjectName(QStringLiteral("filter"));
    text->setPlaceholderText(tr("Filter (Ctrl+F)"));
    text->setClearButtonEnabled(true);
    connect(text, &QLineEdit::textChanged, &filter, &JournalFilter::SetText);
    const auto *find = new QShortcut(QKeySequence::Find, this);
    connect(find, &QShortcut::activated, text, [text] { text->setFocus(); });
    auto *failures = new QCheckBox(tr("&Failures only"));
    failures->setObjectName(QStringLiteral("failuresOnly"));
    connect(failures, &QCheckBox::toggled, &filter, &JournalFilter::SetFailuresOnly);
    auto *copy = new QPushButton(actions.first()->text());
    copy->setObjectName(QStringLiteral("copyAsCurl"));
    connect(copy, &QPushButton::clicked, actions.first(), &QAction::trigger);
    auto *line = new QHBoxLayout;
    line->addWidget(text, 1);
    line->addWidget(failures);
    line->addWidget(copy);
    return line;
}

void JournalPane::MakeTable()
{
    table->setObjectName(QStringLiteral("journal"));
    table->setModel(&filter);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setShowGrid(false);
    table->setWordWrap(false);
    table->setTextElideMode(Qt::ElideMiddle);
    table->setTabKeyNavigation(false);
    table->setContextMenuPolicy(Qt::ActionsContextMenu);
    table->addActions(actions);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 4);
    SetColumnWidths(table);
    table->horizontalHeader()->setStretchLastSection(true);
    connect(table->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &JournalPane::ShowRequest);
    connect(&filter, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) { KeepPlace(last - first + 1); });
}

// New requests come on top. Whoever looks further down goes on seeing the same ones.
void JournalPane::KeepPlace(int added)
{
    QScrollBar *place = table->verticalScrollBar();
    if (place->value() > 0) {
        const int kept = place->value() + added;
        place->setMaximum(qMax(place->maximum(), kept)); // the view lays itself out only later
        place->setValue(kept);
    }
}

void JournalPane::ShowRequest()
{
    const JournalEntry *entry = filter.Entry(table->currentIndex());
    request->setPlainText(entry != nullptr ? RequestText::Describe(*entry) : QString());
}

void JournalPane::CopyAsCurl()
{
    if (const JournalEntry *entry = filter.Entry(table->currentIndex())) {
        QGuiApplication::clipboard()->setText(
            RequestText::CurlCommand(entry->request, panel.State().address));
    }
}

void JournalPane::Clear()
{
    panel.journal.Clear();
}
