#ifndef FILESSTATCOMMAND_H
#define FILESSTATCOMMAND_H

#include <string>

#include "command.h"

/** Prints what the device says of one file. */
class FilesStatCommand : public Command
{
public:
    FilesStatCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
};

#endif // FILESSTATCOMMAND_H
