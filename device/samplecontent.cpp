#include "samplecontent.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVector>
#include <cerrno>

#include "durablefile.h"
#include "workorderid.h"

namespace {

constexpr int workOrderCount = 12;
constexpr int imageEdge = 32;

// 2024-05-17T09:30:00Z: files made a moment ago would not be pending yet.
constexpr qint64 date = 1715938200;

bool Exists(const QString &path)
{
    const QFileInfo file(path);
    return file.exists() || file.isSymLink();
}

// There from before the first file until all are complete.
QString Mark(const DeviceFolder &folder)
{
    return folder.Path() + QLatin1String("/.unfinished-sample-content");
}

/**
 * Writes files until one cannot be written. All are written under another name first and get their
 * own once they are on the disk: a file with its own name is complete, and one that has it already
 * stays as it is.
 */
class Writer
{
public:
    explicit Writer(FileSystem &files)
        : fileSystem(files)
    {}

    void Write(const QString &path, const QByteArray &content)
    {
        if (succeeded && !Exists(path)) {
            succeeded =
                WriteFile(fileSystem, TemporaryPath(path), content, Flushing::Later, &failure);
            written.append(path);
            if (succeeded && fileSystem.SetModifiedTime(TemporaryPath(path), date) != 0) {
                Fail("set the time of", path);
            }
        }
    }

    void Write(const QString &path, const QJsonObject &content)
    {
        Write(path, QJsonDocument(content).toJson());
    }

    void MakeFolder(const QString &path)
    {
        if (succeeded && fileSystem.MakeFolder(path) != 0 && errno != EEXIST) {
            Fail("make", path);
        }
    }

    bool Finish(const DeviceFolder &folder, QString *error)
    {
        Flush(folder.Path());
        for (const QString &path : qAsConst(written)) {
            if (succeeded && fileSystem.Rename(TemporaryPath(path), path) != 0) {
                Fail("make", path);
            }
        }
        Flush(folder.Path());
        if (succeeded && fileSystem.Unlink(Mark(folder)) != 0) {
            Fail("delete", Mark(folder));
        }
        *error = failure;
        return succeeded;
    }

private:
    void Flush(const QString &folder)
    {
        if (succeeded && fileSystem.FlushFileSystem(folder) != 0) {
            Fail("flush", folder);
        }
    }

    void Fail(const char *action, const QString &path)
    {
        failure = DescribeFailure(action, path);
        succeeded = false;
    }

    FileSystem &fileSystem;
    QVector<QString> written; // wait for their own names
    QString failure;
    bool succeeded = true;
};

// The same bytes for the same seed, and no pattern that a transfer could lose and restore.
QByteArray Noise(int size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = seed;
    for (char &byte : bytes) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        byte = static_cast<char>(state & 0xFF);
    }
    return bytes;
}

// A portable graymap: a gradient with some grain, different for every test.
QString Image(int number)
{
    QByteArray image = QStringLiteral("P5\n%1 %1\n255\n").arg(imageEdge).toLatin1();
    const QByteArray grain = Noise(imageEdge * imageEdge, static_cast<quint32>(number + 1));
    for (int pixel = 0; pixel < grain.size(); ++pixel) {
        const int gradient = 4 * (pixel % imageEdge + pixel / imageEdge) / 2;
        image.append(static_cast<char>(gradient + (grain.at(pixel) & 0x1F)));
    }
    return QString::fromLatin1(image.toBase64());
}

QJsonObject Test(int workOrder, int number)
{
    static const char *const names[] = {"Insulation resistance", "Contact resistance",
                                        "Surface inspection"};
    const QJsonObject data{{"imageData", Image(workOrder * 10 + number)},
                           {"imageType", "image/x-portable-graymap"},
                           {"unit", number == 2 ? "count" : "ohm"},
                           {"value", 100 * workOrder + number}};
    return {{"name", names[number]},
            {"results", QJsonObject{{"data", data}, {"passed", workOrder % 4 != 0}}},
            {"testId", QStringLiteral("T-%1").arg(number + 1)}};
}

QJsonObject WorkOrder(int number)
{
    const QJsonArray tests{Test(number, 0), Test(number, 1), Test(number, 2)};
    return {{"customer", QStringLiteral("Plant %1").arg(1 + number % 3)},
            {"priority", number % 3 == 0 ? "high" : "normal"},
            {"tests", tests},
            {"title", QStringLiteral("Acceptance test of unit %1").arg(number)},
            {"workOrderId", QStringLiteral("WO-%1").arg(1000 + number)}};
}

QJsonObject Template(const char *name, const QJsonArray &tests)
{
    QJsonArray described;
    for (const QJsonValue &test : tests) {
        described.append(QJsonObject{{"name", test}});
    }
    return {{"templateName", name}, {"tests", described}};
}

QJsonObject TemplateFile(const QJsonArray &templates)
{
    return {{"cdm", templates}};
}

void WriteAsset(Writer *writer, const DeviceFolder &folder)
{
    writer->Write(folder.AssetFile(), QJsonObject{{"firmwareVersion", "2.4.1"},
                                                  {"model", "Parlowen simulated instrument"},
                                                  {"simulator", true},
                                                  {"serialNumber", "PW-000042"}});
}

void WriteWorkOrders(Writer *writer, const DeviceFolder &folder)
{
    for (int number = 1; number <= workOrderCount; ++number) {
        const QJsonObject document = WorkOrder(number);
        writer->Write(folder.WorkOrders() + QLatin1Char('/') +
                          WorkOrderId::FileName(WorkOrderId::Of(document)),
                      document);
    }
}

void WriteTemplates(Writer *writer, const DeviceFolder &folder)
{
    writer->Write(
        folder.Templates() + QLatin1String("/acceptance.json"),
        TemplateFile({Template("Acceptance test", {"Insulation resistance", "Contact resistance"}),
                      Template("Short acceptance test", {"Contact resistance"})}));
    writer->Write(folder.Templates() + QLatin1String("/inspection.json"),
                  TemplateFile({Template("Surface inspection", {"Surface inspection"})}));
    writer->Write(folder.GuardedTemplates() + QLatin1String("/service.json"),
                  TemplateFile({Template("Yearly service", {"Self test", "Calibration"})}));
}

void WriteUserFiles(Writer *writer, const DeviceFolder &folder)
{
    const QString userFiles = folder.UserFiles();
    writer->Write(userFiles + QLatin1String("/readme.txt"),
                  QByteArray("Files that were made with the instrument.\n"));
    writer->Write(userFiles + QStringLiteral("/Prüfbericht März.txt"),
                  QByteArray("Gerät: PW-000042\nErgebnis: bestanden\n"));
    writer->MakeFolder(userFiles + QLatin1String("/traces"));
    writer->Write(userFiles + QLatin1String("/traces/resistance.csv"),
                  QByteArray("time_s,resistance_ohm\n0.0,101.2\n0.1,101.3\n0.2,101.1\n"));
    writer->Write(userFiles + QLatin1String("/traces/waveform.bin"),
                  Noise(SampleContent::largeFileSize, 1));
}

} // namespace

bool SampleContent::IsDue(const DeviceFolder &folder)
{
    return folder.IsUnused() || Exists(Mark(folder));
}

bool SampleContent::Begin(FileSystem &fileSystem, const DeviceFolder &folder, QString *error)
{
    if (!WriteFile(fileSystem, Mark(folder), QByteArray(), Flushing::AtOnce, error)) {
        return false;
    }
    if (fileSystem.FlushFolder(folder.Path()) != 0) {
        *error = DescribeFailure("flush", folder.Path());
        return false;
    }
    return true;
}

bool SampleContent::Write(FileSystem &fileSystem, const DeviceFolder &folder, Extent extent,
                          QString *error)
{
    Writer writer(fileSystem);
    WriteAsset(&writer, folder);
    if (extent == Extent::Whole) {
        WriteWorkOrders(&writer, folder);
        WriteTemplates(&writer, folder);
        WriteUserFiles(&writer, folder);
    }
    return writer.Finish(folder, error);
}
