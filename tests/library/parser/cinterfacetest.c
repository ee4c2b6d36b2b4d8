/* The header and the five functions, used from C. */

#include <stdio.h>
#include <string.h>

#include <multipart_parser.h>

struct Seen
{
    char text[200];
};

static int Append(multipart_parser *parser, char kind, const char *data, uint32_t size)
{
    struct Seen *seen = multipart_parser_get_data(parser);
    const size_t length = strlen(seen->text);
    snprintf(seen->text + length, sizeof seen->text - length, "%c(%.*s)", kind, (int)size, data);
    return 0;
}

static int ReceiveName(multipart_parser *parser, const char *data, uint32_t size)
{
    return Append(parser, 'N', data, size);
}

static int ReceiveValue(multipart_parser *parser, const char *data, uint32_t size)
{
    return Append(parser, 'V', data, size);
}

static int ReceiveData(multipart_parser *parser, const char *data, uint32_t size)
{
    return Append(parser, 'D', data, size);
}

static int ReceivePartBegin(multipart_parser *parser)
{
    return Append(parser, 'B', "", 0);
}

static int ReceiveHeadersDone(multipart_parser *parser)
{
    return Append(parser, 'H', "", 0);
}

static int ReceivePartEnd(multipart_parser *parser)
{
    return Append(parser, 'E', "", 0);
}

static int ReceiveBodyEnd(multipart_parser *parser)
{
    return Append(parser, 'Z', "", 0);
}

int main(void)
{
    static const char body[] = "--b\r\nA: 1\r\n\r\nx\r\ny\r\n--b--";
    static const char expected[] = "B()N(A)V(1)H()D(x)D(\r\n)D(y)E()Z()";
    const multipart_callbacks callbacks = {ReceiveName,      ReceiveValue,       ReceiveData,
                                           ReceivePartBegin, ReceiveHeadersDone, ReceivePartEnd,
                                           ReceiveBodyEnd};
    struct Seen seen = {""};
    multipart_parser *parser = multipart_parser_init("--b", &callbacks);
    size_t taken;
    multipart_parser_set_data(parser, &seen);
    taken = multipart_parser_execute(parser, body, sizeof body - 1);
    multipart_parser_free(parser);
    if (taken != sizeof body - 1 || strcmp(seen.text, expected) != 0) {
        fprintf(stderr, "took %lu bytes and saw %s\n", (unsigned long)taken, seen.text);
        return 1;
    }
    return 0;
}
