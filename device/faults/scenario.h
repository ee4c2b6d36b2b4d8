#ifndef SCENARIO_H
#define SCENARIO_H

#include <QString>
#include <QVector>
#include <chrono>
#include <optional>

#include "fault.h"

/** One thing that happens to a device: a plain value. */
struct ScenarioEvent
{
    enum class Action
    {
        SetFault,
        ClearFault,
        AddFile,
        Restart
    };

    int request = 0; ///< it happens when this request comes, the first one being 1; 0: by time
    std::chrono::milliseconds time{0}; ///< after the start
    Action action = Action::Restart;
    Fault fault;      ///< that is set; or its kind is cleared
    QString path;     ///< of the file, below the user files
    qint64 bytes = 0; ///< of the file
};

/**
 * What happens to a device, one event in a line of text; empty lines and those that begin with "#"
 * are passed over:
 *
 *     request 3  fault busy*2@/api
 *     request 9  clear busy
 *     after 1.5  file results/new.csv 20000
 *     after 2    storage away
 *     after 3    storage back
 *     request 12 restart
 */
namespace Scenario {

/** None, with one line in `*error` that names the line and says what is wrong. */
std::optional<QVector<ScenarioEvent>> Parse(const QString &text, QString *error);

} // namespace Scenario

#endif
