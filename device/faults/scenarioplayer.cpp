#include "scenarioplayer.h"

#include <QDir>
#include <QFileInfo>
#include <QTimer>
#include <random>

#include "durablefile.h"

namespace {

QByteArray Bytes(qint64 count)
{
    std::mt19937 random(static_cast<quint32>(count));
    QByteArray bytes(static_cast<int>(count), Qt::Uninitialized);
    for (char &byte : bytes) {
        byte = static_cast<char>(random() & 0xFFU);
    }
    return bytes;
}

} // namespace

ScenarioPlayer::ScenarioPlayer(const QVector<ScenarioEvent> &scenario, FaultPlan &faultPlan,
                               IErrorReporter &errors, const QString &userFiles,
                               std::function<void()> restart)
    : events(scenario)
    , faults(faultPlan)
    , errorReporter(errors)
    , folder(userFiles)
    , restartDevice(std::move(restart))
{}

void ScenarioPlayer::Start()
{
    for (const ScenarioEvent &event : events) {
        if (event.request == 0 && event.time.count() == 0) {
            Happen(event);
        } else if (event.request == 0) {
            QTimer::singleShot(event.time, Qt::PreciseTimer, &context,
                               [this, event] { Happen(event); });
        }
    }
}

bool ScenarioPlayer::RequestComes()
{
    int number = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        number = ++requests;
    }
    bool goesOn = true;
    for (const ScenarioEvent &event : events) {
        if (event.request == number) {
            goesOn = Happen(event) && goesOn;
        }
    }
    return goesOn;
}

bool ScenarioPlayer::Happen(const ScenarioEvent &event)
{
    switch (event.action) {
    case ScenarioEvent::Action::SetFault:
        faults.Set(event.fault);
        return true;
    case ScenarioEvent::Action::ClearFault:
        faults.Clear(event.fault.kind);
        return true;
    case ScenarioEvent::Action::AddFile:
        AddFile(event);
        return true;
    case ScenarioEvent::Action::Restart:
        break;
    }
    restartDevice();
    return false;
}

void ScenarioPlayer::AddFile(const ScenarioEvent &event)
{
    FileSystem fileSystem;
    const QString path = folder + QLatin1Char('/') + event.path;
    QString error;
    QDir().mkpath(QFileInfo(path).path());
    if (!WriteDurably(fileSystem, path, Bytes(event.bytes), &error)) {
        errorReporter.ReportError(error, "scenarioplayer", __LINE__);
    }
}
