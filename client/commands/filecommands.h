#ifndef FILECOMMANDS_H
#define FILECOMMANDS_H

#include <string>
#include <vector>

#include "command.h"
#include "filerecord.h"

class UserFiles;

/** Lists the user files. */
class FilesListCommand : public Command
{
public:
    FilesListCommand();
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;
};

/** Lists the files that wait for synchronisation. */
class FilesPendingCommand : public Command
{
public:
    FilesPendingCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    bool all = false;
};

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

/** Fetches one file and verifies it. */
class FilesGetCommand : public Command
{
public:
    FilesGetCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
    std::string outputFile;
};

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

/** Deletes one file and looks that it is gone. */
class FilesRemoveCommand : public Command
{
public:
    FilesRemoveCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
};

/** Marks one file as synchronised. */
class FilesConfirmCommand : public Command
{
public:
    FilesConfirmCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
};

#endif // FILECOMMANDS_H
