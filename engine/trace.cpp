/* trace.cpp -- the wire trace: every context appends the bytes it sends and
 * receives to the trace file named by g_TraceLogFile, one stream per
 * direction, with certificate contents and credentials masked.  Not the
 * place where the writes are made (framing.cpp).
 */
#include <cstdlib>
#include <cstring>
#include <new>

#include "soapengine.h"

#define SOAP_FILE_TAG "soapengine"

char g_TraceLogFile[4096] = "/opt/p1/call/wsTrace.log";
unsigned char soapEnableDebug = 1;

static inline bool valid_slot(int slot)
{
    return slot >= 0 && slot < SOAP_MAXLOGS;
}

void soap_set_logfile(struct soap *soap, int slot, const char *path)
{
    if (!soap || !valid_slot(slot))
        return;
    soap_close_logfile(soap, slot);
    if (soap->logfile[slot])
        soap_track_free(soap, SOAP_FILE_TAG, __LINE__, const_cast<char *>(soap->logfile[slot]));
    soap->logfile[slot] = nullptr;
    if (path) {
        size_t n = strlen(path) + 1;
        char *copy = static_cast<char *>(soap_track_malloc(soap, SOAP_FILE_TAG, __LINE__, n));
        if (copy) {  /* no memory: no trace, silently */
            memcpy(copy, path, n);
            soap->logfile[slot] = copy;
        }
    }
}

void soap_set_recv_logfile(struct soap *soap, const char *path)
{
    soap_set_logfile(soap, SOAP_IDX_RECV, path);
}

void soap_set_sent_logfile(struct soap *soap, const char *path)
{
    soap_set_logfile(soap, SOAP_IDX_SENT, path);
}

void soap_open_logfile(struct soap *soap, int slot)
{
    if (!soap || !valid_slot(slot) || !soap->logfile[slot])
        return;
    soap->fdebug[slot] = fopen(soap->logfile[slot], slot < SOAP_IDX_TEST ? "ab" : "a");
}

void soap_close_logfile(struct soap *soap, int slot)
{
    if (!soap || !valid_slot(slot))
        return;
    /* a masked stretch never outlives its stream */
    soap->tracefilter[slot] = soap_trace_filter{};
    if (!soap->fdebug[slot])
        return;
    fclose(soap->fdebug[slot]);
    soap->fdebug[slot] = nullptr;
}

void soap_close_logfiles(struct soap *soap)
{
    for (int slot = 0; slot < SOAP_MAXLOGS; slot++)
        soap_close_logfile(soap, slot);
}

/* ------------------------------------------------------------------------ */
/* Masking                                                                   */
/* ------------------------------------------------------------------------ */

/* The four tags of the certificate element, opening ones first. */
static const char *const cert_tags[4] = {"<protocol:certificate>", "<p760:certificate>", "</protocol:certificate>",
                                         "</p760:certificate>"};
static const unsigned char cert_tag_len[4] = {22, 18, 23, 19};
static const size_t kLongestTag = 23;

char *soap_trace_redact(const char *text, size_t size, size_t *out_size)
{
    size_t opening = 0;
    for (size_t i = 0; i + 18 <= size; i++)
        if (text[i] == '<' && ((i + 22 <= size && !memcmp(text + i, cert_tags[0], 22))
                               || !memcmp(text + i, cert_tags[1], 18)))
            opening++;
    char *out = new (std::nothrow) char[size + 3 * opening + 1];
    if (out_size)
        *out_size = 0;
    if (!out)
        return nullptr;
    size_t n = 0, i = 0;
    bool copying = true;
    while (i < size) {
        int k = -1;
        if (text[i] == '<')
            for (int t = 0; t < 4 && k < 0; t++)
                if (i + cert_tag_len[t] <= size && !memcmp(text + i, cert_tags[t], cert_tag_len[t]))
                    k = t;
        if (k >= 0) {
            memcpy(out + n, cert_tags[k], cert_tag_len[k]);
            n += cert_tag_len[k];
            i += cert_tag_len[k];
            if (k < 2) {
                memcpy(out + n, "...", 3);
                n += 3;
            }
            copying = k >= 2;
            continue;
        }
        if (copying)
            out[n++] = text[i];
        i++;
    }
    out[n] = '\0';
    if (out_size)
        *out_size = n;
    return out;
}

/* Credentials headers whose values are masked, in lower case. */
static const char *const cred_headers[2] = {"authorization:", "proxy-authorization:"};
static const unsigned char cred_header_len[2] = {14, 20};
static const unsigned char DEAD = 0xFF;

static inline int lower(int c)
{
    return (c >= 'A' && c <= 'Z') ? c + 32 : c;
}

/* Writes n bytes to the stream with certificate contents and credentials
 * masked as soap_trace_redact does, but carrying the state from write to
 * write: an element or header split over two writes is masked all the same.
 * Kept bytes go out in runs, one fwrite per run. */
static void trace_filtered(FILE *fd, struct soap_trace_filter &f, const char *p, size_t n)
{
    const char *end = p + n;
    const char *s = p;
    const char *run = nullptr;  /* start of the kept bytes not yet written */
    auto flush = [&](const char *upto) {
        if (run && upto > run)
            (void)fwrite(run, 1, (size_t)(upto - run), fd);
        run = nullptr;
    };
    while (s < end) {
        if (!f.dropping && !f.masking && f.hdr[0] == DEAD && f.hdr[1] == DEAD
            && !(f.tag[0] | f.tag[1] | f.tag[2] | f.tag[3])) {
            /* nothing under way: keep all up to the next '<' or line end */
            if (!run)
                run = s;
            while (s < end && *s != '<' && *s != '\n')
                s++;
            if (s == end)
                break;
        }
        if (f.dropping && !(f.tag[0] | f.tag[1] | f.tag[2] | f.tag[3])) {
            /* inside a certificate: only a '<' can change anything */
            const char *lt = static_cast<const char *>(memchr(s, '<', (size_t)(end - s)));
            if (!lt) {
                s = end;
                break;
            }
            s = lt;
        }
        unsigned char c = (unsigned char)*s;
        if (c == '<' && !f.masking && !(f.tag[0] | f.tag[1] | f.tag[2] | f.tag[3])
            && (size_t)(end - s) >= kLongestTag) {
            /* the whole tag, if any, lies in this buffer: compare at once */
            int k = 0;
            while (k < 4 && memcmp(s, cert_tags[k], cert_tag_len[k]))
                k++;
            f.hdr[0] = f.hdr[1] = DEAD;
            if (k == 4) {
                if (!f.dropping && !run)
                    run = s;
                s++;
                continue;
            }
            if (f.dropping) {
                (void)fwrite(cert_tags[k], 1, cert_tag_len[k], fd);
                s += cert_tag_len[k];
                if (k < 2)
                    (void)fwrite("...", 1, 3, fd);
                else
                    f.dropping = 0;
                continue;
            }
            if (!run)
                run = s;
            s += cert_tag_len[k];
            if (k < 2) {
                flush(s);
                (void)fwrite("...", 1, 3, fd);
                f.dropping = 1;
            }
            continue;
        }
        if (f.masking == 2) {
            /* a folded line continues the masked value; any other line
             * is looked at afresh */
            f.masking = (c == ' ' || c == '\t') ? 3 : 0;
        }
        if (f.masking == 3) {
            /* the fold's leading blanks stay, so the line shows as one */
            if (c == ' ' || c == '\t') {
                if (!run)
                    run = s;
                s++;
                continue;
            }
            f.masking = 1;
        }
        if (f.masking == 1) {
            if (c == '\r' || c == '\n') {
                if (!run)
                    run = s;
                if (c == '\n') {
                    f.masking = 2;
                    f.hdr[0] = f.hdr[1] = 0;
                }
            } else {
                flush(s);
            }
            s++;
            continue;
        }
        int done = -1;
        for (int k = 0; k < 4; k++) {
            if (c == (unsigned char)cert_tags[k][f.tag[k]])
                f.tag[k]++;
            else
                f.tag[k] = c == '<' ? 1 : 0;
            if (f.tag[k] == cert_tag_len[k])
                done = k;
        }
        if (done >= 0)
            f.tag[0] = f.tag[1] = f.tag[2] = f.tag[3] = 0;
        if (f.dropping) {
            flush(s);
            if (done >= 0) {
                (void)fwrite(cert_tags[done], 1, cert_tag_len[done], fd);
                if (done < 2)
                    (void)fwrite("...", 1, 3, fd);
                else
                    f.dropping = 0;
            }
            f.hdr[0] = f.hdr[1] = c == '\n' ? 0 : DEAD;
            s++;
            continue;
        }
        if (!run)
            run = s;
        s++;
        if (done == 0 || done == 1) {
            flush(s);
            (void)fwrite("...", 1, 3, fd);
            f.dropping = 1;
            f.hdr[0] = f.hdr[1] = DEAD;
            continue;
        }
        if (c == '\n') {
            f.hdr[0] = f.hdr[1] = 0;
            continue;
        }
        for (int k = 0; k < 2; k++) {
            if (f.hdr[k] == DEAD)
                continue;
            if (lower(c) == (unsigned char)cred_headers[k][f.hdr[k]])
                f.hdr[k]++;
            else
                f.hdr[k] = DEAD;
            if (f.hdr[k] == cred_header_len[k]) {
                flush(s);
                (void)fwrite(" ...", 1, 4, fd);
                f.masking = 1;
                f.hdr[0] = f.hdr[1] = DEAD;
                break;
            }
        }
    }
    flush(end);
}

/* A file that cannot be opened loses the trace without a word; the next
 * write tries again.  soapEnableDebug 0 stops all tracing. */
void soap_trace(struct soap *soap, int slot, const char *bytes, size_t n)
{
    if (!soapEnableDebug || !soap || !valid_slot(slot))
        return;
    if (!soap->fdebug[slot])
        soap_open_logfile(soap, slot);
    FILE *fd = soap->fdebug[slot];
    if (!fd)
        return;
    if (n && bytes) {
        if (slot == SOAP_IDX_TEST)
            (void)fwrite(bytes, 1, n, fd);
        else
            trace_filtered(fd, soap->tracefilter[slot], bytes, n);
    }
    (void)fflush(fd);
}
