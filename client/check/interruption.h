#ifndef INTERRUPTION_H
#define INTERRUPTION_H

#include <exception>

/**
 * Ctrl-C and its kin, while an object lives: the first one is remembered so that the check can put
 * the device back, the second one ends the program.
 */
class Interruption
{
public:
    /** Leaves a check that was interrupted. */
    class Requested : public std::exception
    {};

    Interruption();
    ~Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    /** Throws `Requested` after the first signal, until `Acknowledge`. */
    static void ThrowIfRequested();

    /** From here on requests are made again: those that put the device back. */
    static void Acknowledge();
};

#endif
