#ifndef OUTPUT_H
#define OUTPUT_H

#include <QJsonDocument>
#include <QString>

#include "clienterror.h"
#include "indentedjson.h"

/** Whoever reads standard output has stopped reading, as `head` does: there is nobody to tell. */
class NobodyReads : public ClientError
{
public:
    NobodyReads();
    bool EndsEverything() const override;
};

/**
 * What the program prints: results on standard output, either as lines for people or, with --json,
 * as one JSON document; notices, errors and the status line on standard error. Whatever in a name
 * from the device could steer a terminal is shown as "\u001b" and the like, in JSON too.
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
    void Line(const QByteArray &utf8) const;

    /** A text of many lines; nothing with --json. */
    void Lines(const QByteArray &utf8) const;

    /** A JSON document as it is, in both formats. */
    void Document(const QJsonDocument &document) const;

    /** The result as JSON; nothing without --json. */
    void Json(const QJsonDocument &document) const;

    void Json(const ListOfObjects &list) const;

    /** The bytes as they are, for whoever asked for them on standard output. */
    void Bytes(const QByteArray &bytes) const;

    /** Something that the user should know; goes to standard error, not with --quiet. */
    void Notice(const QString &text) const;

    /** Goes to standard error always. */
    void Error(const QString &text) const;

    /** A line of --trace; goes to standard error always. */
    void Trace(const QString &text) const;

    /**
     * The line at the bottom of the terminal that tells how far things are; everything else that
     * is printed stands above it. Only where `ShowsStatus`.
     */
    void Status(const QString &text) const;
    void ClearStatus() const;

    /** Ends the status line: it stays, and what follows begins below it. */
    void KeepStatus() const;

    /** True with a terminal at both ends and without --quiet. */
    bool ShowsStatus() const;

private:
    void WriteToUser(const QString &text) const;

    Format format = Format::Text;
    bool quiet = false;
    mutable bool statusShown = false;
};

#endif // OUTPUT_H
