#ifndef FILESLISTCOMMAND_H
#define FILESLISTCOMMAND_H

#include "command.h"

/** Lists the user files. */
class FilesListCommand : public Command
{
public:
    FilesListCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

#endif // FILESLISTCOMMAND_H
