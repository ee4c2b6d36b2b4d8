#ifndef PRINTEDLINES_H
#define PRINTEDLINES_H

#include <QStringList>
#include <cstdio>

/** A stream that keeps what is printed to it. */
class PrintedLines
{
public:
    PrintedLines()
        : file(std::tmpfile())
    {}
    PrintedLines(const PrintedLines &) = delete;
    PrintedLines &operator=(const PrintedLines &) = delete;
    ~PrintedLines() { std::fclose(file); }

    std::FILE *Stream() { return file; }

    /** All that was printed so far; every line ends with a line break. */
    QString Text()
    {
        QByteArray text(1 << 20, '\0');
        std::rewind(file);
        text.resize(static_cast<int>(
            std::fread(text.data(), 1, static_cast<std::size_t>(text.size()), file)));
        return QString::fromUtf8(text);
    }

private:
    std::FILE *file;
};

#endif
