#include "assertion.h"

void Fail(const QString &text)
{
    throw Finding{Verdict::Fail, text};
}

void Warn(const QString &text)
{
    throw Finding{Verdict::Warn, text};
}

void NotTested(const QString &reason)
{
    throw Finding{Verdict::NotTested, reason};
}

void Require(bool holds, const QString &text)
{
    if (!holds) {
        Fail(text);
    }
}
