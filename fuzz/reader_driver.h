/* reader_driver.h -- one pass of arbitrary bytes through the XML reader, shared
 * by the libFuzzer target and the regression test that replays saved inputs.
 * Drives peeking, skipping and every text reader; asserts nothing itself: the
 * sanitizers and the caller's checks do.
 */
#ifndef ORVSOAP_FUZZ_READER_DRIVER_H
#define ORVSOAP_FUZZ_READER_DRIVER_H

#include <cstddef>
#include <cstring>

#include "soapengine.h"

namespace reader_driver {

struct Input {
    const unsigned char *data;
    size_t size;
    size_t pos;
    size_t chunk;
};

inline size_t recv(struct soap *soap, char *buf, size_t len)
{
    Input *in = static_cast<Input *>(soap->user);
    size_t n = in->size - in->pos;
    if (n > len)
        n = len;
    if (n > in->chunk)
        n = in->chunk;
    memcpy(buf, in->data + in->pos, n);
    in->pos += n;
    return n;
}

inline const struct Namespace *table()
{
    static const struct Namespace t[] = {
        {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope", nullptr},
        {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding", nullptr},
        {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", nullptr},
        {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
        {"p", "urn:p", "urn:p*", nullptr},
        {"q_", "urn:q", nullptr, nullptr},
        {nullptr, nullptr, nullptr, nullptr}};
    return t;
}

/* Reads data as one message on soap, which may be fresh or carry the state
 * of an earlier message.  The first byte picks the mode and the piece size
 * of the transport, so that the fuzzer explores both. */
inline void run(struct soap *soap, const unsigned char *data, size_t size)
{
    unsigned sel = size ? data[0] : 0;
    Input in{data, size, size ? 1u : 0u, (sel & 7) ? (size_t)(sel & 7) : (size_t)SOAP_BUFLEN};
    soap->user = &in;
    soap->frecv = recv;
    soap->bufidx = soap->buflen = 0;
    soap->ahead = 0;
    soap->peeked = 0;
    soap->level = 0;
    soap->cdata = 0;
    soap->body = 1;
    soap->error = SOAP_OK;
    soap_free_ns(soap);
    soap_set_namespaces(soap, table());
    soap->version = (short)((sel >> 3) % 3);
    uint32_t mode = 0;
    if (sel & 0x20)
        mode |= SOAP_XML_STRICT;
    if (sel & 0x40)
        mode |= SOAP_C_UTFSTRING;
    if (sel & 0x80)
        mode |= SOAP_XML_GRAPH;
    soap->mode = mode;

    /* Walk the elements; at each one choose a reader by the parity of what is
     * left, so that all of them see all kinds of input. */
    for (int steps = 0; steps < 20000; steps++) {
        int n = 0;
        soap->error = SOAP_OK;
        if (soap_peek_element(soap)) {
            if (soap->error != SOAP_NO_TAG)
                break;
            /* text where an element was wanted: read it as a literal */
            char **lit = soap_inliteral(soap, "x", nullptr);
            (void)lit;
            if (soap->error == SOAP_NO_TAG) {
                /* an end tag: close the element that holds us */
                if (soap_element_end_in(soap, nullptr))
                    break;
            } else if (soap->error) {
                break;
            }
            continue;
        }
        switch ((in.size - in.pos + (size_t)steps) % 11) {
        case 0:
            if (soap_ignore_element(soap))
                return;
            break;
        case 1:
            if (soap_element_begin_in(soap, nullptr, 0, nullptr))
                return;
            (void)soap_attr_value(soap, "xsi:type", 0);
            (void)soap_attr_value(soap, "p:a", 1);
            break;  /* stays inside: its children come next */
        case 2:
            if (soap_element_begin_in(soap, nullptr, 1, "xsd:string"))
                return;
            if (soap->body) {
                (void)soap_value(soap);
                if (soap_element_end_in(soap, nullptr))
                    return;
            }
            break;
        case 3:
            if (!soap_instring(soap, nullptr, nullptr, nullptr, 1, 1, 0, -1))
                return;
            break;
        case 4:
            if (!soap_inliteral(soap, nullptr, nullptr))
                return;
            break;
        case 5:
            if (!soap_inliteral(soap, "-any", nullptr) && soap->error)
                return;
            break;
        case 6:
            if (soap_element_begin_in(soap, nullptr, 1, nullptr))
                return;
            if (soap->body) {
                (void)soap_getbase64(soap, &n);
                if (soap_element_end_in(soap, nullptr))
                    return;
            }
            break;
        case 7:
            if (soap_element_begin_in(soap, nullptr, 1, nullptr))
                return;
            if (soap->body) {
                (void)soap_gethex(soap, &n);
                if (soap_element_end_in(soap, nullptr))
                    return;
            }
            break;
        case 8:
            if (!soap_inwstring(soap, nullptr, nullptr, nullptr, 2, 0, -1))
                return;
            if (soap->mode & SOAP_C_UTFSTRING)
                (void)soap_string_in(soap, 2, 0, 64);
            break;
        case 9:
        case 10: {
            /* by name, as the message model reads: the element's own name (kept across its
               reading) or a fixed one, its text taken in place when it can be */
            char name[SOAP_TAGLEN];
            strcpy(name, (in.size - in.pos) % 2 ? soap->tag : "p:a");
            if (soap_element_begin_in(soap, name, 1, nullptr))
                return;
            if (soap->body) {
                size_t len = 0;
                const char *run = soap_text_run(soap, &len);
                unsigned sum = 0;
                for (size_t i = 0; run && i < len; i++)  /* every byte handed out must be there */
                    sum += (unsigned char)run[i];
                if (sum == 1)
                    return;
                if (!run && !soap_string_in(soap, 1, -1, -1))
                    return;
                if (soap_element_end_in(soap, name))
                    return;
            }
            break;
        }
        }
    }
}

}  // namespace reader_driver

#endif
