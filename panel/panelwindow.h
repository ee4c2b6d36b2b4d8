#ifndef PANELWINDOW_H
#define PANELWINDOW_H

#include <QMainWindow>

class JournalPane;
class Panel;

/** The front panel of the instrument: the instrument itself beside journal, files and faults. */
class PanelWindow : public QMainWindow
{
    Q_OBJECT

public:
    /** The panel outlives this object. */
    explicit PanelWindow(Panel &shownPanel, QWidget *parent = nullptr);

private:
    void MakeMenus(const JournalPane &journal);
    QWidget *MakeInstrument();
    void ShowFullScreen(bool full);

    Panel &panel;
    QAction *measure = nullptr;
};

#endif
