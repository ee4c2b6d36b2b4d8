#include "clienterror.h"

ClientError::ClientError(ExitStatus exitStatus, const QString &text)
    : status(exitStatus)
    , message(text.toUtf8())
{}

ExitStatus ClientError::Status() const
{
    return status;
}

QString ClientError::Message() const
{
    return QString::fromUtf8(message);
}

bool ClientError::EndsEverything() const
{
    return status == ExitStatus::CannotConnect;
}

void ClientError::TellOnce(const std::function<void(const QString &)> &tell)
{
    if (!told) {
        tell(Message());
    }
    told = true;
}

const char *ClientError::what() const noexcept
{
    return message.constData();
}

DeviceRefusal::DeviceRefusal(const QString &reason)
    : ClientError(ExitStatus::DeviceRefused,
                  reason.isEmpty() ? QStringLiteral("the device gave no reason") : reason)
{}
