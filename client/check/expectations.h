#ifndef EXPECTATIONS_H
#define EXPECTATIONS_H

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include "httpexchange.h"

class CheckedDevice;

/** What an answer is to be. All of these throw the `Finding` "fail" when it is not. */
namespace Expect {

/** A time may be later than the clock of the device by as much. */
constexpr int toleratedSeconds = 10;

/** JSON under status 200 with the content type of JSON, and no error object. */
QJsonObject Object(const HttpAnswer &answer);
QJsonArray Array(const HttpAnswer &answer);

/** The empty object: done, nothing to tell. */
void Done(const HttpAnswer &answer);

/** The error object with this message, under status 200. */
void Error(const HttpAnswer &answer, const QString &message);

/** The bytes of a file, with the content type that follows from them. */
void Content(const HttpAnswer &answer, const QByteArray &bytes);

/** The time of the device's clock when it answered. */
QDateTime Clock(const HttpAnswer &answer);

/** No two of the values are the same. */
void Unique(const QStringList &values, const QString &what);

/** The answer came within the time that a user waits without asking. */
void Prompt(const HttpAnswer &answer, int entries);

} // namespace Expect

QByteArray DigestOf(const QByteArray &content);
QByteArray CompactJson(const QJsonObject &object);
QStringList Members(const QJsonArray &objects, const QString &name);

/** The object of an array whose member `name` has this value; empty when there is none. */
QJsonObject ObjectWith(const QJsonArray &objects, const QString &name, const QString &value);

/** Bytes that look random and are the same in every run. */
QByteArray Bytes(int size, quint32 seed = 1);

#endif
