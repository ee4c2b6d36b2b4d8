#ifndef PUTCOMMAND_H
#define PUTCOMMAND_H

#include <QHash>
#include <QVector>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "namefilter.h"

class ProgressDisplay;
class QTemporaryFile;
class UserFiles;

/**
 * Sends files into a folder of the device and verifies them there. With -r the files below folders,
 * of which those are left out that the device already has whole: a run that was interrupted goes on
 * where it was.
 */
class FilesPutCommand : public Command
{
public:
    FilesPutCommand();
    ~FilesPutCommand() override;
    Argument ArgumentKind() const override { return Argument::LocalFile; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    /** A local file and where it goes. */
    struct Item
    {
        QString path;
        qint64 size = 0;
    };

    QVector<QString> Collect(const QString &target, const Output &output);
    void Add(const QString &file, const QString &relative, const QString &target);
    void AddFolder(const QString &folder, const QString &target, const Output &output);
    QString KeepStandardInput();
    void CheckArguments() const;
    bool IsThere(UserFiles &files, const QString &file) const;
    QJsonObject Store(UserFiles &files, const QString &file, const Output &output,
                      ProgressDisplay &display);

    std::vector<std::string> arguments;
    std::string newName;
    NameFilter filter;
    bool recursive = false;
    bool dryRun = false;
    QVector<QString> sources;
    QHash<QString, Item> items;    ///< by local file
    QHash<QString, qint64> listed; ///< with -r: what the device has, by path
    std::unique_ptr<QTemporaryFile> standardInput;
};

#endif // PUTCOMMAND_H
