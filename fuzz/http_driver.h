/* http_driver.h -- one pass of arbitrary bytes through the receiving side of
 * an HTTP exchange (status line, headers, chunked or plain body), shared by
 * the libFuzzer target and the regression test that replays saved inputs.
 * Asserts nothing itself: the sanitizers and the caller's checks do.
 */
#ifndef ORVSOAP_FUZZ_HTTP_DRIVER_H
#define ORVSOAP_FUZZ_HTTP_DRIVER_H

#include <cstddef>
#include <cstring>

#include "soapengine.h"

namespace http_driver {

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

/* Whatever the parser answers (100 Continue, a request's reply) goes nowhere. */
inline int sink(struct soap *, const char *, size_t)
{
    return SOAP_OK;
}

/* Reads one message: the head, then the body to its end. */
inline void one_message(struct soap *soap)
{
    if (soap_begin_recv(soap)) {
        /* a failed answer may still have a body to read as text */
        (void)soap_get_http_body(soap);
        return;
    }
    for (long n = 0; n < (1L << 24); n++)
        if ((int)soap_getchar(soap) == EOF)
            break;
    (void)soap_end_recv(soap);
}

/* The first byte picks the transport's piece size, the keep-alive state and
 * whether a second message follows on the same context (bytes left over from
 * the first are its start). */
inline void run(struct soap *soap, const unsigned char *data, size_t size)
{
    unsigned sel = size ? data[0] : 0;
    Input in{data, size, size ? 1u : 0u, (sel & 7) ? (size_t)(sel & 7) * 3 : (size_t)SOAP_BUFLEN};
    /* no wire trace: it would only cost a file open per read */
    soap_set_recv_logfile(soap, nullptr);
    soap_set_sent_logfile(soap, nullptr);
    soap->user = &in;
    soap->frecv = recv;
    soap->fsend = sink;
    soap->socket = -1;
    soap->bufidx = soap->buflen = 0;
    soap->ahead = 0;
    soap->imode = (sel & 8) ? SOAP_IO_KEEPALIVE : 0;
    soap->omode = (sel & 0x40) ? SOAP_IO_CHUNK : 0;
    soap->keep_alive = (sel & 8) ? 1 : 0;
    soap->recv_timeout = (sel & 0x20) ? 1 : 0;
    soap_begin(soap);
    one_message(soap);
    if (sel & 0x10) {
        soap_begin(soap);
        one_message(soap);
    }
    soap_end(soap);
}

}  // namespace http_driver

#endif
