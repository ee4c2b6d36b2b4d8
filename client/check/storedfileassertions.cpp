#include "assertions.h"
#include "checkeddevice.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "filechecks.h"
#include "routes.h"

namespace {

constexpr int onePiece = 5'000'000;

QString StoreOfSize(CheckedDevice &device, int size)
{
    return FileChecks::Store(device, QString("size-%1").arg(size), Bytes(size));
}

void TellsSizeAndDigest(CheckedDevice &device, int size)
{
    const QJsonObject metadata = FileChecks::Metadata(device, StoreOfSize(device, size));
    Require(metadata.value("size") == size, "the metadata tell another size");
    if (!metadata.contains("sha256")) {
        Warn("the metadata have no digest");
    }
    Require(metadata.value("sha256").toString() == QString(DigestOf(Bytes(size))),
            "the metadata tell another digest");
}

void SendsAgain(CheckedDevice &device, int size)
{
    Expect::Content(FileChecks::Download(device, StoreOfSize(device, size)), Bytes(size));
}

void SendsWhole(CheckedDevice &device, int size)
{
    Expect::Content(FileChecks::Whole(device, StoreOfSize(device, size)), Bytes(size));
}

// Through every route that takes the path of a file.
void TakesName(CheckedDevice &device, const QString &name)
{
    const QByteArray content = "content of " + name.toUtf8();
    const QString path = FileChecks::Store(device, name, content);
    Require(FileChecks::Has(FileChecks::Listing(device), path), "the name is not listed as it is");
    FileChecks::RequireContent(device, path, content);
    Require(FileChecks::Metadata(device, path).value("path") == path,
            "the metadata name another path");
    Expect::Done(device.Put(DeviceConnection::Route(Routes::syncFiles, path), {}));
    Expect::Done(device.Delete(DeviceConnection::Route(Routes::userFiles, path)));
    FileChecks::RequireGone(device, path);
}

void TakesContent(CheckedDevice &device, const QString &name, const QByteArray &content)
{
    FileChecks::RequireContent(device, FileChecks::Store(device, name, content), content);
}

void ReplacesFile(CheckedDevice &device, const QByteArray &content)
{
    const QString path = FileChecks::Store(device, "replaced", "some content in the middle");
    Expect::Done(device.Upload(path, content));
    FileChecks::RequireContent(device, path, content);
}

QVector<Assertion> SizeAssertions()
{
    QVector<Assertion> assertions;
    for (const int size : {0, 1, onePiece - 1, onePiece, onePiece + 1, 2 * onePiece}) {
        const QString id = QString("stored.size-%1").arg(size);
        assertions.append({id + ".metadata",
                           QString("A file of %1 bytes has this size and its digest.").arg(size),
                           "IAssetModel::GetFileMetadata; http-api: Files", Effect::Writes,
                           With(TellsSizeAndDigest, size)});
        assertions.append({id + ".download",
                           QString("A file of %1 bytes is downloaded as it was stored.").arg(size),
                           "IFileManagerModel::ReadFileChunk; http-api: What a download looks like",
                           Effect::Writes, With(SendsAgain, size)});
        assertions.append({id + ".whole",
                           QString("A file of %1 bytes is read whole as it was stored.").arg(size),
                           "ISyncFilesModel::GetFileData; http-api: What a download looks like",
                           Effect::Writes, With(SendsWhole, size)});
    }
    return assertions;
}

QVector<Assertion> NameAssertions()
{
    struct Name
    {
        const char *id;
        const char *sentence;
        QString name;
    };
    const QVector<Name> names = {
        {"blank", "A name may have blanks.", "with two  blanks.txt"},
        {"beyond-ascii", "A name may have letters beyond ASCII.",
         QStringLiteral("Pr\u00fcfung \u2126 \u6e2c.txt")},
        {"beyond-16-bits", "A name may have characters beyond 16 bits.",
         QStringLiteral("\U0001d54f.txt")},
        {"percent", "A name may have a percent sign.", "100%.txt"},
        {"escape", "A name that looks percent-encoded is not decoded twice.", "%41%2F.txt"},
        {"plus", "A plus is not a blank.", "a+b.txt"},
        {"hash", "A name may have a number sign.", "a#b.txt"},
        {"quotes", "A name may have quotes, a backslash and an ampersand.", "a\"b'c\\d&e.txt"},
        {"long", "A name may have 255 bytes.", QString(255 - 15, 'x')},
    };
    QVector<Assertion> assertions;
    for (const Name &name : names) {
        assertions.append({QString("stored.name-%1").arg(name.id), name.sentence,
                           "IFileManagerModel, ISyncFilesModel, IAssetModel: paths from a URI; "
                           "http-api: Names",
                           Effect::Writes, With(TakesName, name.name)});
    }
    return assertions;
}

QVector<Assertion> ContentAssertions()
{
    const QString content =
        "IFileManagerModel::ReadFileChunk; http-api: What a download looks like";
    const QString upload = "RestServerModel; http-api: Upload, fetch, confirm, delete";
    const QByteArray likeForm = "\r\n--parlowen-check-boundary-7d93b\r\n\r\n--\r\n-\r-\n\r\n\r\n";
    return {
        {"stored.json", "A file that holds JSON is sent as JSON, byte for byte.", content,
         Effect::Writes,
         With(TakesContent, QString("json.json"), QByteArray("{ \"b\":1,\r\n\"a\" : [ ] }"))},
        {"stored.error", "A file that looks like an error is sent as it is.", content,
         Effect::Writes,
         With(TakesContent, QString("error.json"), QByteArray(R"({"errorMessage": "no error"})"))},
        {"stored.like-form", "Content that looks like the edge of a form is kept.", upload,
         Effect::Writes, With(TakesContent, QString("form"), likeForm)},
        {"stored.zeros", "Bytes of zero and line ends are kept.", upload, Effect::Writes,
         With(TakesContent, QString("zeros"), QByteArray("\0\r\n\0\r\r\n\n\0\xff\r", 11))},
        {"stored.text", "Text in UTF-8 is sent byte for byte.", upload, Effect::Writes,
         With(TakesContent, QString("text.txt"), QByteArray("\xef\xbb\xbfPr\xc3\xbc\x66ung\r\n"))},
        {"stored.replace.shorter", "A shorter file replaces a longer one whole.", upload,
         Effect::Writes, With(ReplacesFile, QByteArray("short"))},
        {"stored.replace.longer", "A longer file replaces a shorter one.", upload, Effect::Writes,
         With(ReplacesFile, QByteArray(100'000, 'l'))},
        {"stored.replace.empty", "An empty file replaces another one.", upload, Effect::Writes,
         With(ReplacesFile, QByteArray())},
    };
}

} // namespace

AssertionGroup Assertions::OfStoredFiles()
{
    return {"Stored files", "Sizes, names and contents, through every route that takes a path",
            SizeAssertions() + NameAssertions() + ContentAssertions()};
}
