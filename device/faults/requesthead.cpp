#include "requesthead.h"

#include <QList>

RequestHead RequestHead::Parse(const QByteArray &bytes)
{
    const QList<QByteArray> words = bytes.left(bytes.indexOf("\r\n")).split(' ');
    if (words.size() != 3 || !words.last().startsWith("HTTP/")) {
        return {};
    }
    QByteArray target = words.at(1);
    const int host = target.indexOf("://");
    if (host > 0) {
        const int slash = target.indexOf('/', host + 3);
        target = slash < 0 ? QByteArray("/") : target.mid(slash);
    }
    const QByteArray path = target.split('?').first();
    return {words.first(), QByteArray::fromPercentEncoding(path)};
}

bool RequestHead::IsDownload() const
{
    // "/api/INTERFACE/VERSION/userfiles/PATH"
    const QList<QByteArray> names = path.split('/');
    return method == "GET" && names.size() > 5 && names.at(1) == "api" &&
           names.at(4) == "userfiles";
}
