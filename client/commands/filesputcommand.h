#ifndef FILESPUTCOMMAND_H
#define FILESPUTCOMMAND_H

#include <string>
#include <vector>

#include "command.h"
#include "filerecord.h"

class UserFiles;

/** Sends files into a folder of the device and verifies them there. */
class FilesPutCommand : public Command
{
public:
    FilesPutCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    FileRecord Store(UserFiles &files, const QString &file, const QString &target,
                     const Output &output) const;

    std::vector<std::string> arguments;
};

#endif // FILESPUTCOMMAND_H
