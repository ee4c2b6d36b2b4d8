#ifndef WORKORDERCOMMANDS_H
#define WORKORDERCOMMANDS_H

#include <string>
#include <vector>

#include "command.h"

/** Lists the work orders with the time of their last change. */
class WorkOrdersListCommand : public Command
{
public:
    WorkOrdersListCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

/** Prints one work order; the images of its tests are left out by the device. */
class WorkOrdersGetCommand : public Command
{
public:
    WorkOrdersGetCommand();
    Argument ArgumentKind() const override { return Argument::WorkOrder; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string id;
};

/** Sends the work orders of files and reads them back. */
class WorkOrdersPutCommand : public Command
{
public:
    WorkOrdersPutCommand();
    Argument ArgumentKind() const override { return Argument::LocalFile; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::vector<std::string> files;
};

namespace CLI {
class Option;
}

/** Prints or sets the work order that the device works on. */
class WorkOrdersActiveCommand : public Command
{
public:
    WorkOrdersActiveCommand();
    Argument ArgumentKind() const override { return Argument::WorkOrder; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string id;
    const CLI::Option *idOption = nullptr; ///< owned by the parser
};

#endif // WORKORDERCOMMANDS_H
