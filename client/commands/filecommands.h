#ifndef FILECOMMANDS_H
#define FILECOMMANDS_H

#include <QVector>
#include <string>
#include <vector>

#include "command.h"
#include "namefilter.h"

class BulkReport;
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
    Argument ArgumentKind() const override { return Argument::DeviceFile; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
};

/** The files of the device that a command is about: paths and shell patterns. */
class FileSelection
{
public:
    void AddOptions(CLI::App &parser);

    /** The paths, each once. What cannot be found out or asked for is told to the report. */
    QVector<QString> Choose(UserFiles &files, BulkReport &report) const;

    /** True where one path was named and chosen: the command's result is then that of this file. */
    bool IsOnePath(const QVector<QString> &chosen) const;
    bool IsDryRun() const;

private:
    std::vector<std::string> patterns;
    NameFilter filter;
    bool dryRun = false;
};

/** Fetches files and verifies them. */
class FilesGetCommand : public Command
{
public:
    FilesGetCommand();
    Argument ArgumentKind() const override { return Argument::DeviceFile; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    ExitStatus GetOne(UserFiles &files, const QString &path, const Output &output) const;
    ExitStatus GetMany(UserFiles &files, BulkReport &report, const QVector<QString> &paths,
                       const Output &output) const;
    QString TargetFor(const QString &devicePath) const;

    FileSelection selection;
    std::string outputFile;
};

/** Deletes files and looks that they are gone. */
class FilesRemoveCommand : public Command
{
public:
    FilesRemoveCommand();
    Argument ArgumentKind() const override { return Argument::DeviceFile; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    FileSelection selection;
};

/** Marks files as synchronised. */
class FilesConfirmCommand : public Command
{
public:
    FilesConfirmCommand();
    Argument ArgumentKind() const override { return Argument::DeviceFile; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    FileSelection selection;
};

#endif // FILECOMMANDS_H
