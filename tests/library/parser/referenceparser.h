#ifndef REFERENCEPARSER_H
#define REFERENCEPARSER_H

#include <cstddef>
#include <string>
#include <vector>

#include "parserrecord.h"

/**
 * The multipart parser's states read one byte at a time, as plainly as they can be written. What
 * the shipped parser does is compared with this.
 */
class ReferenceParser
{
public:
    ReferenceParser(const std::string &delimiter, const multipart_callbacks *settings);
    ReferenceParser(const ReferenceParser &) = delete;
    ReferenceParser &operator=(const ReferenceParser &) = delete;

    /** As `multipart_parser_execute`. */
    size_t Execute(const char *buffer, size_t length);

    const ParserRecord &Record() const { return record; }

    /** What the callbacks receive; only its user data may be used. */
    multipart_parser *Handle() { return reinterpret_cast<multipart_parser *>(&record); }

private:
    bool Notify(multipart_notify_callback callback);
    bool Emit(multipart_data_callback callback, const char *data, size_t size);

    ParserRecord record;
    std::string boundary;
    std::vector<char> held;
};

#endif
