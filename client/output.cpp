#include "output.h"

#include <QTextCodec>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <unistd.h>

#include "printabletext.h"

namespace {

void RequireWritten(std::FILE *stream, bool written)
{
    if (!written && stream == stdout) {
        if (errno == EPIPE) {
            throw NobodyReads();
        }
        throw ClientError(ExitStatus::LocalFailure,
                          "cannot write to standard output: " + qt_error_string(errno));
    }
}

void PutBytes(std::FILE *stream, const QByteArray &bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    RequireWritten(stream, std::fwrite(bytes.constData(), 1, size, stream) == size);
}

void Write(std::FILE *stream, const QByteArray &bytes)
{
    PutBytes(stream, bytes);
    RequireWritten(stream, std::fflush(stream) == 0);
}

enum class LineEnds
{
    AreEscaped,
    AreKept
};

QString Escaped(const QString &text, LineEnds lineEnds)
{
    if (lineEnds == LineEnds::AreEscaped) {
        return Escaped(text);
    }
    QStringList lines = text.split('\n');
    for (QString &line : lines) {
        line = Escaped(line);
    }
    return lines.join('\n');
}

// Piece by piece, for a long text takes many times its memory while it is escaped.
void WriteEscaped(const QByteArray &utf8, LineEnds lineEnds, const char *end)
{
    constexpr int pieceSize = 16 << 10;
    QTextDecoder decoder(QTextCodec::codecForName("UTF-8"));
    for (int at = 0; at < utf8.size(); at += pieceSize) {
        const QString piece =
            decoder.toUnicode(utf8.constData() + at, std::min(pieceSize, utf8.size() - at));
        PutBytes(stdout, Escaped(piece, lineEnds).toUtf8());
    }
    Write(stdout, end);
}

// Outside of its texts a document holds nothing that has to be escaped but its line ends.
void WriteDocument(const QByteArray &piece)
{
    WriteEscaped(piece, LineEnds::AreKept, "");
}

} // namespace

NobodyReads::NobodyReads()
    : ClientError(ExitStatus::LocalFailure, QStringLiteral("nobody reads standard output"))
{
    // Whoever closed the pipe has what it wanted.
    TellOnce([](const QString &) {});
}

bool NobodyReads::EndsEverything() const
{
    return true;
}

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
    Line(text.toUtf8());
}

void Output::Line(const QByteArray &utf8) const
{
    if (!IsJson()) {
        ClearStatus();
        WriteEscaped(utf8, LineEnds::AreEscaped, "\n");
    }
}

void Output::Lines(const QByteArray &utf8) const
{
    if (!IsJson()) {
        ClearStatus();
        WriteEscaped(utf8, LineEnds::AreKept, "\n");
    }
}

void Output::Document(const QJsonDocument &document) const
{
    ClearStatus();
    WriteIndented(document, WriteDocument);
}

void Output::Json(const QJsonDocument &document) const
{
    if (IsJson()) {
        Document(document);
    }
}

void Output::Json(const ListOfObjects &list) const
{
    if (IsJson()) {
        ClearStatus();
        WriteIndented(list, WriteDocument);
    }
}

void Output::Bytes(const QByteArray &bytes) const
{
    Write(stdout, bytes);
}

void Output::Notice(const QString &text) const
{
    if (!quiet) {
        WriteToUser("parlowenctl: " + text);
    }
}

void Output::Error(const QString &text) const
{
    WriteToUser("parlowenctl: " + text);
}

void Output::Trace(const QString &text) const
{
    WriteToUser(text);
}

void Output::Status(const QString &text) const
{
    // Clears the rest of the line, for the text grows shorter as well as longer.
    Write(stderr, '\r' + text.toUtf8() + "\033[K");
    statusShown = true;
}

void Output::ClearStatus() const
{
    if (statusShown) {
        Write(stderr, "\r\033[K");
    }
    statusShown = false;
}

void Output::KeepStatus() const
{
    if (statusShown) {
        Write(stderr, "\n");
    }
    statusShown = false;
}

bool Output::ShowsStatus() const
{
    return !quiet && isatty(STDOUT_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
}

void Output::WriteToUser(const QString &text) const
{
    ClearStatus();
    Write(stderr, Escaped(text).toUtf8() + '\n');
}
