#include "devicebook.h"

#include <CLI/CLI.hpp>
#include <QFileInfo>
#include <QStandardPaths>
#include <algorithm>
#include <fstream>

#include "clienterror.h"

namespace {

ClientError Problem(const QString &text)
{
    return {ExitStatus::LocalFailure, DeviceBook::FileName() + ": " + text};
}

NamedDevice &DeviceOf(QVector<NamedDevice> &devices, const std::string &name)
{
    const QString wanted = QString::fromStdString(name);
    for (NamedDevice &device : devices) {
        if (device.name == wanted) {
            return device;
        }
    }
    devices.append({wanted, {}, {}});
    return devices.last();
}

void Set(NamedDevice &device, const std::string &member, const std::string &value)
{
    if (member == "host") {
        device.host = value;
    } else if (member == "cacert") {
        device.tls.authorities = value;
    } else if (member == "cert") {
        device.tls.certificate = value;
    } else if (member == "key") {
        device.tls.key = value;
    } else if (member == "insecure") {
        device.tls.insecure = value == "true";
    } else {
        throw Problem(QString("%1 has an unknown member \"%2\"")
                          .arg(device.name, QString::fromStdString(member)));
    }
}

// The name becomes that of a folder.
void Check(const NamedDevice &device)
{
    if (device.name.contains('/') || device.name.startsWith('.')) {
        throw Problem(QString("%1 is no name for a device").arg(device.name));
    }
    if (device.host.empty()) {
        throw Problem(QString("%1 has no \"host\"").arg(device.name));
    }
}

std::vector<CLI::ConfigItem> Items()
{
    std::ifstream file(DeviceBook::FileName().toStdString());
    try {
        return CLI::ConfigBase().from_config(file);
    } catch (const CLI::Error &error) {
        throw Problem(QString::fromStdString(error.what()));
    }
}

} // namespace

QString DeviceBook::FileName()
{
    const QString chosen = qEnvironmentVariable("PARLOWEN_DEVICES");
    return chosen.isEmpty()
               ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                     "/parlowen/devices.toml"
               : chosen;
}

QVector<NamedDevice> DeviceBook::Load()
{
    QVector<NamedDevice> devices;
    if (!QFileInfo::exists(FileName())) {
        return devices;
    }
    for (const CLI::ConfigItem &item : Items()) {
        // What begins and ends a table is told as an item of this name.
        if (item.name == "++" || item.name == "--") {
            continue;
        }
        if (item.parents.size() != 1 || item.inputs.size() != 1) {
            throw Problem(QString("\"%1\" belongs to no device: write it below [NAME]")
                              .arg(QString::fromStdString(item.name)));
        }
        Set(DeviceOf(devices, item.parents.front()), item.name, item.inputs.front());
    }
    std::for_each(devices.begin(), devices.end(), Check);
    return devices;
}

std::optional<NamedDevice> DeviceBook::Find(const std::string &name)
{
    const QVector<NamedDevice> devices = Load();
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const NamedDevice &device) {
        return device.name == QString::fromStdString(name);
    });
    return found == devices.end() ? std::nullopt : std::make_optional(*found);
}
