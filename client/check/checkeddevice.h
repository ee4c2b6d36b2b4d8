#ifndef CHECKEDDEVICE_H
#define CHECKEDDEVICE_H

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QSet>
#include <QStringList>
#include <QVector>

#include "httpexchange.h"
#include "interfacedescription.h"
#include "routes.h"

/** One exchange as a report shows it. */
struct LoggedExchange
{
    QString sent;
    QString came;
};

/** What a device held before the check, as far as its answers tell. */
struct DeviceState
{
    QJsonObject info;
    QJsonArray files;
    QJsonArray pendingFiles;
    QJsonArray workOrders; ///< id and time of each
    QJsonArray templates;
    QString active;
};

/**
 * The device under check: asks it, notes what was sent and what came, and puts back what was
 * changed. Every request throws a `Finding` when no whole answer comes, and
 * `Interruption::Requested` when the user wants to stop.
 */
class CheckedDevice
{
public:
    /** @param userFiles the folder of the user files on the device; empty: as the listing tells. */
    CheckedDevice(HttpExchange::Target deviceTarget, QString userFiles);

    HttpAnswer Get(const QByteArray &route);
    HttpAnswer Put(const QByteArray &route, const QByteArray &body);
    HttpAnswer Post(const QByteArray &route, const QByteArray &body);
    HttpAnswer Delete(const QByteArray &route);
    HttpAnswer Ask(const HttpRequest &request);

    /** Asks once, for what the description of the interface leaves to the server in front. */
    HttpAnswer AskOnce(const HttpRequest &request);

    /** Sends a file as the form of two parts, and remembers to delete it. */
    HttpAnswer Upload(const QString &path, const QByteArray &content,
                      const QByteArray &route = Routes::userFiles);

    /** Sends a form as it is. */
    HttpAnswer UploadForm(const QByteArray &route, const QByteArray &body);

    /** Makes a work order the active one. */
    HttpAnswer Activate(const QString &id);

    const HttpExchange::Target &Target() const;

    /** Notes an exchange that was made by other means. */
    void Log(const HttpRequest &request, const HttpAnswer &answer);

    /** Forgets the noted exchanges, before an assertion. */
    void BeginAssertion();
    const QVector<LoggedExchange> &Exchanges() const;

    /** A remark that the report shows with an assertion that passed. */
    void Note(const QString &remark);
    QString Remark() const;

    /** Reads what the device holds. Parts that cannot be read stay empty. */
    DeviceState ReadState();
    void RememberState();
    const DeviceState &Before() const;

    /**
     * Finds out whether files can be moved at all, by an upload where the device lists no file and
     * `mayWrite`. What needs the storage is not tested where they cannot.
     */
    void ProbeStorage(bool mayWrite);
    bool StorageIsAway() const;
    void RequireStorage() const;

    /** The folder of the user files. Throws the `Finding` "not tested" when nothing tells it. */
    QString Folder() const;

    /** The path of a file of the check in that folder; it is deleted at the end. */
    QString NewFile(const QString &name);

    /** At most so many of the files that the device listed before, spread over the list. */
    QVector<QJsonObject> SomeFiles(int most) const;
    QStringList SomeWorkOrders(int most) const;

    /** How often an operation was answered, and the first answer that was not as described. */
    int Answers(const QString &operation) const;
    QString DescriptionProblem(const QString &operation) const;

    /** Deletes the files of the check and makes active again what was. */
    void PutBack();

    /** Says in the report what stays on the device after the check. */
    void LeavesBehind(const QString &what);
    QStringList LeftBehind() const;

private:
    QJsonObject ObjectAt(const QByteArray &route);
    void HoldAgainstDescription(const HttpRequest &request, const HttpAnswer &answer);
    void DeleteFiles();

    HttpExchange::Target target;
    QString folder;
    InterfaceDescription description;
    QVector<LoggedExchange> exchanges;
    QString remark;
    DeviceState before;
    QSet<QString> ownFiles;
    QStringList leftBehind;
    QMap<QString, int> answers;
    QMap<QString, QString> problems;
    bool activeChanged = false;
    bool storageIsAway = false;
};

#endif
