#ifndef CLIENTERROR_H
#define CLIENTERROR_H

#include <QString>
#include <exception>

#include "exitstatus.h"

/** Why a command cannot go on: the exit status that it leads to and one line for the user. */
class ClientError : public std::exception
{
public:
    ClientError(ExitStatus exitStatus, const QString &text);

    ExitStatus Status() const;
    QString Message() const;

    /** The message in UTF-8. */
    const char *what() const noexcept override;

private:
    ExitStatus status;
    QByteArray message;
};

#endif // CLIENTERROR_H
