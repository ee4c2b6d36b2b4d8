#include "assertions.h"
#include "checkeddevice.h"
#include "expectations.h"
#include "routes.h"

namespace {

constexpr char ownName[] = "parlowen_check";

QJsonValue Technician(CheckedDevice &device)
{
    return Expect::Object(device.Get(Routes::info)).value("assetInfo").toObject().value("techId");
}

// The interface tells the technician only where the device puts it into its description.
void PutBack(CheckedDevice &device)
{
    const QString before =
        device.Before().info.value("assetInfo").toObject().value("techId").toString();
    if (before.isEmpty()) {
        device.LeavesBehind("The technician \"parlowen_check\": the device does not tell who it "
                            "was before.");
    }
    const QString last = before.isEmpty() ? QString(ownName) : before;
    device.Post(Routes::technician, CompactJson({{"techId", last}}));
}

void Accepts(CheckedDevice &device, const QString &name)
{
    const HttpAnswer answer = device.Post(Routes::technician, CompactJson({{"techId", name}}));
    PutBack(device);
    Expect::Done(answer);
}

void Shows(CheckedDevice &device)
{
    if (!Technician(device).isString()) {
        NotTested("the device does not tell its technician in \"assetInfo\".\"techId\", and "
                  "need not");
    }
    device.Post(Routes::technician, CompactJson({{"techId", "parlowen_check_2"}}));
    const QJsonValue shown = Technician(device);
    PutBack(device);
    Require(shown == "parlowen_check_2", "the device tells another technician");
}

std::function<void(CheckedDevice &)> TechnicianRefuses(const QByteArray &body, const char *message)
{
    return [body, message](CheckedDevice &device) {
        Expect::Error(device.Post(Routes::technician, body), message);
    };
}

std::function<void(CheckedDevice &)> AcceptsName(const QString &name)
{
    return [name](CheckedDevice &device) { Accepts(device, name); };
}

} // namespace

AssertionGroup Assertions::OfTechnician()
{
    const QString library = "RestServerModel; http-api: The device";
    const QString model = "ISyncFilesModel::SetTechId; http-api: The device";
    return {
        "ISyncFilesModel, technician",
        "Who works with the device",
        {
            {"tech.no-json", "A body that is no JSON is answered \"Method not allowed\".", library,
             Effect::Reads, TechnicianRefuses("json", "Method not allowed")},
            {"tech.no-body", "An empty body is answered \"Method not allowed\".", library,
             Effect::Reads, TechnicianRefuses("", "Method not allowed")},
            {"tech.no-member", "An object without \"techId\" is answered \"Missing techId\".",
             library, Effect::Reads, TechnicianRefuses("{}", "Missing techId")},
            {"tech.case", "Capitals count in \"techId\".", library, Effect::Reads,
             TechnicianRefuses(R"({"TechId": "A_1"})", "Missing techId")},
            {"tech.no-object", "An array is answered \"Missing techId\".", library, Effect::Reads,
             TechnicianRefuses(R"(["A_1"])", "Missing techId")},
            {"tech.empty", "An empty id is refused.", library, Effect::Reads,
             TechnicianRefuses(R"({"techId": ""})", "Invalid techId")},
            {"tech.dash", "An id with a dash is refused.", library, Effect::Reads,
             TechnicianRefuses(R"({"techId": "a-b"})", "Invalid techId")},
            {"tech.number", "A number is refused.", library, Effect::Reads,
             TechnicianRefuses(R"({"techId": 42})", "Invalid techId")},
            {"tech.too-long", "An id of 21 characters is refused.", library, Effect::Reads,
             TechnicianRefuses(R"({"techId": "ABCDEFGHIJKLMNOPQRSTU"})", "Invalid techId")},
            {"tech.accepts", "An id of letters, digits and underscores is accepted.", model,
             Effect::Writes, AcceptsName("parlowen_check_1")},
            {"tech.longest", "An id of 20 characters is accepted.", model, Effect::Writes,
             AcceptsName("parlowen_check_56789")},
            {"tech.beyond-ascii", "Letters beyond ASCII are accepted.", model, Effect::Writes,
             AcceptsName(QStringLiteral("parlowen_check_\u00e4"))},
            {"tech.shown", "A device that tells its technician tells the one that was sent.", model,
             Effect::Writes, Shows},
        },
    };
}
