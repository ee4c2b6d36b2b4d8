#include "expectations.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QLocale>
#include <QRandomGenerator>
#include <QSet>

#include "assertion.h"
#include "transfer.h"

namespace {

constexpr char emptyFilePage[] = "Error 200: OK\n";

QJsonDocument Json(const HttpAnswer &answer)
{
    Require(answer.status == statusDone,
            QString("the status is %1 where it is to be 200").arg(answer.status));
    const QByteArray type = answer.Header("content-type");
    Require(type.startsWith("application/json"),
            QString("the content type is \"%1\" where JSON is to come").arg(QString(type)));
    QString problem;
    QJsonDocument document = answer.Json(&problem);
    Require(problem.isEmpty(), problem);
    return document;
}

bool IsError(const QJsonDocument &document)
{
    const QJsonObject object = document.object();
    return object.size() == 1 && object.value("errorMessage").isString();
}

QJsonDocument Success(const HttpAnswer &answer)
{
    QJsonDocument document = Json(answer);
    Require(!IsError(document), QString("the device refuses: \"%1\"")
                                    .arg(document.object().value("errorMessage").toString()));
    return document;
}

QByteArray TypeOf(const QByteArray &bytes)
{
    if (bytes.isEmpty()) {
        return "text/plain";
    }
    return QJsonDocument::fromJson(bytes).isNull() ? "application/octet-stream"
                                                   : "application/json";
}

} // namespace

QJsonObject Expect::Object(const HttpAnswer &answer)
{
    const QJsonDocument document = Success(answer);
    Require(document.isObject(), "the answer is not an object");
    return document.object();
}

QJsonArray Expect::Array(const HttpAnswer &answer)
{
    const QJsonDocument document = Success(answer);
    Require(document.isArray(), "the answer is not an array");
    return document.array();
}

void Expect::Done(const HttpAnswer &answer)
{
    Require(Object(answer).isEmpty(), "the answer is not the empty object");
}

void Expect::Error(const HttpAnswer &answer, const QString &message)
{
    const QJsonDocument document = Json(answer);
    Require(IsError(document), "the answer is not an error object");
    const QString came = document.object().value("errorMessage").toString();
    Require(came == message,
            QString("the error message is \"%1\" where it is to be \"%2\"").arg(came, message));
}

void Expect::Content(const HttpAnswer &answer, const QByteArray &bytes)
{
    Require(answer.status == statusDone,
            QString("the status is %1 where it is to be 200").arg(answer.status));
    const QByteArray wanted = bytes.isEmpty() ? QByteArray(emptyFilePage) : bytes;
    Require(
        answer.body.size() == wanted.size(),
        QString("%1 bytes came where %2 are to come").arg(answer.body.size()).arg(wanted.size()));
    Require(answer.body == wanted, "the bytes are not those of the file");
    const QByteArray type = answer.Header("content-type");
    Require(type.startsWith(TypeOf(bytes)),
            QString("the content type is \"%1\" where it is to be \"%2\"")
                .arg(QString(type), QString(TypeOf(bytes))));
}

QDateTime Expect::Clock(const HttpAnswer &answer)
{
    const QString date = answer.Header("date");
    QDateTime time = QLocale::c().toDateTime(date, "ddd, dd MMM yyyy hh:mm:ss 'GMT'");
    time.setTimeSpec(Qt::UTC);
    Require(time.isValid(), QString("the header Date is \"%1\"").arg(date));
    return time;
}

void Expect::Unique(const QStringList &values, const QString &what)
{
    QSet<QString> seen;
    for (const QString &value : values) {
        Require(!seen.contains(value), QString("%1 %2 is listed twice").arg(what, value));
        seen.insert(value);
    }
}

void Expect::Prompt(const HttpAnswer &answer, int entries)
{
    constexpr int patienceMs = 1000;
    if (answer.milliseconds > patienceMs) {
        Warn(QString("%1 entries took %2 ms").arg(entries).arg(answer.milliseconds));
    }
}

QByteArray DigestOf(const QByteArray &content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex();
}

QByteArray CompactJson(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QStringList Members(const QJsonArray &objects, const QString &name)
{
    QStringList values;
    for (const QJsonValue &object : objects) {
        values.append(object.toObject().value(name).toString());
    }
    return values;
}

QJsonObject ObjectWith(const QJsonArray &objects, const QString &name, const QString &value)
{
    for (const QJsonValue &object : objects) {
        if (object.toObject().value(name).toString() == value) {
            return object.toObject();
        }
    }
    return {};
}

QByteArray Bytes(int size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QVector<quint32> words(size / 4 + 1);
    generator.fillRange(words.data(), words.size());
    return QByteArray(reinterpret_cast<const char *>(words.constData()), size);
}
