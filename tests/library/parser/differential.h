#ifndef DIFFERENTIAL_H
#define DIFFERENTIAL_H

#include <cstddef>
#include <cstdint>
#include <string>

/**
 * Feeds the parser and the byte-wise reference the same pieces with the same callbacks that ask to
 * stop, and compares events, results and records after each piece. All of it is in `input`:
 *
 *     1 byte   length B of the boundary
 *     1 byte   number C of the steps
 *     C times  2 bytes: the size of the piece, and which event in it asks to stop (0 for none, the
 *              first with 1); from 128 on, feeding goes on behind the byte of the stop and not
 *              with it. The last step's size is repeated, size 255 means the whole rest.
 *     B bytes  the boundary; it ends at a NUL
 *     the rest is the body
 *
 * Returns the first difference in words, or an empty text.
 */
std::string FindDifference(const uint8_t *input, size_t size);

#endif
