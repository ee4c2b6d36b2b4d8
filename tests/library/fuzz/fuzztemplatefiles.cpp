// Template files with random content, gathered into one answer. The input is divided by bytes 0
// into up to four files. What comes out is what each file that is JSON has under
// "cdm", as objects.

#include <QJsonDocument>

#include "fakehost.h"
#include "fuzzfolder.h"
#include "restserverrequestprocessor.h"

namespace {

constexpr int mostFiles = 4;

QJsonArray Expected(const QList<QByteArray> &files)
{
    QJsonArray templates;
    for (const QByteArray &content : files) {
        for (const QJsonValue entry : QJsonDocument::fromJson(content).object()["cdm"].toArray()) {
            templates.append(entry.toObject());
        }
    }
    return templates;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    SilenceLog();
    static const FuzzFolder folder;
    static FakeHost host;
    static RestServerRequestProcessor processor;
    static const bool constructed = (processor.Construct(&host), true);
    Q_UNUSED(constructed)

    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QList<QByteArray> files = input.split('\0').mid(0, mostFiles);
    for (int i = 0; i < mostFiles; ++i) {
        const QString name = QStringLiteral("%1.json").arg(i);
        QFile::remove(folder.Path(name));
        if (i < files.size()) {
            folder.Write(name, files[i]);
        }
    }
    QJsonArray templates;
    processor.AppendTemplatesInDirectory(QDir(folder.Path(QString())), &templates);
    Require(templates == Expected(files), "the templates are those of the files, in their order");
    return 0;
}
