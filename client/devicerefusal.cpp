#include "devicerefusal.h"

DeviceRefusal::DeviceRefusal(const QString &reason)
    : ClientError(ExitStatus::DeviceRefused,
                  reason.isEmpty() ? QStringLiteral("the device gave no reason") : reason)
{}
