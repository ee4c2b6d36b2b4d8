#include "jobpanelmodel.h"

#include "outputline.h"

JobPanelModel::JobPanelModel(std::FILE *output)
    : stream(output)
{}

void JobPanelModel::SetJobPanelOpen(bool open)
{
    PrintLine(stream, open ? QStringLiteral("view: job panel opened")
                           : QStringLiteral("view: job panel closed"));
}
