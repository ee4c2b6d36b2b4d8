#ifndef REQUESTTEXT_H
#define REQUESTTEXT_H

#include <QCoreApplication>

#include "journalmodel.h"

/** A request as text for people and for their shell. */
class RequestText
{
    Q_DECLARE_TR_FUNCTIONS(RequestText)

public:
    /**
     * A command that sends the request again, to a device at `address` ("http://ADDRESS:PORT"). The
     * journal does not keep what a client sent: where there was a body, the command names a file
     * that the user provides.
     */
    static QString CurlCommand(const RequestRecord &request, const QString &address);

    /** Everything that is known of a request, and its answer. */
    static QString Describe(const JournalEntry &entry);
};

#endif
