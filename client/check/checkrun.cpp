#include "checkrun.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <algorithm>

#include "assertions.h"
#include "checkinterruption.h"
#include "clienterror.h"
#include "routes.h"

namespace {

QVector<AssertionGroup> GroupsOfDevice()
{
    return {Assertions::OfServer(),         Assertions::OfMethods(),
            Assertions::OfAssetModel(),     Assertions::OfJobModel(),
            Assertions::OfWorkOrderStore(), Assertions::OfSyncFilesModel(),
            Assertions::OfTechnician(),     Assertions::OfFileManagerModel(),
            Assertions::OfStoredFiles(),    Assertions::OfUploads(),
            Assertions::OfStorageModel(),   Assertions::OfLoad()};
}

QVector<AssertionGroup> GroupsOfTheEnd()
{
    return {Assertions::OfTheEnd(), Assertions::OfDescription()};
}

bool IsCalled(const Assertion &assertion, const QString &pattern)
{
    const QRegularExpression whole(QRegularExpression::wildcardToRegularExpression(pattern));
    return whole.match(assertion.id).hasMatch();
}

// A check of nothing would say that the device is right.
void RequireAssertions(const QStringList &patterns, const QVector<AssertionGroup> &groups)
{
    for (const QString &pattern : patterns) {
        const auto names = [&pattern](const AssertionGroup &group) {
            return std::any_of(group.assertions.begin(), group.assertions.end(),
                               [&pattern](const Assertion &one) { return IsCalled(one, pattern); });
        };
        if (std::none_of(groups.begin(), groups.end(), names)) {
            throw ClientError(
                ExitStatus::Usage,
                QString("--only: no assertion is called \"%1\"; --json without --only "
                        "lists them all")
                    .arg(pattern));
        }
    }
}

void RequireConnection(CheckedDevice &device)
{
    HttpExchange exchange(device.Target());
    if (!exchange.Connect()) {
        throw ClientError(ExitStatus::CannotConnect,
                          QString("no connection to %1: is the device on, and its port right?")
                              .arg(device.Target().device.toDisplayString()));
    }
}

} // namespace

int CheckResult::Count(Verdict verdict) const
{
    return static_cast<int>(
        std::count_if(results.begin(), results.end(),
                      [verdict](const AssertionResult &one) { return one.verdict == verdict; }));
}

CheckRun::CheckRun(CheckedDevice &checkedDevice, Settings runSettings)
    : device(checkedDevice)
    , settings(std::move(runSettings))
{}

CheckResult CheckRun::Run()
{
    QElapsedTimer timer;
    timer.start();
    const CheckInterruption interruption;
    result.groups = GroupsOfDevice() + GroupsOfTheEnd();
    RequireAssertions(settings.only, result.groups);
    RequireConnection(device);
    result.started = QDateTime::currentDateTime();
    result.wrote = settings.write;
    result.loaded = settings.load;
    result.device = device.Target().device.toDisplayString();
    try {
        device.RememberState();
        device.ProbeStorage(settings.write);
        RunAll(GroupsOfDevice());
    } catch (const CheckInterruption::Requested &) {
        result.interrupted = true;
    }
    PutBack();
    result.asset = device.Before().info.value("assetInfo").toObject();
    result.leftBehind = device.LeftBehind();
    result.milliseconds = timer.elapsed();
    return result;
}

void CheckRun::PutBack()
{
    CheckInterruption::Acknowledge();
    try {
        device.PutBack();
        RunAll(GroupsOfTheEnd());
    } catch (const Finding &finding) {
        result.results.append({"After the check", "end.put-back", "The device is put back.",
                               "all interfaces of the host", finding.verdict, finding.text, 0,
                               device.Exchanges()});
    }
}

void CheckRun::RunAll(const QVector<AssertionGroup> &groups)
{
    for (const AssertionGroup &group : groups) {
        for (const Assertion &assertion : group.assertions) {
            if (IsWanted(assertion)) {
                RunOne(group.name, assertion);
            }
        }
    }
}

bool CheckRun::IsWanted(const Assertion &assertion) const
{
    const auto matches = [&assertion](const QString &id) { return IsCalled(assertion, id); };
    return settings.only.isEmpty() ||
           std::any_of(settings.only.begin(), settings.only.end(), matches);
}

void CheckRun::RunOne(const QString &group, const Assertion &assertion)
{
    device.BeginAssertion();
    QElapsedTimer timer;
    timer.start();
    AssertionResult one = Carry(assertion);
    one.group = group;
    one.milliseconds = timer.elapsed();
    if (one.verdict != Verdict::NotTested) {
        constexpr int lastOnes = 3;
        one.exchanges = device.Exchanges().mid(std::max(0, device.Exchanges().size() - lastOnes));
    }
    result.results.append(one);
    if (settings.progress) {
        settings.progress(one);
    }
}

AssertionResult CheckRun::Carry(const Assertion &assertion)
{
    AssertionResult one{
        {}, assertion.id, assertion.sentence, assertion.reference, Verdict::Pass, {}, 0, {}};
    try {
        const QString reason = ReasonNotToRun(assertion);
        if (!reason.isEmpty()) {
            NotTested(reason);
        }
        assertion.check(device);
        one.text = device.Remark();
    } catch (const Finding &finding) {
        one.verdict = finding.verdict;
        one.text = finding.text;
    }
    return one;
}

QString CheckRun::ReasonNotToRun(const Assertion &assertion) const
{
    if (assertion.effect == Effect::Writes && !settings.write) {
        return QStringLiteral("changes the device: needs --write");
    }
    if (assertion.effect == Effect::Loads && !settings.load) {
        return QStringLiteral("loads the device: needs --load");
    }
    return {};
}
