#ifndef INFOCOMMANDS_H
#define INFOCOMMANDS_H

#include <string>

#include "command.h"

/** What the device is and which interfaces it serves. */
class InfoCommand : public Command
{
public:
    InfoCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

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

/** Sends any request and prints what comes back: for what has no command. */
class ApiCommand : public Command
{
public:
    ApiCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string method;
    std::string path;
    std::string bodyFile;
};

/** Prints the work order templates of the device. */
class TemplatesCommand : public Command
{
public:
    TemplatesCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

#endif // INFOCOMMANDS_H
