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
    explicit PanelWindow(Panel &panel, QWidget *parent = nullptr);

private:
    void MakeMenus(const JournalPane &journal);
    void ShowFullScreen(bool full);
};

#endif
