#ifndef WORKORDERSLISTCOMMAND_H
#define WORKORDERSLISTCOMMAND_H

#include "command.h"

/** Lists the work orders with the time of their last change. */
class WorkOrdersListCommand : public Command
{
public:
    WorkOrdersListCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

#endif // WORKORDERSLISTCOMMAND_H
