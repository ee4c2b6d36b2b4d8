#include "workorderid.h"

#include <QJsonObject>
#include <algorithm>

namespace {

constexpr QChar mark = QLatin1Char('%');

QString Suffix()
{
    return QStringLiteral(".json");
}

bool IsForbidden(QChar character)
{
    return character == QLatin1Char('/') || character.category() == QChar::Other_Control;
}

bool IsValid(const QString &id)
{
    const QByteArray bytes = id.toUtf8();
    return !id.isEmpty() && bytes.size() <= WorkOrderId::maximumLength &&
           QString::fromUtf8(bytes) == id && std::none_of(id.cbegin(), id.cend(), IsForbidden);
}

bool NeedsMark(const QString &id)
{
    const QChar first = id.at(0);
    return first == QLatin1Char('.') || first == mark;
}

} // namespace

QString WorkOrderId::Of(const QJsonValue &document)
{
    const QString id = document.toObject().value(QLatin1String("workOrderId")).toString();
    return IsValid(id) ? id : QString();
}

QString WorkOrderId::FileName(const QString &id)
{
    return (NeedsMark(id) ? mark + id : id) + Suffix();
}

QString WorkOrderId::OfFileName(const QString &fileName)
{
    if (!fileName.endsWith(Suffix())) {
        return QString();
    }
    const QString stem = fileName.chopped(Suffix().size());
    const QString id = stem.startsWith(mark) ? stem.mid(1) : stem;
    return IsValid(id) && FileName(id) == fileName ? id : QString();
}
