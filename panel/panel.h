#ifndef PANEL_H
#define PANEL_H

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include "faultlistmodel.h"
#include "faultmarks.h"
#include "filelister.h"
#include "filelistmodel.h"
#include "instrumentstate.h"
#include "journalmodel.h"
#include "loopwatch.h"
#include "requestobserver.h"
#include "transferlistmodel.h"
#include "workorderlistmodel.h"

class PanelDevice;

/** What requests did to the instrument's own display last. */
struct DisplayEvents
{
    bool isJobPanelOpen = false;
    QDateTime jobPanelTime; ///< when it was opened or closed; not valid: never
    QDateTime resetTime;    ///< when the job view was reset
    int command = 0;        ///< the last one
    QDateTime commandTime;  ///< when it was executed
};

/**
 * Everything that the front panel shows of a device, as models for views and values. It looks at
 * the device four times a second, and is told of each request.
 *
 * Made after the device has started, and gone before it. Main thread only.
 */
class Panel : public QObject, private IRequestObserver
{
    Q_OBJECT

public:
    /** How often the device is looked at. */
    static constexpr int refreshMilliseconds = 250;

    /** The device outlives this object. */
    explicit Panel(PanelDevice &panelDevice);
    ~Panel() override;

    JournalModel journal;
    WorkOrderListModel workOrders;
    FileListModel files;
    TransferListModel transfers;
    FaultListModel faults;
    LoopWatch loop;

    /** The instrument when it was looked at last. */
    const InstrumentState &State() const { return state; }

    /** What its display did. */
    const DisplayEvents &Display() const { return display; }

    /** Looks at the device now. */
    void Refresh();

    /** Whether there is a work order to measure for, and a storage for the result. */
    bool CanMeasure() const;

    /** Makes a result file for the active work order, which is pending once it has rested. */
    void Measure();

    /** Whether it measures again and again. */
    bool IsMeasuring() const;

    /** Measures again and again, or no more. */
    void SetMeasuring(bool on);

signals:
    /** The instrument was looked at, or its display has changed. */
    void Changed();

private:
    void RequestServed(const RequestRecord &record) override;
    void TransferMoved(const TransferProgress &progress) override;
    void WatchDisplay();
    void ShowWorkOrders();
    void ShowFiles(const QVector<UserFile> &userFiles);

    PanelDevice &device;
    InstrumentReader reader;
    InstrumentState state;
    DisplayEvents display;
    FileLister lister;
    FaultMarks marks;
    QTimer refreshTimer;
    QElapsedTimer clock;
};

#endif
