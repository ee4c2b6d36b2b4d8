#include <QDateTime>

#include "assertions.h"
#include "checkeddevice.h"
#include "expectations.h"
#include "routes.h"

namespace {

constexpr int statusNotFound = 404;
constexpr int statusBadRequest = 400;
constexpr int statusServerError = 500;

void Answers(CheckedDevice &device)
{
    Expect::Object(device.Get(Routes::info));
}

void AnswersInTime(CheckedDevice &device)
{
    Expect::Prompt(device.Get(Routes::info), 1);
}

void TellsItsTime(CheckedDevice &device)
{
    constexpr int tolerated = 60;
    const QDateTime clock = Expect::Clock(device.Get(Routes::info));
    const qint64 seconds = QDateTime::currentDateTimeUtc().secsTo(clock);
    if (qAbs(seconds) > tolerated) {
        Warn(QString("the clock of the device is %1 s away from the clock here").arg(seconds));
    }
}

void ClosesConnections(CheckedDevice &device)
{
    const QByteArray connection = device.Get(Routes::info).Header("connection");
    Require(connection.toLower() == "close",
            QString("the header Connection is \"%1\"").arg(QString(connection)));
}

void IsNotCached(CheckedDevice &device)
{
    Require(device.Get(Routes::info).Header("cache-control").contains("no-store"),
            "no header Cache-Control forbids to keep the answer");
}

// A proxy in front of the device may answer this one itself, in its own form.
void RefusesUnknownRoute(CheckedDevice &device)
{
    const HttpAnswer answer = device.Get("/parlowen-check-none");
    Require(answer.status == statusNotFound, QString("the status is %1").arg(answer.status));
}

void RefusesRoute(CheckedDevice &device, const char *route)
{
    const HttpAnswer answer = device.Get(route);
    Require(answer.status == statusNotFound, QString("the status is %1").arg(answer.status));
    Require(answer.Header("content-type").startsWith("text/plain"), "the page is not plain text");
}

void RefusesUnknownRouteOfFamily(CheckedDevice &device)
{
    RefusesRoute(device, "/api/workflow/v1/parlowen-check-none");
}

void RefusesUnknownVersion(CheckedDevice &device)
{
    RefusesRoute(device, "/api/workflow/v99/list");
}

void RefusesUnknownMethod(CheckedDevice &device)
{
    const HttpAnswer answer = device.Ask({"PARLOWEN", Routes::info, {}});
    Require(answer.status >= statusBadRequest && answer.status < statusServerError,
            QString("the status is %1").arg(answer.status));
}

void RefusesLongHead(CheckedDevice &device)
{
    constexpr int bytes = 20'000;
    const QByteArray route = Routes::info + QByteArray("?") + QByteArray(bytes, 'x');
    const HttpAnswer answer = device.AskOnce({"GET", route, {}});
    Require(answer.status >= statusBadRequest && answer.status < statusServerError,
            QString("the status is %1").arg(answer.status));
}

void PassesOverQuery(CheckedDevice &device)
{
    const QJsonObject plain = Expect::Object(device.Get(Routes::info));
    const QJsonObject asked = Expect::Object(device.Get("/info?parlowen=check"));
    Require(plain == asked, "the answer is another one with a query");
}

void SurvivesHalfBody(CheckedDevice &device)
{
    const HttpRequest request{"POST", Routes::technician, "{\"techId\": \"parlowen_check\"}"};
    HttpExchange exchange(device.Target());
    Require(exchange.Connect(), "no connection");
    const QByteArray text = exchange.Text(request);
    exchange.Send(text.left(text.size() - 10));
    exchange.Abort();
    Expect::Object(device.Get(Routes::info));
}

void SurvivesSilentConnection(CheckedDevice &device)
{
    HttpExchange silent(device.Target());
    Require(silent.Connect(), "no connection");
    Expect::Object(device.Get(Routes::info));
}

} // namespace

AssertionGroup Assertions::OfServer()
{
    const QString library = "RestServerModel; http-api: What all calls have in common";
    return {
        "RestServerModel",
        "The server itself: the library in the host's event loop",
        {
            {"server.answers", "The device describes itself.", library, Effect::Reads, Answers},
            {"server.in-time", "The description comes within a second.", library, Effect::Reads,
             AnswersInTime},
            {"server.clock", "Every answer carries the device's time, and it is right.", library,
             Effect::Reads, TellsItsTime},
            {"server.closes", "The connection is closed after the answer.", library, Effect::Reads,
             ClosesConnections},
            {"server.not-cached", "An answer is not to be kept by caches.", library, Effect::Reads,
             IsNotCached},
            {"server.unknown-route", "A path that is not a route is answered 404.", library,
             Effect::Reads, RefusesUnknownRoute},
            {"server.unknown-route-of-family",
             "An unknown route of a known family is answered 404 in plain text.", library,
             Effect::Reads, RefusesUnknownRouteOfFamily},
            {"server.unknown-version", "An unknown version of a family is answered 404.", library,
             Effect::Reads, RefusesUnknownVersion},
            {"server.unknown-method", "An unknown method is answered with a status from 400 on.",
             library, Effect::Reads, RefusesUnknownMethod},
            {"server.long-head", "A request line of 20,000 bytes is refused.", library,
             Effect::Reads, RefusesLongHead},
            {"server.query", "A query changes nothing.", library, Effect::Reads, PassesOverQuery},
            {"server.half-body", "A body that breaks off does not stop the next request.", library,
             Effect::Reads, SurvivesHalfBody},
            {"server.silent-connection", "A client that says nothing does not stop others.",
             library, Effect::Reads, SurvivesSilentConnection},
        },
    };
}
