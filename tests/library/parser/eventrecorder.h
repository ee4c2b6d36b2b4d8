#ifndef EVENTRECORDER_H
#define EVENTRECORDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "multipart_parser.h"

/**
 * Receives a parser's events and writes them down as one text, an event after the other:
 *
 *     B        a part begins             N(..)  bytes of a header's name
 *     H        its headers are done      V(..)  bytes of a header's value
 *     E        the part ended            D(..)  part data out of the piece that was fed
 *     Z        the body ended            K(..)  part data that had been held back
 *
 * CR, LF and backslash are written as "\r", "\n" and "\\", other unprintable bytes as "\xNN".
 */
class EventRecorder
{
public:
    /** What a parser needs to have its events written down. */
    static const multipart_callbacks &Callbacks();

    /** Says which bytes are fed next: slices that lie elsewhere were held back. */
    void ExpectPiece(const char *bytes, size_t size);

    /** The event with this number, counted from 0 and from now on, asks the parser to stop. */
    void StopAt(size_t event);

    /** No event asks the parser to stop. */
    void StopNever();

    /** Forgets the events received so far. */
    void Forget();

    /** The events received, as above. */
    std::string Text() const;

    /**
     * What the events mean, however the body was cut: bytes of one name, value or part in one
     * piece, empty part data left out, and no name that has no value.
     */
    std::string Meaning() const;

    /** How many bytes of part data came. */
    uint64_t DataBytes() const { return dataBytes; }

    int Receive(char kind, const char *data, size_t size);
    int Receive(char kind);

private:
    struct Event
    {
        char kind;
        std::string bytes;
    };

    static std::string Print(const std::vector<Event> &events);
    int Result();

    const char *piece = nullptr;
    size_t pieceSize = 0;
    size_t eventsUntilStop = SIZE_MAX;
    uint64_t dataBytes = 0;
    std::vector<Event> received;
};

/** `bytes` as the recorder writes them. */
std::string Printable(const char *bytes, size_t size);

#endif
