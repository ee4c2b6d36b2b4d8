#include "viewcommand.h"

#include "outputline.h"

ViewCommand::ViewCommand(int commandId, std::FILE *output)
    : id(commandId)
    , stream(output)
{}

void ViewCommand::Execute()
{
    PrintLine(stream, QStringLiteral("view: command %1 executed").arg(id));
}
