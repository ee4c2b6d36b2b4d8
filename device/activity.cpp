#include "activity.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <cerrno>

#include "durablefile.h"
#include "workorderid.h"

namespace {

constexpr const char *activitySource = "activity";

// A file has 20 to 250 kB.
constexpr quint32 fewestReadings = 1000;
constexpr quint32 mostReadings = 12'000;
constexpr qint64 largestReadings = 300'000;

} // namespace

Activity::Activity(DeviceModels &deviceModels, FileSystem &files, IErrorReporter &errors,
                   quint32 seed)
    : models(deviceModels)
    , fileSystem(files)
    , errorReporter(errors)
    , random(seed)
{
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { Measure(); });
}

void Activity::Measure()
{
    Job *active = models.jobs.ActiveJob();
    if (active == nullptr || !models.storage.HasFreeSpace(largestReadings)) {
        return;
    }
    const QString id = active->WorkOrderId();
    const QString path = NextPath(id);
    const QString folder = QFileInfo(path).path();
    QString error;
    if (fileSystem.MakeFolder(folder) != 0 && errno != EEXIST) {
        error = DescribeFailure("make", folder);
    } else if (WriteDurably(fileSystem, path, Readings(), &error)) {
        FillIn(id, QFileInfo(path).fileName());
    }
    if (!error.isEmpty()) {
        errorReporter.ReportError(error, activitySource, __LINE__);
    }
}

// Files of an earlier run stay as they are.
QString Activity::NextPath(const QString &id)
{
    const QString name = QFileInfo(WorkOrderId::FileName(id)).completeBaseName();
    int &number = numbers[id];
    QString path;
    do {
        path = QStringLiteral("%1/results/%2-%3.csv")
                   .arg(models.folder.UserFiles(), name)
                   .arg(++number, 4, 10, QLatin1Char('0'));
    } while (QFileInfo::exists(path));
    return path;
}

QByteArray Activity::Readings()
{
    QByteArray text = "time_s,resistance_ohm\n";
    const quint32 count = Random(fewestReadings, mostReadings);
    for (quint32 number = 0; number < count; ++number) {
        text += QByteArray::number(number * 0.1, 'f', 1) + ',' +
                QByteArray::number(Random(99'000, 103'000) / 1000.0, 'f', 3) + '\n';
    }
    return text;
}

void Activity::FillIn(const QString &id, const QString &file)
{
    bool found = false;
    QJsonObject workOrder = models.workOrders.GetWorkOrder(id, &found);
    QJsonArray tests = workOrder.value(QLatin1String("tests")).toArray();
    if (tests.isEmpty()) {
        return;
    }
    const int position = (numbers.value(id) - 1) % tests.size();
    QJsonObject test = tests.at(position).toObject();
    QJsonObject results = test.value(QLatin1String("results")).toObject();
    QJsonObject data = results.value(QLatin1String("data")).toObject();
    data.insert(QStringLiteral("value"), Random(99'000, 103'000) / 1000.0);
    data.insert(QStringLiteral("file"), QStringLiteral("results/") + file);
    results.insert(QStringLiteral("data"), data);
    results.insert(QStringLiteral("passed"), Random(0, 9) > 0);
    test.insert(QStringLiteral("results"), results);
    tests.replace(position, test);
    workOrder.insert(QStringLiteral("tests"), tests);
    if (models.workOrders.UpdateWorkOrders({workOrder})) {
        models.jobs.RefreshJobs();
    }
}

// The same on every machine, which the distributions of the standard library are not.
quint32 Activity::Random(quint32 least, quint32 most)
{
    return least + static_cast<quint32>(random()) % (most - least + 1);
}
