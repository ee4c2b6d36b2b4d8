#ifndef PANELDEVICE_H
#define PANELDEVICE_H

#include <QObject>
#include <map>

#include "deviceapplication.h"

/**
 * The simulated device, which also tells what requests do to the instrument's own display. Usual
 * order of calls and thread: as for `DeviceApplication`.
 */
class PanelDevice : public QObject, public DeviceApplication
{
    Q_OBJECT

public:
    /** Lines of the view go to `output`, which outlives this object. Any fault may come later. */
    PanelDevice(const DeviceOptions &deviceOptions, std::FILE *output);

    IJobPanelModel *JobPanelModel() override;
    ICommand *Command(int id) override;
    void ResetJobView() override;

signals:
    void JobPanelSet(bool open);
    void CommandExecuted(int id);
    void JobViewReset();

private:
    /** The job panel of the device, which also tells when it is opened or closed. */
    class TellingJobPanel : public IJobPanelModel
    {
    public:
        explicit TellingJobPanel(PanelDevice &panelDevice);
        void SetJobPanelOpen(bool open) override;

    private:
        PanelDevice &device;
    };

    /** A command of the device that also tells when it is executed. */
    class TellingCommand : public ICommand
    {
    public:
        TellingCommand(PanelDevice &panelDevice, int commandId);
        void Execute() override;

    private:
        PanelDevice &device;
        int id;
    };

    TellingJobPanel jobPanel{*this};
    std::map<int, TellingCommand> commands; // one for every id that was asked for
};

#endif
