#ifndef RUNNINGPANEL_H
#define RUNNINGPANEL_H

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>

#include "panel.h"
#include "paneldevice.h"
#include "panelwindow.h"

class QTableView;

/**
 * A device that serves on a free port, with its window, and a client. The client is a process of
 * its own, and the event loop turns while it works.
 */
class RunningPanel
{
public:
    /** With sample content; `arguments` are those of the program. */
    explicit RunningPanel(const QStringList &arguments = {});

    /** What curl prints when it is given these arguments and the URI below the device's address. */
    QByteArray Curl(const QString &uri, const QStringList &arguments = {});

    /** Makes a user file of so many zero bytes by an upload; what the device answers. */
    QByteArray Upload(const QString &name, qint64 size);

    /** Turns the event loop until the condition holds; false after half a minute. */
    template <typename Condition>
    bool Await(Condition holds)
    {
        QElapsedTimer elapsed;
        elapsed.start();
        QTimer wakeUp;
        wakeUp.start(10);
        while (!holds() && elapsed.elapsed() < longestWait) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return holds();
    }

    /** The absolute path of a user file. */
    QString UserFile(const QString &name) const;

    /** The table of this name in the window. */
    QTableView *Table(const char *name) const;

    /** The widget of this name and kind in the window. */
    template <typename Kind>
    Kind *Find(const char *name) const
    {
        return window->findChild<Kind *>(QLatin1String(name));
    }

    /** The texts of a column. */
    QStringList Column(const char *table, int column) const;

private:
    static constexpr qint64 longestWait = 30000;

    QTemporaryDir folder;

public:
    std::unique_ptr<PanelDevice> device;
    std::unique_ptr<Panel> panel;
    std::unique_ptr<PanelWindow> window;
};

#endif
