#ifndef CHECKWORKORDERS_H
#define CHECKWORKORDERS_H

#include <QJsonArray>
#include <QStringList>

#include "httpexchange.h"

class CheckedDevice;

/** The three work orders that a check stores. The interface deletes none, so they stay. */
namespace CheckWorkOrders {

constexpr char first[] = "parlowen-check-1";
constexpr char second[] = "parlowen-check-2";
constexpr char third[] = "parlowen-check-3 \u00fc?";

QStringList Ids();

/** Documents with all that is to be kept, and with images. */
QJsonArray Documents();

/** Sends a batch. */
HttpAnswer Send(CheckedDevice &device, const QJsonValue &batch);

/** Stores the three. Throws the `Finding` "fail" when the device refuses. */
void Store(CheckedDevice &device);

/** The document that the device returns for an id. */
QJsonObject Read(CheckedDevice &device, const QString &id);

} // namespace CheckWorkOrders

#endif
