#include "panel.h"

#include "activity.h"
#include "devicemodels.h"
#include "paneldevice.h"

namespace {

constexpr std::chrono::seconds measuringInterval(5);

QDateTime TimeOf(const FileStatus &status)
{
    return QDateTime::fromSecsSinceEpoch(status.modifiedSeconds, Qt::UTC);
}

} // namespace

Panel::Panel(PanelDevice &panelDevice)
    : faults(panelDevice.Faults())
    , device(panelDevice)
    , reader(panelDevice)
    , lister(panelDevice.Models().userFiles.Path())
{
    clock.start();
    device.Faults().KeepBites();
    device.Watch(this);
    WatchDisplay();
    connect(&lister, &FileLister::Listed, this, &Panel::ShowFiles);
    connect(&refreshTimer, &QTimer::timeout, this, &Panel::Refresh);
    refreshTimer.start(refreshMilliseconds);
    Refresh();
}

Panel::~Panel()
{
    device.Watch(nullptr);
}

void Panel::WatchDisplay()
{
    connect(&device, &PanelDevice::JobPanelSet, this, [this](bool open) {
        display.isJobPanelOpen = open;
        display.jobPanelTime = QDateTime::currentDateTime();
        emit Changed();
    });
    connect(&device, &PanelDevice::JobViewReset, this, [this] {
        display.resetTime = QDateTime::currentDateTime();
        emit Changed();
    });
    connect(&device, &PanelDevice::CommandExecuted, this, [this](int id) {
        display.command = id;
        display.commandTime = QDateTime::currentDateTime();
        emit Changed();
    });
}

void Panel::Refresh()
{
    state = reader.Read();
    ShowWorkOrders();
    lister.Ask();
    faults.Refresh();
    emit Changed();
}

bool Panel::CanMeasure() const
{
    return !state.activeWorkOrder.isEmpty() && state.isStorageThere;
}

void Panel::Measure()
{
    device.Measuring().Measure();
    Refresh();
}

bool Panel::IsMeasuring() const
{
    return device.Measuring().IsRunning();
}

void Panel::SetMeasuring(bool on)
{
    if (!on) {
        device.Measuring().End();
    } else if (!device.Measuring().IsRunning()) {
        device.Measuring().Begin(measuringInterval);
    }
}

void Panel::ShowWorkOrders()
{
    const WorkOrderStore::Index &entries = device.Models().workOrders.Entries();
    QVector<WorkOrderRow> rows;
    rows.reserve(static_cast<int>(entries.size()));
    for (const auto &[id, entry] : entries) {
        rows.append({id, entry.modifiedTime, id == state.activeWorkOrder});
    }
    workOrders.Show(rows);
}

void Panel::ShowFiles(const QVector<UserFile> &userFiles)
{
    const DeviceModels &models = device.Models();
    QVector<FileRow> rows;
    rows.reserve(userFiles.size());
    for (const UserFile &file : userFiles) {
        rows.append({models.userFiles.RelativePath(file), file.status.size, TimeOf(file.status),
                     models.syncFiles.IsKnownConfirmed(file)});
    }
    files.Show(rows);
}

void Panel::RequestServed(const RequestRecord &record)
{
    JournalEntry entry{record, QString()};
    marks.Add(device.Faults().TakeBites());
    entry.faults = marks.Take(entry);
    transfers.Ended(record);
    journal.Add(std::move(entry));
}

void Panel::TransferMoved(const TransferProgress &progress)
{
    transfers.Moved(progress, clock.elapsed());
}
