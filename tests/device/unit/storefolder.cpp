#include "storefolder.h"

#include <QDirIterator>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// In memory where that is possible: there is much flushing, and killing a process loses nothing
// that it wrote on either.
QString Template()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) + "/parlowen-XXXXXX";
}

} // namespace

StoreFolder::StoreFolder()
    : folder(Template())
{
    Clear();
}

void StoreFolder::Place(const QString &name, const QByteArray &content) const
{
    QFile file(WorkOrders() + '/' + name);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray StoreFolder::ContentOf(const QString &name) const
{
    QFile file(WorkOrders() + '/' + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList StoreFolder::Names() const
{
    QStringList names;
    QDirIterator entry(folder.path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (entry.hasNext()) {
        names.append(QDir(folder.path()).relativeFilePath(entry.next()));
    }
    names.sort();
    return names;
}

void StoreFolder::Clear() const
{
    QDir(WorkOrders()).removeRecursively();
    QDir(State()).removeRecursively();
    QDir(folder.path()).mkdir("workorders");
    QDir(folder.path()).mkdir("state");
}

OpenStore::OpenStore(const StoreFolder &folder, std::function<bool(int)> allow)
    : fileSystem(std::move(allow))
    , store(fileSystem, folder.WorkOrders(), folder.State(), errors)
{
    store.Load();
}

QMap<QString, int> OpenStore::Revisions()
{
    QMap<QString, int> revisions;
    for (const auto &[id, entry] : store.Entries()) {
        bool found = false;
        revisions[id] = store.GetWorkOrder(id, &found).value("revision").toInt(-1);
        EXPECT_TRUE(found) << id.toStdString();
    }
    return revisions;
}

QJsonObject WorkOrder(const QString &id, int revision)
{
    return {{"workOrderId", id}, {"revision", revision}};
}

QJsonArray Batch(int first, int last, int revision)
{
    QJsonArray batch;
    for (int number = first; number <= last; ++number) {
        batch.append(
            WorkOrder(QStringLiteral("WO-%1").arg(number, 4, 10, QLatin1Char('0')), revision));
    }
    return batch;
}

bool FinishesInChild(const std::function<void()> &work)
{
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
    return WIFEXITED(status);
}
