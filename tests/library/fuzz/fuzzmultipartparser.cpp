// The multipart parser against its byte-wise reference; differential.h describes the input.

#include "differential.h"
#include "fuzzfailure.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string difference = FindDifference(data, size);
    if (!difference.empty()) {
        Fail(difference);
    }
    return 0;
}
