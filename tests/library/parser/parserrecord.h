#ifndef PARSERRECORD_H
#define PARSERRECORD_H

#include <cstdint>

#include "multipart_parser.h"

/** The first fields of a parser's record, whose layout is fixed. */
struct ParserRecord
{
    void *userData;
    uint32_t matchIndex;
    uint32_t boundaryLength;
    uint8_t state;
    const multipart_callbacks *settings;
    char *heldBytes;
};

/** Numbers of the states, as the record holds them. */
enum class ParserState : uint8_t
{
    Uninitialized = 1,
    Start,
    StartBoundary,
    HeaderNameStart,
    HeaderName,
    HeadersAlmostDone,
    HeaderValueStart,
    HeaderValue,
    HeaderValueAlmostDone,
    PartDataStart,
    PartData,
    PartDataAlmostBoundary,
    PartDataBoundary,
    PartDataAlmostEnd,
    PartDataEnd,
    PartDataFinalHyphen,
    End
};

/** The record behind a parser, to look at and to damage. */
inline ParserRecord *RecordOf(multipart_parser *parser)
{
    return reinterpret_cast<ParserRecord *>(parser);
}

#endif
