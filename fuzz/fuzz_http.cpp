/* fuzz_http.cpp -- libFuzzer target: arbitrary bytes as the answer to a call,
 * through the HTTP head parser and the body framing.  The driver is shared
 * with the regression test that replays tests/engine/regress/http/.
 */
#include <cstddef>
#include <cstdint>

#include "http_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    /* a fresh context per input, so that every crash replays alone */
    struct soap *soap = soap_new();
    if (!soap)
        return 0;
    http_driver::run(soap, data, size);
    soap_free(soap);
    return 0;
}
