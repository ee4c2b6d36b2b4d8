#include "viewmodels.h"

#include "outputline.h"

ModeModel::ModeModel(int mode)
    : currentMode(mode)
{}

int ModeModel::CurrentMode()
{
    return currentMode;
}

JobPanelModel::JobPanelModel(std::FILE *output)
    : stream(output)
{}

void JobPanelModel::SetJobPanelOpen(bool open)
{
    PrintLine(stream, open ? QStringLiteral("view: job panel opened")
                           : QStringLiteral("view: job panel closed"));
}

ViewCommand::ViewCommand(int commandId, std::FILE *output)
    : id(commandId)
    , stream(output)
{}

void ViewCommand::Execute()
{
    PrintLine(stream, QStringLiteral("view: command %1 executed").arg(id));
}
