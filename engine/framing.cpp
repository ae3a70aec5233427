/* framing.cpp -- turns the writer's bytes into one framed message (flushed,
 * buffered, stored or chunked, or only counted) and the transport's bytes into
 * the reader's input (chunk decoding, sniffing of what a message is).
 * Not here: the HTTP head itself (http.cpp), XML (reader/writer), attachments.
 */
#include <cstdio>
#include <cstring>

#include <openssl/err.h>

#include "soapengine.h"
#include "soapinternal.h"

/* ------------------------------------------------------------------------ */
/* Output                                                                    */
/* ------------------------------------------------------------------------ */

/* The trace only costs a call when it is on and the slot has, or may open,
 * a file. */
static inline void trace(struct soap *soap, int slot, const char *s, size_t n)
{
    if (soapEnableDebug && (soap->fdebug[slot] || soap->logfile[slot]))
        soap_trace(soap, slot, s, n);
}

static inline void trace_sent(struct soap *soap, const char *s, size_t n)
{
    trace(soap, SOAP_IDX_SENT, s, n);
}

/* Everything but plain buffered bytes that fit: hooks, counting, write-through,
 * a full buffer. */
static __attribute__((noinline)) int send_raw_slow(struct soap *soap, const char *s, size_t n)
{
    if (soap->fpreparesend && (soap->mode & SOAP_IO) != SOAP_IO_STORE && (soap->mode & SOAP_IO_LENGTH)) {
        soap->error = soap->fpreparesend(soap, s, n);
        if (soap->error)
            return soap->error;
    }
    if (soap->ffiltersend) {
        soap->error = soap->ffiltersend(soap, &s, &n);
        if (soap->error)
            return soap->error;
    }
    if (soap->mode & SOAP_IO_LENGTH) {
        soap->count += n;
        return SOAP_OK;
    }
    if ((soap->mode & SOAP_IO) == SOAP_IO_FLUSH)
        return soap_flush_raw(soap, s, n);
    for (;;) {
        size_t room = SOAP_BUFLEN - soap->bufidx;
        if (n < room) {
            memcpy(soap->buf + soap->bufidx, s, n);
            soap->bufidx += n;
            return SOAP_OK;
        }
        memcpy(soap->buf + soap->bufidx, s, room);
        soap->bufidx = SOAP_BUFLEN;
        s += room;
        n -= room;
        if (soap_flush(soap))
            return soap->error;
        if (!n)
            return SOAP_OK;
    }
}

int soap_send_raw(struct soap *soap, const char *s, size_t n)
{
    if (!n)
        return SOAP_OK;
    if (char *d = soap_send_room(soap, n)) {
        memcpy(d, s, n);
        soap->bufidx += n;
        return SOAP_OK;
    }
    if (!soap->ffiltersend && (soap->mode & (SOAP_IO_LENGTH | SOAP_IO)) == SOAP_IO_FLUSH) {
        /* straight out; no count pass, so no hook */
        trace_sent(soap, s, n);
        return soap->error = soap->fsend(soap, s, n);
    }
    return send_raw_slow(soap, s, n);
}

int soap_flush(struct soap *soap)
{
    size_t n = soap->bufidx;
    if (!n)
        return SOAP_OK;
    if ((soap->mode & SOAP_IO) == SOAP_IO_STORE && soap->fpreparesend) {
        soap->error = soap->fpreparesend(soap, soap->buf, n);
        if (soap->error)
            return soap->error;
    }
    soap->bufidx = 0;
    return soap_flush_raw(soap, soap->buf, n);
}

int soap_flush_raw(struct soap *soap, const char *s, size_t n)
{
    if ((soap->mode & SOAP_IO) == SOAP_IO_STORE) {
        char *t = static_cast<char *>(soap_push_block(soap, nullptr, n));
        if (!t)
            return soap->error = SOAP_EOM;
        memcpy(t, s, n);
        return SOAP_OK;
    }
    if ((soap->mode & SOAP_IO) == SOAP_IO_CHUNK) {
        /* the CR LF closing the previous chunk travels with the next size line */
        char line[24];
        int k = snprintf(line, sizeof(line), soap->chunksize ? "\r\n%lX\r\n" : "%lX\r\n", (unsigned long)n);
        trace_sent(soap, line, (size_t)k);
        soap->error = soap->fsend(soap, line, (size_t)k);
        if (soap->error)
            return soap->error;
        soap->chunksize += n;
    }
    trace_sent(soap, s, n);
    soap->error = soap->fsend(soap, s, n);
    return soap->error;
}

/* The per-message state that both output passes start from. */
static void reset_element_state(struct soap *soap)
{
    soap->ns = 0;
    soap->level = 0;
    soap->null = 0;
    soap->position = 0;
    soap->mustUnderstand = 0;
    soap->encoding = 0;
}

/* Literal style, and the attachment bits that depend on one another. */
static void settle_output_mode(struct soap *soap, bool sending)
{
    if (!soap->encodingStyle && !(soap->mode & SOAP_XML_GRAPH))
        soap->mode |= SOAP_XML_TREE;
    if ((soap->mode & (SOAP_ENC_DIME | SOAP_ENC_MTOM)) == (SOAP_ENC_DIME | SOAP_ENC_MTOM)) {
        soap->mode |= SOAP_ENC_MIME;
        if (sending)
            soap->mode &= ~SOAP_ENC_DIME;
    } else if (!(soap->mode & (SOAP_ENC_MIME | SOAP_ENC_DIME))) {
        soap->mode &= ~SOAP_ENC_MTOM;
    }
}

/* MIME boundary selection belongs to the MIME writer, which this engine
 * build does not have yet: a MIME message can't be produced. */
static int select_mime_boundary(struct soap *soap)
{
    return soap->error = SOAP_MIME_ERROR; /* PENDING: soap_select_mime_boundary */
}

int soap_begin_count(struct soap *soap)
{
    soap_free_ns(soap);
    soap_clr_attr(soap);
    soap_set_local_namespaces(soap);
    if ((soap->mode | soap->omode) & SOAP_ENC_DIME) {
        /* a DIME message always needs its length: the record sizes come from it */
        soap->mode = soap->omode | SOAP_IO_LENGTH | SOAP_ENC_DIME;
    } else {
        soap->mode = soap->omode;
        if (soap->mode & SOAP_IO_UDP)
            soap->mode |= SOAP_ENC_XML;
        uint32_t io = soap->mode & SOAP_IO;
        if (io == SOAP_IO_STORE)
            soap->mode &= ~SOAP_IO_LENGTH;
        else if ((io == SOAP_IO_FLUSH || io == SOAP_IO_BUFFER) && !(soap->mode & SOAP_ENC_XML))
            soap->mode |= SOAP_IO_LENGTH;
        else if (soap->fpreparesend)
            soap->mode |= SOAP_IO_LENGTH;
        else
            soap->mode &= ~SOAP_IO_LENGTH;
    }
    settle_output_mode(soap, false);
    if ((soap->mode & SOAP_ENC_MIME) && select_mime_boundary(soap))
        return soap->error;
    soap->count = 0;
    reset_element_state(soap);
    soap->dime.list = soap->dime.last;
    soap->mime.list = nullptr;
    soap->mime.first = nullptr;
    soap->mime.last = nullptr;
    if ((soap->mode & SOAP_IO) != SOAP_IO_STORE && soap->fprepareinitsend) {
        soap->error = soap->fprepareinitsend(soap);
        if (soap->error)
            return soap->error;
    }
    return SOAP_OK;
}

int soap_end_count(struct soap *soap)
{
    if ((soap->mode & SOAP_IO_LENGTH) && soap->fpreparefinalsend) {
        soap->error = soap->fpreparefinalsend(soap);
        return soap->error;
    }
    return SOAP_OK;
}

int soap_begin_send(struct soap *soap)
{
    soap_free_ns(soap);
    soap_clr_attr(soap);
    soap_set_local_namespaces(soap);
    soap->mode = (soap->mode & (SOAP_IO_LENGTH | SOAP_ENC_DIME)) | soap->omode;
    soap->error = SOAP_OK;
    if (soap->mode & SOAP_IO_UDP) {
        soap->mode |= SOAP_ENC_XML;
        if (soap->count > SOAP_BUFLEN)
            return soap->error = SOAP_UDP_ERROR;
    }
    if ((soap->mode & SOAP_IO) == SOAP_IO_FLUSH && soap->socket >= 0) {
        /* a socket wants few large writes; without a counted length, store */
        if (!soap->count && !(soap->mode & (SOAP_IO_LENGTH | SOAP_ENC_XML)))
            soap->mode |= SOAP_IO_STORE;
        else
            soap->mode |= SOAP_IO_BUFFER;
    }
    soap->mode &= ~SOAP_IO_LENGTH;
    if ((soap->mode & SOAP_IO) == SOAP_IO_STORE && !soap_new_block(soap))
        return soap->error = SOAP_EOM;
    if (!(soap->mode & SOAP_IO_KEEPALIVE))
        soap->keep_alive = 0;
    settle_output_mode(soap, true);
    if ((soap->mode & SOAP_ENC_MIME) && select_mime_boundary(soap))
        return soap->error;
    if (soap->mode & SOAP_IO) {
        soap->bufidx = 0;
        soap->buflen = 0;
    }
    soap->chunksize = 0;
    reset_element_state(soap);
    if (soap->ssl)
        ERR_clear_error();
    soap->part = SOAP_BEGIN;
    if ((soap->mode & SOAP_IO) == SOAP_IO_STORE && soap->fprepareinitsend) {
        soap->error = soap->fprepareinitsend(soap);
        if (soap->error)
            return soap->error;
    }
    return SOAP_OK;
}

static int send_traced(struct soap *soap, const char *s, size_t n)
{
    trace_sent(soap, s, n);
    soap->error = soap->fsend(soap, s, n);
    return soap->error;
}

int soap_end_send(struct soap *soap)
{
    if (soap->dime.list) {
        /* the records referenced from the body go first: the chain added
         * behind the old tail moves to the head of the list */
        soap->dime.last->next = soap->dime.first;
        soap->dime.first = soap->dime.list->next;
        soap->dime.list->next = nullptr;
        soap->dime.last = soap->dime.list;
    }
    if (soap->mode & (SOAP_ENC_DIME | SOAP_ENC_MIME)) {
        /* PENDING: soap_putdime / soap_putmime are not part of this engine
         * build yet, so an attachment message can't be completed. */
        soap->dime.list = soap->dime.first = soap->dime.last = nullptr;
        soap->mime.list = soap->mime.first = soap->mime.last = nullptr;
        return soap->error = (soap->mode & SOAP_ENC_DIME) ? SOAP_DIME_ERROR : SOAP_MIME_ERROR;
    }
    if (soap->mode & SOAP_IO) {
        if (soap_flush(soap))
            return soap->error;
        if ((soap->mode & SOAP_IO) == SOAP_IO_STORE) {
            if (!(soap->mode & SOAP_ENC_XML)) {
                /* the head goes out buffered, now that the length is known */
                size_t size = soap->blist ? soap->blist->size : 0;
                soap->mode--;
                if (soap->status >= SOAP_POST)
                    soap->error = soap->fpost(soap, soap->endpoint, soap->host, soap->port, soap->path,
                                              soap->action, size);
                else if (soap->status != SOAP_STOP)
                    soap->error = soap->fresponse(soap, soap->status, size);
                if (soap->error || soap_flush(soap)) {
                    soap->mode++;
                    soap_end_block(soap, nullptr);
                    return soap->error;
                }
                soap->mode++;
            }
            for (char *p = soap_first_block(soap, nullptr); p; p = soap_next_block(soap, nullptr)) {
                if (send_traced(soap, p, soap_block_size(soap, nullptr))) {
                    soap_end_block(soap, nullptr);
                    return soap->error;
                }
            }
            soap_end_block(soap, nullptr);
        } else if ((soap->mode & SOAP_IO) == SOAP_IO_CHUNK) {
            if (send_traced(soap, "\r\n0\r\n\r\n", 7))
                return soap->error;
        }
    }
    soap->omode &= ~SOAP_SEC_WSUID;
    soap->part = SOAP_END;
    soap->count = 0;
    return SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Input                                                                     */
/* ------------------------------------------------------------------------ */

soap_wchar soap_getchunkchar(struct soap *soap)
{
    if (soap->bufidx < soap->buflen)
        return (unsigned char)soap->buf[soap->bufidx++];
    soap->bufidx = 0;
    soap->buflen = soap->chunkbuflen = soap->frecv(soap, soap->buf, SOAP_BUFLEN);
    trace(soap, SOAP_IDX_RECV, soap->buf, soap->buflen);
    if (!soap->buflen)
        return EOF;
    return (unsigned char)soap->buf[soap->bufidx++];
}

static int hexval(soap_wchar c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

int soap_recv_raw(struct soap *soap)
{
    size_t n;
    if ((soap->mode & SOAP_IO) == SOAP_IO_CHUNK) {
        for (;;) {
            if (soap->chunksize) {
                size_t want = soap->chunksize < SOAP_BUFLEN ? soap->chunksize : SOAP_BUFLEN;
                n = soap->frecv(soap, soap->buf, want);
                trace(soap, SOAP_IDX_RECV, soap->buf, n);
                soap->chunksize -= n;
                soap->bufidx = 0;
                soap->buflen = n;
                break;
            }
            if (!soap->chunkbuflen) {
                soap->chunkbuflen = soap->frecv(soap, soap->buf, SOAP_BUFLEN);
                trace(soap, SOAP_IDX_RECV, soap->buf, soap->chunkbuflen);
                soap->bufidx = 0;
                if (!soap->chunkbuflen) {
                    soap->ahead = EOF;
                    return EOF;
                }
            } else {
                soap->bufidx = soap->buflen;
            }
            soap->buflen = soap->chunkbuflen;
            soap_wchar c;
            do
                c = soap_getchunkchar(soap);
            while (c != EOF && hexval(c) < 0);
            if (c == EOF) {
                soap->ahead = EOF;
                return EOF;
            }
            size_t size = 0;
            int digits = 0;
            do {
                if (digits < 16)
                    size = (size << 4) | (size_t)hexval(c);
                digits++;
                c = soap_getchunkchar(soap);
            } while (c != EOF && hexval(c) >= 0 && digits < 16);
            while (c != EOF && c != '\n')
                c = soap_getchunkchar(soap);
            if (c == EOF) {
                soap->ahead = EOF;
                return EOF;
            }
            soap->chunksize = size;
            if (!size) {
                soap->chunkbuflen = soap->bufidx = soap->buflen = 0;
                soap->ahead = EOF;
                n = 0;
                break;
            }
            if (soap->chunkbuflen - soap->bufidx >= size) {
                soap->buflen = soap->bufidx + size;
                soap->chunksize = 0;
            } else {
                soap->buflen = soap->chunkbuflen;
                soap->chunkbuflen = 0;
                soap->chunksize = size - (soap->buflen - soap->bufidx);
            }
            n = soap->buflen - soap->bufidx;
            if (n)
                break;
        }
    } else {
        soap->bufidx = 0;
        n = soap->frecv(soap, soap->buf, SOAP_BUFLEN);
        soap->buflen = n;
        trace(soap, SOAP_IDX_RECV, soap->buf, n);
    }
    if (soap->fpreparerecv && n) {
        soap->error = soap->fpreparerecv(soap, soap->buf + soap->bufidx, n);
        if (soap->error)
            return soap->error;
    }
    soap->count += n;
    return !n;
}

/* One byte of input, the look-ahead first; -1 at the end. */
static soap_wchar next_byte(struct soap *soap)
{
    soap_wchar c = soap->ahead;
    if (c) {
        if (c != EOF)
            soap->ahead = 0;
        return c;
    }
    if (soap->bufidx >= soap->buflen && soap_recv(soap))
        return EOF;
    return (unsigned char)soap->buf[soap->bufidx++];
}

/* The byte after the one just taken, left in the input. */
static soap_wchar peek_byte(struct soap *soap)
{
    if (soap->bufidx >= soap->buflen && soap_recv(soap))
        return EOF;
    return (unsigned char)soap->buf[soap->bufidx];
}

/* Cuts the buffer at the end of the DIME chunk that is being read, or notes
 * how much of the chunk still lies beyond the buffered bytes. */
static void cut_dime_chunk(struct soap *soap)
{
    size_t avail = soap->buflen - soap->bufidx;
    if (avail >= soap->dime.chunksize) {
        soap->dime.buflen = soap->buflen;
        soap->buflen = soap->bufidx + soap->dime.chunksize;
        soap->dime.chunksize = 0;
    } else {
        soap->dime.chunksize -= avail;
    }
}

static int recv_filtered(struct soap *soap)
{
    if (soap->ffilterrecv) {
        int r = soap->recverror;
        soap->recverror = 0;
        if (!r)
            r = soap_recv_raw(soap);
        if (r)
            soap->bufidx = soap->buflen = 0;
        int err = soap->ffilterrecv(soap, soap->buf, &soap->buflen, SOAP_BUFLEN);
        if (err)
            return soap->error = err;
        if (soap->buflen) {
            /* a failed read waits until the filter has given out its bytes */
            soap->recverror = r;
            return SOAP_OK;
        }
        return r;
    }
    return soap_recv_raw(soap);
}

/* The SOAP record of a DIME message may come in chunks; the reader sees
 * only their data, the chunk heads and padding are taken out here. */
static int recv_dime(struct soap *soap)
{
    for (;;) {
        if (soap->dime.buflen) {
            soap->buflen = soap->dime.buflen;
            soap->dime.buflen = 0;
            for (size_t pad = (0 - soap->dime.size) & 3; pad; pad--)
                if (next_byte(soap) == EOF)
                    return EOF;
            unsigned char h[12];
            for (unsigned char &b : h) {
                soap_wchar c = next_byte(soap);
                if (c == EOF)
                    return EOF;
                b = (unsigned char)c;
            }
            soap->dime.flags = (char)(h[0] & 7);
            soap->dime.size = ((size_t)h[8] << 24) | ((size_t)h[9] << 16) | ((size_t)h[10] << 8) | h[11];
            /* a continuation carries no names, but skip any with their padding */
            size_t names = ((((size_t)h[2] << 8 | h[3]) + 3) & ~(size_t)3) +
                           ((((size_t)h[4] << 8 | h[5]) + 3) & ~(size_t)3) +
                           ((((size_t)h[6] << 8 | h[7]) + 3) & ~(size_t)3);
            for (; names; names--)
                if (next_byte(soap) == EOF)
                    return EOF;
            if (soap->dime.flags & 1) { /* CF: more chunks follow */
                soap->dime.chunksize = soap->dime.size;
                if (soap->bufidx >= soap->buflen && soap->dime.chunksize && recv_filtered(soap))
                    return EOF;
                cut_dime_chunk(soap);
            } else {
                soap->dime.chunksize = 0;
                soap->dime.buflen = 0;
            }
            soap->count = soap->buflen - soap->bufidx;
            if (soap->buflen > soap->bufidx)
                return SOAP_OK;
            if (!soap->dime.buflen && !soap->dime.chunksize && !(soap->dime.flags & 1)) {
                int r = recv_filtered(soap);
                return r;
            }
            continue;
        }
        if (soap->dime.chunksize) {
            int r = recv_filtered(soap);
            if (r)
                return r;
            cut_dime_chunk(soap);
            return SOAP_OK;
        }
        return recv_filtered(soap);
    }
}

int soap_recv(struct soap *soap)
{
    if (soap->mode & SOAP_ENC_DIME)
        return recv_dime(soap);
    return recv_filtered(soap);
}

int soap_move(struct soap *soap, long n)
{
    if (n <= 0)
        return 0;
    if (soap->ahead) {
        if (soap->ahead == EOF)
            return EOF;
        soap->ahead = 0;
        n--;
    }
    while (n > 0) {
        if (soap->bufidx >= soap->buflen && soap_recv(soap))
            return EOF;
        size_t avail = soap->buflen - soap->bufidx;
        size_t k = (size_t)n < avail ? (size_t)n : avail;
        soap->bufidx += k;
        n -= (long)k;
    }
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Message boundaries on input                                               */
/* ------------------------------------------------------------------------ */

static void skip_blanks(struct soap *soap, soap_wchar *c)
{
    while (*c != EOF && soap_blank(*c))
        *c = next_byte(soap);
}

int soap_begin_recv(struct soap *soap)
{
    soap->error = SOAP_OK;
    soap->recverror = 0;
    soap_free_temp(soap);
    soap_set_local_namespaces(soap);
    soap->version = 0; /* learned anew from the envelope that arrives */
    soap_free_ns(soap);
    if ((soap->imode & SOAP_IO) == SOAP_IO_CHUNK)
        soap->omode = (soap->omode & ~SOAP_IO) | SOAP_IO_CHUNK;
    soap->imode &= ~(SOAP_IO | SOAP_ENC_MIME);
    soap->mode = soap->imode;
    if (!soap->keep_alive) {
        soap->bufidx = 0;
        soap->buflen = 0;
    }
    if (!(soap->mode & SOAP_IO_KEEPALIVE))
        soap->keep_alive = 0;
    soap->ahead = 0;
    soap->peeked = 0;
    soap->cdata = 0;  // a message cut inside CDATA must not leak into the next
    soap->level = 0;
    soap->part = SOAP_BEGIN;
    soap->length = 0;
    soap->count = 0;
    soap->endpoint[0] = '\0';
    soap->chunksize = 0;
    soap->chunkbuflen = 0;
    soap->status = 0;
    soap->dime.count = soap->dime.size = soap->dime.chunksize = soap->dime.buflen = 0;
    soap->dime.flags = 0;
    soap->dime.ptr = nullptr;
    soap->dime.id = soap->dime.type = soap->dime.options = nullptr;
    soap->dime.list = soap->dime.first = soap->dime.last = nullptr;
    soap->mime.boundary = nullptr;
    soap->mime.start = nullptr;
    soap->mime.list = soap->mime.first = soap->mime.last = nullptr;
    soap->action = nullptr;
    soap->xlist = nullptr;
    if (soap->ssl)
        ERR_clear_error();
    if (soap->fprepareinitrecv) {
        soap->error = soap->fprepareinitrecv(soap);
        if (soap->error)
            return soap->error;
    }
    soap_wchar c = next_byte(soap);
    /* a DIME record head starts with a byte below 32: look before skipping */
    if (c != EOF && (c & 0xFC) == 0x0C && (peek_byte(soap) & 0xF0) == 0x20) {
        soap->mode |= SOAP_ENC_DIME;
    } else {
        skip_blanks(soap, &c);
    }
    if (soap->mode & SOAP_ENC_DIME) {
        /* sniffed */
    } else if (c == '-' && peek_byte(soap) == '-') {
        soap->mode |= SOAP_ENC_MIME;
    } else if (c == 0xEF && peek_byte(soap) == 0xBB) {
        next_byte(soap);
        c = next_byte(soap);
        if (c == 0xBF) {
            soap->mode &= ~SOAP_ENC_LATIN;
            c = next_byte(soap);
            skip_blanks(soap, &c);
        }
        /* EF BB without BF isn't a byte order mark; the third byte goes on as input */
    } else if ((c == 0xFE && peek_byte(soap) == 0xFF) || (c == 0xFF && peek_byte(soap) == 0xFE)) {
        return soap->error = SOAP_UTF_ERROR;
    }
    if (c == EOF)
        return soap->error ? soap->error : (soap->error = SOAP_EOF);
    soap->ahead = c;
    if (c != '<' && !(soap->mode & (SOAP_ENC_MIME | SOAP_ENC_DIME | SOAP_ENC_ZLIB))) {
        uint32_t imode = soap->imode;
        soap->mode &= ~SOAP_IO;
        soap->error = soap->fparse(soap);
        if (soap->error && soap->error < SOAP_STOP) {
            soap->keep_alive = 0;
            return soap->error;
        }
        if (soap->error == SOAP_STOP)
            return soap->error;
        soap->mode = soap->imode;
        soap->imode = imode;
        if ((soap->mode & SOAP_IO) == SOAP_IO_CHUNK) {
            /* what the head left in buf is the start of the chunked body */
            soap->chunksize = 0;
            soap->chunkbuflen = soap->buflen;
            soap->buflen = soap->bufidx;
        }
        if (!soap->error && soap->bufidx >= soap->buflen && (!soap->ahead || soap->ahead == EOF) && !soap->length &&
            (soap->mode & SOAP_IO) != SOAP_IO_CHUNK)
            soap->error = soap->status == 200 ? SOAP_NO_DATA : soap->status;
        if (soap->fpreparerecv && (soap->mode & SOAP_IO) != SOAP_IO_CHUNK && soap->buflen > soap->bufidx) {
            int r = soap->fpreparerecv(soap, soap->buf + soap->bufidx, soap->buflen - soap->bufidx);
            if (r)
                soap->error = r;
        }
        if (soap->error) {
            if (soap->error == SOAP_FORM && soap->fform) {
                soap->error = soap->fform(soap);
                if (!soap->error)
                    soap->error = SOAP_STOP;
            }
            return soap->error;
        }
    }
    if (soap->mode & SOAP_ENC_MIME) {
        /* PENDING: the MIME reader (soap_getmimehdr, soap_get_mime_attachment)
         * is not part of this engine build yet. */
        return soap->error = SOAP_MIME_ERROR;
    }
    if (soap->mode & SOAP_ENC_DIME) {
        /* PENDING: the DIME reader (soap_getdimehdr) is not part of this
         * engine build yet. */
        return soap->error = SOAP_DIME_ERROR;
    }
    return SOAP_OK;
}

int soap_end_recv(struct soap *soap)
{
    soap->part = SOAP_END;
    soap->ffilterrecv = nullptr;
    if (soap->mode & SOAP_ENC_DIME) {
        /* PENDING: soap_getdime is not part of this engine build yet. */
        soap->dime.first = soap->dime.last = nullptr;
        return soap->error = SOAP_DIME_ERROR;
    }
    soap->dime.list = soap->dime.first;
    soap->dime.first = soap->dime.last = nullptr;
    if (soap->mode & SOAP_ENC_MIME) {
        if (soap->mode & SOAP_MIME_POSTCHECK) {
            /* attachments are read later, from the connection as it stands */
            if (!soap->keep_alive)
                soap->keep_alive = -1;
            if (soap_resolve(soap))
                return soap->error;
            return SOAP_OK;
        }
        /* PENDING: soap_getmime is not part of this engine build yet. */
        return soap->error = SOAP_MIME_ERROR;
    }
    soap->mime.list = soap->mime.first;
    soap->mime.first = soap->mime.last = nullptr;
    soap->mime.boundary = nullptr;
    if (soap->xlist)
        for (struct soap_multipart *content = soap->mime.list; content; content = content->next)
            soap_resolve_attachment(soap, content);
    if ((soap->mode & SOAP_IO) == SOAP_IO_CHUNK) {
        /* drain the chunks, so that a kept connection starts clean */
        while (soap->ahead != EOF && !soap_recv_raw(soap))
            ;
    }
    if (soap_resolve(soap))
        return soap->error;
    if (soap->xlist) {
        /* a reference to an attachment that never came */
        return soap->error = (soap->mode & SOAP_ENC_MTOM) ? SOAP_MIME_HREF : SOAP_DIME_HREF;
    }
    soap_free_ns(soap);
    if (soap->fpreparefinalrecv)
        return soap->error = soap->fpreparefinalrecv(soap);
    return SOAP_OK;
}
