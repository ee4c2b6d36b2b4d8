#ifndef OUTPUTLINE_H
#define OUTPUTLINE_H

#include <QString>
#include <cstdio>

/**
 * Writes `text` to `output` as exactly one line, at once: line breaks and other control characters
 * become spaces. Lines of several threads do not mix.
 */
void PrintLine(std::FILE *output, const QString &text);

/**
 * The same, with the time in UTC and the kind of line in front: "2024-05-17T09:30:12.345Z debug:
 * text". Of a long text the first 1,000 characters are written and how many there are more.
 */
void PrintLogLine(std::FILE *output, const char *kind, const QString &text);

#endif
