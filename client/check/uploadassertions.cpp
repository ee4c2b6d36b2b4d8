#include "assertions.h"
#include "checkeddevice.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "filechecks.h"
#include "multipartform.h"
#include "routes.h"

namespace {

constexpr char failed[] = "Upload failed";

// A form that stores nothing: refused, no file made, and the next upload goes well.
void UploadRefuses(CheckedDevice &device, const QVector<QByteArray> &parts, const QString &path)
{
    Expect::Error(device.UploadForm(Routes::userFiles, MultipartForm::Of(parts)), failed);
    Require(!FileChecks::Has(FileChecks::Listing(device), path), "a file was made all the same");
}

void UploadRefusesWrongOrder(CheckedDevice &device)
{
    const QString path = device.NewFile("order");
    UploadRefuses(device, {"content", MultipartForm::Description(path, 7)}, path);
}

void UploadRefusesOnePart(CheckedDevice &device)
{
    const QString path = device.NewFile("one-part");
    UploadRefuses(device, {MultipartForm::Description(path, 7)}, path);
}

void UploadRefusesNoPart(CheckedDevice &device)
{
    UploadRefuses(device, {}, device.NewFile("no-part"));
}

void UploadRefusesNoJson(CheckedDevice &device)
{
    UploadRefuses(device, {"no JSON", "content"}, device.NewFile("no-json"));
}

void UploadRefusesNoPath(CheckedDevice &device)
{
    UploadRefuses(device, {R"({"fileSize": 7})", "content"}, device.NewFile("no-path"));
}

void UploadRefusesEmptyPath(CheckedDevice &device)
{
    UploadRefuses(device, {R"({"fileUri": "", "fileSize": 7})", "content"},
                  device.NewFile("empty"));
}

void UploadRefusesNumber(CheckedDevice &device)
{
    UploadRefuses(device, {R"({"fileUri": 5, "fileSize": 7})", "content"},
                  device.NewFile("number"));
}

void UploadRefusesOutside(CheckedDevice &device)
{
    const QString path = "/parlowen-check-outside";
    UploadRefuses(device, {MultipartForm::Description(path, 7), "content"}, path);
}

void UploadRefusesMissingFolder(CheckedDevice &device)
{
    const QString path = device.NewFile("none") + "/file";
    UploadRefuses(device, {MultipartForm::Description(path, 7), "content"}, path);
}

void UploadRefusesFolder(CheckedDevice &device)
{
    const QString path = device.Folder();
    UploadRefuses(device, {MultipartForm::Description(path, 7), "content"}, path);
}

void UploadRefusesPlainBody(CheckedDevice &device, const char *route, const QByteArray &body)
{
    Expect::Error(device.Post(route, body), failed);
}

void TakesNoSize(CheckedDevice &device)
{
    const QString path = device.NewFile("no-size");
    device.RequireStorage();
    const QByteArray description = CompactJson({{"fileUri", path}});
    const QByteArray form = MultipartForm::Of({description, "content"});
    Expect::Done(device.UploadForm(Routes::userFiles, form));
    FileChecks::RequireContent(device, path, "content");
}

void TakesOtherMembers(CheckedDevice &device)
{
    const QString path = device.NewFile("members");
    device.RequireStorage();
    const QByteArray description = CompactJson({{"fileUri", path}, {"fileSize", 7}, {"a", 1}});
    const QByteArray form = MultipartForm::Of({description, "content"});
    Expect::Done(device.UploadForm(Routes::userFiles, form));
    FileChecks::RequireContent(device, path, "content");
}

void TakesEpilogue(CheckedDevice &device)
{
    const QString path = device.NewFile("epilogue");
    device.RequireStorage();
    const QByteArray form = MultipartForm::OfFile(path, "content") + "after the end\r\n";
    Expect::Done(device.UploadForm(Routes::userFiles, form));
    FileChecks::RequireContent(device, path, "content");
}

void LeavesRefusedTarget(CheckedDevice &device)
{
    const QString path = FileChecks::Store(device, "kept", "content");
    const QByteArray form = MultipartForm::Of({"other", MultipartForm::Description(path, 5)});
    Expect::Error(device.UploadForm(Routes::userFiles, form), failed);
    FileChecks::RequireContent(device, path, "content");
}

// A sandbox keeps uploads where they belong; the library alone compares texts.
void StaysInFolder(CheckedDevice &device, const QString &way)
{
    device.RequireStorage();
    const QString path = device.Folder() + way;
    const HttpAnswer answer =
        device.UploadForm(Routes::userFiles, MultipartForm::OfFile(path, "x"));
    if (answer.body.contains("errorMessage")) {
        Expect::Error(answer, failed);
        return;
    }
    device.LeavesBehind(path);
    Warn("an upload is written outside of the folder of the user files: confine the threads that "
         "write them, or the process");
}

void StaysBelowDots(CheckedDevice &device)
{
    StaysInFolder(device, "/../parlowen-check-outside");
}

void SurvivesHalfUpload(CheckedDevice &device)
{
    const QString path = device.NewFile("half");
    const QByteArray form = MultipartForm::OfFile(path, Bytes(100'000));
    HttpExchange exchange(device.Target());
    Require(exchange.Connect(), "no connection");
    const QByteArray text =
        exchange.Text({"POST", Routes::userFiles, form, MultipartForm::ContentType()});
    exchange.Send(text.left(text.size() / 2));
    exchange.Abort();
    const QByteArray content = Bytes(1000, 4);
    FileChecks::RequireContent(device, FileChecks::Store(device, "after-half", content), content);
}

void ReplacesHalfUpload(CheckedDevice &device)
{
    SurvivesHalfUpload(device);
    const QByteArray content = Bytes(100'000);
    FileChecks::RequireContent(device, FileChecks::Store(device, "half", content), content);
}

} // namespace

AssertionGroup Assertions::OfUploads()
{
    const QString form = "RestServerModel; http-api: Uploads that fail";
    const QString path = "IStorageModel::Directory; http-api: Uploads that fail";
    const QString sandbox = "IStorageModel::UserFilesDirectory, hostsupport/";
    const QByteArray text = "no form";
    return {
        "Uploads",
        "Forms that store a file, and forms that do not",
        {
            {"upload.no-form-v1", "Version 1 refuses a body that is not a form.", form,
             Effect::Writes, With(UploadRefusesPlainBody, Routes::syncFiles, text)},
            {"upload.no-form-v2", "Version 2 refuses a body that is not a form.", form,
             Effect::Writes, With(UploadRefusesPlainBody, Routes::userFiles, text)},
            {"upload.no-body", "An empty body is refused.", form, Effect::Writes,
             With(UploadRefusesPlainBody, Routes::userFiles, QByteArray())},
            {"upload.order", "Two parts in the wrong order are refused.", form, Effect::Writes,
             UploadRefusesWrongOrder},
            {"upload.one-part", "A description without a file is refused.", form, Effect::Writes,
             UploadRefusesOnePart},
            {"upload.no-part", "A form without parts is refused.", form, Effect::Writes,
             UploadRefusesNoPart},
            {"upload.no-json", "A description that is no JSON is refused.", form, Effect::Writes,
             UploadRefusesNoJson},
            {"upload.no-path", "A description without a path is refused.", form, Effect::Writes,
             UploadRefusesNoPath},
            {"upload.empty-path", "An empty path is refused.", path, Effect::Writes,
             UploadRefusesEmptyPath},
            {"upload.path-number", "A number for a path is refused.", path, Effect::Writes,
             UploadRefusesNumber},
            {"upload.outside", "A path outside of the user files is refused.", path, Effect::Writes,
             UploadRefusesOutside},
            {"upload.missing-folder", "A path in a missing folder is refused.", path,
             Effect::Writes, UploadRefusesMissingFolder},
            {"upload.folder", "A folder as the target is refused.", path, Effect::Writes,
             UploadRefusesFolder},
            {"upload.refused-keeps", "A refused upload leaves the file that was there.", form,
             Effect::Writes, LeavesRefusedTarget},
            {"upload.no-size", "A description without a size is accepted.",
             "IStorageModel::HasFreeSpace; http-api: Upload, fetch, confirm, delete",
             Effect::Writes, TakesNoSize},
            {"upload.members", "Other members of the description are passed over.", form,
             Effect::Writes, TakesOtherMembers},
            {"upload.epilogue", "What follows the end of a form is passed over.", form,
             Effect::Writes, TakesEpilogue},
            {"upload.confined", "\"..\" leads no upload out of the user files.", sandbox,
             Effect::Writes, StaysBelowDots},
            {"upload.half", "An upload that breaks off does not stop the next one.", form,
             Effect::Writes, SurvivesHalfUpload},
            {"upload.half-again", "An upload that broke off can be sent again.", form,
             Effect::Writes, ReplacesHalfUpload},
        },
    };
}
