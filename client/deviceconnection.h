#ifndef DEVICECONNECTION_H
#define DEVICECONNECTION_H

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSslConfiguration>
#include <QUrl>
#include <functional>

#include "transfer.h"

class QFile;
class QIODevice;
class QNetworkReply;
class QNetworkRequest;

/**
 * Requests to one device, one after the other, each call returning when its answer is there. Needs
 * a `QCoreApplication` and runs its event loop while it waits.
 *
 * The device answers failures with status 200 and the object `{"errorMessage": ...}`; here they are
 * a `DeviceRefusal` with that text. It serves one request at a time and answers 408 when others
 * take too long, and 500 when its own answer does; such a request is sent again after a pause, as
 * often as the settings allow. A device that stays busy, and any other status, is a `ClientError`
 * of status `DeviceRefused`. No answer at all is `CannotConnect`; an answer that is cut short, too
 * long or not what the route answers is `TransferCorrupt`.
 *
 * A connection that is closed without a byte of an answer makes Qt send the request again. Every
 * request here can be sent twice without harm; who deletes looks before and afterwards.
 */
class DeviceConnection
{
public:
    struct Settings
    {
        QUrl device;            ///< scheme, host and port
        QSslConfiguration tls;  ///< counts with https
        int retries = 5;        ///< of a busy device, and for a file whose transfer breaks off
        int timeoutMs = 30'000; ///< without a byte in either direction
        std::function<void(const QString &)> notice; ///< told before each pause; may be empty
        std::function<void(const QString &)> trace;  ///< each request and answer; may be empty
    };

    using Progress = Transfer::Progress;

    explicit DeviceConnection(Settings connectionSettings);

    /** For who needs a connection of another kind to the same device. */
    const Settings &ItsSettings() const;

    /**
     * The path of a route followed by a device path or an id, percent-encoded as UTF-8, "/" kept.
     */
    static QByteArray Route(const char *prefix, const QString &name);

    /** True for the object that the device answers failures with. */
    static bool IsErrorObject(const QJsonDocument &document);

    /** @param route an encoded path, as all of the following. */
    QJsonDocument Get(const QByteArray &route);
    /**
     * A list, which is the answer, or with a key that member of it. Its elements are parsed and
     * taken one by one, for all of them together would take many times their text; one that is no
     * object is taken as an empty one. False when the answer has no such list.
     */
    bool GetList(const QByteArray &route, const QByteArray &key,
                 const std::function<void(const QJsonObject &)> &take);

    QJsonDocument Put(const QByteArray &route, const QByteArray &body);

    /** These two succeed with an empty object and nothing else. */
    void PostForEmptyAnswer(const QByteArray &route, const QByteArray &body);
    void DeleteForEmptyAnswer(const QByteArray &route);
    void PutForEmptyAnswer(const QByteArray &route);

    /** Any method and any answer, of which only the transport and the length are judged. */
    Transfer::Answer Any(const QByteArray &method, const QByteArray &route, const QByteArray &body);

    /**
     * Writes a body of any type to `sink` as it arrives, at most one byte more than `announced`. An
     * error object is a body like any other here: only the caller can know whether the file looks
     * like that. A transfer that breaks off begins again, and the sink at its start.
     */
    void Download(const QByteArray &route, QFile &sink, qint64 announced, const Progress &progress);

    /** Sends a description and a file as the two parts of a form. `source` is open for reading. */
    void Upload(const QByteArray &route, const QJsonObject &description, QFile &source,
                const Progress &progress);

    /** While it lives requests are sent once, and an answer is waited for a few seconds. */
    class Hurry
    {
    public:
        explicit Hurry(DeviceConnection &hurriedConnection);
        ~Hurry();
        Hurry(const Hurry &) = delete;
        Hurry &operator=(const Hurry &) = delete;

    private:
        DeviceConnection &connection;
        const int retries;
        const int timeoutMs;
    };

private:
    struct Request
    {
        QByteArray method;
        QByteArray route;
        QByteArray body;
    };
    using Start = std::function<QNetworkReply *()>;
    enum class BreakOff
    {
        Fails,
        IsRetried
    };

    Transfer::Answer Simple(const Request &request);
    QNetworkRequest RequestFor(const QByteArray &route) const;
    QNetworkReply *StartUpload(const QByteArray &route, const QJsonObject &description,
                               QFile &source);
    Transfer::Answer Exchange(const Request &request, const Start &start, BreakOff breakOff,
                              const Transfer::Sink &sink, const Progress &progress);
    Transfer::Answer Try(const Request &request, const Start &start, const Transfer::Sink &sink,
                         const Progress &progress);
    Transfer::Answer Once(const Start &start, const Transfer::Sink &sink, const Progress &progress);
    QJsonDocument Json(const Transfer::Answer &answer) const;
    void RequireWholeSuccess(const Transfer::Answer &answer) const;
    void ExpectEmptyObject(const Transfer::Answer &answer) const;
    void Pause(int attempt, const QString &reason) const;

    void ForgetConnection();

    Settings settings;
    QNetworkAccessManager manager;
    bool connectionMayBeOpen = false; // that of the last request
};

#endif // DEVICECONNECTION_H
