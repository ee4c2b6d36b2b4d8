#include "multipartform.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

namespace {

constexpr char boundary[] = "parlowen-check-boundary-7d93b1";

} // namespace

QByteArray MultipartForm::ContentType()
{
    return QByteArray("multipart/form-data; boundary=") + boundary;
}

QByteArray MultipartForm::Of(const QVector<QByteArray> &parts)
{
    QByteArray form;
    for (const QByteArray &part : parts) {
        form += QByteArray("--") + boundary +
                "\r\nContent-Disposition: form-data; name=\"part\"\r\n\r\n" + part + "\r\n";
    }
    return form + "--" + boundary + "--\r\n";
}

QByteArray MultipartForm::Description(const QString &path, qint64 size)
{
    const QJsonObject description{{"fileUri", path}, {"fileSize", size}};
    return QJsonDocument(description).toJson(QJsonDocument::Compact);
}

QByteArray MultipartForm::OfFile(const QString &path, const QByteArray &content)
{
    return Of({Description(path, content.size()), content});
}
