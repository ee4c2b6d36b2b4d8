#ifndef CHECKINTERRUPTION_H
#define CHECKINTERRUPTION_H

#include <exception>

/**
 * Ctrl-C and its kin, while an object lives: the first one is remembered so that the check can put
 * the device back, the second one ends the program.
 */
class CheckInterruption
{
public:
    /** Leaves a check that was interrupted. */
    class Requested : public std::exception
    {};

    CheckInterruption();
    ~CheckInterruption();
    CheckInterruption(const CheckInterruption &) = delete;
    CheckInterruption &operator=(const CheckInterruption &) = delete;

    /** Throws `Requested` after the first signal, until `Acknowledge`. */
    static void ThrowIfRequested();

    /** From here on requests are made again: those that put the device back. */
    static void Acknowledge();
};

#endif
