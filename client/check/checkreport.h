#ifndef CHECKREPORT_H
#define CHECKREPORT_H

#include <QByteArray>
#include <QString>

#include "checkrun.h"

/** What came of a check, in the forms in which it is kept. */
namespace CheckReport {

/** "PASS", "WARN", "FAIL" or "NOT TESTED". */
QString Name(Verdict verdict);

/** The indices of the results, failures first, then warnings, what was not tested, the rest. */
QVector<AssertionResult> WorstFirst(const CheckResult &result);

/** One line with the counts. */
QString Summary(const CheckResult &result);

QByteArray Json(const CheckResult &result);

/** For build servers: a test suite for each group. */
QByteArray Junit(const CheckResult &result);

/** One page without a network, to be attached to an acceptance protocol. */
QByteArray Html(const CheckResult &result);

} // namespace CheckReport

#endif
