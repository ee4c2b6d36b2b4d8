#ifndef INFOCOMMAND_H
#define INFOCOMMAND_H

#include "command.h"

/** What the device is and which interfaces it serves. */
class InfoCommand : public Command
{
public:
    InfoCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

#endif // INFOCOMMAND_H
