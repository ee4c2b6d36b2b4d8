#ifndef JSONSCAN_H
#define JSONSCAN_H

#include <QByteArray>

/** Goes through JSON, valid or not, without parsing it, so that it costs no memory. */
namespace JsonScan {

/** Where a text ends that begins here: its closing quotation mark, or the end of all. */
inline const char *EndOfText(const char *at, const char *end)
{
    while (at < end && *at != '"') {
        at += *at == '\\' && end - at > 1 ? 2 : 1;
    }
    return at;
}

/**
 * Tells the visitor what there is as long as it `GoesOn()`: each text by `TakeText(from, to)`, with
 * the quotation mark in front of it, and each byte outside of texts by `TakeMark(byte)`.
 */
template <typename Visitor>
void Visit(const QByteArray &json, Visitor *visitor)
{
    const char *const end = json.constData() + json.size();
    for (const char *at = json.constData(); at < end && visitor->GoesOn(); ++at) {
        if (*at == '"') {
            const char *const closing = EndOfText(at + 1, end);
            visitor->TakeText(at, closing);
            at = closing;
        } else {
            visitor->TakeMark(*at);
        }
    }
}

} // namespace JsonScan

#endif
