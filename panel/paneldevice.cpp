#include "paneldevice.h"

#include "devicemodels.h"

PanelDevice::TellingJobPanel::TellingJobPanel(PanelDevice &panelDevice)
    : device(panelDevice)
{}

void PanelDevice::TellingJobPanel::SetJobPanelOpen(bool open)
{
    device.Models().jobPanel.SetJobPanelOpen(open);
    emit device.JobPanelSet(open);
}

PanelDevice::TellingCommand::TellingCommand(PanelDevice &panelDevice, int commandId)
    : device(panelDevice)
    , id(commandId)
{}

void PanelDevice::TellingCommand::Execute()
{
    device.Models().CommandWithId(id).Execute();
    emit device.CommandExecuted(id);
}

namespace {

DeviceOptions WithFaultsToCome(DeviceOptions options)
{
    options.faultsMayCome = true;
    return options;
}

} // namespace

PanelDevice::PanelDevice(const DeviceOptions &deviceOptions, std::FILE *output)
    : DeviceApplication(WithFaultsToCome(deviceOptions), output)
{}

IJobPanelModel *PanelDevice::JobPanelModel()
{
    DeviceApplication::JobPanelModel();
    return &jobPanel;
}

ICommand *PanelDevice::Command(int id)
{
    return &commands.try_emplace(id, *this, id).first->second;
}

void PanelDevice::ResetJobView()
{
    DeviceApplication::ResetJobView();
    emit JobViewReset();
}
