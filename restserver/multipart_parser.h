#ifndef MULTIPART_PARSER_H
#define MULTIPART_PARSER_H

/**
 * A streaming parser for multipart/form-data bodies, usable from C and C++.
 *
 * The body is fed in pieces of any size, in order; what is found is reported through the caller's
 * functions, synchronously and in body order. Part data is never buffered: it arrives as slices of
 * the piece that was fed, except for the few bytes that are held back while they may be the start
 * of a delimiter.
 *
 *     multipart_callbacks callbacks = {0};
 *     callbacks.on_part_data = store;
 *     multipart_parser *parser = multipart_parser_init("--frontier", &callbacks);
 *     while ((length = read_more(buffer)) > 0) {
 *         if (multipart_parser_execute(parser, buffer, length) != length) {
 *             break;  // not a multipart body, or a callback asked to stop
 *         }
 *     }
 *     multipart_parser_free(parser);
 *
 * Events for each part: on_part_begin, names and values of its headers, on_headers_done, part data
 * in any number of slices (some of them empty), on_part_end. After the last part: on_body_end.
 *
 * Header names consist of ASCII letters and hyphens; any other byte before the colon is not
 * allowed. A line without a colon, empty or not, ends the headers of its part. It is not reported,
 * but for what of it stands at the end of a piece: a name that no value follows means nothing.
 *
 * One thread at a time may use a parser.
 */

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define MULTIPART_PARSER_EXPORT __attribute__((visibility("default")))
#else
#define MULTIPART_PARSER_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

// NOLINTBEGIN(modernize-use-using,readability-identifier-naming): C has no "using", and its names.

typedef struct multipart_parser multipart_parser;

/** Receives `size` bytes at `data`, valid during the call. Any result but 0 stops the parser. */
typedef int (*multipart_data_callback)(multipart_parser *parser, const char *data, uint32_t size);

/** Receives a notice. Any result but 0 stops the parser. */
typedef int (*multipart_notify_callback)(multipart_parser *parser);

/** The caller's functions; one that is null is skipped. */
typedef struct multipart_callbacks
{
    multipart_data_callback on_header_name;    /**< bytes of a header's name */
    multipart_data_callback on_header_value;   /**< bytes of a header's value */
    multipart_data_callback on_part_data;      /**< bytes of the part; the count may be 0 */
    multipart_notify_callback on_part_begin;   /**< a part starts, its headers follow */
    multipart_notify_callback on_headers_done; /**< the part's headers ended */
    multipart_notify_callback on_part_end; /**< the delimiter that closes the part was matched */
    multipart_notify_callback on_body_end; /**< the "--" behind the last delimiter was seen */
} multipart_callbacks;

/**
 * Makes a parser for one body; there is no reset. `boundary` is copied: it is the whole delimiter
 * as it stands at the start of a line, with its leading hyphens. `settings` is not copied and must
 * outlive the parser. Neither may be null. The caller releases the parser with
 * multipart_parser_free. Running out of memory is not checked.
 */
MULTIPART_PARSER_EXPORT multipart_parser *
multipart_parser_init(const char *boundary, const multipart_callbacks *settings);

/** Releases the parser. */
MULTIPART_PARSER_EXPORT void multipart_parser_free(multipart_parser *parser);

/** Keeps a pointer for the caller's functions; the parser never touches it. */
MULTIPART_PARSER_EXPORT void multipart_parser_set_data(multipart_parser *parser, void *data);

/** The pointer kept last, or null when none was. */
MULTIPART_PARSER_EXPORT void *multipart_parser_get_data(multipart_parser *parser);

/**
 * Feeds the next `length` bytes of the body. Returns `length` when all were consumed, otherwise the
 * index of the byte at which parsing stopped: one that is not allowed there, or the one during
 * which a callback asked to stop. After a stop the parser stays where it was in the body: the rest
 * of the piece is lost to it, so feed it nothing more. The body must begin with the boundary;
 * whatever follows its end is ignored. A piece of 4 GiB or more is handled as if it were fed in
 * pieces of 4 GiB less one byte, so that the size of each slice fits its type.
 */
MULTIPART_PARSER_EXPORT size_t multipart_parser_execute(multipart_parser *parser,
                                                        const char *buffer, size_t length);

// NOLINTEND(modernize-use-using,readability-identifier-naming)

#ifdef __cplusplus
}
#endif

#endif
