#ifndef TEMPLATESCOMMAND_H
#define TEMPLATESCOMMAND_H

#include "command.h"

/** Prints the work order templates of the device. */
class TemplatesCommand : public Command
{
public:
    TemplatesCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

#endif // TEMPLATESCOMMAND_H
