#ifndef DEVICEBOOK_H
#define DEVICEBOOK_H

#include <QString>
#include <QVector>
#include <optional>

#include "deviceaddress.h"

/** A device that the user has given a name, and how it is reached. */
struct NamedDevice
{
    QString name;
    std::string host;
    TlsOptions tls;
};

/**
 * The devices that the user has named, in a TOML file with one table for each: "host" and, for
 * https, "cacert", "cert", "key" and "insecure", named as the options are. The file is the one that
 * PARLOWEN_DEVICES names, or else parlowen/devices.toml in the user's folder for configuration.
 */
namespace DeviceBook {

QString FileName();

/**
 * In the order of the file; none when there is no file. Throws a `ClientError` of status
 * `LocalFailure` for one that cannot be used.
 */
QVector<NamedDevice> Load();

std::optional<NamedDevice> Find(const std::string &name);

} // namespace DeviceBook

#endif // DEVICEBOOK_H
