#include "filechecks.h"

#include "assertion.h"
#include "checkeddevice.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "routes.h"

QJsonArray FileChecks::Listing(CheckedDevice &device)
{
    const QJsonValue files = Expect::Object(device.Get(Routes::userFiles)).value("files");
    Require(files.isArray(), "the listing has no array \"files\"");
    return files.toArray();
}

QJsonArray FileChecks::Pending(CheckedDevice &device)
{
    return Expect::Array(device.Get(Routes::pendingFiles));
}

QJsonArray FileChecks::AllPending(CheckedDevice &device)
{
    return Expect::Array(device.Get(Routes::allPendingFiles));
}

HttpAnswer FileChecks::Whole(CheckedDevice &device, const QString &path)
{
    return device.Get(DeviceConnection::Route(Routes::syncFiles, path));
}

HttpAnswer FileChecks::Download(CheckedDevice &device, const QString &path)
{
    device.RequireStorage();
    return device.Get(DeviceConnection::Route(Routes::userFiles, path));
}

QJsonObject FileChecks::Metadata(CheckedDevice &device, const QString &path)
{
    return Expect::Object(device.Get(DeviceConnection::Route(Routes::metadata, path)));
}

QString FileChecks::Store(CheckedDevice &device, const QString &name, const QByteArray &content)
{
    QString path = device.NewFile(name);
    Expect::Done(device.Upload(path, content));
    return path;
}

void FileChecks::RequireContent(CheckedDevice &device, const QString &path,
                                const QByteArray &content)
{
    const QJsonObject metadata = Metadata(device, path);
    Require(metadata.value("size") == content.size(), "the metadata tell another size");
    Require(!metadata.contains("sha256") ||
                metadata.value("sha256").toString() == QString(DigestOf(content)),
            "the metadata tell another digest");
    Expect::Content(Download(device, path), content);
    Expect::Content(Whole(device, path), content);
}

void FileChecks::RequireGone(CheckedDevice &device, const QString &path)
{
    Expect::Error(device.Get(DeviceConnection::Route(Routes::metadata, path)), "Invalid URI");
    Expect::Error(Download(device, path), "File read failure");
    Expect::Error(Whole(device, path), "File not found");
    Require(!Has(Listing(device), path), "the file is still listed");
}

void FileChecks::RequireNotLater(const HttpAnswer &answer, const QJsonArray &records)
{
    const QDateTime clock = Expect::Clock(answer).addSecs(Expect::toleratedSeconds);
    for (const QJsonValue &record : records) {
        const QString time = record.toObject().value("modifiedTime").toString();
        Require(!(QDateTime::fromString(time, Qt::ISODate) > clock),
                QString("%1 of %2 lies after the time of the device: it is no UTC")
                    .arg(time, record.toObject().value("path").toString()));
    }
}

void FileChecks::RequireSorted(const QJsonArray &records)
{
    const QStringList paths = Members(records, "path");
    Expect::Unique(paths, "file");
    for (int index = 1; index < paths.size(); ++index) {
        if (paths.at(index - 1) > paths.at(index)) {
            Warn(QString("%1 is listed before %2: sort by path, so that listings can be compared")
                     .arg(paths.at(index - 1), paths.at(index)));
        }
    }
}

bool FileChecks::Has(const QJsonArray &records, const QString &path)
{
    return Members(records, "path").contains(path);
}
