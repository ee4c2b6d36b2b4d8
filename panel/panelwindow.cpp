#include "panelwindow.h"

#include <QAction>
#include <QMenuBar>
#include <QSplitter>
#include <QTabWidget>
#include <QToolButton>
#include <QVBoxLayout>

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

PanelWindow::PanelWindow(Panel &shownPanel, QWidget *parent)
    : QMainWindow(parent)
    , panel(shownPanel)
{
    auto *journal = new JournalPane(panel);
    auto *pages = new QTabWidget;
    pages->setObjectName(QStringLiteral("pages"));
    pages->addTab(journal, tr("&Journal"));
    pages->addTab(new FilesPane(panel), tr("Fil&es"));
    pages->addTab(new FaultsPane(panel), tr("Fa&ults"));
    MakeMenus(*journal);
    auto *parts = new QSplitter;
    parts->addWidget(MakeInstrument());
    parts->addWidget(pages);
    parts->setStretchFactor(1, 1);
    parts->setSizes({instrumentWidth, displaySize.width() - instrumentWidth});
    parts->setChildrenCollapsible(false);
    setCentralWidget(parts);
    setWindowTitle(tr("%1 at %2").arg(panel.State().model, panel.State().address));
    resize(displaySize);
}

QWidget *PanelWindow::MakeInstrument()
{
    auto *button = new QToolButton;
    button->setDefaultAction(measure);
    button->setFocusPolicy(Qt::StrongFocus);
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    auto *instrument = new QWidget;
    auto *layout = new QVBoxLayout(instrument);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(new InstrumentPane(panel), 1);
    layout->addWidget(button);
    return instrument;
}

void PanelWindow::MakeMenus(const JournalPane &journal)
{
    QMenu *instrument = menuBar()->addMenu(tr("&Instrument"));
    measure = instrument->addAction(tr("&Measure"), &panel, &Panel::Measure,
                                    QKeySequence(QStringLiteral("Ctrl+M")));
    measure->setObjectName(QStringLiteral("measure"));
    const auto allow = [this] { measure->setEnabled(panel.CanMeasure()); };
    connect(&panel, &Panel::Changed, measure, allow);
    allow();
    QAction *again = instrument->addAction(tr("Measure &again and again"));
    again->setObjectName(QStringLiteral("measureAgain"));
    again->setCheckable(true);
    again->setChecked(panel.IsMeasuring());
    connect(again, &QAction::toggled, &panel, &Panel::SetMeasuring);
    instrument->addAction(tr("&Quit"), this, &QWidget::close,
                          QKeySequence(QStringLiteral("Ctrl+Q")));
    QMenu *requests = menuBar()->addMenu(tr("&Requests"));
    requests->addActions(journal.Actions());
    QMenu *view = menuBar()->addMenu(tr("&View"));
    QAction *dark = view->addAction(tr("&Dark"));
    dark->setObjectName(QStringLiteral("dark"));
    dark->setCheckable(true);
    dark->setShortcut(QKeySequence(QStringLiteral("Ctrl+D")));
    connect(dark, &QAction::toggled, this, &Theme::Use);
    QAction *full = view->addAction(tr("&Full screen"));
    full->setCheckable(true);
    full->setShortcut(QKeySequence(QStringLiteral("F11")));
    connect(full, &QAction::toggled, this, &PanelWindow::ShowFullScreen);
}

void PanelWindow::ShowFullScreen(bool full)
{
    setWindowState(windowState().setFlag(Qt::WindowFullScreen, full));
}
