// Work order files with random content, read at start, and a batch stored beside them. The input is
// divided by bytes 0 into up to four files and a batch. Whatever the files hold, they stay as they
// are unless the batch replaces their work order; a batch is there whole or not at all.

#include <QJsonDocument>

#include "documentfile.h"
#include "fakehost.h"
#include "filesystem.h"
#include "fuzzfolder.h"
#include "workorderstore.h"

namespace {

constexpr int mostFiles = 4;

// The stored documents by id.
QMap<QString, QJsonObject> Documents(WorkOrderStore *store)
{
    QMap<QString, QJsonObject> documents;
    for (const auto &entry : store->Entries()) {
        bool found = false;
        const QJsonObject document = store->GetWorkOrder(entry.first, &found);
        Require(found, "a work order of the index can be read");
        Require(document.value("workOrderId").toString() == entry.first, "it has the id");
        documents[entry.first] = document;
    }
    return documents;
}

QMap<QString, QJsonObject> With(QMap<QString, QJsonObject> documents, const QJsonArray &batch)
{
    for (const QJsonValue &element : batch) {
        // As it is written: of texts that began with a byte order mark it may be gone already.
        const QByteArray text = DocumentFile::Written(element.toObject());
        documents[element.toObject().value("workOrderId").toString()] =
            QJsonDocument::fromJson(text).object();
    }
    return documents;
}

void CheckStore(const QString &workOrders, const QString &state, const QJsonArray &batch)
{
    CallLog log;
    FakeErrorReporter errors(log);
    FileSystem fileSystem;
    WorkOrderStore store(fileSystem, workOrders, state, errors);
    store.Load();
    const QMap<QString, QJsonObject> before = Documents(&store);
    const bool stored = store.UpdateWorkOrders(batch);
    const QMap<QString, QJsonObject> after = Documents(&store);
    Require(after == (stored ? With(before, batch) : before),
            "a batch is stored whole or not at all");

    WorkOrderStore restarted(fileSystem, workOrders, state, errors);
    restarted.Load();
    Require(Documents(&restarted) == after, "a restart finds the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    SilenceLog();
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QList<QByteArray> files = input.split('\0');
    const FuzzFolder folder;
    QDir(folder.Path(QString())).mkpath("workorders");
    QDir(folder.Path(QString())).mkpath("state");
    for (int i = 1; i < files.size() && i <= mostFiles; ++i) {
        folder.Write(QStringLiteral("workorders/%1.json").arg(i), files[i]);
    }
    const QJsonArray batch = QJsonDocument::fromJson(files.front()).array();
    CheckStore(folder.Path("workorders"), folder.Path("state"), batch);
    return 0;
}
