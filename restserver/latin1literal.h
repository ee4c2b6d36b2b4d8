#ifndef LATIN1LITERAL_H
#define LATIN1LITERAL_H

#include <QLatin1String>
#include <cstddef>

/** A text that is a constant of the program: `constexpr QLatin1String key = "cdm"_latin1;`. */
constexpr QLatin1String operator""_latin1(const char *text, size_t size)
{
    return QLatin1String(text, static_cast<int>(size));
}

#endif
