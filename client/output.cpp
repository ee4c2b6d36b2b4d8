#include "output.h"

#include <cstdio>

#include "clienterror.h"

namespace {

void Write(std::FILE *stream, const QByteArray &bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, size, stream) != size || std::fflush(stream) != 0) {
        if (stream == stdout) {
            throw ClientError(ExitStatus::LocalFailure,
                              QStringLiteral("cannot write to standard output"));
        }
    }
}

void WriteLine(std::FILE *stream, const QString &text)
{
    Write(stream, Output::WithoutControlCharacters(text).toUtf8() + '\n');
}

} // namespace

void Output::SetFormat(Format newFormat)
{
    format = newFormat;
}

void Output::SetQuiet(bool newQuiet)
{
    quiet = newQuiet;
}

bool Output::IsJson() const
{
    return format == Format::Json;
}

bool Output::IsQuiet() const
{
    return quiet;
}

void Output::Line(const QString &text) const
{
    if (!IsJson()) {
        WriteLine(stdout, text);
    }
}

void Output::Document(const QJsonDocument &document) const
{
    Write(stdout, document.toJson());
}

void Output::Json(const QJsonDocument &document) const
{
    if (IsJson()) {
        Document(document);
    }
}

void Output::Notice(const QString &text) const
{
    if (!quiet) {
        WriteLine(stderr, "parlowenctl: " + text);
    }
}

void Output::Error(const QString &text) const
{
    WriteLine(stderr, "parlowenctl: " + text);
}

QString Output::WithoutControlCharacters(const QString &text)
{
    QString clean = text;
    for (QChar &character : clean) {
        if (character.category() == QChar::Other_Control ||
            character.category() == QChar::Other_Format) {
            character = '?';
        }
    }
    return clean;
}
