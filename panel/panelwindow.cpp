#include "panelwindow.h"

#include <QAction>
#include <QMenuBar>
#include <QSplitter>
#include <QTabWidget>

#include "faultspane.h"
#include "filespane.h"
#include "instrumentpane.h"
#include "journalpane.h"
#include "panel.h"
#include "theme.h"

namespace {

// The display of an instrument, and what of it shows the instrument itself.
constexpr QSize displaySize(1024, 600);
constexpr int instrumentWidth = 300;

} // namespace

PanelWindow::PanelWindow(Panel &panel, QWidget *parent)
    : QMainWindow(parent)
{
    auto *journal = new JournalPane(panel);
    auto *pages = new QTabWidget;
    pages->setObjectName(QStringLiteral("pages"));
    pages->addTab(journal, tr("&Journal"));
    pages->addTab(new FilesPane(panel), tr("Fil&es"));
    pages->addTab(new FaultsPane(panel), tr("Fa&ults"));
    auto *parts = new QSplitter;
    parts->addWidget(new InstrumentPane(panel));
    parts->addWidget(pages);
    parts->setStretchFactor(1, 1);
    parts->setSizes({instrumentWidth, displaySize.width() - instrumentWidth});
    parts->setChildrenCollapsible(false);
    setCentralWidget(parts);
    MakeMenus(*journal);
    setWindowTitle(tr("%1 at %2").arg(panel.State().model, panel.State().address));
    resize(displaySize);
}

void PanelWindow::MakeMenus(const JournalPane &journal)
{
    QMenu *requests = menuBar()->addMenu(tr("&Requests"));
    requests->addActions(journal.Actions());
    requests->addSeparator();
    requests->addAction(tr("&Quit"), this, &QWidget::close, QKeySequence(tr("Ctrl+Q")));
    QMenu *view = menuBar()->addMenu(tr("&View"));
    QAction *dark = view->addAction(tr("&Dark"));
    dark->setObjectName(QStringLiteral("dark"));
    dark->setCheckable(true);
    dark->setShortcut(QKeySequence(tr("Ctrl+D")));
    connect(dark, &QAction::toggled, this, &Theme::Use);
    QAction *full = view->addAction(tr("&Full screen"));
    full->setCheckable(true);
    full->setShortcut(QKeySequence(tr("F11")));
    connect(full, &QAction::toggled, this, &PanelWindow::ShowFullScreen);
}

void PanelWindow::ShowFullScreen(bool full)
{
    setWindowState(windowState().setFlag(Qt::WindowFullScreen, full));
}
