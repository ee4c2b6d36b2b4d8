#include "faultmarks.h"

#include <QStringList>
#include <algorithm>

namespace {

constexpr int mostOpen = 1000;

// Both times are whole milliseconds of their own.
constexpr qint64 roundingMilliseconds = 1;

QString NameOf(FaultKind kind)
{
    const QVector<FaultDescription> all = Fault::All();
    const auto *found =
        std::find_if(all.cbegin(), all.cend(),
                     [kind](const FaultDescription &each) { return each.kind == kind; });
    return found != all.cend() ? found->name : QString();
}

// Requests succeed all the same.
bool IsGentle(FaultKind kind)
{
    return kind == FaultKind::SlowCall || kind == FaultKind::Throttle ||
           kind == FaultKind::CorruptDownload;
}

bool Struck(const FaultPlan::Bite &bite, const JournalEntry &entry)
{
    const RequestRecord &request = entry.request;
    const QDateTime begin = request.time.addMSecs(-roundingMilliseconds);
    const QDateTime end =
        request.time.addMSecs(request.microseconds / 1000 + 2 * roundingMilliseconds);
    return bite.time >= begin && bite.time <= end && (entry.HasFailed() || IsGentle(bite.kind));
}

} // namespace

void FaultMarks::Add(const QVector<FaultPlan::Bite> &bites)
{
    open += bites;
    if (open.size() > mostOpen) {
        open.remove(0, open.size() - mostOpen);
    }
}

QString FaultMarks::Take(const JournalEntry &entry)
{
    QStringList names;
    const auto isOfEntry = [&](const FaultPlan::Bite &bite) {
        const bool struck = Struck(bite, entry);
        if (struck) {
            names << NameOf(bite.kind);
        }
        return struck;
    };
    open.erase(std::remove_if(open.begin(), open.end(), isOfEntry), open.end());
    names.removeDuplicates();
    return names.join(QStringLiteral(", "));
}
