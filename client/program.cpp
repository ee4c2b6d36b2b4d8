#include "program.h"

#include <algorithm>
#include <numeric>

#include "checkcommand.h"
#include "clienterror.h"
#include "completion.h"
#include "filecommands.h"
#include "infocommands.h"
#include "interruption.h"
#include "putcommand.h"
#include "snapshotcommand.h"
#include "synccommand.h"
#include "userfiles.h"
#include "workordercommands.h"
#include "workorders.h"

namespace {

// Not a command for people: what the scripts for the shells ask.
constexpr char completionWord[] = "complete";

// A positional whose name tells itself how often it occurs is shown as it is.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_option_usage(const CLI::Option *option) const override
    {
        const std::string name = make_option_name(option, true);
        return name.find("...") == std::string::npos ? Formatter::make_option_usage(option) : name;
    }
};

// How many letters have to be changed, added or left out.
size_t Distance(const std::string &left, const std::string &right)
{
    std::vector<size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), size_t(0));
    for (size_t i = 0; i < left.size(); ++i) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < right.size(); ++j) {
            const size_t replaced = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

QString NoSuchCommand(const std::string &word, const std::vector<const CLI::App *> &known)
{
    constexpr size_t near = 3;
    const auto nearest = *std::min_element(
        known.begin(), known.end(), [&](const CLI::App *left, const CLI::App *right) {
            return Distance(word, left->get_name()) < Distance(word, right->get_name());
        });
    const QString problem = QString("\"%1\" is no command").arg(QString::fromStdString(word));
    return Distance(word, nearest->get_name()) < near
               ? QString("%1; did you mean \"%2\"?")
                     .arg(problem, QString::fromStdString(nearest->get_name()))
               : problem + "; --help lists them";
}

} // namespace

Program::Program()
    : parser("Command line client of the instrument", "parlowenctl")
{
    parser.formatter(std::make_shared<HelpFormatter>());
    AddGlobalOptions();
    parser.require_subcommand(1);
    parser.fallthrough();
    AddCommand(&parser, std::make_unique<InfoCommand>());
    AddCommand(&parser, std::make_unique<TechCommand>());

    CLI::App *workOrders = AddGroup("workorders", "List, read, send and activate work orders");
    AddCommand(workOrders, std::make_unique<WorkOrdersListCommand>());
    AddCommand(workOrders, std::make_unique<WorkOrdersGetCommand>());
    AddCommand(workOrders, std::make_unique<WorkOrdersPutCommand>());
    AddCommand(workOrders, std::make_unique<WorkOrdersActiveCommand>());
    AddCommand(&parser, std::make_unique<TemplatesCommand>());

    CLI::App *files = AddGroup("files", "List, fetch, send, delete and confirm user files");
    AddCommand(files, std::make_unique<FilesListCommand>());
    AddCommand(files, std::make_unique<FilesPendingCommand>());
    AddCommand(files, std::make_unique<FilesStatCommand>());
    AddCommand(files, std::make_unique<FilesGetCommand>());
    AddCommand(files, std::make_unique<FilesPutCommand>());
    AddCommand(files, std::make_unique<FilesRemoveCommand>());
    AddCommand(files, std::make_unique<FilesConfirmCommand>());
    AddCommand(&parser, std::make_unique<SyncCommand>());
    AddCommand(&parser, std::make_unique<SnapshotCommand>());
    AddCommand(&parser, std::make_unique<CheckCommand>());
    AddCommand(&parser, std::make_unique<ApiCommand>());
}

int Program::Run(int argumentCount, char **arguments)
{
    if (argumentCount > 2 && std::string(arguments[1]) == completionWord) {
        return Complete({arguments + 3, arguments + argumentCount});
    }
    try {
        parser.parse(argumentCount, arguments);
    } catch (const CLI::ParseError &error) {
        const QString mistyped = UnknownCommand(argumentCount, arguments);
        if (error.get_exit_code() != 0 && !mistyped.isEmpty()) {
            output.Error(mistyped);
            return static_cast<int>(ExitStatus::Usage);
        }
        return static_cast<int>(parser.exit(error) == 0 ? ExitStatus::Done : ExitStatus::Usage);
    }
    output.SetFormat(json ? Output::Format::Json : Output::Format::Text);
    output.SetQuiet(quiet);
    return RunSelected();
}

int Program::Complete(const std::vector<std::string> &words)
{
    const auto kindOf = [this](const CLI::App *command) {
        const auto found = commandsByParser.find(command);
        return found == commandsByParser.end() ? Command::Argument::Other
                                               : found->second->ArgumentKind();
    };
    // Everything but the word in question, for what it says of the connection.
    std::vector<std::string> options(words.begin(), words.empty() ? words.end() : words.end() - 1);
    const auto ask = [&](Command::Argument kind, const QString &beginning) {
        try {
            std::reverse(options.begin(), options.end());
            parser.parse(options);
        } catch (const CLI::ParseError &) {
            // The line is not finished; what was read of it has to do.
        }
        return WhatTheDeviceHas(kind, beginning);
    };
    const QStringList offered = Completion(parser, kindOf, ask).Offer(words);
    for (const QString &candidate : offered) {
        output.Line(candidate);
    }
    return 0;
}

QStringList Program::WhatTheDeviceHas(Command::Argument kind, const QString &beginning) const
{
    constexpr int patienceMs = 2000;
    try {
        DeviceConnection::Settings settings = ConnectionSettings();
        settings.retries = 0;
        settings.timeoutMs = patienceMs;
        settings.notice = nullptr;
        DeviceConnection connection(settings);
        if (kind == Command::Argument::WorkOrder) {
            QStringList ids = WorkOrders(connection).Times().keys();
            ids.sort();
            return ids;
        }
        const QVector<FileRecord> files = UserFiles(connection).List();
        const int cut = beginning.startsWith('/') ? 0 : DevicePaths(files).Root().size() + 1;
        QStringList paths;
        for (const FileRecord &record : files) {
            paths.append(record.path.mid(cut));
        }
        return paths;
    } catch (const ClientError &) {
        return {};
    }
}

QString Program::UnknownCommand(int argumentCount, char **arguments) const
{
    const CLI::App *level = &parser;
    for (int i = 1; i < argumentCount; ++i) {
        const std::string word = arguments[i];
        if (!word.empty() && word.front() == '-') {
            const CLI::Option *option = parser.get_option_no_throw(word);
            i += option != nullptr && option->get_items_expected_min() > 0 ? 1 : 0;
            continue;
        }
        const auto commandsHere = level->get_subcommands([](const CLI::App *) { return true; });
        if (commandsHere.empty()) {
            return {};
        }
        const auto named =
            std::find_if(commandsHere.begin(), commandsHere.end(),
                         [&](const CLI::App *one) { return one->get_name() == word; });
        if (named == commandsHere.end()) {
            return NoSuchCommand(word, commandsHere);
        }
        level = *named;
    }
    return {};
}

void Program::AddGlobalOptions()
{
    parser.set_version_flag("--version", "parlowenctl " PARLOWENCTL_VERSION);
    parser
        .add_option("--host", host,
                    "HOST, HOST:PORT or http(s)://HOST[:PORT] of the device, or its name")
        ->envname("PARLOWEN_HOST")
        ->type_name("HOST")
        ->capture_default_str();
    parser.add_option("--cacert", tls.authorities, "Authorities to trust with https, PEM")
        ->type_name("FILE");
    parser.add_option("--cert", tls.certificate, "Own certificate for https, PEM or PKCS#12")
        ->type_name("FILE");
    parser.add_option("--key", tls.key, "Key of --cert, PEM, where that has none")
        ->type_name("FILE");
    parser.add_flag("--insecure", tls.insecure, "Do not check the device's certificate");
    parser.add_flag("--json", json, "Print the result as one JSON document");
    parser.add_flag("--quiet", quiet, "Print no progress and no notices");
    parser.add_flag("--trace", trace, "Show each request and answer on standard error");
    parser.add_option("--retries", retries, "How often a busy device is asked again")
        ->check(CLI::Range(0, 100))
        ->type_name("COUNT")
        ->capture_default_str();
    parser.add_option("--timeout", timeoutSeconds, "Seconds to wait when nothing arrives")
        ->check(CLI::Range(1, 3600))
        ->type_name("SECONDS")
        ->capture_default_str();
}

CLI::App *Program::AddGroup(const char *name, const char *description)
{
    CLI::App *group = parser.add_subcommand(name, description);
    group->require_subcommand(1);
    group->fallthrough();
    return group;
}

void Program::AddCommand(CLI::App *parent, std::unique_ptr<Command> command)
{
    CLI::App *commandParser = parent->add_subcommand(command->Name(), command->Description());
    commandParser->fallthrough();
    commandParser->footer("The options of parlowenctl itself may follow: see parlowenctl --help.");
    command->AddArguments(*commandParser);
    commandsByParser.emplace(commandParser, command.get());
    commandParser->callback([this, chosen = command.get()] { selected = chosen; });
    commands.push_back(std::move(command));
}

DeviceConnection::Settings Program::ConnectionSettings() const
{
    constexpr int msPerSecond = 1000;
    const std::optional<NamedDevice> named = DeviceBook::Find(host);
    const TlsOptions wanted = named && !tls.Any() ? named->tls : tls;
    DeviceConnection::Settings settings;
    settings.device = DeviceAddress::FromText(QString::fromStdString(named ? named->host : host));
    settings.tls = TlsFor(settings.device, wanted);
    settings.retries = retries;
    settings.timeoutMs = timeoutSeconds * msPerSecond;
    settings.notice = [this](const QString &text) { output.Notice(text); };
    if (trace) {
        settings.trace = [this](const QString &text) { output.Trace(text); };
    }
    return settings;
}

QSslConfiguration Program::TlsFor(const QUrl &device, const TlsOptions &wanted) const
{
    if (device.scheme() != "https" && wanted.Any()) {
        throw ClientError(ExitStatus::Usage,
                          QString("--cacert, --cert, --key and --insecure are for https: write "
                                  "--host https://%1")
                              .arg(device.authority()));
    }
    if (wanted.insecure) {
        output.Error(QString("WARNING: the certificate of %1 is not checked (--insecure): whoever "
                             "sits between can read and change everything")
                         .arg(device.authority()));
    }
    return wanted.Configuration();
}

int Program::RunSelected()
{
    constexpr int signalStatus = 128;
    try {
        DeviceConnection connection(ConnectionSettings());
        return static_cast<int>(selected->Run(connection, output));
    } catch (Interrupted &stop) {
        Report(stop);
        return signalStatus + stop.SignalNumber();
    } catch (ClientError &error) {
        return Report(error);
    } catch (const std::exception &error) {
        ClientError failure(ExitStatus::LocalFailure, QString::fromLocal8Bit(error.what()));
        return Report(failure);
    }
}

int Program::Report(ClientError &error) const
{
    const int status = static_cast<int>(error.Status());
    error.TellOnce([&](const QString &message) {
        output.Error(message);
        try {
            output.Json(QJsonDocument(QJsonObject{{"error", message}, {"exitStatus", status}}));
        } catch (const ClientError &) {
            // Standard output takes nothing. Standard error was told, and the status tells it too.
        }
    });
    return status;
}
