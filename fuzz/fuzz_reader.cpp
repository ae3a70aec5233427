/* fuzz_reader.cpp -- libFuzzer target for the XML reader: arbitrary bytes go
 * through peeking, skipping and every text reader, once on a fresh context and
 * once on a context that keeps the state of all earlier inputs.
 * Not a test of results: the sanitizers are the oracle.
 */
#include <cstddef>
#include <cstdint>

#include "fuzz/reader_driver.h"
#include "soapengine.h"

static struct soap *quiet_context()
{
    struct soap *soap = new struct soap();
    soap_set_logfile(soap, SOAP_IDX_SENT, nullptr);
    soap_set_logfile(soap, SOAP_IDX_RECV, nullptr);
    return soap;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static struct soap *reused = quiet_context();

    /* Half of the inputs also run on a fresh context: making and ending one
     * costs more than reading most inputs. */
    if (size & 1) {
        struct soap *fresh = quiet_context();
        reader_driver::run(fresh, data, size);
        delete fresh;
    }

    reader_driver::run(reused, data, size);
    soap_end(reused);
    return 0;
}
