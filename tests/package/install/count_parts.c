/* A program in plain C on the installed parser: counts the parts and the data bytes of a body that
 * comes in pieces of every size. */
#include <multipart_parser.h>
#include <stdio.h>
#include <string.h>

struct counts
{
    int parts;
    size_t bytes;
    int ended;
};

static int count_part(multipart_parser *parser)
{
    ((struct counts *)multipart_parser_get_data(parser))->parts++;
    return 0;
}

static int count_bytes(multipart_parser *parser, const char *data, uint32_t size)
{
    (void)data;
    ((struct counts *)multipart_parser_get_data(parser))->bytes += size;
    return 0;
}

static int note_end(multipart_parser *parser)
{
    ((struct counts *)multipart_parser_get_data(parser))->ended = 1;
    return 0;
}

static const char body[] = "--frontier\r\n"
                           "Content-Type: application/json\r\n\r\n"
                           "{\"fileSize\": 5}\r\n"
                           "--frontier\r\n\r\n"
                           "\r\n--f\r\n"
                           "--frontier--\r\n";

static int check_pieces_of(size_t piece)
{
    const size_t length = strlen(body);
    struct counts counts = {0, 0, 0};
    multipart_callbacks callbacks = {0};
    multipart_parser *parser;
    size_t position;

    callbacks.on_part_begin = count_part;
    callbacks.on_part_data = count_bytes;
    callbacks.on_body_end = note_end;
    parser = multipart_parser_init("--frontier", &callbacks);
    multipart_parser_set_data(parser, &counts);
    for (position = 0; position < length; position += piece) {
        const size_t size = length - position < piece ? length - position : piece;
        if (multipart_parser_execute(parser, body + position, size) != size) {
            printf("pieces of %zu: stopped after byte %zu\n", piece, position);
            return 1;
        }
    }
    multipart_parser_free(parser);
    if (counts.parts != 2 || counts.bytes != 15 + 5 || !counts.ended) {
        printf("pieces of %zu: %d parts, %zu bytes, ended %d\n", piece, counts.parts, counts.bytes,
               counts.ended);
        return 1;
    }
    return 0;
}

int main(void)
{
    int failures = 0;
    size_t piece;
    for (piece = 1; piece <= strlen(body); piece++) {
        failures += check_pieces_of(piece);
    }
    return failures == 0 ? 0 : 1;
}
