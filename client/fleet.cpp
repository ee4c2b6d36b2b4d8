#include "fleet.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>
#include <algorithm>
#include <csignal>

#include "interruption.h"
#include "output.h"

namespace {

QString LastLine(const QByteArray &errors)
{
    const QString prefix = QStringLiteral("parlowenctl: ");
    const QString line = QString::fromUtf8(errors).trimmed().section('\n', -1);
    return line.startsWith(prefix) ? line.mid(prefix.size()) : line;
}

} // namespace

Fleet::Fleet(const Output &fleetOutput, QStringList syncArguments, int atOnce)
    : output(fleetOutput)
    , arguments(std::move(syncArguments))
    , most(atOnce)
{}

ExitStatus Fleet::Sync(const QVector<NamedDevice> &devices, const QString &folder)
{
    QEventLoop loop;
    QSocketNotifier stop(Interruption::Descriptor(), QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, &loop, [&] {
        stop.setEnabled(false);
        for (const QProcess *process : qAsConst(running)) {
            kill(static_cast<pid_t>(process->processId()), SIGINT);
        }
    });
    int next = 0;
    while (!running.isEmpty() || (next < devices.size() && stop.isEnabled())) {
        while (next < devices.size() && running.size() < most && stop.isEnabled()) {
            Start(devices[next++], folder);
        }
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    }
    Print();
    Interruption::ThrowIfAny();
    const auto worst = std::max_element(
        results.begin(), results.end(),
        [](const Result &left, const Result &right) { return left.status < right.status; });
    return worst == results.end() ? ExitStatus::Done : static_cast<ExitStatus>(worst->status);
}

void Fleet::Start(const NamedDevice &device, const QString &folder)
{
    auto *process = new QProcess(QCoreApplication::instance());
    running.insert(device.name, process);
    const QString name = device.name;
    QObject::connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished),
                     process, [this, name, process] { Finished(name, *process); });
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [this, name, process](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) {
                             Finished(name, *process);
                         }
                     });
    process->start(QCoreApplication::applicationFilePath(),
                   QStringList{"--host", name, "--json", "--quiet", "sync"} + arguments +
                       QStringList{QDir(folder).filePath(name)});
}

void Fleet::Finished(const QString &name, QProcess &process)
{
    const QJsonObject document = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    Result result;
    result.name = name;
    result.document = document;
    result.synchronised = document.value("synchronised").toArray().size();
    result.failed =
        document.value("failed").toArray().size() + document.value("skipped").toArray().size();
    const bool ended =
        process.exitStatus() == QProcess::NormalExit && process.error() != QProcess::FailedToStart;
    result.status = ended ? process.exitCode() : static_cast<int>(ExitStatus::LocalFailure);
    result.reason = LastLine(process.readAllStandardError());
    results.append(result);
    running.remove(name);
    process.deleteLater();
    output.Notice(
        QString("%1: status %2, %3 files").arg(name).arg(result.status).arg(result.synchronised));
}

void Fleet::Print() const
{
    QVector<Result> sorted = results;
    std::sort(sorted.begin(), sorted.end(),
              [](const Result &left, const Result &right) { return left.name < right.name; });
    constexpr int numberWidth = 7;
    int nameWidth = 6;
    for (const Result &result : qAsConst(sorted)) {
        nameWidth = std::max(nameWidth, result.name.size());
    }
    const QString row = QStringLiteral("%1  %2  %3  %4  %5");
    output.Line(row.arg("DEVICE", -nameWidth)
                    .arg("FILES", numberWidth)
                    .arg("FAILED", numberWidth)
                    .arg("STATUS", numberWidth)
                    .arg("REASON"));
    QJsonArray devices;
    for (const Result &result : qAsConst(sorted)) {
        output.Line(row.arg(result.name, -nameWidth)
                        .arg(result.synchronised, numberWidth)
                        .arg(result.failed, numberWidth)
                        .arg(result.status, numberWidth)
                        .arg(result.status == 0 ? QString() : result.reason)
                        .trimmed());
        QJsonObject device = result.document;
        device.insert("device", result.name);
        device.insert("exitStatus", result.status);
        devices.append(device);
    }
    output.Json(QJsonDocument(QJsonObject{{"devices", devices}}));
}
