#ifndef PRINTABLETEXT_H
#define PRINTABLETEXT_H

#include <QString>

/**
 * Whether a character could steer a terminal or change how what stands around it is read: control
 * characters (C0, DEL, C1), invisible formatting such as a change of the writing direction, and the
 * separators of lines and paragraphs.
 */
bool IsUnprintable(QChar character);

/** Makes one line of a text: every unprintable character becomes a space. */
QString OnOneLine(QString text);

/** Shows what is there: every unprintable character becomes "\u001b" and the like. */
QString Escaped(const QString &text);

#endif
