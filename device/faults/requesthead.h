#ifndef REQUESTHEAD_H
#define REQUESTHEAD_H

#include <QByteArray>

/** What the first line of a request says, as far as a fault needs it. A plain value. */
struct RequestHead
{
    QByteArray method; ///< empty: this is no request
    QByteArray path;   ///< decoded, without host and query

    /** Reads the first line of `bytes`. */
    static RequestHead Parse(const QByteArray &bytes);

    /** Whether it asks for the content of a user file. */
    bool IsDownload() const;
};

#endif
