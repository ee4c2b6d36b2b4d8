#include <algorithm>

#include "assertions.h"
#include "checkeddevice.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "filechecks.h"
#include "routes.h"

namespace {

constexpr char notThere[] = "/parlowen-check-none";
constexpr char otherFile[] = "/etc/passwd";

QJsonObject MetadataOf(CheckedDevice &device, const char *prefix, const QJsonObject &file)
{
    const QString path = file.value("path").toString();
    try {
        return Expect::Object(device.Get(DeviceConnection::Route(prefix, path)));
    } catch (const Finding &finding) {
        Fail(QString("%1: %2").arg(path, finding.text));
    }
}

void ForSomeFiles(CheckedDevice &device,
                  const std::function<void(const QJsonObject &file, const QJsonObject &)> &check)
{
    for (const QJsonObject &file : device.SomeFiles(FileChecks::filesLookedAt)) {
        check(file, MetadataOf(device, Routes::metadata, file));
    }
}

void HasVersion(CheckedDevice &device)
{
    Require(Expect::Object(device.Get(Routes::info)).value("infoVersion") == 1,
            "\"infoVersion\" is not 1");
}

void NamesFamilies(CheckedDevice &device)
{
    const QJsonArray families =
        Expect::Object(device.Get(Routes::info)).value("apiSupport").toArray();
    const QStringList names = {"workflow", "syncfiles", "filemgr", "techinfo"};
    Require(Members(families, "name") == names, "\"apiSupport\" does not name the four families");
    for (const QJsonValue &family : families) {
        const int version = family.toObject().value("name") == "filemgr" ? 2 : 1;
        Require(family.toObject().value("versions").toArray() == QJsonArray{version},
                "the versions of a family are wrong");
    }
}

void DescribesAsset(CheckedDevice &device)
{
    if (Expect::Object(device.Get(Routes::info)).value("assetInfo").toObject().isEmpty()) {
        Warn("\"assetInfo\" says nothing about the device");
    }
}

void HasSerialNumber(CheckedDevice &device)
{
    const QJsonObject asset =
        Expect::Object(device.Get(Routes::info)).value("assetInfo").toObject();
    if (asset.value("serialNumber").toString().isEmpty()) {
        Warn("\"assetInfo\" has no \"serialNumber\": a protocol cannot name the device");
    }
}

void StaysTheSame(CheckedDevice &device)
{
    const QJsonObject first = Expect::Object(device.Get(Routes::info));
    Require(first == Expect::Object(device.Get(Routes::info)), "two answers differ");
}

void KnowsListedFiles(CheckedDevice &device, const char *prefix)
{
    const QVector<QJsonObject> files = device.SomeFiles(FileChecks::filesLookedAt);
    for (const QJsonObject &file : files) {
        MetadataOf(device, prefix, file);
    }
    device.Note(QString("%1 files").arg(files.size()));
}

void NamesPath(CheckedDevice &device)
{
    ForSomeFiles(device, [](const QJsonObject &file, const QJsonObject &metadata) {
        Require(metadata.value("path") == file.value("path"),
                QString("the metadata of %1 are those of %2")
                    .arg(file.value("path").toString(), metadata.value("path").toString()));
    });
}

void AgreesWithListing(CheckedDevice &device, const char *member)
{
    ForSomeFiles(device, [member](const QJsonObject &file, const QJsonObject &metadata) {
        Require(metadata.value(member) == file.value(member),
                QString("\"%1\" of %2 is %3 in the metadata and %4 in the listing")
                    .arg(member, file.value("path").toString(),
                         metadata.value(member).toVariant().toString(),
                         file.value(member).toVariant().toString()));
    });
}

void HasDigest(CheckedDevice &device)
{
    ForSomeFiles(device, [](const QJsonObject &file, const QJsonObject &metadata) {
        if (!metadata.contains("sha256")) {
            Warn(QString("%1 has no \"sha256\": clients cannot verify what they fetched")
                     .arg(file.value("path").toString()));
        }
    });
}

qint64 MillisecondsOfMetadata(CheckedDevice &device, const QString &path)
{
    const HttpAnswer answer = device.Get(DeviceConnection::Route(Routes::metadata, path));
    Expect::Object(answer);
    return answer.milliseconds;
}

// Summing up a file of some gigabytes takes longer than a client is kept waiting.
void KeepsDigest(CheckedDevice &device)
{
    constexpr int size = 10'000'000;
    constexpr int attempts = 5;
    constexpr qint64 notable = 20;
    const QString path = FileChecks::Store(device, "digest-kept", Bytes(size));
    const qint64 first = MillisecondsOfMetadata(device, path);
    qint64 later = first;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        later = std::min(later, MillisecondsOfMetadata(device, path));
    }
    if (first >= notable && later > first / 2) {
        Warn(QString("the metadata of 10 MB take %1 ms each time: those of a large file come too "
                     "late, unless its digest is kept")
                 .arg(later));
    }
}

void VersionsAgree(CheckedDevice &device)
{
    ForSomeFiles(device, [&device](const QJsonObject &file, const QJsonObject &metadata) {
        Require(MetadataOf(device, Routes::syncMetadata, file) == metadata,
                QString("version 1 and 2 differ for %1").arg(file.value("path").toString()));
    });
}

void TakesEncodedSlash(CheckedDevice &device)
{
    const QJsonObject file = device.SomeFiles(1).first();
    const QByteArray path = file.value("path").toString().mid(1).toUtf8();
    const HttpAnswer answer =
        device.Get(Routes::metadata + QByteArray("/") + path.toPercentEncoding());
    Require(Expect::Object(answer).value("path") == file.value("path"),
            "it is not the metadata of the file");
}

void TakesQuery(CheckedDevice &device)
{
    const QString path = device.SomeFiles(1).first().value("path").toString();
    const QByteArray route = DeviceConnection::Route(Routes::metadata, path);
    Require(Expect::Object(device.Get(route + "?parlowen=check")).value("path") == path,
            "it is not the metadata of the file");
}

void RefusesMissing(CheckedDevice &device, const char *prefix, const char *message)
{
    Expect::Error(device.Get(prefix + QByteArray(notThere)), message);
}

void RefusesMissingInFolder(CheckedDevice &device)
{
    const QString path = device.Folder() + notThere;
    Expect::Error(device.Get(DeviceConnection::Route(Routes::metadata, path)), "Invalid URI");
}

void RefusesFolder(CheckedDevice &device)
{
    Expect::Error(device.Get(DeviceConnection::Route(Routes::metadata, device.Folder())),
                  "Invalid URI");
}

void RefusesOutside(CheckedDevice &device, const char *prefix, const char *message)
{
    Expect::Error(device.Get(prefix + QByteArray(otherFile)), message);
}

void RefusesDots(CheckedDevice &device, const char *prefix, const char *message)
{
    const QString up = QString("/..").repeated(device.Folder().count('/'));
    const QString path = device.Folder() + up + otherFile;
    Expect::Error(device.Get(DeviceConnection::Route(prefix, path)), message);
}

} // namespace

AssertionGroup Assertions::OfAssetModel()
{
    const QString info = "IAssetModel::GetAssetInfo; http-api: The device";
    const QString metadata = "IAssetModel::GetFileMetadata; http-api: Files";
    const QString bounds = "IAssetModel::GetFileMetadata; http-api: Names";
    return {
        "IAssetModel",
        "What the device is, and what it says of its files",
        {
            {"asset.version", "The description says that its version is 1.", info, Effect::Reads,
             HasVersion},
            {"asset.families", "The description names the four families with their versions.", info,
             Effect::Reads, NamesFamilies},
            {"asset.information", "The device describes itself.", info, Effect::Reads,
             DescribesAsset},
            {"asset.serial-number", "The device tells its serial number.", info, Effect::Reads,
             HasSerialNumber},
            {"asset.same", "Two descriptions of the device are the same.", info, Effect::Reads,
             StaysTheSame},
            {"asset.metadata.v1", "Version 1 knows every listed file.", metadata, Effect::Reads,
             With(KnowsListedFiles, Routes::syncMetadata)},
            {"asset.metadata.v2", "Version 2 knows every listed file.", metadata, Effect::Reads,
             With(KnowsListedFiles, Routes::metadata)},
            {"asset.metadata.agree", "Both versions say the same of a file.", metadata,
             Effect::Reads, VersionsAgree},
            {"asset.metadata.path", "Metadata name the path that was asked for.", metadata,
             Effect::Reads, NamesPath},
            {"asset.metadata.size", "Metadata and listing tell one size.", metadata, Effect::Reads,
             With(AgreesWithListing, "size")},
            {"asset.metadata.time", "Metadata and listing tell one time.", metadata, Effect::Reads,
             With(AgreesWithListing, "modifiedTime")},
            {"asset.metadata.digest", "Metadata tell the SHA-256 of the content.", metadata,
             Effect::Reads, HasDigest},
            {"asset.metadata.digest-kept",
             "The digest of a file is not summed up anew for each request.", metadata,
             Effect::Writes, KeepsDigest},
            {"asset.metadata.encoded-slash", "A slash in a path may be percent-encoded.", metadata,
             Effect::Reads, TakesEncodedSlash},
            {"asset.metadata.query", "A query is not part of the path.", metadata, Effect::Reads,
             TakesQuery},
            {"asset.metadata.missing-v1", "Version 1 says of a missing file: \"File not found\".",
             metadata, Effect::Reads, With(RefusesMissing, Routes::syncMetadata, "File not found")},
            {"asset.metadata.missing-v2", "Version 2 says of a missing file: \"Invalid URI\".",
             metadata, Effect::Reads, With(RefusesMissing, Routes::metadata, "Invalid URI")},
            {"asset.metadata.missing-in-folder",
             "A missing file in the folder of the user files has no metadata.", metadata,
             Effect::Reads, RefusesMissingInFolder},
            {"asset.metadata.folder", "A folder has no metadata.", metadata, Effect::Reads,
             RefusesFolder},
            {"asset.metadata.outside-v1", "Version 1 knows no file outside of the user files.",
             bounds, Effect::Reads, With(RefusesOutside, Routes::syncMetadata, "File not found")},
            {"asset.metadata.outside-v2", "Version 2 knows no file outside of the user files.",
             bounds, Effect::Reads, With(RefusesOutside, Routes::metadata, "Invalid URI")},
            {"asset.metadata.dots-v1", "\"..\" leads to no metadata in version 1.", bounds,
             Effect::Reads, With(RefusesDots, Routes::syncMetadata, "File not found")},
            {"asset.metadata.dots-v2", "\"..\" leads to no metadata in version 2.", bounds,
             Effect::Reads, With(RefusesDots, Routes::metadata, "Invalid URI")},
        },
    };
}
