#include "documentfile.h"

#include <QFile>
#include <QJsonArray>
#include <QLocale>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <sys/stat.h>

#include "filedescriptor.h"
#include "jsonmemory.h"
#include "jsonsyntax.h"

namespace {

QString Reason(int number)
{
    return number == ENOENT ? QString() : qt_error_string(number);
}

qint64 LineLength(int depth)
{
    constexpr int indentation = 4;
    constexpr int commaAndLineEnd = 2;
    return qint64{indentation} * depth + commaAndLineEnd;
}

// At most: what may have to be escaped counts as "\\u0000".
qint64 QuotedLength(const QString &text)
{
    constexpr int quotes = 2;
    constexpr int escape = 5;
    const auto isEscaped = [](QChar character) {
        return character < QLatin1Char(' ') || character == QLatin1Char('"') ||
               character == QLatin1Char('\\') || character == QChar(0x7f) ||
               character == QChar::ByteOrderMark;
    };
    return text.toUtf8().size() + quotes +
           escape * std::count_if(text.cbegin(), text.cend(), isEscaped);
}

qint64 NumberLength(double number)
{
    constexpr double longestWhole = 1e18;
    return (std::abs(number) < longestWhole && number == std::trunc(number)
                ? QByteArray::number(static_cast<qint64>(number))
                : QByteArray::number(number, 'g', QLocale::FloatingPointShortest))
        .size();
}

qint64 LengthOf(const QJsonValue &value, int depth);

qint64 LengthOf(const QJsonArray &array, int depth)
{
    qint64 length = LineLength(depth);
    for (const QJsonValue element : array) {
        length += LineLength(depth + 1) + LengthOf(element, depth + 1);
    }
    return length;
}

qint64 LengthOf(const QJsonObject &object, int depth)
{
    constexpr int colonAndBlank = 2;
    qint64 length = LineLength(depth);
    for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
        length += LineLength(depth + 1) + QuotedLength(member.key()) + colonAndBlank +
                  LengthOf(member.value(), depth + 1);
    }
    return length;
}

// The parser lets no document be nested deeper than 1,024 levels.
qint64 LengthOf(const QJsonValue &value, int depth)
{
    constexpr int longestWord = 5;
    switch (value.type()) {
    case QJsonValue::Array:
        return LengthOf(value.toArray(), depth);
    case QJsonValue::Object:
        return LengthOf(value.toObject(), depth);
    case QJsonValue::String:
        return QuotedLength(value.toString());
    case QJsonValue::Double:
        return NumberLength(value.toDouble());
    default:
        return longestWord;
    }
}

// Why it is not to be parsed; empty when it may be.
QString HarmOf(const QByteArray &content)
{
    constexpr qint64 mostMemory = DocumentFile::mostMemory;
    JsonSyntax syntax(JsonSyntax::AreCompared);
    if (JsonMemory(content, &syntax) > mostMemory) {
        return QStringLiteral("it has so many arrays, objects or values that reading it would "
                              "take more than %1 MiB of memory")
            .arg(mostMemory / 1024 / 1024);
    }
    return syntax.RepeatsKey() ? QStringLiteral("an object in it has a key twice") : QString();
}

} // namespace

std::optional<QByteArray> DocumentFile::Read(const QString &path, QString *problem, qint64 limit)
{
    problem->clear();
    const FileDescriptor file(
        open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Number(), &status) != 0) {
        *problem = Reason(errno);
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        *problem = QStringLiteral("it is no regular file");
        return std::nullopt;
    }
    if (status.st_size > limit) {
        *problem = QStringLiteral("it is larger than %1 MiB").arg(limit / 1024 / 1024);
        return std::nullopt;
    }
    QByteArray content(static_cast<int>(status.st_size), Qt::Uninitialized);
    const qint64 count = file.Read(content.data(), content.size(), 0);
    if (count < 0) {
        *problem = Reason(errno);
        return std::nullopt;
    }
    content.truncate(static_cast<int>(count));
    return content;
}

QByteArray DocumentFile::Written(const QJsonObject &document, QJsonDocument::JsonFormat format)
{
    return QJsonDocument(document).toJson(format).replace("\xef\xbb\xbf", "\\ufeff");
}

qint64 DocumentFile::IndentedLength(const QJsonObject &document)
{
    return LengthOf(document, 0);
}

std::optional<QJsonObject> DocumentFile::ReadObject(const QString &path, QString *problem)
{
    const std::optional<QByteArray> content = Read(path, problem);
    if (!content) {
        return std::nullopt;
    }
    *problem = HarmOf(*content);
    if (!problem->isEmpty()) {
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(*content, &error);
    if (!document.isObject()) {
        *problem = error.error == QJsonParseError::NoError
                       ? QStringLiteral("it holds no JSON object")
                       : QStringLiteral("it is no JSON: %1").arg(error.errorString());
        return std::nullopt;
    }
    return document.object();
}
