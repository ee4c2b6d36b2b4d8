#ifndef CHECKRUN_H
#define CHECKRUN_H

#include <QDateTime>
#include <QStringList>
#include <functional>

#include "assertion.h"
#include "checkeddevice.h"

/** One assertion and what came of it. */
struct AssertionResult
{
    QString group;
    QString id;
    QString sentence;
    QString reference;
    Verdict verdict;
    QString text; ///< why it did not pass, or a remark
    qint64 milliseconds;
    QVector<LoggedExchange> exchanges; ///< the last ones of an assertion that did not pass
};

/** All that a report says. */
struct CheckResult
{
    QString device; ///< its address
    QJsonObject asset;
    QDateTime started;
    qint64 milliseconds = 0;
    bool wrote = false;
    bool loaded = false;
    bool interrupted = false;
    QVector<AssertionGroup> groups;
    QVector<AssertionResult> results;
    QStringList leftBehind;

    int Count(Verdict verdict) const;
};

/** Carries all assertions out, one after the other, and puts the device back. */
class CheckRun
{
public:
    struct Settings
    {
        bool write = false;
        bool load = false;
        QStringList only; ///< ids that run, with wildcards; empty: all of them
        std::function<void(const AssertionResult &)> progress; ///< told after each assertion
    };

    CheckRun(CheckedDevice &checkedDevice, Settings runSettings);

    /**
     * Throws `ClientError` when the device cannot be reached at all, or no assertion has an id that
     * is to run.
     */
    CheckResult Run();

private:
    void RunAll(const QVector<AssertionGroup> &groups);
    void RunOne(const QString &group, const Assertion &assertion);
    AssertionResult Carry(const Assertion &assertion);
    bool IsWanted(const Assertion &assertion) const;
    void PutBack();
    QString ReasonNotToRun(const Assertion &assertion) const;

    CheckedDevice &device;
    Settings settings;
    CheckResult result;
};

#endif
