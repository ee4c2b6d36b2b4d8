#ifndef TECHCOMMAND_H
#define TECHCOMMAND_H

#include <string>

#include "command.h"

/** Sets the technician who works with the device. */
class TechCommand : public Command
{
public:
    TechCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string id;
};

#endif // TECHCOMMAND_H
