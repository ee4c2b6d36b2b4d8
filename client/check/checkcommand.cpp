#include "checkcommand.h"

#include <CLI/CLI.hpp>
#include <QHash>
#include <QJsonDocument>
#include <QSaveFile>

#include "checkinterruption.h"
#include "clienterror.h"

namespace {

void WriteFile(const std::string &name, const QByteArray &content)
{
    if (name.empty()) {
        return;
    }
    QSaveFile file(QString::fromStdString(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() ||
        !file.commit()) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot write %1: %2").arg(file.fileName(), file.errorString()));
    }
}

void PrintFinding(const Output &output, const AssertionResult &one)
{
    output.Line(
        QString("%1  %2  %3").arg(CheckReport::Name(one.verdict), -10).arg(one.id, one.sentence));
    if (!one.text.isEmpty()) {
        output.Line("            " + one.text);
    }
    if (one.verdict == Verdict::Fail) {
        output.Line("            see " + one.reference);
    }
}

void PrintUntested(const Output &output, const QVector<AssertionResult> &ofOneReason)
{
    if (ofOneReason.size() == 1) {
        PrintFinding(output, ofOneReason.first());
        return;
    }
    output.Line(QString("%1  %2 assertions, such as %3")
                    .arg(CheckReport::Name(Verdict::NotTested), -10)
                    .arg(ofOneReason.size())
                    .arg(ofOneReason.first().id));
    output.Line("            " + ofOneReason.first().text);
}

void PrintFindings(const Output &output, const QVector<AssertionResult> &results)
{
    QStringList reasons;
    QHash<QString, QVector<AssertionResult>> untested;
    for (const AssertionResult &one : results) {
        if (one.verdict == Verdict::NotTested) {
            reasons.append(one.text);
            untested[one.text].append(one);
        } else if (one.verdict != Verdict::Pass) {
            PrintFinding(output, one);
        }
    }
    reasons.removeDuplicates();
    for (const QString &reason : qAsConst(reasons)) {
        PrintUntested(output, untested.value(reason));
    }
}

} // namespace

CheckCommand::CheckCommand()
    : Command("check", "Check whether the device keeps the interface")
{}

void CheckCommand::AddArguments(CLI::App &parser)
{
    parser.add_flag("--write", write,
                    "Store, change and delete as well; what was changed is put back");
    parser.add_flag("--load", load, "With --write: thousands of work orders, many clients, pauses");
    parser.add_option("--folder", folder, "Folder of the user files on a device that lists none")
        ->type_name("DIR");
    parser.add_option("--only", only, "Ids of the assertions to check, such as \"jobs.*\"")
        ->type_name("ID");
    parser.add_option("--report", htmlFile, "Write the protocol as one HTML page")
        ->type_name("FILE");
    parser.add_option("--junit", junitFile, "Write the results for build servers")
        ->type_name("FILE");
}

ExitStatus CheckCommand::Run(DeviceConnection &connection, const Output &output)
{
    const DeviceConnection::Settings &settings = connection.ItsSettings();
    CheckedDevice device({settings.device, settings.tls, settings.timeoutMs},
                         QString::fromStdString(folder));
    CheckRun::Settings extent;
    extent.write = write || load;
    extent.load = load;
    for (const std::string &id : only) {
        extent.only.append(QString::fromStdString(id));
    }
    const CheckResult result = CheckRun(device, extent).Run();
    PrintResult(output, result);
    WriteFiles(result);
    if (result.interrupted) {
        throw ClientError(ExitStatus::LocalFailure,
                          QStringLiteral("the check was interrupted; the device was put back"));
    }
    return result.Count(Verdict::Fail) == 0 ? ExitStatus::Done : ExitStatus::LocalFailure;
}

void CheckCommand::PrintResult(const Output &output, const CheckResult &result) const
{
    PrintFindings(output, CheckReport::WorstFirst(result));
    for (const QString &what : result.leftBehind) {
        output.Line("left on the device: " + what);
    }
    output.Line(CheckReport::Summary(result));
    output.Json(QJsonDocument::fromJson(CheckReport::Json(result)));
}

void CheckCommand::WriteFiles(const CheckResult &result) const
{
    WriteFile(htmlFile, CheckReport::Html(result));
    WriteFile(junitFile, CheckReport::Junit(result));
}
