#include "assertions.h"
#include "checkeddevice.h"
#include "expectations.h"
#include "routes.h"

namespace {

void IsAvailable(CheckedDevice &device)
{
    if (device.Before().files.isEmpty() && !device.StorageIsAway()) {
        NotTested("the device lists no file: put one there first");
    }
    Require(!device.StorageIsAway(),
            "no file can be moved: the guarded storage is away, or the listing names other paths "
            "than those that begin with the path of the folder of the user files (symbolic links)");
}

QJsonArray Templates(CheckedDevice &device)
{
    const QJsonValue templates = Expect::Object(device.Get(Routes::templates)).value("templates");
    Require(templates.isArray(), "the answer has no array \"templates\"");
    return templates.toArray();
}

void AreObjects(CheckedDevice &device)
{
    const QJsonArray templates = Templates(device);
    for (const QJsonValue &entry : templates) {
        Require(entry.isObject(), "a template is no object");
    }
    device.Note(QString("%1 templates").arg(templates.size()));
}

void TellsStorageTheSame(CheckedDevice &device)
{
    const QJsonArray first = Templates(device);
    Require(first == Templates(device), "two answers differ");
}

void AreNoEmptyObjects(CheckedDevice &device)
{
    const QJsonArray templates = Templates(device);
    if (templates.isEmpty()) {
        NotTested("the device has no templates: put one there first");
    }
    for (const QJsonValue &entry : templates) {
        if (entry.toObject().isEmpty()) {
            Warn("a template is empty: an entry of \"cdm\" in its file is no object");
        }
    }
}

void ComeInTime(CheckedDevice &device)
{
    const HttpAnswer answer = device.Get(Routes::templates);
    Expect::Prompt(answer, Expect::Object(answer).value("templates").toArray().size());
}

} // namespace

AssertionGroup Assertions::OfStorageModel()
{
    const QString templates = "IStorageModel::Directory (10, 11); http-api: Templates";
    const QString guarded =
        "IStorageModel::IsStorageAvailable, BeginStorageAccess; http-api: Templates";
    return {
        "IStorageModel",
        "The folders, as the templates show them",
        {
            {"storage.available", "Files can be moved: the storage is there, its paths agree.",
             "IStorageModel::IsStorageAvailable, Directory (9); http-api: Files", Effect::Reads,
             IsAvailable},
            {"templates.objects", "Every template is an object.", templates, Effect::Reads,
             AreObjects},
            {"templates.same", "Two lists of the templates are the same.", guarded, Effect::Reads,
             TellsStorageTheSame},
            {"templates.content", "No template is empty.", templates, Effect::Reads,
             AreNoEmptyObjects},
            {"templates.in-time", "The templates come within a second.", templates, Effect::Reads,
             ComeInTime},
        },
    };
}
