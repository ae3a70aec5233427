/* memio.h -- in-memory transport for engine tests: a context reads from a
 * string (optionally in small pieces) and writes into a string, through its
 * own frecv and fsend slots.
 */
#ifndef ORVSOAP_TESTS_MEMIO_H
#define ORVSOAP_TESTS_MEMIO_H

#include <algorithm>
#include <cstring>
#include <string>

#include "soapengine.h"

struct MemIO {
    std::string in;
    size_t pos = 0;
    size_t chunk = SOAP_BUFLEN;  /* largest piece one frecv hands out */
    std::string out;
    int fail_send = 0;           /* non-zero: fsend returns this */

    static size_t recv(struct soap *soap, char *buf, size_t len)
    {
        MemIO *io = static_cast<MemIO *>(soap->user);
        size_t n = std::min({len, io->chunk, io->in.size() - io->pos});
        memcpy(buf, io->in.data() + io->pos, n);
        io->pos += n;
        return n;
    }
    static int send(struct soap *soap, const char *s, size_t n)
    {
        MemIO *io = static_cast<MemIO *>(soap->user);
        if (io->fail_send)
            return io->fail_send;
        io->out.append(s, n);
        return SOAP_OK;
    }
    /* Attach to a context and reset its input position to the new text. */
    void attach(struct soap *soap, const std::string &text = std::string())
    {
        in = text;
        pos = 0;
        out.clear();
        soap->user = this;
        soap->frecv = recv;
        soap->fsend = send;
        soap->bufidx = soap->buflen = 0;
        soap->ahead = 0;
    }
};

#endif
