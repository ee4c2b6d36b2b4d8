#include "program.h"

#include "checkcommand.h"
#include "clienterror.h"
#include "filecommands.h"
#include "infocommands.h"
#include "interruption.h"
#include "putcommand.h"
#include "synccommand.h"
#include "workordercommands.h"

namespace {

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
    AddCommand(&parser, std::make_unique<CheckCommand>());
}

int Program::Run(int argumentCount, char **arguments)
{
    try {
        parser.parse(argumentCount, arguments);
    } catch (const CLI::ParseError &error) {
        return static_cast<int>(parser.exit(error) == 0 ? ExitStatus::Done : ExitStatus::Usage);
    }
    output.SetFormat(json ? Output::Format::Json : Output::Format::Text);
    output.SetQuiet(quiet);
    return RunSelected();
}

void Program::AddGlobalOptions()
{
    parser.set_version_flag("--version", "parlowenctl " PARLOWENCTL_VERSION);
    parser.add_option("--host", host, "HOST, HOST:PORT or http(s)://HOST[:PORT] of the device")
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
    commandParser->callback([this, chosen = command.get()] { selected = chosen; });
    commands.push_back(std::move(command));
}

DeviceConnection::Settings Program::ConnectionSettings() const
{
    constexpr int msPerSecond = 1000;
    DeviceConnection::Settings settings;
    settings.device = DeviceAddress::FromText(QString::fromStdString(host));
    settings.tls = TlsFor(settings.device);
    settings.retries = retries;
    settings.timeoutMs = timeoutSeconds * msPerSecond;
    settings.notice = [this](const QString &text) { output.Notice(text); };
    if (trace) {
        settings.trace = [this](const QString &text) { output.Trace(text); };
    }
    return settings;
}

QSslConfiguration Program::TlsFor(const QUrl &device) const
{
    if (device.scheme() != "https" && tls.Any()) {
        throw ClientError(ExitStatus::Usage,
                          QString("--cacert, --cert, --key and --insecure are for https: write "
                                  "--host https://%1")
                              .arg(device.authority()));
    }
    if (tls.insecure) {
        output.Error(QString("WARNING: the certificate of %1 is not checked (--insecure): whoever "
                             "sits between can read and change everything")
                         .arg(device.authority()));
    }
    return tls.Configuration();
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
