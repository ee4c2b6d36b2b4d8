#ifndef ASSERTION_H
#define ASSERTION_H

#include <QString>
#include <QVector>
#include <functional>

class CheckedDevice;

/** What came of one assertion. */
enum class Verdict
{
    Pass,
    Warn,     ///< allowed, but it hurts whoever uses the device
    Fail,     ///< the device breaks a promise of the interface
    NotTested ///< the reason says what was missing
};

/** What an assertion may do to the device. */
enum class Effect
{
    Reads,  ///< changes nothing
    Writes, ///< changes what is restored afterwards
    Loads   ///< only for a simulator or a device on the test bench
};

/** Thrown by a check that does not pass. */
struct Finding
{
    Verdict verdict;
    QString text;
};

/** One promise of the interface. The id never changes: acceptance protocols name it. */
struct Assertion
{
    QString id;
    QString sentence;
    QString reference; ///< the operation of a host interface, or the page, that promises it
    Effect effect;
    std::function<void(CheckedDevice &)> check; ///< returns, or throws a `Finding`
};

/** The assertions that lead to one interface of the host. */
struct AssertionGroup
{
    QString name;
    QString purpose;
    QVector<Assertion> assertions;
};

[[noreturn]] void Fail(const QString &text);
[[noreturn]] void Warn(const QString &text);
[[noreturn]] void NotTested(const QString &reason);

/** Fails with `text` unless `holds`. */
void Require(bool holds, const QString &text);

/** A check of an assertion with its arguments, which are copied. */
template <typename Check, typename... Arguments>
std::function<void(CheckedDevice &)> With(Check check, Arguments... arguments)
{
    return [=](CheckedDevice &device) { check(device, arguments...); };
}

#endif
