#ifndef INSTRUMENTTEXT_H
#define INSTRUMENTTEXT_H

#include <QCoreApplication>

#include "instrumentstate.h"
#include "panel.h"

/** The state of an instrument as text for people, in their language. */
class InstrumentText
{
    Q_DECLARE_TR_FUNCTIONS(InstrumentText)

public:
    /** How long a turn of the event loop was, for a display. */
    enum class Turn
    {
        Smooth, ///< no frame is seen to be late
        Late,   ///< single frames are
        Held    ///< the display stands still for people
    };

    /** "2" for most modes, with a word where the mode does something. */
    static QString Mode(const InstrumentState &state);

    /** The technician, or that there is none. */
    static QString Technician(const InstrumentState &state);

    /** The active work order, or that there is none. */
    static QString ActiveWorkOrder(const InstrumentState &state);

    /** The free space, or that the storage is away. */
    static QString Storage(const InstrumentState &state);

    /** The whole space beside it. */
    static QString StorageSize(const InstrumentState &state);

    /** The free part of the storage, 0 to 100. */
    static int FreePercent(const InstrumentState &state);

    /** Whether the job panel is open, and since when. */
    static QString JobPanel(const DisplayEvents &display);

    /** When the job view was reset. */
    static QString JobView(const DisplayEvents &display);

    /** The last command of the view, and when it was executed. */
    static QString Command(const DisplayEvents &display);

    /** The longest turn of the event loop. */
    static QString LongestTurn(int milliseconds);

    /** What such a turn means. */
    static Turn TurnOf(int milliseconds);
};

#endif
