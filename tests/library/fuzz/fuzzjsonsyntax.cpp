// A text that Qt parses, or does not, and what is told of it without parsing. The input is the
// text; arrays around it are tried too, since nearly all inputs are no array themselves.

#include <QJsonDocument>

#include "fuzzfailure.h"
#include "jsonsyntax.h"

namespace {

void Compare(const QByteArray &text)
{
    if (RepeatsKeyOfJson(text)) {
        return;
    }
    QJsonParseError error;
    QJsonDocument::fromJson(text, &error);
    Require(IsJson(text) == (error.error == QJsonParseError::NoError), "both take the same texts");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    Compare(text);
    Compare('[' + text + ']');
    Compare("{\"" + text + "\":[\"" + text + "\"]}");
    return 0;
}
