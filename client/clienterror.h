#ifndef CLIENTERROR_H
#define CLIENTERROR_H

#include <QString>
#include <exception>
#include <functional>

/** What the program tells its caller. The values are part of the interface and never change. */
enum class ExitStatus
{
    Done = 0,            ///< the device really did it
    LocalFailure = 1,    ///< a local file cannot be read or written, or is no valid input
    Usage = 2,           ///< the command line is wrong
    CannotConnect = 3,   ///< no answer from the device
    DeviceRefused = 4,   ///< the device answered that it does not do it, or that it is busy
    TransferCorrupt = 5, ///< a transfer broke off, or what arrived is not what was sent
};

/** Why a command cannot go on: the exit status that it leads to and one line for the user. */
class ClientError : public std::exception
{
public:
    ClientError(ExitStatus exitStatus, const QString &text);

    ExitStatus Status() const;
    QString Message() const;

    /** True when the rest of a command's work cannot be done either. */
    virtual bool EndsEverything() const;

    /** Calls `tell` with the message, the first time only. */
    void TellOnce(const std::function<void(const QString &)> &tell);

    /** The message in UTF-8. */
    const char *what() const noexcept override;

private:
    ExitStatus status;
    QByteArray message;
    bool told = false;
};

/** A name that the device or this computer cannot be given: such a file is skipped. */
class Unnameable : public ClientError
{
public:
    using ClientError::ClientError;
};

/**
 * The device's own answer that it does not do it: its error object. It has read the request and
 * judged it, which a busy device or a server of another kind has not; those are a plain
 * `ClientError` of the same status.
 */
class DeviceRefusal : public ClientError
{
public:
    explicit DeviceRefusal(const QString &reason);
};

#endif // CLIENTERROR_H
