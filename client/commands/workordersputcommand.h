#ifndef WORKORDERSPUTCOMMAND_H
#define WORKORDERSPUTCOMMAND_H

#include <string>
#include <vector>

#include "command.h"

/** Sends the work orders of files and reads them back. */
class WorkOrdersPutCommand : public Command
{
public:
    WorkOrdersPutCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::vector<std::string> files;
};

#endif // WORKORDERSPUTCOMMAND_H
