#ifndef PROGRAM_H
#define PROGRAM_H

#include <CLI/CLI.hpp>
#include <QStringList>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "devicebook.h"

class ClientError;

/** The command line: global options, all commands, and what the exit status is. */
class Program
{
public:
    Program();

    /** Parses the arguments, runs the command that they name and returns the exit status. */
    int Run(int argumentCount, char **arguments);

private:
    void AddGlobalOptions();
    CLI::App *AddGroup(const char *name, const char *description);
    void AddCommand(CLI::App *parent, std::unique_ptr<Command> command);
    DeviceConnection::Settings ConnectionSettings() const;
    QSslConfiguration TlsFor(const QUrl &device, const TlsOptions &wanted) const;
    QString UnknownCommand(int argumentCount, char **arguments) const;
    int Complete(const std::vector<std::string> &words);
    QStringList WhatTheDeviceHas(Command::Argument kind, const QString &beginning) const;
    int RunSelected();
    int Report(ClientError &error) const;

    CLI::App parser;
    std::vector<std::unique_ptr<Command>> commands;
    std::map<const CLI::App *, const Command *> commandsByParser;
    Command *selected = nullptr;
    Output output;
    std::string host = "127.0.0.1:8081";
    TlsOptions tls;
    int retries = 5;
    int timeoutSeconds = 30;
    bool json = false;
    bool quiet = false;
    bool trace = false;
};

#endif // PROGRAM_H
