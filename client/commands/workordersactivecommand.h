#ifndef WORKORDERSACTIVECOMMAND_H
#define WORKORDERSACTIVECOMMAND_H

#include <string>

#include "command.h"

namespace CLI {
class Option;
}

/** Prints or sets the work order that the device works on. */
class WorkOrdersActiveCommand : public Command
{
public:
    WorkOrdersActiveCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string id;
    const CLI::Option *idOption = nullptr; ///< owned by the parser
};

#endif // WORKORDERSACTIVECOMMAND_H
