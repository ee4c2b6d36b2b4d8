#include "output.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

#include "printabletext.h"

namespace {

void Write(std::FILE *stream, const QByteArray &bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, size, stream) == size && std::fflush(stream) == 0) {
        return;
    }
    if (stream == stdout) {
        if (errno == EPIPE) {
            throw NobodyReads();
        }
        throw ClientError(ExitStatus::LocalFailure,
                          "cannot write to standard output: " + qt_error_string(errno));
    }
}

// Outside of its texts a JSON document holds nothing that has to be escaped but its line ends.
QByteArray Escaped(const QJsonDocument &document)
{
    QStringList lines = QString::fromUtf8(document.toJson()).split('\n');
    for (QString &line : lines) {
        line = Escaped(line);
    }
    return lines.join('\n').toUtf8();
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
    if (!IsJson()) {
        ClearStatus();
        Write(stdout, Escaped(text).toUtf8() + '\n');
    }
}

void Output::Document(const QJsonDocument &document) const
{
    ClearStatus();
    Write(stdout, Escaped(document));
}

void Output::Json(const QJsonDocument &document) const
{
    if (IsJson()) {
        Document(document);
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
