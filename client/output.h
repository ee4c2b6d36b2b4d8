#ifndef OUTPUT_H
#define OUTPUT_H

#include <QJsonDocument>
#include <QString>

/**
 * What the program prints: results on standard output, either as lines for people or, with --json,
 * as one JSON document; notices and errors on standard error. Control characters in names from the
 * device are shown as "?", so that they cannot steer a terminal.
 */
class Output
{
public:
    enum class Format
    {
        Text,
        Json
    };

    /** Both before the first line; the format is Text and nothing is quiet at first. */
    void SetFormat(Format newFormat);
    void SetQuiet(bool newQuiet);

    bool IsJson() const;
    bool IsQuiet() const;

    /** One line of a result; nothing with --json. */
    void Line(const QString &text) const;

    /** A JSON document as it is, in both formats. */
    void Document(const QJsonDocument &document) const;

    /** The result as JSON; nothing without --json. */
    void Json(const QJsonDocument &document) const;

    /** Something that the user should know; goes to standard error, not with --quiet. */
    void Notice(const QString &text) const;

    /** Goes to standard error always. */
    void Error(const QString &text) const;

    static QString WithoutControlCharacters(const QString &text);

private:
    Format format = Format::Text;
    bool quiet = false;
};

#endif // OUTPUT_H
