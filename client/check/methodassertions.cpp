#include "assertions.h"
#include "checkeddevice.h"
#include "expectations.h"
#include "routes.h"

namespace {

constexpr char notAllowed[] = "Method not allowed";
constexpr char noFile[] = "/parlowen-check-none";

// A route, the methods that it serves, and what it answers to all others.
struct Route
{
    const char *name;
    QByteArray path;
    QList<QByteArray> served;
    const char *message;
};

const QVector<Route> &AllRoutes()
{
    static const QVector<Route> routes = {
        {"info", Routes::info, {"GET"}, notAllowed},
        {"techinfo", Routes::technician, {"POST"}, notAllowed},
        {"list", Routes::workOrderList, {"GET"}, notAllowed},
        {"workorders", Routes::workOrders, {"POST"}, notAllowed},
        {"workorder", Routes::workOrder + QByteArray("parlowen-check-none"), {"GET"}, notAllowed},
        {"attachment",
         Routes::workOrder + QByteArray("parlowen-check-none/attachment"),
         {"POST"},
         notAllowed},
        {"active", Routes::active, {"GET", "PUT"}, ""},
        {"templates", Routes::templates, {"GET"}, notAllowed},
        {"pending", Routes::pendingFiles, {"GET"}, notAllowed},
        {"pending-all", Routes::allPendingFiles, {"GET"}, notAllowed},
        {"metadata-v1", Routes::syncMetadata + QByteArray(noFile), {"GET"}, notAllowed},
        {"upload-v1", Routes::syncFiles, {"POST"}, notAllowed},
        {"file-v1", Routes::syncFiles + QByteArray(noFile), {"GET", "PUT"}, notAllowed},
        {"files-v2", Routes::userFiles, {"GET", "POST"}, ""},
        {"metadata-v2", Routes::metadata + QByteArray(noFile), {"GET"}, ""},
        {"file-v2", Routes::userFiles + QByteArray(noFile), {"GET", "DELETE"}, ""},
    };
    return routes;
}

void RefuseOthers(CheckedDevice &device, const Route &route)
{
    for (const char *method : {"GET", "POST", "PUT", "PATCH", "DELETE"}) {
        if (route.served.contains(method)) {
            continue;
        }
        try {
            Expect::Error(device.Ask({method, route.path, {}}), route.message);
        } catch (const Finding &finding) {
            Fail(QString("%1: %2").arg(method, finding.text));
        }
    }
}

void RefuseHead(CheckedDevice &device, const Route &route)
{
    const HttpAnswer answer = device.Ask({"HEAD", route.path, {}});
    if (!answer.body.isEmpty()) {
        Expect::Error(answer, route.message);
    }
}

} // namespace

AssertionGroup Assertions::OfMethods()
{
    const QString reference = "RestServerModel; http-api: What all calls have in common";
    QVector<Assertion> assertions;
    for (const Route &route : AllRoutes()) {
        const QString path = QString(route.path).remove("parlowen-check-");
        assertions.append({QString("methods.%1").arg(route.name),
                           QString("%1 refuses every method that it does not serve.").arg(path),
                           reference, Effect::Reads,
                           [route](CheckedDevice &device) { RefuseOthers(device, route); }});
        assertions.append({QString("methods.%1.head").arg(route.name),
                           QString("%1 refuses HEAD.").arg(path), reference, Effect::Reads,
                           [route](CheckedDevice &device) { RefuseHead(device, route); }});
    }
    return {"Methods", "What each route answers to a method that it does not serve", assertions};
}
