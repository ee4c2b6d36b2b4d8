#ifndef INSTRUMENTSTATE_H
#define INSTRUMENTSTATE_H

#include <QDateTime>
#include <QString>

class PanelDevice;

/** What an instrument shows of itself: a plain value. */
struct InstrumentState
{
    QString model;
    QString serialNumber;
    QString address; ///< "http://ADDRESS:PORT"
    int mode = 0;
    QString activeWorkOrder; ///< empty for none
    QString technician;      ///< empty for none
    bool isStorageThere = false;
    qint64 freeBytes = 0;  ///< of the storage
    qint64 totalBytes = 0; ///< 0 while the storage cannot be asked
};

/** Reads the state of a device, beside the requests that it serves. Main thread only. */
class InstrumentReader
{
public:
    /** The device outlives this object and has been started when it is read. */
    explicit InstrumentReader(PanelDevice &panelDevice);

    /** The state as it is now. */
    const InstrumentState &Read();

private:
    void ReadDescription();
    void ReadStorage();

    PanelDevice &device;
    InstrumentState state;
    QDateTime descriptionTime; // of the file that was read
};

#endif
