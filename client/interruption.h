#ifndef INTERRUPTION_H
#define INTERRUPTION_H

#include <QByteArray>

#include "clienterror.h"

/** The user, or the system, has asked the program to stop. The exit status is 128 and the signal.
 */
class Interrupted : public ClientError
{
public:
    Interrupted(int number, const QString &text);

    bool EndsEverything() const override;
    int SignalNumber() const;

private:
    int signalNumber;
};

/**
 * SIGINT, SIGTERM and SIGHUP. The first of them lets the work in hand stop and say what is where; a
 * second one ends the program at once. Main thread only, but for the handler itself.
 */
namespace Interruption {

/** From here on the signals are handled so. */
void Watch();

/** Becomes readable with the first signal. */
int Descriptor();

/** Throws `Interrupted` once a signal has come. */
void ThrowIfAny();

/** Waits so long; throws `Interrupted` when a signal comes meanwhile. */
void Pause(int milliseconds);

/** Until it is destroyed, requests go out in spite of a signal: the last ones, which tell. */
class Reprieve
{
public:
    Reprieve();
    ~Reprieve();
    Reprieve(const Reprieve &) = delete;
    Reprieve &operator=(const Reprieve &) = delete;

private:
    int kept;
};

/** What a second signal removes before it ends the program; an empty name for nothing. */
void RemoveAtOnce(const QByteArray &fileName);

} // namespace Interruption

#endif // INTERRUPTION_H
