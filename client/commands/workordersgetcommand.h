#ifndef WORKORDERSGETCOMMAND_H
#define WORKORDERSGETCOMMAND_H

#include <string>

#include "command.h"

/** Prints one work order; the images of its tests are left out by the device. */
class WorkOrdersGetCommand : public Command
{
public:
    WorkOrdersGetCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string id;
};

#endif // WORKORDERSGETCOMMAND_H
