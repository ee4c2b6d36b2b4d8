#include "instrumentstate.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <sys/statvfs.h>

#include "devicemodels.h"
#include "paneldevice.h"

InstrumentReader::InstrumentReader(PanelDevice &panelDevice)
    : device(panelDevice)
{}

const InstrumentState &InstrumentReader::Read()
{
    DeviceModels &models = device.Models();
    Job *active = models.jobs.ActiveJob();
    state.address = device.Address();
    state.mode = models.mode.CurrentMode();
    state.activeWorkOrder = active != nullptr ? active->WorkOrderId() : QString();
    state.technician = models.syncFiles.TechId();
    ReadDescription();
    ReadStorage();
    return state;
}

// Only when it has changed: a description that cannot be read is reported each time.
void InstrumentReader::ReadDescription()
{
    DeviceModels &models = device.Models();
    const QDateTime changed = QFileInfo(models.folder.AssetFile()).lastModified();
    if (state.model.isNull() || changed != descriptionTime) {
        const QJsonObject description = models.asset.GetAssetInfo();
        const QString empty = QLatin1String("");
        state.model = description.value(QLatin1String("model")).toString(empty);
        state.serialNumber = description.value(QLatin1String("serialNumber")).toString(empty);
        descriptionTime = changed;
    }
}

void InstrumentReader::ReadStorage()
{
    DeviceModels &models = device.Models();
    state.isStorageThere = models.storage.IsStorageAvailable() &&
                           !device.Faults().Value(FaultKind::StorageAway).has_value();
    struct statvfs status = {};
    const QByteArray path = QFile::encodeName(models.folder.UserFiles());
    const bool known = statvfs(path.constData(), &status) == 0;
    state.freeBytes = known ? static_cast<qint64>(status.f_bavail * status.f_frsize) : 0;
    state.totalBytes = known ? static_cast<qint64>(status.f_blocks * status.f_frsize) : 0;
}
